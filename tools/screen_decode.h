#ifndef SCREEN_DECODE_H
#define SCREEN_DECODE_H

// What a 3270 terminal would make of a record: a decoder of the device's EBCDIC form, with all its address forms.

#include <string>
#include <vector>

#include "plat_types.h"

// Host: command, WCC, orders. Terminal: AID, cursor address, orders.
enum class Screen_Source { Host, Terminal };

// Bits of a field attribute.
inline constexpr u8 Screen_Protected = 0x20;
inline constexpr u8 Screen_Numeric = 0x10;
inline constexpr u8 Screen_DisplayMask = 0x0C;
inline constexpr u8 Screen_Intense = 0x08;
inline constexpr u8 Screen_Hidden = 0x0C;
inline constexpr u8 Screen_Modified = 0x01;

// Extended attributes, 0 where none is set.
struct Screen_Look {
    u8 Colour = 0;
    u8 Highlight = 0;
    u8 CharacterSet = 0;
};

struct Screen_Cell {
    bool IsField = false; // a field attribute stands here; Code has it
    bool IsGraphic = false; // of the graphic-escape set
    u8 Code = 0;
    Screen_Look Look; // of the field, or of the character alone
};

// A step of the decoding, for the list of orders.
struct Screen_Event {
    size_t Offset;
    std::string Name;
    int Address; // -1 without one
    std::string Detail;
};

struct Screen_Picture {
    int Rows = 0;
    int Columns = 0;
    bool HasCells = true; // false where the record draws nothing
    std::vector<Screen_Cell> Cells;
    int Cursor = 0;
    std::string Opening; // "Erase/Write, restore keyboard", "ENTER"
    std::vector<Screen_Event> Events;
    size_t LongAddresses = 0; // of the 14-bit form
    size_t Graphics = 0;
    bool IsStructured = false;
    std::string Problem; // empty when all was understood
    size_t ProblemOffset = 0;
};

// Rows and Columns 0: the smallest usual screen that holds all addresses, 24x80 at least.
Screen_Picture Screen_Decode(const std::string &Record, Screen_Source Source, int Rows = 0, int Columns = 0);

// The local command code of the code that stands on the wire; other bytes stay.
u8 Screen_CommandFromWire(u8 Code);

// The attribute of the field that each position lies in, -1 without one; a field attribute lies in its own field.
std::vector<int> Screen_FieldOfCells(const Screen_Picture &Picture);

// "protected, numeric, intense" of a field attribute; the names of extended attributes, empty for none.
std::string Screen_AttributeText(u8 Attribute);
std::string Screen_LookText(const Screen_Look &Look);

// "3,18" of a position, rows and columns counting from 1.
std::string Screen_PlaceText(int Position, int Columns);

#endif

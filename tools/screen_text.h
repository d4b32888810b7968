#ifndef SCREEN_TEXT_H
#define SCREEN_TEXT_H

// Text of a 3270 screen: its conversion for the translation, and the characters that a person sees.
//
// Without another word text is of code page 037, and of ISO 8859-1 in the ASCII form: a table here suffices for that.
// Every other code set goes through the library's conversion engine.

#include <string>

#include "plat_types.h"

// A host code set by its open conversions: to the set of the ASCII form and back, and to UTF-8.
struct Screen_Codeset {
    u32 ToAscii;
    u32 ToEbcdic;
    u32 ToUtf8;
    bool IsMixed; // characters of two bytes stand behind a shift-out
};

// From now on all text is of this code set.
void Screen_UseCodeset(const Screen_Codeset &Set);

// Descriptors of Screen_Convert: from the host code set to that of the ASCII form, and back; either, without the
// shift-out and shift-in that stand around a text.
inline constexpr i32 Screen_FromEbcdic = 1;
inline constexpr i32 Screen_ToEbcdic = 2;
inline constexpr i32 Screen_Unframed = 4; // added to one of the two

// The conversion routine that the commands hand to the library. In 037 each byte is a character, so that double-byte
// text passes unread. Fails when the target is too small, or where a text is none of its code set.
inline constexpr u32 Screen_NoRoom = 1;
inline constexpr u32 Screen_BadText = 2;
u32 Screen_Convert(u32 Descriptor, u8 *Source, u16 SourceLength, u8 *Target, u16 TargetSize, u16 *OutLength);

// A character of the graphic-escape set: line drawing, else '?'. A single-byte character of the host code set. Controls
// are blanks. What the user's locale cannot show becomes '?', lines become + - and |.
std::string Screen_GraphicGlyph(u8 Code);
std::string Screen_Glyph(u8 Code);

// Whether the host code set has double-byte characters; one of them, two columns wide, or nothing where it has no such
// character or the user's locale cannot show it.
bool Screen_HasDoubleByte();
std::string Screen_DoubleGlyph(u8 First, u8 Second);

// A run of host text in glyphs. IsDoubleByte: of a double-byte field, which has no shift bytes around it.
std::string Screen_TextGlyphs(const std::string &Text, bool IsDoubleByte);

// Glyphs between bars, without what is blank at their end; a long text is cut.
std::string Screen_Quoted(std::string Text);

#endif

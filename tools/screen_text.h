#ifndef SCREEN_TEXT_H
#define SCREEN_TEXT_H

// Text of a 3270 screen: its conversion for the translation, and the characters that a person sees.

#include <string>

#include "plat_types.h"

// Descriptors of Screen_Convert: code page 037 to ISO 8859-1, and back; either, without the shift-out and shift-in that
// stand around a text.
inline constexpr i32 Screen_FromEbcdic = 1;
inline constexpr i32 Screen_ToEbcdic = 2;
inline constexpr i32 Screen_Unframed = 4; // added to one of the two

// The conversion routine that the commands hand to the library; each byte is a character, so that double-byte text
// passes unread. Fails with Screen_NoRoom when the target is too small.
inline constexpr u32 Screen_NoRoom = 1;
u32 Screen_Convert(u32 Descriptor, u8 *Source, u16 SourceLength, u8 *Target, u16 TargetSize, u16 *OutLength);

// A character of the graphic-escape set: line drawing, else '?'. A character of code page 037. Controls are blanks.
// What the user's locale cannot show becomes '?', lines become + - and |.
std::string Screen_GraphicGlyph(u8 Code);
std::string Screen_Glyph(u8 Code);

// Glyphs between bars, without what is blank at their end; a long text is cut.
std::string Screen_Quoted(std::string Text);

#endif

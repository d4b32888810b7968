#ifndef SCREEN_PRINT_H
#define SCREEN_PRINT_H

// A decoded screen for people: the picture, its fields, its orders.

#include <iosfwd>

#include "screen_decode.h"

// The screen in a frame: rows numbered, the cursor's row and column marked on it, a legend of the marks in use behind it.
void Screen_PrintPicture(std::ostream &Out, const Screen_Picture &Picture);

// One line a field: place, length, attributes, text; of a hidden field no text.
void Screen_PrintFields(std::ostream &Out, const Screen_Picture &Picture);

// One line an order or run of text: offset in the record, name, address, attributes.
void Screen_PrintOrders(std::ostream &Out, const Screen_Picture &Picture);

#endif

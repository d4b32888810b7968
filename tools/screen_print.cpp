// Drawing a screen with the characters of a terminal.
//
// Empty input positions are shown as underscores and hidden ones as dots, so that a picture without colours tells what a
// user may type where. A character of two bytes takes two positions and two columns. Where the code set in use has none,
// for a record does not name its code set, double-byte text is shown as #.

#include "screen_print.h"

#include "screen_text.h"
#include "vela_commands.h"

#include <iomanip>
#include <ostream>

namespace
{

constexpr u8 shiftOut = 0x0E;
constexpr u8 shiftIn = 0x0F;
constexpr u8 doubleByteSet = 0xF8;
constexpr u8 graphicSet = 0xF1;

// Marks that a picture makes use of.
struct Marks {
    bool Input = false;
    bool Hidden = false;
    bool DoubleByte = false;
};

const char *colourSequence(u8 colour)
{
    switch (colour) {
    case 0xF1: return "34";
    case 0xF2: return "31";
    case 0xF3: return "35";
    case 0xF4: return "32";
    case 0xF5: return "36";
    case 0xF6: return "33";
    case 0xF7: return "97";
    }
    return nullptr;
}

// The base colours of a terminal: input green, intense input red, protected blue, intense protected white.
const char *baseSequence(u8 attribute)
{
    const bool intense = (attribute & Screen_DisplayMask) == Screen_Intense;
    if (attribute & Screen_Protected) return intense ? "97" : "34";
    return intense ? "31" : "32";
}

std::string sequenceOf(const Screen_Cell &cell, const Screen_Cell *field)
{
    const u8 attribute = field != nullptr ? field->Code : 0;
    const u8 fieldColour = field != nullptr ? field->Look.Colour : 0;
    const u8 fieldHighlight = field != nullptr ? field->Look.Highlight : 0;

    const char *sequence = colourSequence(cell.Look.Colour != 0 ? cell.Look.Colour : fieldColour);
    std::string text = sequence != nullptr ? sequence : baseSequence(attribute);
    switch (cell.Look.Highlight != 0 ? cell.Look.Highlight : fieldHighlight) {
    case 0xF1: text += ";5"; break;
    case 0xF2: text += ";7"; break;
    case 0xF4: text += ";4"; break;
    case 0xF8: text += ";1"; break;
    }
    return text;
}

const Screen_Cell *fieldCell(const Screen_Picture &picture, const std::vector<int> &fields, size_t at)
{
    return fields[at] < 0 ? nullptr : &picture.Cells[static_cast<size_t>(fields[at])];
}

// What stands at each position of a screen. A double-byte character stands at its first one, its second one is empty.
struct Glyphs {
    const Screen_Picture &Picture;
    const std::vector<int> &Fields;
    Marks *Met;
    std::vector<std::string> Texts;
    bool Shifted = false; // behind a shift-out; binds within one field

    Glyphs(const Screen_Picture &picture, const std::vector<int> &fields, Marks *marks)
        : Picture(picture), Fields(fields), Met(marks), Texts(picture.Cells.size())
    {
        const size_t count = picture.Cells.size();
        size_t start = 0; // the last field may reach around the end
        while (start < count && !picture.Cells[start].IsField) ++start;
        for (size_t done = 0; done < count;) done += take((start + done) % count, done + 1 < count);
    }

    static u8 characterSetOf(const Screen_Cell &cell, const Screen_Cell *field)
    {
        return cell.Look.CharacterSet != 0 || field == nullptr ? cell.Look.CharacterSet : field->Look.CharacterSet;
    }

    static bool isText(const Screen_Cell &cell) { return !cell.IsField && !cell.IsGraphic && cell.Code >= 0x40; }

    // Sets the texts of the character at a position; returns its positions.
    size_t take(size_t at, bool hasNext)
    {
        const Screen_Cell &cell = Picture.Cells[at];
        const Screen_Cell *const field = fieldCell(Picture, Fields, at);
        const bool hidden = field != nullptr && (field->Code & Screen_DisplayMask) == Screen_Hidden;
        const bool doubleByte = Shifted || characterSetOf(cell, field) == doubleByteSet;
        if (doubleByte && !hidden && Screen_HasDoubleByte() && isText(cell)) {
            const size_t next = (at + 1) % Texts.size();
            const bool isPair = hasNext && isText(Picture.Cells[next]);
            const std::string glyph = isPair ? Screen_DoubleGlyph(cell.Code, Picture.Cells[next].Code) : "";
            if (!glyph.empty()) {
                Texts[at] = glyph;
                return 2;
            }
            Met->DoubleByte = true;
            Texts[at] = "#";
            if (isPair) Texts[next] = "#";
            return isPair ? 2 : 1;
        }
        Texts[at] = single(cell, field, doubleByte);
        return 1;
    }

    std::string single(const Screen_Cell &cell, const Screen_Cell *field, bool doubleByte)
    {
        if (cell.IsField) {
            Shifted = false;
            return " ";
        }
        const bool input = field != nullptr && (field->Code & Screen_Protected) == 0;
        if (field != nullptr && (field->Code & Screen_DisplayMask) == Screen_Hidden) {
            if (!input) return " ";
            Met->Hidden = true;
            return ".";
        }
        if (cell.IsGraphic || (characterSetOf(cell, field) == graphicSet && cell.Code >= 0x40))
            return Screen_GraphicGlyph(cell.Code);
        if (cell.Code == shiftOut || cell.Code == shiftIn) {
            Shifted = cell.Code == shiftOut;
            return " ";
        }
        if (cell.Code == 0) {
            if (!input) return " ";
            Met->Input = true;
            return "_";
        }
        if (doubleByte && cell.Code > 0x40) {
            Met->DoubleByte = true;
            return "#";
        }
        return Screen_Glyph(cell.Code);
    }

    // One position of a row: half a character at the row's edge cannot be drawn.
    std::string inRow(size_t at, int column)
    {
        const bool isFirst = !Texts[at].empty() && Texts[(at + 1) % Texts.size()].empty();
        const bool isHalf = column == 0 ? Texts[at].empty() : isFirst && column == Picture.Columns - 1;
        if (!isHalf) return Texts[at];
        Met->DoubleByte = true;
        return "#";
    }
};

std::string painted(const std::string &sequence, const std::string &text)
{
    return sequence.empty() ? text : Vela_Paint(sequence, text);
}

std::string rowText(Glyphs *glyphs, int row)
{
    const Screen_Picture &picture = glyphs->Picture;
    std::string out, run, sequence;
    for (int column = 0; column < picture.Columns; ++column) {
        const size_t at = static_cast<size_t>(row) * static_cast<size_t>(picture.Columns) + static_cast<size_t>(column);
        const Screen_Cell *const field = fieldCell(picture, glyphs->Fields, at);
        const std::string wanted = picture.Cells[at].IsField ? "" : sequenceOf(picture.Cells[at], field);
        if (wanted != sequence && !run.empty()) {
            out += painted(sequence, run);
            run.clear();
        }
        sequence = wanted;
        run += glyphs->inRow(at, column);
    }
    return out + painted(sequence, run);
}

void printLegend(std::ostream &out, const Marks &marks, bool hasFields)
{
    out << "     v > cursor";
    if (marks.Input) out << "   _ input";
    if (marks.Hidden) out << "   . hidden input";
    if (marks.DoubleByte) out << (Screen_HasDoubleByte() ? "   # no whole character" : "   # double-byte text");
    if (!hasFields) out << "   no fields";
    out << "\n";
}

} // namespace

void Screen_PrintPicture(std::ostream &Out, const Screen_Picture &Picture)
{
    const std::vector<int> fields = Screen_FieldOfCells(Picture);
    const int cursorRow = Picture.Cursor / Picture.Columns;
    const int cursorColumn = Picture.Cursor % Picture.Columns;
    const std::string edge(static_cast<size_t>(Picture.Columns), '-');
    std::string top = edge;
    top[static_cast<size_t>(cursorColumn)] = 'v';

    Marks marks;
    Glyphs glyphs(Picture, fields, &marks);
    Out << "    +" << top << "+\n";
    for (int row = 0; row < Picture.Rows; ++row)
        Out << std::setw(3) << row + 1 << (row == cursorRow ? '>' : ' ') << "|" << rowText(&glyphs, row) << "|\n";
    Out << "    +" << edge << "+\n";
    printLegend(Out, marks, !fields.empty() && fields.back() >= 0);
}

void Screen_PrintFields(std::ostream &Out, const Screen_Picture &Picture)
{
    const int count = static_cast<int>(Picture.Cells.size());
    const std::vector<int> fields = Screen_FieldOfCells(Picture);
    Marks marks;
    const Glyphs glyphs(Picture, fields, &marks);
    bool any = false;
    for (const Screen_Cell &cell : Picture.Cells) any = any || cell.IsField;
    if (any) Out << "Fields: place and length of the text, attributes\n";
    for (int at = 0; at < count; ++at) {
        const Screen_Cell &field = Picture.Cells[static_cast<size_t>(at)];
        if (!field.IsField) continue;

        int length = 0;
        std::string text;
        for (; length < count - 1; ++length) {
            const size_t place = static_cast<size_t>((at + 1 + length) % count);
            if (Picture.Cells[place].IsField) break;
            text += glyphs.Texts[place];
        }
        if ((field.Code & Screen_DisplayMask) == Screen_Hidden) text.clear();

        const std::string look = Screen_LookText(field.Look);
        Out << "  " << std::left << std::setw(7) << Screen_PlaceText((at + 1) % count, Picture.Columns) << std::right
            << std::setw(5) << length << "  " << Screen_AttributeText(field.Code) << (look.empty() ? "" : ", ") << look;
        if (Screen_Quoted(text) != "||") Out << "  " << Screen_Quoted(text);
        Out << "\n";
    }
}

void Screen_PrintOrders(std::ostream &Out, const Screen_Picture &Picture)
{
    for (const Screen_Event &event : Picture.Events) {
        Out << std::setw(6) << event.Offset << "  " << std::left << std::setw(10) << event.Name << std::right;
        if (event.Address >= 0) Out << "  at " << Screen_PlaceText(event.Address, Picture.Columns);
        if (!event.Detail.empty()) Out << "  " << event.Detail;
        Out << "\n";
    }
}

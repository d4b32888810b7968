// The decoder: one pass over the record, one cell a position.
//
// Two passes where the size of the screen is not told: the first one, on a screen without an end, only finds the highest
// position. A record that ends inside an order leaves what was drawn before it.

#include "screen_decode.h"

#include "screen_text.h"

#include <algorithm>
#include <cstdio>

namespace
{

constexpr int endless = 0x4000; // positions that 14 bits can address

struct Size {
    int Rows;
    int Columns;
};
constexpr Size usualSizes[] = {{24, 80}, {32, 80}, {43, 80}, {27, 132}, {62, 160}, {103, 160}};

struct Named {
    u8 Code;
    const char *Name;
};

constexpr Named commandNames[] = {{0x01, "Write"},
                                  {0x02, "Read Buffer"},
                                  {0x05, "Erase/Write"},
                                  {0x06, "Read Modified"},
                                  {0x0D, "Erase/Write Alternate"},
                                  {0x0E, "Read Modified All"},
                                  {0x0F, "Erase All Unprotected"},
                                  {0x11, "Write Structured Field"}};
constexpr Named wireCommands[] = {{0xF1, "\x01"}, {0xF2, "\x02"}, {0xF5, "\x05"}, {0xF6, "\x06"},
                                  {0x7E, "\x0D"}, {0x6E, "\x0E"}, {0x6F, "\x0F"}, {0xF3, "\x11"}};
constexpr Named colourNames[] = {{0xF1, "blue"},      {0xF2, "red"},    {0xF3, "pink"}, {0xF4, "green"},
                                 {0xF5, "turquoise"}, {0xF6, "yellow"}, {0xF7, "white"}};
constexpr Named highlightNames[] = {{0xF1, "blink"}, {0xF2, "reverse"}, {0xF4, "underscore"}, {0xF8, "intensify"}};
constexpr Named aidNames[] = {{0x60, "no AID"}, {0x7D, "ENTER"},
                              {0x6C, "PA1"},    {0x6E, "PA2"},
                              {0x6B, "PA3"},    {0x6D, "CLEAR"},
                              {0xF0, "SYSREQ"}, {0x7A, "PF10"},
                              {0x7B, "PF11"},   {0x7C, "PF12"},
                              {0x4A, "PF22"},   {0x4B, "PF23"},
                              {0x4C, "PF24"},   {0x88, "structured field"}};
constexpr Named structuredNames[] = {{0x01, "Read Partition"},  {0x03, "Erase/Reset"},  {0x09, "Set Reply Mode"},
                                     {0x40, "Outbound 3270DS"}, {0x41, "SCS Data"},     {0x81, "Query Reply"},
                                     {0x80, "Inbound 3270DS"},  {0xD0, "Transfer Data"}};

template <size_t Count>
std::string nameOf(const Named (&names)[Count], u8 code)
{
    for (const Named &row : names)
        if (row.Code == code) return row.Name;
    return "";
}

std::string hex(u8 byte)
{
    char text[3];
    std::snprintf(text, sizeof text, "%02X", byte);
    return text;
}

void join(std::string *list, const std::string &more)
{
    if (more.empty()) return;
    if (!list->empty()) *list += ", ";
    *list += more;
}

std::string aidText(u8 code)
{
    if (code >= 0xF1 && code <= 0xF9) return "PF" + std::to_string(code - 0xF0);
    if (code >= 0xC1 && code <= 0xC9) return "PF" + std::to_string(code - 0xC0 + 12);
    const std::string name = nameOf(aidNames, code);
    return name.empty() ? "AID " + hex(code) : name;
}

std::string wccText(u8 wcc)
{
    std::string text;
    if (wcc & 0x04) join(&text, "sound alarm");
    if (wcc & 0x02) join(&text, "restore keyboard");
    if (wcc & 0x01) join(&text, "reset modified tags");
    if (wcc & 0x08) join(&text, "start printer");
    return text;
}

// Ends the decoding.
struct Stop {
    size_t Offset;
    std::string Reason;
};

struct Decoder {
    const std::string &Record;
    Screen_Picture Picture;
    size_t At = 0;
    size_t Order = 0; // offset of the order that is being read
    int Position = 0;
    int Highest = 0;
    Screen_Look Character; // set by SA
    bool BehindData = false; // the last thing was a character: PT then clears
    size_t TextStart = 0; // of the run of characters that is not yet listed
    int TextPosition = 0;
    std::string Text; // of it

    Decoder(const std::string &record, int rows, int columns) : Record(record)
    {
        Picture.Rows = rows;
        Picture.Columns = columns;
        Picture.Cells.resize(static_cast<size_t>(rows) * static_cast<size_t>(columns));
    }

    int cellCount() const { return static_cast<int>(Picture.Cells.size()); }

    u8 take(const char *what)
    {
        if (At >= Record.size()) throw Stop{Order, std::string(what) + " is cut off"};
        return static_cast<u8>(Record[At++]);
    }

    void list(size_t offset, const std::string &name, const std::string &detail, int address = -1)
    {
        Picture.Events.push_back({offset, name, address, detail});
    }

    // The high two bits of the first byte tell the form: 00 is an address of 14 bits, others carry 6 bits a byte.
    int takeAddress(const char *what)
    {
        const u8 high = take(what);
        const u8 low = take(what);
        int address = (high & 0x3F) << 6 | (low & 0x3F);
        if ((high & 0xC0) == 0) {
            ++Picture.LongAddresses;
            address = high << 8 | low;
        }
        if (address >= cellCount())
            throw Stop{Order, std::string(what) + " names position " + std::to_string(address) +
                                  ", which the screen does not have"};
        Highest = std::max(Highest, address);
        return address;
    }

    Screen_Cell &cell(int position) { return Picture.Cells[static_cast<size_t>(position)]; }

    void advance()
    {
        Highest = std::max(Highest, Position);
        Position = (Position + 1) % cellCount();
    }

    void put(u8 code, bool graphic)
    {
        cell(Position) = {false, graphic, code, Character};
        advance();
    }

    void startField(u8 attribute, const Screen_Look &look)
    {
        cell(Position) = {true, false, attribute, look};
        advance();
    }

    // The attribute of the field that a position lies in, null without fields.
    const Screen_Cell *fieldOf(int position)
    {
        for (int back = 0; back < cellCount(); ++back) {
            const Screen_Cell &at = cell((position - back + cellCount()) % cellCount());
            if (at.IsField) return &at;
        }
        return nullptr;
    }

    bool isProtected(int position)
    {
        const Screen_Cell *const field = fieldOf(position);
        return field != nullptr && (field->Code & Screen_Protected) != 0;
    }

    // Whether the text at a position is of two bytes a character without shift bytes around it.
    bool isDoubleByte(int position)
    {
        constexpr u8 doubleByteSet = 0xF8;
        const u8 own = cell(position).Look.CharacterSet;
        if (own != 0 || !Screen_HasDoubleByte()) return own == doubleByteSet;
        const Screen_Cell *const field = fieldOf(position);
        return field != nullptr && field->Look.CharacterSet == doubleByteSet;
    }

    // Positions from here up to a stop address, around the end; the whole screen when the two are equal.
    int distanceTo(int target) const
    {
        const int distance = target - Position;
        return distance > 0 ? distance : distance + cellCount();
    }

    static bool applyPair(u8 type, u8 value, Screen_Look *look)
    {
        switch (type) {
        case 0x41: look->Highlight = value; return true;
        case 0x42: look->Colour = value; return true;
        case 0x43: look->CharacterSet = value; return true;
        case 0x00: *look = {}; return true;
        }
        return false;
    }

    static std::string pairText(u8 type, u8 value)
    {
        Screen_Look look;
        if (type == 0xC0) return Screen_AttributeText(value);
        if (type == 0x00) return "all defaults";
        if (applyPair(type, value, &look)) {
            std::string text = Screen_LookText(look);
            if (!text.empty()) return text;
            const char *const kind = type == 0x41 ? "highlight" : type == 0x42 ? "colour" : "character set";
            return std::string("default ") + kind;
        }
        return "type " + hex(type) + " value " + hex(value);
    }

    void takePairs(u8 count, const char *what, Screen_Cell *field, std::string *text)
    {
        for (u8 pair = 0; pair < count; ++pair) {
            const u8 type = take(what);
            const u8 value = take(what);
            join(text, pairText(type, value));
            if (type == 0xC0)
                field->Code = value;
            else
                applyPair(type, value, &field->Look);
        }
    }

    void startFieldExtended()
    {
        Screen_Cell field;
        std::string text;
        takePairs(take("SFE"), "SFE", &field, &text);
        list(Order, "SFE", text, Position);
        startField(field.Code, field.Look);
    }

    void modifyField()
    {
        Screen_Cell field = cell(Position);
        std::string text;
        takePairs(take("MF"), "MF", &field, &text);
        list(Order, "MF", text, Position);
        if (cell(Position).IsField) cell(Position) = field;
        advance();
    }

    void setAttribute()
    {
        const u8 type = take("SA");
        const u8 value = take("SA");
        applyPair(type, value, &Character);
        list(Order, "SA", pairText(type, value));
    }

    void repeatToAddress()
    {
        const int target = takeAddress("RA");
        u8 code = take("RA");
        const bool graphic = code == 0x08;
        if (graphic) {
            code = take("RA");
            ++Picture.Graphics;
        }
        list(Order, "RA", std::string(graphic ? "graphic " : "character ") + hex(code), target);
        // Without an end to the screen the way around it has none either.
        int count = distanceTo(target);
        if (cellCount() == endless && target <= Position) count = 0;
        for (; count > 0; --count) put(code, graphic);
        Position = target;
    }

    void eraseUnprotected()
    {
        const int target = takeAddress("EUA");
        list(Order, "EUA", "", target);
        bool keep = isProtected(Position);
        for (int count = distanceTo(target); count > 0; --count) {
            Screen_Cell &at = cell(Position);
            if (at.IsField)
                keep = (at.Code & Screen_Protected) != 0;
            else if (!keep)
                at = {};
            Position = (Position + 1) % cellCount();
        }
        Position = target;
    }

    // To the first position of the next unprotected field, or to 0 where the screen has none behind this position.
    void programTab()
    {
        list(Order, "PT", "");
        if (BehindData)
            for (int at = Position; at < cellCount() && !cell(at).IsField; ++at) cell(at) = {};
        for (int at = Position; at < cellCount(); ++at) {
            if (!cell(at).IsField || (cell(at).Code & Screen_Protected)) continue;
            Position = (at + 1) % cellCount();
            return;
        }
        Position = 0;
    }

    void listText()
    {
        if (!BehindData) return;
        const size_t count = Order - TextStart;
        const std::string glyphs = Screen_TextGlyphs(Text, isDoubleByte(TextPosition));
        list(TextStart, "text", std::to_string(count) + (count == 1 ? " byte " : " bytes ") + Screen_Quoted(glyphs),
             TextPosition);
        Text.clear();
        BehindData = false;
    }

    // True when the byte was an order.
    bool takeOrder(u8 code)
    {
        switch (code) {
        case 0x11:
            Position = takeAddress("SBA");
            list(Order, "SBA", "", Position);
            return true;
        case 0x1D: {
            const u8 attribute = take("SF");
            list(Order, "SF", Screen_AttributeText(attribute), Position);
            startField(attribute, {});
            return true;
        }
        case 0x29: startFieldExtended(); return true;
        case 0x2C: modifyField(); return true;
        case 0x28: setAttribute(); return true;
        case 0x13:
            Picture.Cursor = Position;
            list(Order, "IC", "", Position);
            return true;
        case 0x05: programTab(); return true;
        case 0x3C: repeatToAddress(); return true;
        case 0x12: eraseUnprotected(); return true;
        case 0x08: {
            const u8 graphic = take("GE");
            ++Picture.Graphics;
            list(Order, "GE", "character " + hex(graphic), Position);
            put(graphic, true);
            return true;
        }
        }
        return false;
    }

    static bool isOrder(u8 code)
    {
        constexpr u8 orders[] = {0x11, 0x1D, 0x29, 0x2C, 0x28, 0x13, 0x05, 0x3C, 0x12, 0x08};
        return std::find(std::begin(orders), std::end(orders), code) != std::end(orders);
    }

    void takeStream(size_t end)
    {
        while (At < end) {
            Order = At;
            const u8 code = static_cast<u8>(Record[At]);
            if (!isOrder(code)) {
                if (!BehindData) {
                    TextStart = At;
                    TextPosition = Position;
                    BehindData = true;
                }
                ++At;
                Text += static_cast<char>(code);
                put(code, false);
                continue;
            }
            const bool behindData = BehindData;
            listText();
            BehindData = behindData;
            ++At;
            takeOrder(code);
            BehindData = false;
        }
        Order = At;
        listText();
    }

    void takeWrite(const std::string &name, bool hasWcc)
    {
        Picture.Opening = name;
        if (!hasWcc || At >= Record.size()) return;
        Order = At;
        const std::string text = wccText(take("WCC"));
        list(Order, "WCC", text);
        join(&Picture.Opening, text);
    }

    void takeStructuredFields()
    {
        Picture.HasCells = false;
        Picture.IsStructured = true;
        while (At < Record.size()) {
            Order = At;
            const u8 high = take("structured field");
            const u8 low = take("structured field");
            const u8 id = take("structured field");
            size_t length = static_cast<size_t>(high) << 8 | low;
            if (length == 0) length = Record.size() - Order; // 0 means all that is left
            const std::string name = nameOf(structuredNames, id);
            list(Order, "structured field",
                 hex(id) + (name.empty() ? "" : " " + name) + ", " + std::to_string(length) + " bytes");
            if (length < 3 || Order + length > Record.size()) throw Stop{Order, "structured field is cut off"};
            const size_t end = Order + length;
            if (id == 0x40 && length > 4) {
                take("structured field"); // the partition
                takeCommand(Screen_CommandFromWire(take("structured field")));
                takeStream(end);
                Picture.HasCells = true;
            }
            At = end;
        }
    }

    void takeCommand(u8 code)
    {
        const std::string name = nameOf(commandNames, code);
        if (name.empty()) {
            Picture.HasCells = false;
            const u8 local = Screen_CommandFromWire(code);
            throw Stop{Order, hex(code) + " is no command" +
                                  (local != code ? "; read --from wire it is " + nameOf(commandNames, local) : "")};
        }
        list(Order, name, "");
        takeWrite(name, code == 0x01 || code == 0x05 || code == 0x0D);
        if (code == 0x05 || code == 0x0D) std::fill(Picture.Cells.begin(), Picture.Cells.end(), Screen_Cell());
        Character = {};
        Position = 0;
        if (code == 0x02 || code == 0x06 || code == 0x0E) Picture.HasCells = false;
    }

    void takeHost()
    {
        const u8 code = take("command");
        takeCommand(code);
        if (code == 0x11)
            takeStructuredFields();
        else
            takeStream(Record.size());
    }

    void takeTerminal()
    {
        Picture.Opening = aidText(take("AID"));
        list(0, Picture.Opening, "");
        Picture.HasCells = Record.size() > 1;
        if (Record.size() == 1) return; // PA keys and CLEAR alone
        Order = At;
        Picture.Cursor = takeAddress("cursor address");
        list(Order, "cursor", "", Picture.Cursor);
        Position = 0;
        takeStream(Record.size());
    }

    void run(Screen_Source source)
    {
        try {
            source == Screen_Source::Host ? takeHost() : takeTerminal();
        } catch (const Stop &end) {
            Picture.Problem = end.Reason;
            Picture.ProblemOffset = end.Offset;
        }
    }
};

Size sizeFor(const std::string &record, Screen_Source source)
{
    Decoder measure(record, 1, endless);
    measure.run(source);
    for (const Size &size : usualSizes)
        if (measure.Highest < size.Rows * size.Columns) return size;
    return usualSizes[0];
}

} // namespace

Screen_Picture Screen_Decode(const std::string &Record, Screen_Source Source, int Rows, int Columns)
{
    const Size size = Rows > 0 ? Size{Rows, Columns} : sizeFor(Record, Source);
    Decoder decoder(Record, size.Rows, size.Columns);
    decoder.run(Source);
    return decoder.Picture;
}

u8 Screen_CommandFromWire(u8 Code)
{
    for (const Named &row : wireCommands)
        if (row.Code == Code) return static_cast<u8>(row.Name[0]);
    return Code;
}

std::vector<int> Screen_FieldOfCells(const Screen_Picture &Picture)
{
    const int count = static_cast<int>(Picture.Cells.size());
    std::vector<int> fields(Picture.Cells.size(), -1);
    int field = -1;
    for (int at = count - 1; at >= 0 && field < 0; --at) // the last field reaches around the end
        if (Picture.Cells[static_cast<size_t>(at)].IsField) field = at;
    for (int at = 0; at < count; ++at) {
        if (Picture.Cells[static_cast<size_t>(at)].IsField) field = at;
        fields[static_cast<size_t>(at)] = field;
    }
    return fields;
}

std::string Screen_AttributeText(u8 Attribute)
{
    std::string text = Attribute & Screen_Protected ? "protected" : "unprotected";
    if ((Attribute & (Screen_Protected | Screen_Numeric)) == (Screen_Protected | Screen_Numeric))
        join(&text, "skip");
    else if (Attribute & Screen_Numeric)
        join(&text, "numeric");
    if ((Attribute & Screen_DisplayMask) == Screen_Hidden) join(&text, "hidden");
    if ((Attribute & Screen_DisplayMask) == Screen_Intense) join(&text, "intense");
    if (Attribute & Screen_Modified) join(&text, "modified");
    return text;
}

std::string Screen_LookText(const Screen_Look &Look)
{
    std::string text;
    if (Look.Colour != 0) {
        const std::string name = nameOf(colourNames, Look.Colour);
        join(&text, name.empty() ? "colour " + hex(Look.Colour) : name);
    }
    if (Look.Highlight != 0) {
        const std::string name = nameOf(highlightNames, Look.Highlight);
        join(&text, name.empty() ? "highlight " + hex(Look.Highlight) : name);
    }
    if (Look.CharacterSet != 0)
        join(&text, Look.CharacterSet == 0xF8 ? "double-byte" : "character set " + hex(Look.CharacterSet));
    return text;
}

std::string Screen_PlaceText(int Position, int Columns)
{
    return std::to_string(Position / Columns + 1) + "," + std::to_string(Position % Columns + 1);
}

// Composes the host record of the demonstration: the sign-on screen of an account service, as a host would send it to a
// terminal. Fields are protected, open, numeric and hidden, with colours; a line is drawn by one repeat order.
//
//     demo_screen FILE        the record goes to FILE, in EBCDIC form, its command byte first

#include <cstdio>
#include <fstream>
#include <string>

namespace
{

using Record = std::string;

constexpr int columns = 80;

// Field attributes: the low six bits as the data stream wants them, shown as graphic characters.
constexpr char protectedField = '\xF0'; // and skipped by the cursor
constexpr char intenseField = '\xF8'; // protected, bright
constexpr char openField = '\x40';
constexpr char numericField = '\x50';
constexpr char hiddenField = '\x4C';

constexpr char blue = '\xF1';
constexpr char green = '\xF4';
constexpr char turquoise = '\xF5';
constexpr char yellow = '\xF6';
constexpr char underscore = '\xF4';

// Code page 037, for the characters that this screen needs.
char ebcdic(char character)
{
    static const std::string known = " .,:()-/'>=*0123456789";
    static const std::string codes = "\x40\x4B\x6B\x7A\x4D\x5D\x60\x61\x7D\x6E\x7E\x5C"
                                     "\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9";
    const bool upper = character >= 'A' && character <= 'Z';
    const int letter = upper ? character - 'A' : character - 'a';
    if (upper || (character >= 'a' && character <= 'z')) {
        const int code = letter < 9 ? 0x81 + letter : letter < 18 ? 0x91 + letter - 9 : 0xA2 + letter - 18;
        return static_cast<char>(code + (upper ? 0x40 : 0));
    }
    const size_t at = known.find(character);
    return at == std::string::npos ? '\x6F' : codes[at];
}

Record text(const std::string &ascii)
{
    Record out;
    for (const char character : ascii) out += ebcdic(character);
    return out;
}

// A position, row and column from 1, as two address characters of six bits each.
Record address(int row, int column)
{
    static const char graphic[] = "\x40\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9\x4A\x4B\x4C\x4D\x4E\x4F"
                                  "\x50\xD1\xD2\xD3\xD4\xD5\xD6\xD7\xD8\xD9\x5A\x5B\x5C\x5D\x5E\x5F"
                                  "\x60\x61\xE2\xE3\xE4\xE5\xE6\xE7\xE8\xE9\x6A\x6B\x6C\x6D\x6E\x6F"
                                  "\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9\x7A\x7B\x7C\x7D\x7E\x7F";
    const int position = (row - 1) * columns + column - 1;
    return {graphic[position / 64], graphic[position % 64]};
}

Record at(int row, int column)
{
    return "\x11" + address(row, column);
}

Record field(char attribute, const std::string &ascii = "")
{
    return Record("\x1D") + attribute + text(ascii);
}

Record colouredField(char attribute, char colour, const std::string &ascii = "")
{
    return Record("\x29\x02\xC0") + attribute + "\x42" + colour + text(ascii);
}

Record inputField(char attribute, char colour)
{
    return Record("\x29\x03\xC0") + attribute + "\x42" + colour + "\x41" + underscore;
}

// The same character from here up to a position.
Record repeatTo(int row, int column, char character)
{
    return "\x3C" + address(row, column) + ebcdic(character);
}

Record signOnScreen()
{
    const std::string eraseWrite("\x05\xC3", 2); // with restore keyboard and reset modified tags
    const std::string insertCursor = "\x13";

    Record record = eraseWrite;
    record += at(1, 1) + field(protectedField, "VELADEMO");
    record += at(1, 28) + colouredField(intenseField, turquoise, "Account enquiry - sign on");
    record += at(1, 70) + field(protectedField, "TERM0001");
    record += at(2, 1) + colouredField(protectedField, blue) + repeatTo(3, 1, '-');
    record += at(5, 10) + colouredField(protectedField, green, "Type your name and password, then press ENTER.");
    record += at(8, 10) + field(protectedField, "User name . . . :");
    record += at(8, 29) + inputField(openField, yellow) + insertCursor + at(8, 38) + field(protectedField);
    record += at(10, 10) + field(protectedField, "Password  . . . :");
    record += at(10, 29) + field(hiddenField) + at(10, 38) + field(protectedField);
    record += at(12, 10) + field(protectedField, "Account number  :");
    record += at(12, 29) + inputField(numericField, yellow) + at(12, 42) + field(protectedField, "(optional)");
    record += at(22, 1) + colouredField(protectedField, blue) + repeatTo(23, 1, '-');
    record += at(23, 1) + field(protectedField, "PF3=End   PF12=Cancel   CLEAR=Start again");
    record += at(24, 1) + field(intenseField);
    return record;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    const Record record = signOnScreen();
    std::ofstream out(argv[1], std::ios::binary);
    out.write(record.data(), static_cast<std::streamsize>(record.size()));
    out.close();
    if (!out) {
        std::fprintf(stderr, "%s: cannot be written\n", argv[1]);
        return 1;
    }
    return 0;
}

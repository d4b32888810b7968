// vela 3270: looks at 3270 streams, and sends them through the library.

#include "codeset_engine.h"
#include "screen_library.h"
#include "screen_print.h"
#include "screen_text.h"
#include "terbm_stream.h"
#include "vela_commands.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <iostream>

namespace
{

// What the commands have in common: how a file is to be read.
struct Options {
    std::vector<std::string> Files;
    std::string Input;
    std::string Output;
    std::string From = "local";
    std::string To = "ascii";
    std::string Size;
    std::string Locale = "C";
    std::string Codeset;
    std::string AsciiCodeset;
    bool Inbound = false;
    bool NoCommand = false;
    bool Ascii = false;
    bool Orders = false;
    bool Fields = false;
    int DoubleByteMode = 0;
};
Options options; // filled by the command line

std::string nameOf(const std::string &path)
{
    return path == "-" ? "standard input" : path;
}

// Sends all text through the engine when a code set was named.
void useCodeset()
{
    constexpr uint32_t host = 1;
    constexpr uint32_t pc = 2;
    constexpr uint32_t iso = 3;
    constexpr uint32_t mixed = 3;
    if (options.Codeset.empty()) {
        if (!options.AsciiCodeset.empty()) throw Vela_Failure("--ascii-codeset goes with --codeset");
        return;
    }
    const CodesetCatalogue catalogue = Codesets_ReadInstalled();
    const Codeset &set = Codesets_Need(catalogue, options.Codeset);
    if (set.Encoding != host) throw Vela_Failure(set.Name + " is no host code set; `vela codesets` lists them");
    const Codeset *ascii = Codesets_PartnerOf(catalogue, set);
    if (!options.AsciiCodeset.empty()) ascii = &Codesets_Need(catalogue, options.AsciiCodeset);
    if (ascii == nullptr) throw Vela_Failure(set.Name + " has no usual partner; --ascii-codeset names one");
    if (ascii->Encoding != pc && ascii->Encoding != iso && ascii->Name != "UTF-8" &&
        !ascii->Name.starts_with("QMX-euc"))
        throw Vela_Failure(ascii->Name + " does not go into an ASCII form");
    Screen_UseCodeset({Codesets_OpenConversion(set, *ascii), Codesets_OpenConversion(*ascii, set),
                       Codesets_OpenConversion(set, Codesets_Need(catalogue, "UTF-8")), set.Kind == mixed});
}

std::string readStream(const std::string &path)
{
    std::string stream = Vela_ReadFile(path);
    if (stream.empty()) throw Vela_Failure(nameOf(path) + ": is empty");
    if (stream.size() > Screen_LongestStream)
        throw Vela_Failure(nameOf(path) + ": has " + std::to_string(stream.size()) + " bytes; a stream has at most " +
                           std::to_string(Screen_LongestStream));
    const bool hasCommand = !options.Inbound && !options.NoCommand && !options.Ascii;
    if (hasCommand && options.From == "wire")
        stream[0] = static_cast<char>(Screen_CommandFromWire(static_cast<u8>(stream[0])));
    return stream;
}

// Rows and columns of "27x132"; zeros where the text is no such size.
std::pair<int, int> sizeOf(const std::string &text)
{
    int rows = 0, columns = 0;
    char behind = 0;
    if (std::sscanf(text.c_str(), "%3dx%3d%c", &rows, &columns, &behind) != 2 || rows < 1 || columns < 1 ||
        rows * columns > 16384)
        return {0, 0};
    return {rows, columns};
}

std::string checkSize(const std::string &text)
{
    return sizeOf(text).first > 0 ? "" : text + " is no screen size such as 27x132, of at most 16384 positions";
}

size_t countFields(const std::vector<u8> &map)
{
    return static_cast<size_t>(std::count_if(map.begin(), map.end(), [](u8 mark) { return mark != 0; }));
}

std::string plural(size_t count, const std::string &noun, const std::string &ending = "s")
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : ending);
}

// --- show ---

bool sameCells(const Screen_Picture &one, const Screen_Picture &other)
{
    const auto same = [](const Screen_Cell &a, const Screen_Cell &b) {
        return a.IsField == b.IsField && a.IsGraphic == b.IsGraphic && a.Code == b.Code &&
               a.Look.Colour == b.Look.Colour && a.Look.Highlight == b.Look.Highlight &&
               a.Look.CharacterSet == b.Look.CharacterSet;
    };
    return one.Cursor == other.Cursor &&
           std::equal(one.Cells.begin(), one.Cells.end(), other.Cells.begin(), other.Cells.end(), same);
}

// Whether the record's picture is still the same after a translation to the ASCII form and back.
bool survives(const std::string &stream, const Screen_Picture &picture)
{
    constexpr size_t prefixLength = 3;
    Screen_TranslateOptions way;
    way.HasCommand = !options.Inbound;
    way.HasPrefix = options.Inbound;
    way.KeepFraming = true; // what stands in the text itself has to come back
    const Screen_Translated ascii = Screen_Translate(stream, way);
    way.ToAscii = false;
    const Screen_Translated device = Screen_Translate(ascii.Stream, way);
    if (device.Code != ERZ_OK || device.Stream.empty()) return false;

    // A prefix has its way to ASCII only; on the way back it is text, and no part of the picture.
    std::string back = device.Stream;
    if (options.Inbound)
        back.replace(0, prefixLength, stream, 0, prefixLength);
    else
        back[0] = static_cast<char>(Screen_CommandFromWire(static_cast<u8>(back[0])));
    const Screen_Picture other = Screen_Decode(back, options.Inbound ? Screen_Source::Terminal : Screen_Source::Host,
                                               picture.Rows, picture.Columns);
    return other.Problem.empty() && sameCells(picture, other);
}

// Sends the record through the library and tells how it fared. Returns false when the translation failed.
bool showLibrary(const std::string &stream, const Screen_Picture &picture)
{
    if (picture.IsStructured) {
        std::cout << "Library: structured fields are not looked into\n";
        return true;
    }
    Screen_TranslateOptions there;
    there.HasCommand = !options.Inbound;
    there.HasPrefix = options.Inbound;
    const Screen_Translated ascii = Screen_Translate(stream, there);
    if (ascii.Code != ERZ_OK) {
        std::cout << "Library: " << Screen_CodeText(ascii.Code) << "\n";
        return false;
    }
    std::cout << "Library: " << plural(ascii.Stream.size(), "byte") << " in ASCII form";
    if (!options.Inbound) {
        const Screen_Scanned scanned = Screen_Scan(ascii.Stream, true);
        const size_t inserted = scanned.Code == ERZ_OK ? (scanned.Stream.size() - ascii.Stream.size()) / 3 : 0;
        std::cout << ", " << plural(countFields(scanned.Map), "field") << " on its screen map";
        if (inserted != 0) std::cout << ", " << inserted << " without an address";
        if (scanned.Code != ERZ_OK) std::cout << " up to offset " << scanned.Stream.size() << ", where the scan ends";
    }
    std::cout << "\n";
    if (!picture.HasCells || !picture.Problem.empty() || survives(stream, picture)) return true;

    std::cout << "Drawn from the device's form; the library's ASCII form does not keep this picture";
    if (picture.LongAddresses != 0)
        std::cout << " (" << plural(picture.LongAddresses, "14-bit address", "es") << ")";
    else if (picture.Graphics != 0)
        std::cout << " (" << plural(picture.Graphics, "graphic-escape character") << ")";
    std::cout << "\n";
    return true;
}

// False when the record is incomplete.
bool showStream(const std::string &path, const std::string &stream)
{
    const auto [rows, columns] = sizeOf(options.Size);
    const Screen_Picture picture =
        Screen_Decode(stream, options.Inbound ? Screen_Source::Terminal : Screen_Source::Host, rows, columns);

    std::cout << nameOf(path) << ": " << plural(stream.size(), "byte");
    if (!picture.Opening.empty()) std::cout << ", " << picture.Opening;
    if (picture.HasCells) std::cout << "; " << picture.Rows << "x" << picture.Columns;
    std::cout << "\n";
    if (options.Orders) Screen_PrintOrders(std::cout, picture);
    if (!options.Orders && picture.IsStructured) Screen_PrintOrders(std::cout, picture);
    if (!options.Orders && picture.HasCells) Screen_PrintPicture(std::cout, picture);
    if (options.Fields) Screen_PrintFields(std::cout, picture);
    const bool drawn = picture.HasCells || picture.Problem.empty();
    const bool translated = options.Orders || !drawn || showLibrary(stream, picture);
    std::cout.flush();

    if (!picture.Problem.empty())
        std::cerr << "vela: " << nameOf(path) << ": understood up to offset " << picture.ProblemOffset << ": "
                  << picture.Problem << "\n";
    return translated && picture.Problem.empty();
}

void show()
{
    useCodeset();
    bool complete = true;
    bool first = true;
    for (const std::string &path : options.Files) {
        try {
            const std::string stream = readStream(path);
            if (!first) std::cout << "\n";
            first = false;
            complete = showStream(path, stream) && complete;
        } catch (const Vela_Failure &failure) {
            std::cout.flush();
            std::cerr << "vela: " << failure.what() << "\n";
            complete = false;
        }
    }
    if (!complete) throw Vela_Exit{1};
}

// --- translate ---

void translate()
{
    useCodeset();
    const std::string &path = options.Input;
    Screen_TranslateOptions way;
    way.ToAscii = options.To == "ascii";
    way.HasCommand = !options.Inbound && !options.NoCommand;
    way.HasPrefix = options.Inbound;
    way.DoubleByteMode = options.DoubleByteMode;
    options.Ascii = !way.ToAscii; // an ASCII source has no wire codes
    const Screen_Translated result = Screen_Translate(readStream(path), way);
    if (result.Code != ERZ_OK) throw Vela_Failure(nameOf(path) + ": " + Screen_CodeText(result.Code));
    Vela_WriteFile(options.Output, result.Stream);
}

// --- scan ---

// Offsets in the rebuilt stream of the addresses that the scan put in. An inserted one stands where the old stream has
// the order that it addresses, so the first byte tells.
std::vector<size_t> insertedAddresses(const std::string &before, const std::string &after)
{
    std::vector<size_t> offsets;
    size_t at = 0;
    for (size_t now = 0; now < after.size(); ++now) {
        if (at < before.size() && before[at] == after[now]) {
            ++at;
            continue;
        }
        offsets.push_back(now);
        now += 2;
    }
    return offsets;
}

int positionOf(const std::string &stream, size_t offset)
{
    int position = 0;
    for (size_t at = offset + 1; at < offset + 3; ++at) {
        const u8 character = static_cast<u8>(stream[at]);
        const u8 *const found = std::find(TerBM_BinaryToGraphic, TerBM_BinaryToGraphic + 64, character);
        position = position * 64 + static_cast<int>(found - TerBM_BinaryToGraphic);
    }
    return position;
}

void scan()
{
    constexpr int columns = 80;
    if (std::setlocale(LC_CTYPE, options.Locale.c_str()) == nullptr)
        throw Vela_Failure("there is no locale " + options.Locale);
    useCodeset();
    const std::string &path = options.Input;
    std::string stream = readStream(path);
    if (!options.Ascii) {
        Screen_TranslateOptions way;
        way.HasCommand = !options.NoCommand;
        const Screen_Translated ascii = Screen_Translate(stream, way);
        if (ascii.Code != ERZ_OK) throw Vela_Failure(nameOf(path) + ": " + Screen_CodeText(ascii.Code));
        stream = ascii.Stream;
    }

    const Screen_Scanned result = Screen_Scan(stream, true);
    const std::vector<size_t> inserted = insertedAddresses(stream, result.Stream);
    std::cout << nameOf(path) << ": " << plural(stream.size(), "byte") << " in ASCII form, "
              << plural(countFields(result.Map), "field") << "\n";
    for (size_t at = 0; at < result.Map.size(); ++at)
        if (result.Map[at] != TERBM_MAP_NOTHING)
            std::cout << "  " << Screen_PlaceText(static_cast<int>(at), columns) << "  "
                      << (result.Map[at] == TERBM_MAP_DOUBLE_BYTE ? "double-byte" : "single-byte") << "\n";
    std::cout << (inserted.empty() ? "No address was missing" : plural(inserted.size(), "address", "es") + " inserted")
              << "; " << plural(result.Stream.size(), "byte") << "\n";
    for (const size_t offset : inserted)
        std::cout << "  offset " << offset << "  SBA " << Screen_PlaceText(positionOf(result.Stream, offset), columns)
                  << "\n";
    if (!options.Output.empty()) Vela_WriteFile(options.Output, result.Stream);
    if (result.Code == ERZ_OK) return;

    std::cout.flush();
    throw Vela_Failure(nameOf(path) + ": the scan ended at offset " +
                       std::to_string(result.Stream.size() - 3 * inserted.size()) +
                       " of the ASCII form: " + Screen_CodeText(result.Code));
}

// --- The command line ---

void addFrom(CLI::App *command)
{
    command->add_option("--from", options.From, "Command codes of a host record: local, or wire (F1, F5, 7E ...)")
        ->check(CLI::IsMember({"local", "wire"}));
}

void addCodeset(CLI::App *command)
{
    command->add_option("--codeset", options.Codeset,
                        "Host code set of the text, such as QMX-930; without it 037, by a table of the program's own");
    command->add_option("--ascii-codeset", options.AsciiCodeset,
                        "Code set of the text in the ASCII form; the usual partner of --codeset (QMX-943 of QMX-930)");
}

} // namespace

void Vela_Add3270(CLI::App &Program)
{
    CLI::App *const group = Vela_AddGroup(Program, "3270", "Show, translate and scan 3270 data streams");

    CLI::App *const showing = group->add_subcommand("show", "Draw the screen that a record makes");
    showing->add_option("file", options.Files, "Host records; - is standard input")->required();
    showing->add_flag("--inbound", options.Inbound, "The records are a terminal's: AID, cursor address, fields");
    addFrom(showing);
    showing
        ->add_option("--size", options.Size, "Rows and columns, such as 27x132; the smallest that holds all addresses")
        ->check(CLI::Validator(checkSize, "SIZE"));
    showing->add_flag("--fields", options.Fields, "List the fields too");
    showing->add_flag("--orders", options.Orders, "List the orders, one a line, instead of the picture");
    addCodeset(showing);
    showing->callback(show);

    CLI::App *const translating = group->add_subcommand("translate", "Turn a stream from one form into the other");
    translating->add_option("--to", options.To, "The form to make: ascii or ebcdic")
        ->required()
        ->check(CLI::IsMember({"ascii", "ebcdic"}));
    translating->add_option("in", options.Input, "The stream; - is standard input")->required();
    translating->add_option("out", options.Output, "Where the translation goes; - is standard output")->required();
    translating->add_flag("--inbound", options.Inbound, "A terminal's stream: AID, cursor address, fields");
    translating->add_flag("--no-command", options.NoCommand, "The stream begins with an order or text");
    addFrom(translating);
    translating
        ->add_option("--double-byte-mode", options.DoubleByteMode,
                     "Framing of double-byte text: 1 taken off behind the conversion, 2 put on before it, 3 both")
        ->check(CLI::Range(1, 3));
    addCodeset(translating);
    translating->callback(translate);

    CLI::App *const scanning = group->add_subcommand("scan", "Print the screen map and the addresses that fields lack");
    scanning->add_option("file", options.Input, "A host record; - is standard input")->required();
    scanning->add_flag("--ascii", options.Ascii, "The file is in the ASCII form already");
    scanning->add_flag("--no-command", options.NoCommand, "The stream begins with an order or text");
    addFrom(scanning);
    scanning->add_option("--locale", options.Locale, "Locale whose text the ASCII form holds, for its widths; C");
    scanning->add_option("--output", options.Output, "Write the stream with its addresses, in the ASCII form");
    addCodeset(scanning);
    scanning->callback(scan);
}

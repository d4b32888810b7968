// vela convert: text from one code set to another, files or standard input to standard output.
//
// The engine remembers nothing between calls, so each block that it gets must end between two characters, and outside a
// double-byte run. Where a block really ends is asked of the engine itself: what it stops at in the last few bytes of a
// block goes in front of the next one. Host text is cut outside its runs by looking for shift bytes; a run longer than
// a block gets a shift-in of its own at the cut, a shift-out behind it, and a host target loses that pair again.

#include "codeset_engine.h"
#include "supos_conversion.h"
#include "vela_commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr size_t blockSize = 1 << 18;
constexpr size_t longestCharacter = 4;
constexpr size_t longestGrowth = 4; // bytes of target for one of source
constexpr off_t longFile = 8 << 20;
constexpr int barWidth = 40;
constexpr char shiftOut = 0x0E;
constexpr char shiftIn = 0x0F;

enum : uint32_t { HOST = 1, PC, ISO, UCS2, UTF8 };

struct Options {
    std::string From, To;
    std::vector<std::string> Files;
    bool Replace = false;
};

struct Conversion {
    uint32_t Cd;
    bool CutsRuns; // the source has double-byte runs
    bool JoinsRuns; // and so has the target
    std::string Replacement; // what stands for a bad byte, in the target's code set; empty: stop there
};

// One input on its way.
struct Stream {
    std::string Name;
    FILE *File;
    off_t Size; // 0: not known, or not worth a bar
    uint64_t Offset = 0; // of the first byte of Pending
    std::string Pending; // read and not yet converted
    bool InRun = false; // Pending goes on inside a run that was cut
    bool EndsInCut = false; // the last output ended with the shift-in of a cut
};

std::string replacementFor(const Codeset &set)
{
    if (set.Encoding == UTF8) return "\xEF\xBF\xBD";
    if (set.Encoding == UCS2) return "\xFD\xFF";
    if (set.Encoding == HOST) return "\x3F";
    return set.Encoding == PC ? "\x7F" : "\x1A";
}

Conversion openConversion(const Options &options)
{
    const CodesetCatalogue catalogue = Codesets_ReadInstalled();
    const Codeset &from = Codesets_Need(catalogue, options.From);
    const Codeset &to = Codesets_Need(catalogue, options.To);

    Conversion conversion;
    conversion.Cd = Codesets_OpenConversion(from, to);
    conversion.CutsRuns = from.Encoding == HOST && from.Kind == 3;
    conversion.JoinsRuns = conversion.CutsRuns && to.Encoding == HOST && to.Kind == 3;
    if (options.Replace) conversion.Replacement = replacementFor(to);
    return conversion;
}

void put(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        throw Vela_Failure(std::string("standard output: ") + std::strerror(errno));
}

// The length of the longest beginning of host text that ends outside a run, or, when it is all one run, between two of
// its characters; then Cut is set.
size_t cutHost(const std::string &text, bool inRun, bool *cut)
{
    size_t outside = 0;
    size_t i = 0;
    while (i < text.size()) {
        if (!inRun) {
            outside = i;
            if (text[i] != shiftOut) {
                ++i;
            } else if (i + 1 == text.size()) {
                return outside;
            } else {
                inRun = text[i + 1] != shiftIn;
                i += inRun ? 1 : 2;
            }
            continue;
        }
        if (text[i] == shiftIn) {
            inRun = false;
            ++i;
        } else if (i + 1 < text.size()) {
            i += 2;
        } else {
            break;
        }
    }
    if (!inRun) return i;
    *cut = outside == 0;
    return *cut ? i : outside;
}

std::string hex(const std::string &bytes)
{
    std::string text;
    char digits[4];
    for (const char byte : bytes.substr(0, longestCharacter)) {
        std::snprintf(digits, sizeof digits, " %02X", static_cast<unsigned char>(byte));
        text += digits;
    }
    return text;
}

struct Outcome {
    std::string Text;
    size_t Used; // of the source
    int32_t Code;
};

Outcome convert(const Conversion &conversion, const std::string &source)
{
    Outcome outcome;
    outcome.Text.resize(source.size() * longestGrowth + 64);
    const char *in = source.data();
    char *out = outcome.Text.data();
    uint32_t length = static_cast<uint32_t>(source.size());
    uint32_t room = static_cast<uint32_t>(outcome.Text.size());
    outcome.Code = SupOS_IcnvCode(conversion.Cd, &in, &length, &out, &room);
    outcome.Text.resize(source.empty() ? 0 : outcome.Text.size() - room);
    outcome.Used = outcome.Code == ICNV_RC_OK ? source.size() : static_cast<size_t>(in - source.data());
    return outcome;
}

// Says what is wrong, or puts the replacement and steps over one byte.
void meetBadByte(const Conversion &conversion, Stream *stream, bool atEnd)
{
    const std::string place = stream->Name + ": byte " + std::to_string(stream->Offset) + ":";
    if (conversion.Replacement.empty()) {
        std::fflush(stdout);
        const bool partial = atEnd && stream->Pending.size() < longestCharacter;
        throw Vela_Failure(place +
                           (stream->Pending.empty() ? " the text ends inside a double-byte run"
                            : partial               ? hex(stream->Pending) + " is the beginning of a character"
                                                    : hex(stream->Pending) + " is no character") +
                           " (--replace goes on)");
    }
    put(conversion.Replacement);
    stream->InRun = false;
    if (stream->Pending.empty()) return;
    stream->Pending.erase(0, 1);
    ++stream->Offset;
}

// The run that was cut ends just behind the cut.
void leaveCutRun(Stream *stream)
{
    if (stream->EndsInCut) put(std::string(1, shiftIn));
    stream->EndsInCut = false;
    stream->InRun = false;
    stream->Pending.erase(0, 1);
    ++stream->Offset;
}

// Converts what is pending as far as it goes. AtEnd: nothing follows it.
void convertPending(const Conversion &conversion, Stream *stream, bool atEnd)
{
    if (stream->InRun && stream->Pending.starts_with(shiftIn)) leaveCutRun(stream);
    while (!stream->Pending.empty()) {
        const bool continued = stream->InRun;
        bool cut = false;
        size_t take = stream->Pending.size();
        if (conversion.CutsRuns && !atEnd) take = cutHost(stream->Pending, continued, &cut);
        if (take == 0) return;
        std::string source = (continued ? std::string(1, shiftOut) : "") + stream->Pending.substr(0, take);
        if (cut) source += shiftIn;

        Outcome outcome = convert(conversion, source);
        if (outcome.Code == ICNV_RC_NOTABLE) throw Vela_Failure("this pair has a table and no routine");
        if (conversion.JoinsRuns && stream->EndsInCut) { // the run goes on: neither shift is needed
            if (outcome.Text.starts_with(shiftOut))
                outcome.Text.erase(0, 1);
            else
                outcome.Text.insert(0, 1, shiftIn);
            stream->EndsInCut = false;
        }
        if (conversion.JoinsRuns && cut && outcome.Code == ICNV_RC_OK && outcome.Text.ends_with(shiftIn)) {
            outcome.Text.pop_back();
            stream->EndsInCut = true;
        }
        put(outcome.Text);

        size_t used = outcome.Used - (continued && outcome.Used > 0 ? 1 : 0);
        if (used > take) used = take;
        stream->Pending.erase(0, used);
        stream->Offset += used;
        stream->InRun = cut && outcome.Code == ICNV_RC_OK;
        if (outcome.Code == ICNV_RC_OK) {
            if (!atEnd) return;
            continue;
        }
        if (!atEnd && stream->Pending.size() < longestCharacter && !conversion.CutsRuns) return;
        meetBadByte(conversion, stream, atEnd);
    }
}

void showProgress(const Stream &stream, off_t done)
{
    static int shown = -1;
    const int percent = static_cast<int>(done * 100 / stream.Size);
    if (percent == shown) return;
    shown = percent;
    const int filled = percent * barWidth / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %3d %%", filled, "########################################", barWidth - filled,
                 "", percent);
    if (percent == 100) std::fprintf(stderr, "\r%*s\r", barWidth + 9, "");
}

void convertStream(const Conversion &conversion, Stream *stream)
{
    const std::unique_ptr<char[]> block(new char[blockSize]);
    off_t done = 0;
    for (;;) {
        const size_t got = std::fread(block.get(), 1, blockSize, stream->File);
        if (std::ferror(stream->File)) throw Vela_Failure(stream->Name + ": " + std::strerror(errno));
        if (got == 0) break;
        stream->Pending.append(block.get(), got);
        convertPending(conversion, stream, false);
        done += static_cast<off_t>(got);
        if (stream->Size > 0 && done <= stream->Size) showProgress(*stream, done);
    }
    if (stream->InRun && stream->Pending.empty()) meetBadByte(conversion, stream, true);
    convertPending(conversion, stream, true);
}

void convertFile(const Conversion &conversion, const std::string &name)
{
    Stream stream;
    stream.Name = name == "-" ? "standard input" : name;
    stream.File = name == "-" ? stdin : std::fopen(name.c_str(), "rb");
    if (stream.File == nullptr) throw Vela_Failure(name + ": " + std::strerror(errno));
    struct stat status;
    const bool regular = fstat(fileno(stream.File), &status) == 0 && S_ISREG(status.st_mode);
    stream.Size = regular && status.st_size >= longFile && isatty(2) && !isatty(1) ? status.st_size : 0;
    convertStream(conversion, &stream);
    if (stream.File != stdin) std::fclose(stream.File);
}

void run(const Options &options)
{
    const Conversion conversion = openConversion(options);
    if (options.Files.empty()) convertFile(conversion, "-");
    for (const std::string &name : options.Files) convertFile(conversion, name);
    SupOS_IcnvClose(conversion.Cd);
}

} // namespace

void Vela_AddConvert(CLI::App &Program)
{
    static Options options;
    CLI::App *const command = Program.add_subcommand("convert", "Convert text from one code set to another");
    command->add_option("-f,--from", options.From, "Code set of the input: 037, QMX-037, or a number")->required();
    command->add_option("-t,--to", options.To, "Code set of the output")->required();
    command->add_flag("--replace", options.Replace, "Put a substitute for bad input and go on");
    command->add_option("file", options.Files, "Files in their order; none or - is standard input");
    command->callback([] { run(options); });
}

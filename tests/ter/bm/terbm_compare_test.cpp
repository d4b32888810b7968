// Scan and translation against the reference, on seeded streams: well-formed ones, damaged ones, plain noise, and each
// of them cut off at every byte. Streams lie in blocks of exactly their size, so a sanitizer sees one byte too far.

#include <gtest/gtest.h>

#include "capture.h"
#include "terbm_support.h"

#include <random>

namespace
{

// A failure names the seed of its stream.
struct Dice {
    std::mt19937 Engine;
    explicit Dice(u32 seed) : Engine(seed) {}
    u32 operator()(u32 sides) { return static_cast<u32>(Engine() % sides); }
    u8 byte() { return static_cast<u8>(Engine()); }
    template <class List>
    auto pick(const List &list)
    {
        return list[(*this)(static_cast<u32>(list.size()))];
    }
};

// The bytes of one form.
struct Form {
    bool Ebcdic;
    Ter_Bytes Commands;
    Ter_Bytes Orders; // GE PT NL SFE SBA EUA IC RA MF SF SA
};
const Form ascii = {false, Ter_Hex("31 32 35 36 3D 3E 3F 88"), Ter_Hex("08 09 0A 10 11 12 13 14 1A 1D 1F")};
const Form ebcdic = {true, Ter_Hex("01 02 05 06 0D 0E 0F 11 F5 7E F1"), Ter_Hex("08 05 15 29 11 12 13 3C 2C 1D 28")};

void appendAddress(Ter_Bytes *stream, Dice &dice, const Form &form)
{
    if (dice(12) == 0) {
        stream->push_back(dice.byte());
        stream->push_back(dice.byte());
        return;
    }
    const u32 address = dice(3) == 0 ? dice(4096) : dice(120);
    for (const u32 value : {address >> 6, address & 63}) {
        const u8 character = Ref_BinaryToGraphic().at(value);
        stream->push_back(form.Ebcdic ? Ref_AsciiToEbcdic().at(character) : character);
    }
}

void appendPair(Ter_Bytes *stream, Dice &dice)
{
    static const Ter_Bytes types = Ter_Hex("43 43 43 C0 41 42 45 46 00 C1 FE");
    static const Ter_Bytes values = Ter_Hex("38 F8 F8 38 00 F1 F2 60 31");
    stream->push_back(dice.pick(types));
    stream->push_back(dice(8) == 0 ? dice.byte() : dice.pick(values));
}

// Clean text has no control bytes, of which most end a scan where they stand behind an order.
void appendText(Ter_Bytes *stream, Dice &dice, bool clean = false)
{
    static const Ter_Bytes odd = Ter_Hex("00 01 04 07 0B 0C 0D 0E 0F 19 1C 1E 1B 15 16 37 27 7F 80 FF 0E 0F");
    for (u32 count = dice(dice(20) == 0 ? 300 : 12); count > 0; --count)
        stream->push_back(!clean && dice(10) == 0 ? dice.pick(odd) : static_cast<u8>(0x40 + dice(0xC0)));
}

void appendOrder(Ter_Bytes *stream, Dice &dice, const Form &form)
{
    const u32 kind = dice(11);
    stream->push_back(form.Orders[kind]);
    switch (kind) {
    case 0: // GE
    case 9: stream->push_back(dice.byte()); break; // SF
    case 3: // SFE
    case 8: { // MF
        const u32 pairs = dice(30) == 0 ? dice(256) : dice(4);
        stream->push_back(static_cast<u8>(pairs));
        for (u32 i = 0; i < pairs; ++i) appendPair(stream, dice);
        break;
    }
    case 4: // SBA
    case 5: appendAddress(stream, dice, form); break; // EUA
    case 7: // RA
        appendAddress(stream, dice, form);
        if (dice(3) == 0) stream->push_back(0x08);
        stream->push_back(dice.byte());
        break;
    case 10: appendPair(stream, dice); break; // SA
    }
}

// Well-formed, now and then damaged in a byte, cut short, or noise altogether.
Ter_Bytes makeStream(Dice &dice, const Form &form)
{
    Ter_Bytes stream;
    if (dice(10) == 0) {
        for (u32 count = dice(60); count > 0; --count) stream.push_back(dice(2) ? dice.byte() : dice.pick(form.Orders));
        return stream;
    }
    if (dice(4) != 0) {
        stream.push_back(dice.pick(form.Commands));
        stream.push_back(0xC3);
    }
    for (u32 count = dice(12); count > 0; --count) {
        if (dice(3) == 0)
            appendText(&stream, dice);
        else
            appendOrder(&stream, dice, form);
    }
    if (!stream.empty() && dice(3) == 0) stream[dice(static_cast<u32>(stream.size()))] = dice.byte();
    if (!stream.empty() && dice(3) == 0) stream.resize(dice(static_cast<u32>(stream.size())) + 1);
    return stream;
}

Ter_Bytes makeMap(Dice &dice)
{
    static const Ter_Bytes kinds = Ter_Hex("10 14 10 14 77");
    Ter_Bytes map = Ter_EmptyMap();
    for (u32 fields = dice(20); fields > 0; --fields) map[dice(2) ? dice(130) : dice(4096)] = dice.pick(kinds);
    return map;
}

void compareScan(const Ter_Bytes &stream, const Ter_Bytes *map, bool insert, u32 failAt, const std::string &which)
{
    Ter_Bytes ourMap = map ? *map : Ter_Bytes();
    Ter_Bytes theirMap = ourMap;
    const Ter_ScanResult ours = Ter_Scan(stream, map ? &ourMap : nullptr, insert ? 1 : 0, failAt);
    const Ref_Scan theirs = Ref_ParseTIOA(stream, map ? &theirMap : nullptr, insert, failAt);
    ASSERT_EQ(ours.Code, theirs.Code) << which;
    ASSERT_EQ(ours.Stream, theirs.Stream) << which;
    ASSERT_EQ(ours.Replaced, theirs.Rebuilt) << which;
    ASSERT_EQ(ours.Asked.size(), theirs.Allocations) << which;
    ASSERT_EQ(ours.Released, theirs.Releases) << which;
    ASSERT_EQ(ours.Live, 1u) << which;
    ASSERT_TRUE(ourMap == theirMap) << which;
}

// Conversions of every temper; each looks at its arguments alone, so both sides get the same.
Ref_Convert makeConvert(u32 kind)
{
    return [kind](u32 descriptor, const Ter_Bytes &text, u16 size) -> Ref_Converted {
        Ref_Converted out = {0, text};
        switch (kind) {
        case 0: break; // as it is
        case 1: // framed, as a double-byte conversion answers
            out.Text.insert(out.Text.begin(), 0x0E);
            out.Text.push_back(0x0F);
            break;
        case 2: // one byte more for each
            for (const u8 byte : text) out.Text.push_back(static_cast<u8>(byte ^ descriptor));
            break;
        case 3: out.Text.resize(text.size() / 3); break;
        case 4: // refuses some texts
            if (text.front() % 8 == 3) out.Code = 0x1D200000u + text.front();
            break;
        case 5: out.Text.resize(text.size() * 6, 0x0F); break; // too much, whatever it was told
        case 6: // keeps to its room
            if (out.Text.size() > size) out = {77, {}};
            break;
        case 7: out.Text.assign(text.size() % 5, 0x0F); break;
        }
        return out;
    };
}

void compareTranslation(const Ter_Bytes &stream, const Ref_Arguments &arguments, const Ref_Convert &convert,
                        const std::string &which)
{
    const Ter_TranslateResult ours = Ter_Translate(stream, arguments, convert, stream.size() * 5 + 5);
    const Ref_Translation theirs = Ref_Translate(stream, arguments, convert);
    ASSERT_EQ(ours.Code, theirs.Code) << which;
    ASSERT_EQ(ours.Length, theirs.Length) << which;
    ASSERT_EQ(ours.Asked, theirs.Asked) << which;
    ASSERT_EQ(ours.Result, theirs.Result) << which;
    if (arguments.Descriptor != -2 || ours.Code != 0) {
        ASSERT_EQ(ours.Source, theirs.Source) << which;
    }
    ASSERT_EQ(ours.Replaced, theirs.Code == 0 && arguments.Descriptor != -2) << which;
    ASSERT_EQ(ours.Live, ours.Replaced ? 2u : 1u) << which;
}

Ref_Arguments makeArguments(Dice &dice, bool sourceIsEbcdic, i32 mode, const Ter_Bytes *map)
{
    Ref_Arguments arguments;
    arguments.HasCommand = static_cast<i32>(dice(5) == 0 ? dice(3) : 1);
    arguments.NoPrefix = dice(3) != 0;
    arguments.SourceIsEbcdic = sourceIsEbcdic;
    arguments.Descriptor = dice(4) == 0 ? -2 : 9;
    arguments.DoubleByteMode = mode;
    arguments.Map = map;
    arguments.FailedAllocation = dice(20) == 0 ? 1 + dice(3) : 0;
    return arguments;
}

std::string name(u32 seed, const std::string &more = "")
{
    return "seed " + std::to_string(seed) + more;
}

// Runs a comparison with standard error out of the way: failing streams leave their symptoms there.
template <class Run>
void quietly(Run &&run)
{
    const int saved = dup(2);
    ASSERT_NE(freopen("/dev/null", "w", stderr), nullptr);
    run();
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
}

} // namespace

TEST(TerBM_ParseTIOA, AgreesWithTheReference)
{
    for (u32 seed = 1; seed <= 120000; ++seed) {
        Dice dice(seed);
        const Ter_Bytes map = makeMap(dice);
        compareScan(makeStream(dice, ascii), dice(4) ? &map : nullptr, dice(4) != 0, dice(15) ? 0 : 1 + dice(2),
                    name(seed));
        if (HasFatalFailure()) return;
    }
}

TEST(TerBM_ParseTIOA, AgreesWithTheReferenceOnLongStreams)
{
    for (u32 seed = 1; seed <= 60; ++seed) {
        Dice dice(seed);
        const Ter_Bytes map = makeMap(dice);
        Ter_Bytes stream = Ter_Hex("35 C3");
        const size_t wanted = dice(4) ? dice(20000) : 60000 + dice(5536);
        while (stream.size() < wanted) dice(3) ? appendOrder(&stream, dice, ascii) : appendText(&stream, dice, true);
        if (stream.size() > 65535) stream.resize(65535);
        compareScan(stream, &map, true, dice(3) ? 0 : 1 + dice(9), name(seed));
        if (HasFatalFailure()) return;
    }
}

TEST(TerBM_ParseTIOA, AgreesWithTheReferenceCutAtEveryByte)
{
    for (u32 seed = 1; seed <= 400; ++seed) {
        Dice dice(seed);
        Ter_Bytes stream = makeStream(dice, ascii);
        while (!stream.empty()) {
            stream.pop_back();
            const Ter_Bytes map = Ter_EmptyMap();
            compareScan(stream, &map, true, 0, name(seed, " cut to " + std::to_string(stream.size())));
            if (HasFatalFailure()) return;
        }
    }
}

// Each direction and each mode has a hundred thousand streams of its own.
class TerBM_TranslateModes : public testing::TestWithParam<std::tuple<bool, int>>
{
};

TEST_P(TerBM_TranslateModes, AgreeWithTheReference)
{
    const bool sourceIsEbcdic = std::get<0>(GetParam());
    const int mode = std::get<1>(GetParam());
    quietly([&] {
        for (u32 seed = 1; seed <= 100000; ++seed) {
            Dice dice(seed * 31 + static_cast<u32>(mode) * 7 + sourceIsEbcdic);
            const Ter_Bytes map = makeMap(dice);
            const Ref_Arguments arguments = makeArguments(dice, sourceIsEbcdic, mode, dice(3) ? &map : nullptr);
            const Ter_Bytes stream = makeStream(dice, sourceIsEbcdic ? ebcdic : ascii);
            compareTranslation(stream, arguments, makeConvert(dice(8)), name(seed));
            if (HasFatalFailure()) return;
        }
    });
}

TEST_P(TerBM_TranslateModes, AgreeWithTheReferenceOnLongStreams)
{
    const bool sourceIsEbcdic = std::get<0>(GetParam());
    const int mode = std::get<1>(GetParam());
    const Form &form = sourceIsEbcdic ? ebcdic : ascii;
    quietly([&] {
        for (u32 seed = 1; seed <= 40; ++seed) {
            Dice dice(seed + 1000);
            const Ter_Bytes map = makeMap(dice);
            Ref_Arguments arguments = makeArguments(dice, sourceIsEbcdic, mode, &map);
            Ter_Bytes stream;
            // Around the lengths where the work buffers change, and long ones.
            const size_t wanted = dice(2) ? 13000 + dice(4000) : dice(65535);
            while (stream.size() < wanted) dice(2) ? appendOrder(&stream, dice, form) : appendText(&stream, dice);
            stream.resize(wanted);
            compareTranslation(stream, arguments, makeConvert(dice(8)), name(seed));
            if (HasFatalFailure()) return;
        }
    });
}

TEST_P(TerBM_TranslateModes, AgreeWithTheReferenceCutAtEveryByte)
{
    const bool sourceIsEbcdic = std::get<0>(GetParam());
    const int mode = std::get<1>(GetParam());
    quietly([&] {
        for (u32 seed = 1; seed <= 200; ++seed) {
            Dice dice(seed + 5000);
            const Ter_Bytes map = makeMap(dice);
            const Ref_Arguments arguments = makeArguments(dice, sourceIsEbcdic, mode, &map);
            Ter_Bytes stream = makeStream(dice, sourceIsEbcdic ? ebcdic : ascii);
            const Ref_Convert convert = makeConvert(dice(8));
            while (!stream.empty()) {
                stream.pop_back();
                compareTranslation(stream, arguments, convert, name(seed, " cut to " + std::to_string(stream.size())));
                if (HasFatalFailure()) return;
            }
        }
    });
}

INSTANTIATE_TEST_SUITE_P(All, TerBM_TranslateModes, testing::Combine(testing::Bool(), testing::Values(0, 1, 2, 3, 4)),
                         [](const testing::TestParamInfo<std::tuple<bool, int>> &row) {
                             return std::string(std::get<0>(row.param) ? "Ebcdic" : "Ascii") + "Mode" +
                                    std::to_string(std::get<1>(row.param));
                         });

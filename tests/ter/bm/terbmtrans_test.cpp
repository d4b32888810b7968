// Translation: commands, prefix, orders, text in every mode of double-byte framing, failures and what they leave.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "capture.h"
#include "terbm_support.h"

namespace
{

using testing::AllOf;
using testing::HasSubstr;

constexpr u32 conversionFailure = 0x1D200005;

// What the conversion was asked, and the text that it answers.
struct Call {
    u32 Descriptor;
    Ter_Bytes Text;
    u16 Size;
};
std::vector<Call> calls;

Ref_Convert answering(const Ter_Bytes &text)
{
    return [text](u32 descriptor, const Ter_Bytes &given, u16 size) {
        calls.push_back({descriptor, given, size});
        return Ref_Converted{0, text};
    };
}

Ref_Converted recordingIdentity(u32 descriptor, const Ter_Bytes &text, u16 size)
{
    calls.push_back({descriptor, text, size});
    return {0, text};
}

Ref_Converted failing(u32, const Ter_Bytes &text, u16)
{
    return {conversionFailure, Ter_Bytes(text.begin(), text.begin() + 1)};
}

Ref_Arguments toAscii(i32 mode = 1)
{
    Ref_Arguments arguments;
    arguments.DoubleByteMode = mode;
    return arguments;
}

Ref_Arguments toEbcdic(i32 mode = 1)
{
    Ref_Arguments arguments = toAscii(mode);
    arguments.SourceIsEbcdic = 0;
    return arguments;
}

Ref_Arguments withCommand(Ref_Arguments arguments)
{
    arguments.HasCommand = 1;
    return arguments;
}

Ter_Bytes mapWith(u32 position, u8 value)
{
    Ter_Bytes map = Ter_EmptyMap();
    map.at(position) = value;
    return map;
}

} // namespace

// --- Commands ---

TEST(TerBM_Translate, TranslatesEachCommandOfAnEbcdicSource)
{
    const Ter_Bytes local = Ter_Hex("01 02 05 06 0D 0E 0F 11");
    const Ter_Bytes ascii = Ter_Hex("31 32 35 36 3D 3E 3F 88");
    for (size_t i = 0; i < local.size(); ++i) {
        // The WCC goes through the conversion like text.
        const Ter_TranslateResult result = Ter_Translate({local[i], 0xC3}, withCommand(toAscii()), answering({0x99}));
        EXPECT_EQ(result.Code, ERZ_OK);
        EXPECT_EQ(result.Result, Ter_Bytes({ascii[i], 0x99}));
    }
}

TEST(TerBM_Translate, TranslatesEachCommandOfAnAsciiSource)
{
    const Ter_Bytes ascii = Ter_Hex("31 32 35 36 3D 3E 3F 88");
    const Ter_Bytes written = Ter_Hex("F1 F2 F5 F6 7E 6E 6F F3");
    const bool wcc[] = {true, false, true, false, true, false, false, false};
    for (size_t i = 0; i < ascii.size(); ++i) {
        calls.clear();
        const Ter_TranslateResult result =
            Ter_Translate({ascii[i], 0x43, 0x44}, withCommand(toEbcdic()), recordingIdentity);
        EXPECT_EQ(result.Code, ERZ_OK);
        EXPECT_EQ(result.Result, Ter_Bytes({written[i], 0x43, 0x44}));
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].Text, wcc[i] ? Ter_Hex("44") : Ter_Hex("43 44")) << "the WCC is copied with the command";
    }
}

TEST(TerBM_Translate, TakesACommandWithoutItsWcc)
{
    EXPECT_EQ(Ter_Translate(Ter_Hex("31"), withCommand(toEbcdic())).Result, Ter_Hex("F1"));
    EXPECT_EQ(Ter_Translate(Ter_Hex("05"), withCommand(toAscii())).Result, Ter_Hex("35"));
}

TEST(TerBM_Translate, LeavesAFirstByteThatIsNoCommand)
{
    calls.clear();
    EXPECT_EQ(Ter_Translate(Ter_Hex("F1 C3 C1"), withCommand(toAscii()), recordingIdentity).Result,
              Ter_Hex("F1 C3 C1"));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("F1 C3 C1")) << "it goes on as text";
    EXPECT_EQ(Ter_Translate(Ter_Hex("41 C3"), withCommand(toEbcdic())).Result, Ter_Hex("41 C3"));
}

TEST(TerBM_Translate, LooksForACommandByTheValueOneOnly)
{
    for (const i32 flag : {0, 2, -1}) {
        Ref_Arguments arguments = toEbcdic();
        arguments.HasCommand = flag;
        EXPECT_EQ(Ter_Translate(Ter_Hex("31 43"), arguments).Result, Ter_Hex("31 43")) << flag;
    }
}

TEST(TerBM_Translate, ReadsNoCommandFromAnEmptyStream)
{
    EXPECT_EQ(Ter_Translate({}, withCommand(toAscii())).Code, ERZ_OK);
    EXPECT_EQ(Ter_Translate({}, withCommand(toEbcdic())).Length, 0);
}

TEST(TerBM_Translate, TakesAnEmptyStreamThroughAnEmptyAllocation)
{
    const Ter_TranslateResult result = Ter_Translate({}, toAscii());
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Length, 0);
    EXPECT_TRUE(result.Replaced);
    EXPECT_EQ(result.Asked, std::vector<u32>({5, 3, 0}));
}

// --- Prefix ---

TEST(TerBM_Translate, TranslatesAnInboundPrefix)
{
    Ref_Arguments arguments = toAscii();
    arguments.NoPrefix = 0;
    calls.clear();
    EXPECT_EQ(Ter_Translate(Ter_Hex("7D C1 50 C1"), arguments, recordingIdentity).Result, Ter_Hex("27 41 26 C1"));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("C1"));
    EXPECT_EQ(Ter_Translate(Ter_Hex("6C"), arguments).Result, Ter_Hex("25")) << "PA1 alone";
    EXPECT_EQ(Ter_Translate(Ter_Hex("6C C1"), arguments).Result, Ter_Hex("25 41"));
}

TEST(TerBM_Translate, TranslatesNoPrefixOfOtherStreams)
{
    Ref_Arguments ascii = toEbcdic();
    ascii.NoPrefix = 0;
    EXPECT_EQ(Ter_Translate(Ter_Hex("27 41 26 C1"), ascii).Result, Ter_Hex("27 41 26 C1"));
    Ref_Arguments host = withCommand(toAscii());
    host.NoPrefix = 0;
    EXPECT_EQ(Ter_Translate(Ter_Hex("05 C1 50 C1"), host).Result, Ter_Hex("35 C1 50 C1"));
    Ref_Arguments other = toAscii();
    other.NoPrefix = 2;
    EXPECT_EQ(Ter_Translate(Ter_Hex("7D C1 50 C1"), other).Result, Ter_Hex("7D C1 50 C1"));
}

// --- Orders ---

TEST(TerBM_Translate, TranslatesOrdersAndLeavesTextToTheConversion)
{
    calls.clear();
    const Ter_TranslateResult result = Ter_Translate(Ter_Hex("05 C3 11 C2 60 1D F0 C8 C9 13 C1 29 02 C0 F0 42 F2 E9"),
                                                     withCommand(toAscii()), recordingIdentity);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Result, Ter_Hex("35 C3 11 42 2D 1D 30 C8 C9 13 C1 10 02 C0 30 42 32 E9"));
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[1].Text, Ter_Hex("C8 C9"));
    EXPECT_EQ(calls[1].Descriptor, 7u);
    EXPECT_TRUE(result.Replaced);
    EXPECT_EQ(result.Live, 2u) << "the caller's old block, and the result";
    EXPECT_EQ(result.Asked, std::vector<u32>({95, 57, 18}));
    EXPECT_EQ(result.Released, 2u) << "the work buffers";
}

TEST(TerBM_Translate, LeavesOrdersInModesOtherThanOneAndTwo)
{
    for (const i32 mode : {0, 3, 4, -1})
        EXPECT_EQ(Ter_Translate(Ter_Hex("11 C2 60 28 41 F2 C8"), toAscii(mode)).Result, Ter_Hex("11 C2 60 28 41 F2 C8"))
            << mode;
}

TEST(TerBM_Translate, StartsANewTurnAtASecondAddress)
{
    // The first address lies in a double-byte field, the second in none: the second one decides.
    const Ter_Bytes map = Ter_Join({mapWith(70, TERBM_MAP_DOUBLE_BYTE)});
    Ref_Arguments arguments = toEbcdic(2);
    arguments.Map = &map;
    calls.clear();
    const Ter_TranslateResult result =
        Ter_Translate(Ter_Hex("11 41 27 11 40 41 58 59"), arguments, recordingIdentity); // 1*64+61, then 0*64+1
    EXPECT_EQ(result.Code, ERZ_OK);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("0E 58 59 0F")) << "@ is the value 60";
    calls.clear();
    EXPECT_EQ(Ter_Translate(Ter_Hex("11 41 27 11 20 41 58 59"), arguments, recordingIdentity).Code, ERZ_OK);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("58 59"));
}

// --- Which text is double-byte ---

TEST(TerBM_Translate, AsksTheMapForTextBehindAnAddress)
{
    const Ter_Bytes map = mapWith(70, TERBM_MAP_DOUBLE_BYTE);
    Ref_Arguments arguments = toEbcdic(2);
    arguments.Map = &map;
    calls.clear();
    Ter_Translate(Ter_Hex("11 41 27 58 1D 40 59 11 41 27 58"), arguments, recordingIdentity);
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("0E 58 0F"));
    EXPECT_EQ(calls[1].Text, Ter_Hex("59")) << "no address in this run of orders";
    EXPECT_EQ(calls[2].Text, Ter_Hex("0E 58 0F"));

    // The same address in EBCDIC form.
    arguments.SourceIsEbcdic = 1;
    calls.clear();
    Ter_Translate(Ter_Hex("11 C1 7D 58"), arguments, recordingIdentity);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("0E 58 0F"));
}

TEST(TerBM_Translate, TakesAnAddressThatBeginsWithZeroForNone)
{
    const Ter_Bytes map = mapWith(1, TERBM_MAP_DOUBLE_BYTE);
    Ref_Arguments arguments = toEbcdic(2);
    arguments.Map = &map;
    calls.clear();
    Ter_Translate(Ter_Hex("11 00 41 58"), arguments, recordingIdentity);
    Ter_Translate(Ter_Hex("11 20 41 58"), arguments, recordingIdentity);
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("58"));
    EXPECT_EQ(calls[1].Text, Ter_Hex("0E 58 0F"));
}

TEST(TerBM_Translate, AsksNoMapOnceTheScreenIsErased)
{
    const Ter_Bytes map = mapWith(1, TERBM_MAP_DOUBLE_BYTE);
    const auto framed = [&](const char *stream, i32 ebcdic) {
        Ref_Arguments arguments = withCommand(ebcdic ? toAscii(2) : toEbcdic(2));
        arguments.Map = &map;
        calls.clear();
        EXPECT_EQ(Ter_Translate(Ter_Hex(stream), arguments, recordingIdentity).Code, ERZ_OK);
        return !calls.empty() && calls.back().Text.front() == 0x0E;
    };
    EXPECT_TRUE(framed("01 C3 11 40 C1 58", 1));
    EXPECT_FALSE(framed("05 C3 11 40 C1 58", 1));
    EXPECT_FALSE(framed("0D C3 11 40 C1 58", 1));
    EXPECT_TRUE(framed("0F 11 40 C1 58", 1)) << "Erase All Unprotected leaves the fields";
    EXPECT_FALSE(framed("F5 C3 11 40 C1 58", 1));
    EXPECT_FALSE(framed("7E C3 11 40 C1 58", 1));
    EXPECT_TRUE(framed("F1 C3 11 40 C1 58", 1));
    EXPECT_TRUE(framed("31 43 11 20 41 58", 0));
    EXPECT_FALSE(framed("35 43 11 20 41 58", 0));
    EXPECT_FALSE(framed("3D 43 11 20 41 58", 0));
    EXPECT_TRUE(framed("F5 43 11 20 41 58", 0)) << "no command of an ASCII source";
}

TEST(TerBM_Translate, LeavesEraseWriteOfTheWireInTheStream)
{
    EXPECT_EQ(Ter_Translate(Ter_Hex("F5 C3"), withCommand(toAscii())).Result, Ter_Hex("F5 C3"));
    EXPECT_EQ(Ter_Translate(Ter_Hex("7E C3"), withCommand(toAscii())).Result, Ter_Hex("7E C3"));
}

TEST(TerBM_Translate, GoesByTheCharacterSetUpToTheNextOrder)
{
    const auto texts = [](const char *stream, const Ref_Arguments &arguments) {
        calls.clear();
        EXPECT_EQ(Ter_Translate(Ter_Hex(stream), arguments, recordingIdentity).Code, ERZ_OK);
        std::vector<Ter_Bytes> out;
        for (const Call &call : calls) out.push_back(call.Text);
        return out;
    };
    const std::vector<Ter_Bytes> once = {Ter_Hex("0E 58 0F"), Ter_Hex("59")};
    EXPECT_EQ(texts("29 01 43 F8 58 13 59", toAscii(2)), once);
    EXPECT_EQ(texts("2C 01 43 F8 58 13 59", toAscii(2)), once);
    EXPECT_EQ(texts("28 43 F8 58 13 59", toAscii(2)), once);
    EXPECT_EQ(texts("10 01 43 38 58 13 59", toEbcdic(2)), once);
    EXPECT_EQ(texts("10 01 43 F8 58 13 59", toEbcdic(2)), once);
    EXPECT_EQ(texts("1F 43 38 58 13 59", toEbcdic(2)), once);
    const std::vector<Ter_Bytes> never = {Ter_Hex("58"), Ter_Hex("59")};
    EXPECT_EQ(texts("29 01 43 38 58 13 59", toAscii(2)), never) << "38 becomes 00";
    EXPECT_EQ(texts("28 43 F8 58 13 59", toAscii(3)), never) << "SA goes unseen";
    EXPECT_EQ(texts("29 01 43 38 58 13 59", toAscii(3)), once) << "untranslated, 38 counts";
}

// --- Framing ---

TEST(TerBM_Translate, StripsWhatConvertFramedInModeOne)
{
    calls.clear();
    const Ter_TranslateResult result =
        Ter_Translate(Ter_Hex("10 01 43 38 58 59 5A"), toEbcdic(1), answering(Ter_Hex("0E 42 C1 42 C2 42 C3 0F")));
    EXPECT_EQ(result.Result, Ter_Hex("29 01 43 F8 42 C1 42 C2 42 C3"));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("58 59 5A"));
    EXPECT_EQ(calls[0].Size, 8 * 5 - 4 + 2) << "two bytes more than the output has left";
}

TEST(TerBM_Translate, OverwritesTheLastShiftInOfModeOne)
{
    const auto stripped = [](const char *answer) {
        return Ter_Translate(Ter_Hex("10 01 43 38 58"), toEbcdic(1), answering(Ter_Hex(answer))).Result;
    };
    const Ter_Bytes order = Ter_Hex("29 01 43 F8");
    EXPECT_EQ(stripped("0E 41 0F 42 43"), Ter_Join({order, Ter_Hex("41 00 42")})) << "where it is not at the end";
    EXPECT_EQ(stripped("0E 0F 42 0F"), Ter_Join({order, Ter_Hex("0F 42")})) << "only one";
    EXPECT_EQ(stripped("0F 41 42"), Ter_Join({order, Ter_Hex("41")})) << "index 0 is not looked at";
    EXPECT_EQ(stripped("41 42 43"), Ter_Join({order, Ter_Hex("42")}));
    EXPECT_EQ(stripped("0E 0F 0F"), Ter_Join({order, Ter_Hex("0F")}));
}

TEST(TerBM_Translate, DropsAnAnswerOfTwoBytesInModeOne)
{
    for (const char *answer : {"", "41", "0E 0F", "41 42"})
        EXPECT_EQ(Ter_Translate(Ter_Hex("10 01 43 38 58"), toEbcdic(1), answering(Ter_Hex(answer))).Result,
                  Ter_Hex("29 01 43 F8"))
            << answer;
}

TEST(TerBM_Translate, FramesTheSourceInModeTwo)
{
    calls.clear();
    const Ter_TranslateResult result =
        Ter_Translate(Ter_Hex("29 01 43 F8 42 C1 42 C2"), toAscii(2), answering(Ter_Hex("88 89")));
    EXPECT_EQ(result.Result, Ter_Hex("10 01 43 38 88 89"));
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].Text, Ter_Hex("0E 42 C1 42 C2 0F"));
    EXPECT_EQ(calls[0].Size, 9 * 5 - 4);
}

// required: what mode 3 puts out are the bytes that Convert was given; those that it returned are overwritten.
TEST(TerBM_Translate, PutsOutTheSourceInModeThree)
{
    const auto translated = [](const char *answer) {
        return Ter_Translate(Ter_Hex("29 01 43 F8 42 C1 42 C2"), toAscii(3), answering(Ter_Hex(answer))).Result;
    };
    const Ter_Bytes order = Ter_Hex("29 01 43 F8");
    EXPECT_EQ(translated("0E 99 99 99 99 0F"), Ter_Join({order, Ter_Hex("42 C1 42 C2")}));
    EXPECT_EQ(translated("99 99 99 99"), Ter_Join({order, Ter_Hex("42 C1")}))
        << "as many as Convert returned, less two";
    EXPECT_EQ(translated("99 99"), order);
    EXPECT_EQ(translated("99 99 99 99 99 99 99 99 99"), Ter_Join({order, Ter_Hex("42 C1 42 C2 00 00 00")}))
        << "the shift-in behind the source becomes 00, and nothing stands behind it";
}

TEST(TerBM_Translate, FramesNothingInOtherModes)
{
    for (const i32 mode : {0, 4, -5}) {
        calls.clear();
        const Ter_TranslateResult result =
            Ter_Translate(Ter_Hex("29 01 43 F8 42 C1"), toAscii(mode), answering(Ter_Hex("0E 99 0F")));
        EXPECT_EQ(result.Result, Ter_Hex("29 01 43 F8 0E 99 0F"));
        EXPECT_EQ(calls.at(0).Text, Ter_Hex("42 C1"));
    }
}

// --- Storage ---

TEST(TerBM_Translate, TakesStorageTwiceAtTheStart)
{
    const auto asked = [](size_t length) {
        return Ter_Translate(Ter_Bytes(length, 0x13), toAscii()).Asked; // orders alone
    };
    EXPECT_EQ(asked(1), std::vector<u32>({10, 6, 1}));
    EXPECT_EQ(asked(0x3FFF), std::vector<u32>({81920, 49152, 0x3FFF}));
    EXPECT_EQ(asked(0x4000), std::vector<u32>({0xFFFF, 0xFFFF, 0x4000}));
    EXPECT_EQ(asked(0xFFFF), std::vector<u32>({0xFFFF, 0xFFFF, 0xFFFF}));
}

TEST(TerBM_Translate, CutsTheRoomToSixteenBits)
{
    const auto room = [](size_t length) {
        calls.clear();
        EXPECT_EQ(Ter_Translate(Ter_Bytes(length, 0x41), toEbcdic(), recordingIdentity).Code, ERZ_OK);
        return calls.at(0).Size;
    };
    EXPECT_EQ(room(10), 55);
    EXPECT_EQ(room(13106), 65535);
    EXPECT_EQ(room(13107), 4) << "the buffer of 65540 bytes wraps";
    EXPECT_EQ(room(16383), 16384);
    EXPECT_EQ(room(16384), 65535);
}

TEST(TerBM_Translate, GivesBackWhatEachAllocationSaid)
{
    const Ter_Bytes stream = Ter_Hex("05 C3 11 40 40");
    for (const u32 number : {1u, 2u, 3u}) {
        Ref_Arguments arguments = withCommand(toAscii());
        arguments.FailedAllocation = number;
        const Ter_TranslateResult result = Ter_Translate(stream, arguments, answering({0x41, 0x42}));
        EXPECT_EQ(result.Code, 99u) << number;
        EXPECT_FALSE(result.Replaced) << number;
        EXPECT_EQ(result.Released, number - 1) << number;
        EXPECT_EQ(result.Live, 1u) << number << ": the caller's block alone";
        EXPECT_EQ(result.Length, number == 3 ? 6 : 5) << number << ": the last one leaves the new length";
        EXPECT_EQ(result.Source == stream, number < 3) << "orders are rewritten once storage is there";
    }
}

// --- Failures and their symptoms ---

TEST(TerBM_Translate, TellsOfAnIncompleteOrder)
{
    struct Row {
        const char *Stream;
        const char *Text;
    };
    const Row rows[] = {
        {"01 C3 11 40 40 29 02 43 F8", "in-size 9, bytes converted before error 2."}, // a count past the end
        {"01 C3 C1 11 40", "in-size 5, bytes converted before error 3."}, // one address byte
        {"01 C3 C1 3C 40 40 08", "in-size 7, bytes converted before error 3."}, // GE without its character
        {"01 C3 13 C1 C1 1D", "in-size 6, bytes converted before error 5."},
    };
    for (const Row &row : rows) {
        const Ter_Bytes stream = Ter_Hex(row.Stream);
        Ter_TranslateResult result;
        const std::string text = Capture_Stderr([&] { result = Ter_Translate(stream, withCommand(toAscii())); });
        EXPECT_EQ(result.Code, TERBM_ERR_INCOMPLETE_ORDER);
        EXPECT_FALSE(result.Replaced);
        EXPECT_EQ(result.Length, stream.size());
        EXPECT_EQ(result.Released, 2u);
        EXPECT_EQ(result.Live, 1u);
        EXPECT_THAT(text,
                    HasSubstr(std::string("SECONDARY SYMPTOMS = Supplied data ends with incomplete 3270 order: ") +
                              row.Text + "\n"));
        EXPECT_THAT(text, AllOf(HasSubstr("FUNC/TerBM_Translate LINE/644 MS/000000 MSN/1 SRC/11 PRCS/522190849 "),
                                HasSubstr("MOD/\"@(#)")));
    }
}

TEST(TerBM_Translate, LeavesOrdersRewrittenBehindAFailure)
{
    Ter_TranslateResult result;
    Capture_Stderr([&] { result = Ter_Translate(Ter_Hex("1D F0 C1 11 C2 C3 28 43"), toAscii()); });
    EXPECT_EQ(result.Code, TERBM_ERR_INCOMPLETE_ORDER);
    EXPECT_EQ(result.Source, Ter_Hex("1D 30 C1 11 42 43 28 43"));
}

TEST(TerBM_Translate, TellsOfAFailedConversion)
{
    Ter_TranslateResult result;
    std::string text = Capture_Stderr([&] { result = Ter_Translate(Ter_Hex("1D F0 C1 C2 C3"), toAscii(), failing); });
    EXPECT_EQ(result.Code, conversionFailure);
    EXPECT_FALSE(result.Replaced);
    EXPECT_EQ(result.Length, 5);
    EXPECT_EQ(result.Released, 2u);
    EXPECT_THAT(text, HasSubstr("SECONDARY SYMPTOMS = TIOA conversion error: in-size 3, remaining out-size 28, bytes "
                                "converted before error 1.\n"));
    EXPECT_THAT(text, HasSubstr("FUNC/TerBM_Translate LINE/605 MS/000000 MSN/78 SRC/11 PRCS/488636421 "));

    // Framed text is two bytes longer, and room that 16 bits cannot tell is shown in full.
    text = Capture_Stderr([&] { Ter_Translate(Ter_Hex("29 01 43 F8 C1"), toAscii(2), failing); });
    EXPECT_THAT(text, HasSubstr("in-size 3, remaining out-size 26,"));
    text = Capture_Stderr([&] { Ter_Translate(Ter_Hex("29 01 43 F8 C1"), toAscii(1), failing); });
    EXPECT_THAT(text, HasSubstr("in-size 1, remaining out-size 28,"));
    text = Capture_Stderr([&] { Ter_Translate(Ter_Bytes(13107, 0xC1), toAscii(), failing); });
    EXPECT_THAT(text, HasSubstr("in-size 13107, remaining out-size 65540,"));
}

TEST(TerBM_Translate, TakesAnAnswerThatDoesNotFitForAFailure)
{
    const auto result = [](const Ter_Bytes &stream, const Ref_Arguments &arguments, size_t answer) {
        Ter_TranslateResult out;
        Capture_Stderr([&] { out = Ter_Translate(stream, arguments, answering(Ter_Bytes(answer, 0x58))); });
        return out;
    };
    EXPECT_EQ(result(Ter_Hex("C1"), toAscii(), 10).Code, ERZ_OK);
    EXPECT_EQ(result(Ter_Hex("C1"), toAscii(), 11).Code, TERBM_ERR_NO_STORAGE);
    EXPECT_EQ(result(Ter_Hex("C1"), toAscii(), 65535).Code, TERBM_ERR_NO_STORAGE);
    // Framed by Convert: the framing needs no room in the output.
    const Ter_Bytes dual = Ter_Hex("29 01 43 F8 C1");
    EXPECT_EQ(result(dual, toAscii(1), 28).Code, ERZ_OK);
    EXPECT_EQ(result(dual, toAscii(1), 29).Code, TERBM_ERR_NO_STORAGE);
    EXPECT_EQ(result(dual, toAscii(3), 26).Code, ERZ_OK);
    EXPECT_EQ(result(dual, toAscii(3), 27).Code, TERBM_ERR_NO_STORAGE);
    // More than the work buffer has for 16384 bytes and up: orders behind the text find no room either.
    Ter_Bytes full(16384, 0xC1);
    full.back() = 0x13;
    EXPECT_EQ(result(full, toAscii(), 65534).Code, ERZ_OK);
    EXPECT_EQ(result(full, toAscii(), 65535).Code, TERBM_ERR_NO_STORAGE);
    // The work buffer of 16383 bytes has room for more than a length can tell.
    const Ter_Bytes large(16383, 0xC1);
    EXPECT_EQ(result(large, toAscii(), 65535).Code, ERZ_OK);
    Ter_Bytes two = large;
    two[10000] = 0x13;
    EXPECT_EQ(result(two, toAscii(), 40000).Code, TERBM_ERR_NO_STORAGE);
}

// --- Descriptor -2 ---

namespace
{

Ref_Arguments asIs(i32 ebcdic)
{
    Ref_Arguments arguments;
    arguments.Descriptor = -2;
    arguments.SourceIsEbcdic = ebcdic;
    arguments.DoubleByteMode = 1;
    return arguments;
}

} // namespace

TEST(TerBM_Translate, WritesOverTheCallersBlockWithoutADescriptor)
{
    calls.clear();
    const Ter_Bytes stream = Ter_Hex("11 C2 60 28 43 F8 C8 C9 1D F0 C1");
    const Ter_TranslateResult result = Ter_Translate(stream, asIs(1), recordingIdentity);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_FALSE(result.Replaced);
    EXPECT_EQ(result.Result, stream) << "orders stay as they are";
    EXPECT_EQ(result.Asked, std::vector<u32>({60, 36}));
    EXPECT_EQ(result.Released, 2u);
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].Descriptor, 0u);
    EXPECT_EQ(calls[0].Size, 60) << "the whole buffer's size, though 6 bytes are written";
    EXPECT_EQ(calls[1].Size, 60);
}

TEST(TerBM_Translate, ConvertsTextWithoutADescriptor)
{
    const Ter_TranslateResult result =
        Ter_Translate(Ter_Hex("1D F0 C1 C2"), asIs(1), answering(Ter_Hex("61 62 63 64 65")), 20);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Result, Ter_Hex("1D F0 61 62 63 64 65"));
}

TEST(TerBM_Translate, CopiesAPrefixWithoutADescriptor)
{
    // An EBCDIC source's inbound prefix is translated behind it, so these are the bytes 4 to 6.
    for (const i32 ebcdic : {0, 1}) {
        Ref_Arguments arguments = asIs(ebcdic);
        arguments.NoPrefix = 0;
        EXPECT_EQ(Ter_Translate(Ter_Hex("7D C1 50 C2 C3 C4 C5"), arguments).Result,
                  ebcdic ? Ter_Hex("7D C1 50 42 43 44 C5") : Ter_Hex("7D C1 50 C2 C3 C4 C5"));
        for (const char *cut : {"", "7D", "7D C1", "7D C1 50"})
            EXPECT_EQ(Ter_Translate(Ter_Hex(cut), arguments).Result, Ter_Hex(cut)) << cut;
    }
}

// The command sets the count of a stream whose prefix has gone already; the stream still ends where it ends.
TEST(TerBM_Translate, EndsAStreamOfPrefixAndCommandAtItsEnd)
{
    Ref_Arguments arguments = withCommand(asIs(1));
    arguments.NoPrefix = 0;
    const Ter_Bytes stream = Ter_Hex("7D C1 50 05 C3 11 40 40 C1");
    EXPECT_EQ(Ter_Translate(stream, arguments).Result, Ter_Hex("7D C1 50 35 C3 11 40 40 C1"));
    const std::string text = Capture_Stderr(
        [&] { EXPECT_EQ(Ter_Translate(Ter_Hex("7D C1 50 05 C3 11 40"), arguments).Code, TERBM_ERR_INCOMPLETE_ORDER); });
    EXPECT_THAT(text, HasSubstr("in-size 7, bytes converted before error 2.")) << "the count lags";
    EXPECT_EQ(Ter_Translate(Ter_Hex("7D C1 50"), arguments).Result, Ter_Hex("7D C1 50")) << "no command is there";

    arguments.SourceIsEbcdic = 0;
    EXPECT_EQ(Ter_Translate(Ter_Hex("27 41 26 35 43 11 20 20 41"), arguments).Result,
              Ter_Hex("27 41 26 F5 43 11 20 20 41"));
}

TEST(TerBM_Translate, SaysNothingOfAFailedConversionWithoutADescriptor)
{
    Ter_TranslateResult result;
    const std::string text = Capture_Stderr([&] { result = Ter_Translate(Ter_Hex("1D F0 C1"), asIs(1), failing); });
    EXPECT_EQ(result.Code, conversionFailure);
    EXPECT_EQ(result.Released, 2u);
    EXPECT_EQ(text, "");
    Capture_Stderr([&] { result = Ter_Translate(Ter_Hex("1D F0 C1"), asIs(1), answering(Ter_Bytes(19, 0x41)), 40); });
    EXPECT_EQ(result.Code, TERBM_ERR_NO_STORAGE) << "the output has 18 bytes left";
}

TEST(TerBM_Translate, AsksNoMapWithoutADescriptor)
{
    const Ter_Bytes map = mapWith(1, TERBM_MAP_DOUBLE_BYTE);
    Ref_Arguments arguments = asIs(1);
    arguments.Map = &map;
    arguments.DoubleByteMode = 2;
    calls.clear();
    EXPECT_EQ(Ter_Translate(Ter_Hex("11 40 C1 58"), arguments, recordingIdentity).Code, ERZ_OK);
    EXPECT_EQ(calls.at(0).Text, Ter_Hex("58"));
}

// --- Large streams ---

TEST(TerBM_Translate, TakesTheLongestStream)
{
    Ter_Bytes stream(65535, 0xC1);
    for (size_t at = 0; at + 3 < stream.size(); at += 100) {
        stream[at] = 0x11;
        stream[at + 1] = stream[at + 2] = 0x40;
    }
    const Ter_TranslateResult result = Ter_Translate(stream, toAscii());
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Length, 65535);
}

// The longest double-byte text: its order takes three bytes, so its framing still fits 16 bits.
TEST(TerBM_Translate, FramesTheLongestText)
{
    const Ter_Bytes map = mapWith(1, TERBM_MAP_DOUBLE_BYTE);
    Ter_Bytes stream(65535, 0x58);
    stream[0] = 0x11;
    stream[1] = 0x20;
    stream[2] = 0x41;
    for (const i32 mode : {1, 2, 3}) {
        Ref_Arguments arguments = toEbcdic(mode);
        arguments.Map = &map;
        calls.clear();
        const Ter_TranslateResult result = Ter_Translate(stream, arguments, answering(Ter_Bytes(65532, 0x58)));
        EXPECT_EQ(result.Code, ERZ_OK) << mode;
        EXPECT_EQ(calls.at(0).Text.size(), mode == 1 ? 65532u : 65534u);
        EXPECT_EQ(result.Length, mode == 2 ? 65535 : 65533) << mode;
    }
}

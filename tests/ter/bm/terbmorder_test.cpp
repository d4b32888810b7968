// Runs of orders and the text between them: lengths, rewriting in place, addresses, character sets.

#include <gtest/gtest.h>

#include "terbm_int.h"
#include "terbm_support.h"

namespace
{

struct Skipped {
    u32 Code;
    u16 Consumed;
    Ter_Bytes Address;
    u8 CharacterSet;
    Ter_Bytes Data;
};

Skipped skip(const Ter_Bytes &data, i32 sourceIsEbcdic, i32 translate, u16 from = 0)
{
    u8 *const block = Ter_Exact(data);
    Skipped result = {0, from, {0xAA, 0xAA}, 0xAA, {}};
    result.Code = TerBM_SkipControl(block, static_cast<u16>(data.size()), &result.Consumed, result.Address.data(),
                                    &result.CharacterSet, sourceIsEbcdic, translate);
    result.Data.assign(block, block + data.size());
    Ter_ReleaseAll();
    return result;
}

Ter_Bytes convertPairs(const Ter_Bytes &pairs, i32 sourceIsEbcdic, i32 translate, u8 *characterSet)
{
    Ter_Bytes out = pairs;
    TerBM_ConvertAttributePair(out.data(), static_cast<u16>(out.size() / 2), sourceIsEbcdic, characterSet,
                               sourceIsEbcdic ? TerBM_EbcdicToAscii : TerBM_AsciiToEbcdic, translate);
    return out;
}

} // namespace

TEST(TerBM_SkipControl, StopsAtTheFirstByteThatIsNoOrder)
{
    for (const i32 ebcdic : {0, 1}) {
        const Skipped text = skip(Ter_Hex("41 42"), ebcdic, 1);
        EXPECT_EQ(text.Code, ERZ_OK);
        EXPECT_EQ(text.Consumed, 0);
        EXPECT_EQ(text.Address, Ter_Hex("00 00"));
        EXPECT_EQ(text.CharacterSet, 0);
        EXPECT_EQ(skip(Ter_Hex("01 11 41 41"), ebcdic, 1).Consumed, 0) << "a control byte that is no order";
    }
    EXPECT_EQ(skip(Ter_Hex("07 11 41 41"), 1, 1).Consumed, 0) << "its ASCII code lies outside of the table";
    EXPECT_EQ(skip(Ter_Hex("04 11 41 41"), 1, 1).Consumed, 0) << "a code that becomes 00 is no NUL";
}

TEST(TerBM_SkipControl, TakesEachOrderByItsLength)
{
    struct Row {
        const char *Ebcdic;
        const char *Ascii;
    };
    // Behind each stands C1/41, text.
    const Row rows[] = {{"08 C2 C1", "08 42 41"},
                        {"05 C1", "09 41"},
                        {"15 C1", "0A 41"},
                        {"29 01 C0 60 C1", "10 01 C0 2D 41"},
                        {"11 C2 C3 C1", "11 42 43 41"},
                        {"12 C2 C3 C1", "12 42 43 41"},
                        {"13 C1", "13 41"},
                        {"3C C2 C3 C1", "14 42 43 41"},
                        {"3C C2 C3 08 C4 C1", "14 42 43 08 44 41"},
                        {"2C 00 C1", "1A 00 41"},
                        {"1D C2 C1", "1D 42 41"},
                        {"28 41 F2 C1", "1F 41 32 41"},
                        {"00 C1", "00 41"}};
    for (const Row &row : rows) {
        const Ter_Bytes ebcdic = Ter_Hex(row.Ebcdic);
        const Ter_Bytes ascii = Ter_Hex(row.Ascii);
        Skipped there = skip(ebcdic, 1, 1);
        EXPECT_EQ(there.Code, ERZ_OK) << row.Ebcdic;
        EXPECT_EQ(there.Consumed, ebcdic.size() - 1) << row.Ebcdic;
        there.Data.back() = 0x41; // text stays as it is
        EXPECT_EQ(there.Data, ascii) << row.Ebcdic;

        Skipped back = skip(ascii, 0, 1);
        EXPECT_EQ(back.Code, ERZ_OK) << row.Ascii;
        EXPECT_EQ(back.Consumed, ascii.size() - 1) << row.Ascii;
        back.Data.back() = 0xC1;
        EXPECT_EQ(back.Data, ebcdic) << row.Ascii;

        EXPECT_EQ(skip(ebcdic, 1, 0).Data, ebcdic) << "without translation nothing is rewritten";
        EXPECT_EQ(skip(ebcdic, 1, 0).Consumed, ebcdic.size() - 1);
        EXPECT_EQ(skip(ascii, 0, 0).Data, ascii);
    }
}

TEST(TerBM_SkipControl, FailsAtAnOrderThatTheEndCutsOff)
{
    for (const char *order : {"08", "11", "11 C1", "12", "12 C1", "1D", "28", "28 43", "29", "29 00", "29 01",
                              "29 01 43", "29 02 43 F8 C0", "2C", "2C 01 C0", "3C", "3C 40", "3C 40 40 08"}) {
        Ter_Bytes data = Ter_Join({Ter_Hex("13"), Ter_Hex(order)});
        const Skipped ebcdic = skip(data, 1, 1);
        EXPECT_EQ(ebcdic.Code, TERBM_ERR_INCOMPLETE_ORDER) << order;
        EXPECT_EQ(ebcdic.Consumed, 1) << order << ": the order in front of it";

        data[1] = TerBM_EbcdicToAscii[data[1]];
        EXPECT_EQ(skip(data, 0, 1).Code, TERBM_ERR_INCOMPLETE_ORDER) << order;
        EXPECT_EQ(skip(data, 0, 0).Code, TERBM_ERR_INCOMPLETE_ORDER) << order;
    }
    EXPECT_EQ(skip(Ter_Hex("3C 40 40"), 1, 1).Code, ERZ_OK) << "RA may end with its address";
}

TEST(TerBM_SkipControl, LeavesASecondAddressForTheNextRun)
{
    const Skipped run = skip(Ter_Hex("11 C1 C2 13 11 C3 C4"), 1, 1);
    EXPECT_EQ(run.Code, ERZ_OK);
    EXPECT_EQ(run.Consumed, 4);
    EXPECT_EQ(run.Address, Ter_Hex("C1 C2")) << "as it stood in the source";
    EXPECT_EQ(run.Data, Ter_Hex("11 41 42 13 11 C3 C4"));
    EXPECT_EQ(skip(Ter_Hex("11 C1 C2 11 C3"), 1, 1).Code, TERBM_ERR_INCOMPLETE_ORDER)
        << "the second one has to be complete even so";
}

TEST(TerBM_SkipControl, GoesOnFromWhatWasConsumed)
{
    const Skipped run = skip(Ter_Hex("C1 C2 13 1D 60 C3"), 1, 1, 2);
    EXPECT_EQ(run.Consumed, 5);
    EXPECT_EQ(run.Data, Ter_Hex("C1 C2 13 1D 2D C3"));
}

TEST(TerBM_SkipControl, TellsTheLastCharacterSet)
{
    EXPECT_EQ(skip(Ter_Hex("29 01 43 F8"), 1, 1).CharacterSet, 0x38);
    EXPECT_EQ(skip(Ter_Hex("29 01 43 F8"), 1, 0).CharacterSet, 0xF8) << "seen without translation too";
    EXPECT_EQ(skip(Ter_Hex("2C 01 43 F8"), 1, 0).CharacterSet, 0xF8);
    EXPECT_EQ(skip(Ter_Hex("10 01 43 38"), 0, 1).CharacterSet, 0x38);
    EXPECT_EQ(skip(Ter_Hex("10 01 43 F8"), 0, 1).CharacterSet, 0xF8);
    EXPECT_EQ(skip(Ter_Hex("29 01 43 F8 29 01 42 F2"), 1, 1).CharacterSet, 0x38) << "another type leaves it";
    EXPECT_EQ(skip(Ter_Hex("29 01 43 F8 29 01 43 F1"), 1, 1).CharacterSet, 0x31);
    EXPECT_EQ(skip(Ter_Hex("29 01 43 38"), 1, 1).CharacterSet, 0) << "38 is no character of EBCDIC";
}

// required: the character set of SA is seen only where orders are translated.
TEST(TerBM_SkipControl, SeesSetAttributeOnlyWhenItTranslates)
{
    EXPECT_EQ(skip(Ter_Hex("28 43 F8"), 1, 1).CharacterSet, 0x38);
    EXPECT_EQ(skip(Ter_Hex("28 43 F8"), 1, 0).CharacterSet, 0);
    EXPECT_EQ(skip(Ter_Hex("1F 43 38"), 0, 1).CharacterSet, 0x38);
    EXPECT_EQ(skip(Ter_Hex("1F 43 38"), 0, 0).CharacterSet, 0);
    EXPECT_EQ(skip(Ter_Hex("1F 43 38"), 0, 0).Consumed, 3);
}

TEST(TerBM_ConvertAttributePair, TranslatesValuesOfTypesUpToC0)
{
    u8 set = 0x55;
    EXPECT_EQ(convertPairs(Ter_Hex("41 F2 C0 F0 C1 F0 FE F0"), 1, 1, &set), Ter_Hex("41 32 C0 30 C1 F0 FE F0"));
    EXPECT_EQ(set, 0x55) << "no pair names a character set";
    EXPECT_EQ(convertPairs(Ter_Hex("41 F2 C0 F0"), 1, 0, &set), Ter_Hex("41 F2 C0 F0"));
    EXPECT_EQ(convertPairs({}, 1, 1, &set), Ter_Bytes());
}

TEST(TerBM_ConvertAttributePair, KeepsADoubleByteValueOfTheOtherForm)
{
    u8 set = 0;
    EXPECT_EQ(convertPairs(Ter_Hex("43 38"), 0, 1, &set), Ter_Hex("43 F8"));
    EXPECT_EQ(set, 0x38);
    EXPECT_EQ(convertPairs(Ter_Hex("43 F8"), 0, 1, &set), Ter_Hex("43 F8"));
    EXPECT_EQ(set, 0xF8);
    EXPECT_EQ(convertPairs(Ter_Hex("43 F8"), 1, 1, &set), Ter_Hex("43 38"));
    EXPECT_EQ(set, 0x38);
    EXPECT_EQ(convertPairs(Ter_Hex("43 38"), 1, 1, &set), Ter_Hex("43 00"));
    EXPECT_EQ(set, 0x00);
    EXPECT_EQ(convertPairs(Ter_Hex("43 38 43 F1"), 0, 0, &set), Ter_Hex("43 38 43 F1"));
    EXPECT_EQ(set, 0xF1);
}

TEST(TerBM_GetControlASCII, EndsATextAtAnOrder)
{
    const Ter_Bytes data = Ter_Hex("41 00 01 0C 1E FF 7F 12 41");
    u16 offset = 0;
    TerBM_GetControlASCII(data.data(), 9, &offset);
    EXPECT_EQ(offset, 7);
    offset = 8;
    TerBM_GetControlASCII(data.data(), 9, &offset);
    EXPECT_EQ(offset, 9);
    offset = 20;
    TerBM_GetControlASCII(data.data(), 9, &offset);
    EXPECT_EQ(offset, 9) << "from behind the end";
    for (u32 code = 0; code < 256; ++code) {
        const u8 byte = static_cast<u8>(code);
        offset = 0;
        TerBM_GetControlASCII(&byte, 1, &offset);
        EXPECT_EQ(offset, Ref_OrderLength(byte) != 0 ? 0 : 1) << code;
    }
}

TEST(TerBM_GetControlEBCDIC, EndsATextAtAnOrder)
{
    const Ter_Bytes orders = Ter_Hex("08 05 15 29 11 12 13 3C 2C 1D 28");
    for (u32 code = 0; code < 256; ++code) {
        const u8 byte = static_cast<u8>(code);
        const bool isOrder = std::find(orders.begin(), orders.end(), byte) != orders.end();
        u16 offset = 0;
        TerBM_GetControlEBCDIC(&byte, 1, &offset);
        EXPECT_EQ(offset, isOrder ? 0 : 1) << code;
    }
    u16 offset = 7;
    TerBM_GetControlEBCDIC(orders.data(), 3, &offset);
    EXPECT_EQ(offset, 3);
}

TEST(TerBM_GetControl, ChoosesTheFormByTheValueOne)
{
    const Ter_Bytes data = Ter_Hex("41 29 10"); // SFE in EBCDIC, then in ASCII
    for (const i32 form : {0, 1, 2}) {
        u16 offset = 0;
        TerBM_GetControl(data.data(), 3, &offset, form, 0);
        EXPECT_EQ(offset, form == 1 ? 1 : 2) << form;
    }
}

// The constant tables, every entry, against rows written down a second time.

#include <gtest/gtest.h>

#include "terbm_int.h"
#include "terbm_support.h"

#include <dlfcn.h>

TEST(TerBM_BinaryToGraphic, IsTheAddressString)
{
    const std::string text = " ABCDEFGHI[.<(+!&JKLMNOPQR]$*);^-/STUVWXYZ|,%_>?0123456789:#@'=\"";
    ASSERT_EQ(text.size(), 64u);
    for (size_t value = 0; value < 64; ++value)
        EXPECT_EQ(TerBM_BinaryToGraphic[value], static_cast<u8>(text[value])) << value;
    EXPECT_EQ(TerBM_BinaryToGraphic[0], 0x20);
    EXPECT_EQ(TerBM_BinaryToGraphic[63], 0x22);
}

TEST(TerBM_GraphicToBinary, InvertsEveryAddressCharacterAndIsZeroElsewhere)
{
    for (u32 character = 0; character < 128; ++character) {
        u8 expected = 0;
        for (u8 value = 0; value < 64; ++value)
            if (TerBM_BinaryToGraphic[value] == character) expected = value;
        EXPECT_EQ(TerBM_GraphicToBinary[character], expected) << character;
    }
}

TEST(TerBM_OrderLength, HasElevenOrders)
{
    const Ter_Bytes expected = Ter_Hex("0 0 0 0 0 0 0 0 2 1 1 0 0 0 0 0 1 3 3 1 1 0 0 0 0 0 1 0 0 2 0 3");
    ASSERT_EQ(expected.size(), 32u);
    for (size_t code = 0; code < 32; ++code) EXPECT_EQ(TerBM_OrderLength[code], expected[code]) << code;
}

TEST(TerBM_LengthOf, IsNoOrderFromThirtyTwoUp)
{
    for (u32 code = 32; code < 256; ++code) EXPECT_EQ(TerBM_LengthOf(static_cast<u8>(code)), 0) << code;
    EXPECT_EQ(TerBM_LengthOf(TerBM_EbcdicToAscii[0x07]), 0) << "7F lies outside of the table";
}

TEST(TerBM_AsciiToEbcdic, HasTheseRows)
{
    const Ter_Bytes expected = Ter_Hex("00 01 02 03 37 2D 2E 2F 08 05 15 0B 0C 0D 0E 0F "
                                       "29 11 12 13 3C 3D 32 26 18 19 2C 27 1C 1D 1E 28 "
                                       "40 4F 7F 7B 5B 6C 50 7D 4D 5D 5C 4E 6B 60 4B 61 "
                                       "F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 7A 5E 4C 7E 6E 6F "
                                       "7C C1 C2 C3 C4 C5 C6 C7 C8 C9 D1 D2 D3 D4 D5 D6 "
                                       "D7 D8 D9 E2 E3 E4 E5 E6 E7 E8 E9 4A E0 5A 5F 6D "
                                       "79 81 82 83 84 85 86 87 88 89 91 92 93 94 95 96 "
                                       "97 98 99 A2 A3 A4 A5 A6 A7 A8 A9 C0 6A D0 00 00");
    ASSERT_EQ(expected.size(), 128u);
    for (size_t code = 0; code < 128; ++code) EXPECT_EQ(TerBM_AsciiToEbcdic[code], expected[code]) << code;
    for (size_t code = 0x80; code < 0xFA; ++code) EXPECT_EQ(TerBM_AsciiToEbcdic[code], 0) << code;
    for (size_t code = 0xFA; code < 256; ++code) EXPECT_EQ(TerBM_AsciiToEbcdic[code], code);
}

TEST(TerBM_EbcdicToAscii, HasTheseRows)
{
    const Ter_Bytes expected = Ter_Hex("00 01 02 03 00 09 00 7F 08 00 00 0B 0C 0D 0E 0F "
                                       "00 11 12 13 00 0A 00 00 18 19 00 00 1C 1D 1E 00 "
                                       "00 00 00 00 00 00 17 1B 1F 10 00 00 1A 05 06 07 "
                                       "00 00 16 00 00 00 00 04 00 00 00 00 14 15 00 00 "
                                       "20 00 00 00 00 00 00 00 00 00 5B 2E 3C 28 2B 21 "
                                       "26 00 00 00 00 00 00 00 00 00 5D 24 2A 29 3B 5E "
                                       "2D 2F 00 00 00 00 00 00 00 00 7C 2C 25 5F 3E 3F "
                                       "00 00 00 00 00 00 00 00 00 60 3A 23 40 27 3D 22 "
                                       "00 61 62 63 64 65 66 67 68 69 00 00 00 00 00 00 "
                                       "00 6A 6B 6C 6D 6E 6F 70 71 72 00 00 00 00 00 00 "
                                       "00 7E 73 74 75 76 77 78 79 7A 00 00 00 00 00 00 "
                                       "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                       "7B 41 42 43 44 45 46 47 48 49 00 00 00 00 00 00 "
                                       "7D 4A 4B 4C 4D 4E 4F 50 51 52 00 00 00 00 00 00 "
                                       "5C 00 53 54 55 56 57 58 59 5A 00 00 00 00 00 00 "
                                       "30 31 32 33 34 35 36 37 38 39 FA FB FC FD FE FF");
    ASSERT_EQ(expected.size(), 256u);
    for (size_t code = 0; code < 256; ++code) EXPECT_EQ(TerBM_EbcdicToAscii[code], expected[code]) << code;
}

TEST(TerBM_EbcdicToAscii, GivesEachOrderItsAsciiCode)
{
    const Ter_Bytes ebcdic = Ter_Hex("08 05 15 29 11 12 13 3C 2C 1D 28");
    const Ter_Bytes ascii = Ter_Hex("08 09 0A 10 11 12 13 14 1A 1D 1F");
    const Ter_Bytes lengths = Ter_Hex("2 1 1 1 3 3 1 1 1 2 3");
    for (size_t i = 0; i < ebcdic.size(); ++i) {
        EXPECT_EQ(TerBM_EbcdicToAscii[ebcdic[i]], ascii[i]);
        EXPECT_EQ(TerBM_AsciiToEbcdic[ascii[i]], ebcdic[i]);
        EXPECT_EQ(TerBM_LengthOf(ascii[i]), lengths[i]);
    }
}

TEST(TerBM_AsciiToEbcdic, DoesNotInvertTildeAndDelete)
{
    for (u32 code = 0; code < 0x80; ++code)
        EXPECT_EQ(TerBM_EbcdicToAscii[TerBM_AsciiToEbcdic[code]] == code, code != 0x7E && code != 0x7F) << code;
    EXPECT_EQ(TerBM_AsciiToEbcdic[0x7E], 0);
    EXPECT_EQ(TerBM_AsciiToEbcdic[0x7F], 0);
    EXPECT_EQ(TerBM_EbcdicToAscii[0xA1], 0x7E);
    EXPECT_EQ(TerBM_EbcdicToAscii[0x07], 0x7F);
}

TEST(TerBM_AddressOf, ReadsWhatBinaryToGraphicWrites)
{
    for (u32 address = 0; address < 4096; ++address) {
        const u8 bytes[2] = {TerBM_BinaryToGraphic[address >> 6], TerBM_BinaryToGraphic[address & 63]};
        EXPECT_EQ(TerBM_AddressOf(bytes), address);
    }
    const u8 high[2] = {0x80, 'A'};
    EXPECT_EQ(TerBM_AddressOf(high), 1) << "a byte from 80 up counts as 0";
    const u8 low[2] = {'A', 0xFF};
    EXPECT_EQ(TerBM_AddressOf(low), 64);
}

TEST(TerBM_BinaryToGraphic, IsTheOnlyTableThatTheLibraryExports)
{
    void *const library = dlopen(VELA_TEST_BUILD_DIR "/lib/libvelaco.so", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const u8 *const table = static_cast<const u8 *>(dlsym(library, "TerBM_BinaryToGraphic"));
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(std::memcmp(table, TerBM_BinaryToGraphic, 64), 0);
    for (const char *hidden : {"TerBM_GraphicToBinary", "TerBM_OrderLength", "TerBM_AsciiToEbcdic",
                               "TerBM_EbcdicToAscii", "TerBM_SkipControl", "TerBM_ExamineScreen"})
        EXPECT_EQ(dlsym(library, hidden), nullptr) << hidden;
}

// The scan of a stream in its ASCII form: the map, the position, the inserted addresses, the ends.

#include <gtest/gtest.h>

#include "terbm_int.h"
#include "terbm_support.h"

namespace
{

constexpr u8 single = TERBM_MAP_SINGLE_BYTE;
constexpr u8 dual = TERBM_MAP_DOUBLE_BYTE;

// A map with one field at each of these positions.
Ter_Bytes mapWith(std::initializer_list<std::pair<u32, u8>> fields)
{
    Ter_Bytes map = Ter_EmptyMap();
    for (const auto &field : fields) map.at(field.first) = field.second;
    return map;
}

Ter_Bytes fullMap()
{
    return Ter_Bytes(TERBM_SCREEN_MAP_SIZE, single);
}

Ter_Bytes sba(u32 address)
{
    return {0x11, TerBM_BinaryToGraphic[address >> 6], TerBM_BinaryToGraphic[address & 63]};
}

// Repeat to address, without the character.
Ter_Bytes repeatTo(u32 address)
{
    return {0x14, TerBM_BinaryToGraphic[address >> 6], TerBM_BinaryToGraphic[address & 63]};
}

const Ter_Bytes writeCommand = Ter_Hex("31 40");
const Ter_Bytes eraseWrite = Ter_Hex("35 40");
const Ter_Bytes startField = Ter_Hex("1D 40");
const Ter_Bytes doubleByteField = Ter_Hex("10 01 43 38");

} // namespace

// --- The command ---

TEST(TerBM_EraseCommand, PassesCommandAndWcc)
{
    for (u32 first = 0; first < 256; ++first) {
        const u8 byte = static_cast<u8>(first);
        u16 offset = 7; // is added to
        const i32 erases = TerBM_EraseCommand(&byte, 1, &offset);
        EXPECT_EQ(erases, first == 0x35 || first == 0x3D) << first;
        EXPECT_EQ(offset, first == 0x31 || first == 0x35 || first == 0x3D ? 9 : 8) << first;
    }
}

TEST(TerBM_ParseTIOA, LeavesACommandAloneUnchanged)
{
    Ter_Bytes map = mapWith({{5, dual}});
    const Ter_Bytes before = map;
    const Ter_ScanResult result = Ter_Scan(writeCommand, &map, 1);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Stream, writeCommand);
    EXPECT_FALSE(result.Replaced);
    EXPECT_EQ(map, before);
}

TEST(TerBM_ParseTIOA, LeavesAnEmptyStreamAlone)
{
    Ter_Bytes map = fullMap();
    const Ter_ScanResult result = Ter_Scan({}, &map, 1);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_TRUE(result.Stream.empty());
    EXPECT_TRUE(result.Asked.empty());
    EXPECT_EQ(map, fullMap());
}

TEST(TerBM_ParseTIOA, TakesACommandWithoutItsWcc)
{
    Ter_Bytes map = fullMap();
    const Ter_ScanResult result = Ter_Scan(Ter_Hex("31"), &map, 1);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Stream, Ter_Hex("31"));
}

TEST(TerBM_ParseTIOA, ErasesFourThousandPositions)
{
    for (const u8 command : Ter_Hex("35 3D")) {
        Ter_Bytes map = fullMap();
        EXPECT_EQ(Ter_Scan({command, 0x40}, &map, 0).Code, ERZ_OK);
        for (u32 at = 0; at < TERBM_SCREEN_MAP_SIZE; ++at) ASSERT_EQ(map[at], at < 4000 ? 0 : single) << at;
    }
}

TEST(TerBM_ParseTIOA, ErasesNothingWithoutAMap)
{
    EXPECT_EQ(Ter_Scan(eraseWrite, nullptr, 0).Code, ERZ_OK);
}

TEST(TerBM_ParseTIOA, RecordsNothingWithoutAMap)
{
    const Ter_Bytes stream = Ter_Join({eraseWrite, sba(10), startField, doubleByteField, Ter_Hex("1F 43 38"),
                                       Ter_Hex("14 20 21 2A"), Ter_Text("text")});
    const Ter_ScanResult result = Ter_Scan(stream, nullptr, 0);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Stream, stream);
}

// 0x88 is Write Structured Field in a translation; a scan passes it as one byte that is no command.
TEST(TerBM_ParseTIOA, PassesOneByteOfAStructuredField)
{
    Ter_Bytes map = Ter_EmptyMap();
    EXPECT_EQ(Ter_Scan(Ter_Hex("88 1D 40"), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{0, single}})) << "the order behind it is seen";
}

TEST(TerBM_ParseTIOA, PassesAFirstByteThatIsNoCommand)
{
    Ter_Bytes map = Ter_EmptyMap();
    EXPECT_EQ(Ter_Scan(Ter_Hex("1D 1D 40"), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{0, single}}));
}

// --- Positions and fields ---

TEST(TerBM_ParseTIOA, RecordsFieldsWhereTheyStart)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_Bytes stream = Ter_Join({writeCommand, sba(100), startField, Ter_Text("NAME"), doubleByteField,
                                       Ter_Text("XY"), Ter_Hex("1A 01 C0 60"), Ter_Hex("1F 43 38")});
    EXPECT_EQ(Ter_Scan(stream, &map, 0).Code, ERZ_OK);
    // The text of the double-byte field is two positions; a set attribute takes none.
    EXPECT_EQ(map, mapWith({{100, single}, {105, dual}, {108, single}, {109, dual}}));
}

TEST(TerBM_ParseTIOA, TakesSetAttributeOfAnotherTypeAsSingleByte)
{
    Ter_Bytes map = mapWith({{0, dual}});
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, Ter_Hex("1F 42 F2")}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{0, single}}));
}

TEST(TerBM_ParseTIOA, CountsTheControlsThatTakeAPosition)
{
    Ter_Bytes map = Ter_EmptyMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, Ter_Hex("00 0A 0C 0D 19 1C 1E"), startField}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{7, single}}));
}

TEST(TerBM_ParseTIOA, PassesOrdersThatLeaveThePosition)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_Bytes orders = Ter_Hex("08 41 09 12 41 41 13"); // GE, PT, EUA, IC
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, sba(50), orders, startField}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{50, single}}));
}

TEST(TerBM_ParseTIOA, KeepsMapEntriesBelowTheLastAddress)
{
    Ter_Bytes map = Ter_EmptyMap();
    // 4095 is the last address of 12 bits; the field behind it has no place in the map.
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, sba(4095), startField, startField}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{4095, single}}));
}

TEST(TerBM_ParseTIOA, ReadsAnAddressByteFromEightyUpAsZero)
{
    Ter_Bytes map = Ter_EmptyMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, Ter_Hex("11 80 41 1D 40 11 41 FF 1D 40")}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{1, single}, {64, single}}));
}

TEST(TerBM_ParseAttributePair, GoesByTheLastCharacterSet)
{
    const auto parse = [](const char *pairs) {
        const Ter_Bytes bytes = Ter_Hex(pairs);
        return TerBM_ParseAttributePair(bytes.data(), static_cast<u16>(bytes.size() / 2));
    };
    EXPECT_EQ(parse(""), 0);
    EXPECT_EQ(parse("C0 60"), 0);
    EXPECT_EQ(parse("43 38"), 1);
    EXPECT_EQ(parse("43 F8"), 0);
    EXPECT_EQ(parse("43 38 C0 60"), 1);
    EXPECT_EQ(parse("43 38 43 00"), 0);
    EXPECT_EQ(parse("43 00 43 38"), 1);
    EXPECT_EQ(parse("42 38"), 0);
}

// --- Repeat to address ---

TEST(TerBM_ParseTIOA, ClearsUpToALaterTarget)
{
    Ter_Bytes map = fullMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, sba(10), repeatTo(21), Ter_Text("*")}), &map, 0).Code, ERZ_OK);
    Ter_Bytes expected = fullMap();
    for (u32 at = 10; at < 21; ++at) expected[at] = 0;
    EXPECT_EQ(map, expected);
}

TEST(TerBM_ParseTIOA, ClearsTheWholeMapForATargetAtThePosition)
{
    Ter_Bytes map = fullMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, sba(64), repeatTo(64), Ter_Text("*")}), &map, 0).Code, ERZ_OK);
    for (u32 at = 0; at < TERBM_SCREEN_MAP_SIZE; ++at) ASSERT_EQ(map[at], at <= 4000 ? 0 : single) << at;
}

TEST(TerBM_ParseTIOA, ClearsAroundForAnEarlierTarget)
{
    Ter_Bytes map = fullMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, sba(64), repeatTo(1), Ter_Text("*")}), &map, 0).Code, ERZ_OK);
    for (u32 at = 0; at < TERBM_SCREEN_MAP_SIZE; ++at)
        ASSERT_EQ(map[at], at >= 1 && (at < 64 || at > 4000) ? single : 0) << at;
}

TEST(TerBM_ParseTIOA, ClearsToTheEndForTargetZero)
{
    Ter_Bytes map = fullMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, sba(3000), repeatTo(0), Ter_Text("*")}), &map, 0).Code, ERZ_OK);
    for (u32 at = 0; at < TERBM_SCREEN_MAP_SIZE; ++at) ASSERT_EQ(map[at], at < 3000 || at > 4000 ? single : 0) << at;
}

TEST(TerBM_ParseTIOA, ClearsNothingBeyondTheLastPosition)
{
    Ter_Bytes map = fullMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, sba(4050), repeatTo(0), Ter_Text("*")}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, fullMap());
}

TEST(TerBM_ParseTIOA, TakesARepeatedGraphicCharacterAlong)
{
    Ter_Bytes map = Ter_EmptyMap();
    // Behind 14 aa aa the character of a plain RA is text and takes a position; that of a graphic escape does not.
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, Ter_Hex("14 20 2E 2A 1D 40")}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{12, single}}));
    map = Ter_EmptyMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, Ter_Hex("14 20 2E 08 2A 1D 40")}), &map, 0).Code, ERZ_OK);
    EXPECT_EQ(map, mapWith({{11, single}}));
}

// --- Inserted addresses ---

TEST(TerBM_ParseTIOA, GivesNoSecondAddress)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_Bytes stream = Ter_Join({writeCommand, sba(100), startField});
    const Ter_ScanResult result = Ter_Scan(stream, &map, 1);
    EXPECT_EQ(result.Stream, stream);
    EXPECT_FALSE(result.Replaced);
    EXPECT_TRUE(result.Asked.empty());
}

TEST(TerBM_ParseTIOA, AddressesAFieldBehindTextAndBehindAField)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_ScanResult result =
        Ter_Scan(Ter_Join({writeCommand, sba(100), Ter_Text("NAME"), startField, startField}), &map, 1);
    EXPECT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Stream,
              Ter_Join({writeCommand, sba(100), Ter_Text("NAME"), sba(104), startField, sba(105), startField}));
    EXPECT_TRUE(result.Replaced);
    EXPECT_EQ(result.Asked, std::vector<u32>({313}));
    EXPECT_EQ(result.Released, 1u) << "the old stream";
    EXPECT_EQ(result.Live, 1u);
    EXPECT_EQ(map, mapWith({{104, single}, {105, single}}));
}

TEST(TerBM_ParseTIOA, AddressesEveryKindOfFieldOrderButNoSetAttribute)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_Bytes modify = Ter_Hex("1A 01 41 F2");
    const Ter_Bytes attribute = Ter_Hex("1F 42 F2");
    const Ter_ScanResult result =
        Ter_Scan(Ter_Join({writeCommand, doubleByteField, modify, attribute, startField}), &map, 1);
    EXPECT_EQ(result.Stream,
              Ter_Join({writeCommand, sba(0), doubleByteField, sba(1), modify, attribute, sba(2), startField}));
}

TEST(TerBM_ParseTIOA, WritesAnAddressAsTwoGraphicCharacters)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_Bytes text(79, 'x');
    const Ter_ScanResult result = Ter_Scan(Ter_Join({writeCommand, text, doubleByteField}), &map, 1);
    EXPECT_EQ(result.Stream, Ter_Join({writeCommand, text, Ter_Hex("11 41 21"), doubleByteField}));
    EXPECT_EQ(map[79], dual);
}

TEST(TerBM_ParseTIOA, AsksForInsertionByTheValueOneOnly)
{
    const Ter_Bytes stream = Ter_Join({writeCommand, startField});
    for (const i32 flag : {0, 2, -1}) {
        Ter_Bytes map = Ter_EmptyMap();
        EXPECT_EQ(Ter_Scan(stream, &map, flag).Stream, stream) << flag;
        EXPECT_EQ(map[0], single);
    }
}

TEST(TerBM_ParseTIOA, KeepsAnAddressAcrossNoOtherOrder)
{
    // Each of these between address and field takes the address away.
    for (const char *between : {"00", "41", "1F 42 F2", "14 20 20", "13", "08 41", "12 20 20", "09"}) {
        Ter_Bytes map = Ter_EmptyMap();
        const Ter_ScanResult result = Ter_Scan(Ter_Join({writeCommand, sba(5), Ter_Hex(between), startField}), &map, 1);
        EXPECT_TRUE(result.Replaced) << between;
    }
}

TEST(TerBM_ParseTIOA, TakesStorageOnceForEachNinetyNineInsertions)
{
    const auto fields = [](size_t count) {
        Ter_Bytes stream = writeCommand;
        for (size_t i = 0; i < count; ++i) stream.insert(stream.end(), {0x1D, 0x40});
        return stream;
    };
    const auto asked = [&](size_t count) {
        Ter_Bytes map = Ter_EmptyMap();
        const Ter_ScanResult result = Ter_Scan(fields(count), &map, 1);
        EXPECT_EQ(result.Code, ERZ_OK);
        EXPECT_EQ(result.Stream.size(), 2 + count * 5);
        EXPECT_EQ(result.Live, 1u);
        EXPECT_EQ(result.Released, result.Asked.size());
        return result.Asked;
    };
    EXPECT_EQ(asked(99), std::vector<u32>({500}));
    EXPECT_EQ(asked(100), std::vector<u32>({502, 802}));
    EXPECT_EQ(asked(198), std::vector<u32>({698, 998}));
    EXPECT_EQ(asked(199), std::vector<u32>({700, 1000, 1300}));
}

TEST(TerBM_ParseTIOA, WritesAPositionBeyondTheScreenByItsLowBits)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_Bytes text(10, 'x');
    const Ter_ScanResult result = Ter_Scan(Ter_Join({writeCommand, sba(4090), text, startField}), &map, 1);
    EXPECT_EQ(result.Stream, Ter_Join({writeCommand, sba(4090), text, sba(4), startField}));
}

// --- Ends ---

TEST(TerBM_ParseTIOA, CutsTheStreamAtAnIncompleteOrder)
{
    for (const char *order : {"08",
                              "11",
                              "11 41",
                              "12",
                              "12 41",
                              "1D",
                              "1F",
                              "1F 43",
                              "10",
                              "10 00",
                              "10 01",
                              "10 01 43",
                              "10 02 43 38 C0",
                              "1A",
                              "1A 01 C0",
                              "14",
                              "14 20",
                              "14 20 20 08",
                              "01",
                              "07",
                              "0B",
                              "0E",
                              "0F",
                              "15",
                              "1B"}) {
        Ter_Bytes map = Ter_EmptyMap();
        const Ter_Bytes front = Ter_Join({writeCommand, sba(7), startField});
        const Ter_ScanResult result = Ter_Scan(Ter_Join({front, Ter_Hex(order)}), &map, 1);
        EXPECT_EQ(result.Code, TERBM_ERR_INCOMPLETE_ORDER) << order;
        EXPECT_EQ(result.Stream, front) << order;
        EXPECT_FALSE(result.Replaced) << order;
        EXPECT_EQ(map, mapWith({{7, single}})) << order << ": fields in front of it stay";
    }
}

TEST(TerBM_ParseTIOA, TakesARepeatToAddressWithoutItsCharacter)
{
    Ter_Bytes map = Ter_EmptyMap();
    EXPECT_EQ(Ter_Scan(Ter_Join({writeCommand, Ter_Hex("14 20 2E")}), &map, 0).Code, ERZ_OK);
}

TEST(TerBM_ParseTIOA, FinishesARebuiltStreamAtAnIncompleteOrder)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_ScanResult result =
        Ter_Scan(Ter_Join({writeCommand, startField, Ter_Text("AB"), Ter_Hex("11 41")}), &map, 1);
    EXPECT_EQ(result.Code, TERBM_ERR_INCOMPLETE_ORDER);
    EXPECT_TRUE(result.Replaced);
    EXPECT_EQ(result.Stream, Ter_Join({writeCommand, sba(0), startField, Ter_Text("AB")}));
}

TEST(TerBM_ParseTIOA, SaysNoStorageWhateverTheRoutineSaid)
{
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_Bytes stream = Ter_Join({writeCommand, Ter_Text("AB"), startField, Ter_Text("CD")});
    const Ter_ScanResult result = Ter_Scan(stream, &map, 1, 1);
    EXPECT_EQ(result.Code, TERBM_ERR_NO_STORAGE);
    EXPECT_FALSE(result.Replaced);
    EXPECT_EQ(result.Stream, Ter_Join({writeCommand, Ter_Text("AB"), startField})) << "up to the end of that order";
    EXPECT_EQ(result.Released, 0u);
    EXPECT_EQ(map, mapWith({{2, single}}));
}

TEST(TerBM_ParseTIOA, FinishesARebuiltStreamThatCannotGrow)
{
    Ter_Bytes stream = writeCommand;
    for (int i = 0; i < 120; ++i) stream.insert(stream.end(), {0x1D, 0x40});
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_ScanResult result = Ter_Scan(stream, &map, 1, 2);
    EXPECT_EQ(result.Code, TERBM_ERR_NO_STORAGE);
    EXPECT_TRUE(result.Replaced);
    EXPECT_EQ(result.Stream.size(), 2 + 99 * 5 + 2u) << "the hundredth field is there, without an address";
    EXPECT_EQ(result.Live, 1u);
}

TEST(TerBM_ParseTIOA, RefusesACapacityThatSixteenBitsCannotTell)
{
    const auto scan = [](size_t length) {
        Ter_Bytes stream(length, 'x');
        stream[0] = 0x31;
        stream[length - 2] = 0x1D;
        Ter_Bytes map = Ter_EmptyMap();
        return Ter_Scan(stream, &map, 1);
    };
    const Ter_ScanResult fits = scan(65235);
    EXPECT_EQ(fits.Code, ERZ_OK);
    EXPECT_EQ(fits.Asked, std::vector<u32>({65535}));
    EXPECT_EQ(fits.Stream.size(), 65238u);

    const Ter_ScanResult wraps = scan(65236);
    EXPECT_EQ(wraps.Code, TERBM_ERR_NO_STORAGE);
    EXPECT_TRUE(wraps.Asked.empty());
    EXPECT_FALSE(wraps.Replaced);
}

// --- The map's answer ---

TEST(TerBM_ExamineScreen, FindsTheFieldBeforeThePosition)
{
    const Ter_Bytes map = mapWith({{0, dual}, {10, dual}, {20, single}, {100, dual}, {4095, dual}});
    const auto examine = [&](u32 position) { return TerBM_ExamineScreen(map.data(), static_cast<u16>(position)); };
    EXPECT_EQ(examine(0), 0) << "position 0 is never asked";
    for (u32 at = 1; at < 10; ++at) EXPECT_EQ(examine(at), 0) << at << ": position 0 is never looked at";
    for (u32 at = 10; at < 20; ++at) EXPECT_EQ(examine(at), 1) << at;
    for (u32 at = 20; at < 100; ++at) EXPECT_EQ(examine(at), 0) << at;
    for (u32 at = 100; at < 4096; ++at) EXPECT_EQ(examine(at), 1) << at;
    EXPECT_EQ(examine(4096), 1) << "positions beyond the map are not looked at";
    EXPECT_EQ(examine(65535), 1);
}

TEST(TerBM_ExamineScreen, LooksAtPositionOneAlone)
{
    EXPECT_EQ(TerBM_ExamineScreen(mapWith({{1, dual}}).data(), 1), 1);
    EXPECT_EQ(TerBM_ExamineScreen(mapWith({{0, dual}, {2, dual}}).data(), 1), 0);
}

TEST(TerBM_ExamineScreen, PassesOtherValues)
{
    Ter_Bytes map(TERBM_SCREEN_MAP_SIZE, 0x01);
    map[3] = dual;
    EXPECT_EQ(TerBM_ExamineScreen(map.data(), 4000), 1);
    EXPECT_EQ(TerBM_ExamineScreen(nullptr, 4000), 0);
}

TEST(TerBM_ExamineScreen, AgreesWithAPlainWalkOnEveryPosition)
{
    std::srand(20);
    for (int round = 0; round < 200; ++round) {
        Ter_Bytes map = Ter_EmptyMap();
        for (int fields = std::rand() % 40; fields > 0; --fields)
            map[static_cast<size_t>(std::rand() % 4096)] =
                Ter_Bytes({single, dual, 0x77})[static_cast<size_t>(std::rand() % 3)];
        for (u32 at = 0; at < 5000; at += 1 + static_cast<u32>(std::rand() % 7))
            ASSERT_EQ(TerBM_ExamineScreen(map.data(), static_cast<u16>(at)) == 1,
                      Ref_ExamineScreen(&map, static_cast<u16>(at)))
                << round << " " << at;
    }
}

// --- The width of text, in the C locale; others in terbm_locale_test ---

TEST(TerBM_ASCIICountToControl, CountsUpToTheNextOrder)
{
    const Ter_Bytes stream = Ter_Hex("41 42 00 01 0C 43 1D 40");
    u16 offset = 0;
    EXPECT_EQ(TerBM_ASCIICountToControl(stream.data(), 8, &offset, nullptr, 0), 6u);
    EXPECT_EQ(offset, 6);
    EXPECT_EQ(TerBM_ASCIICountToControl(stream.data(), 8, &offset, nullptr, 0), 0u) << "an order at once";
    EXPECT_EQ(offset, 6);
}

TEST(TerBM_ASCIICountToControl, EndsWithTheStream)
{
    const Ter_Bytes stream = Ter_Hex("41 42 E4 FF 7F 80");
    u16 offset = 1;
    EXPECT_EQ(TerBM_ASCIICountToControl(stream.data(), 6, &offset, nullptr, 0), 5u);
    EXPECT_EQ(offset, 6);
    offset = 9;
    EXPECT_EQ(TerBM_ASCIICountToControl(stream.data(), 6, &offset, nullptr, 0), 0u);
    EXPECT_EQ(offset, 6) << "an offset behind the end comes back to it";
}

// Recorded records of real and of test sessions: each is translated there and back, and the two pictures compared; the
// ASCII form of each is scanned. The records are no part of this project; without them the tests are skipped.
//
// A picture does not survive where the record has what the ASCII form cannot tell: 14-bit addresses, graphic-escape
// characters, structured fields.

#include <gtest/gtest.h>

#include "screen_decode.h"
#include "screen_text.h"
#include "terbm_support.h"

#include <filesystem>

namespace
{

enum Fate {
    survives, // the picture is the same
    changes, // it is not
    fails, // the record ends inside an order, or seems to
};

struct Row {
    const char *Name;
    bool Inbound;
    Fate Picture;
    u32 ScanCode; // of the ASCII form
    size_t ScanEnd; // the length that the scan leaves, without insertion
    size_t Fields; // on the map of an empty screen
};

// A failure names its record.
void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.Name;
}

constexpr u32 incomplete = TERBM_ERR_INCOMPLETE_ORDER;

const Row rows[] = {
    {"s01_all_characters", false, survives, 0, 298, 15},
    {"s02_ge_every_cell", false, changes, 0, 480, 15},
    {"s03_sa_sfe_charset_f1", false, survives, 0, 126, 14},
    {"s04_dbcs_sa_sfe_f8", false, survives, 0, 140, 13},
    {"s05_so_si_japanese", false, survives, 0, 275, 4},
    {"s06_so_si_chinese", false, survives, 0, 182, 4},
    {"s07_wide_screen_14bit", false, changes, 0, 5523, 53},
    {"s08_ra_sa_sfe_14bit", false, changes, 0, 689, 0},
    {"s09_ge_ra_sa_14bit", false, changes, 0, 1057, 0},
    {"s10_nul_padded_screen", false, survives, 0, 1932, 2},
    {"s11_write_eua", false, survives, 0, 40, 2},
    {"s12_error_recovery", false, survives, 0, 77, 3},
    {"s13_line_mode_write", false, survives, 0, 253, 10},
    {"s14_printer_nl_ff_em", false, survives, 0, 68, 0},
    {"s15_ra_sfe_12bit", false, survives, 0, 1554, 36},
    {"s16_editor_sa_ge_14bit", false, changes, 0, 1045, 1},
    {"s17_sa_both_address_forms", false, changes, 0, 112, 8},
    {"s18_structured_field", false, fails, 0, 0, 0}, // its bytes look like orders
    {"s19_reverse_ra_sfe", false, survives, 0, 53, 5},
    {"s20_read_modified", false, survives, 0, 1, 0},
    {"s21_in_enter_logoff", true, survives, 0, 12, 0},
    {"s22_in_dbcs_field", true, survives, incomplete, 6, 0}, // shift-out where an order is expected
    {"s23_in_character_mode", true, changes, 0, 127, 5},
    {"s24_in_read_buffer", true, changes, 0, 3501, 9},
    {"s25_in_pa1_only", true, survives, 0, 1, 0},
    {"s26_bad_short_sba", false, fails, 0, 0, 0},
    {"s27_bad_short_sfe", false, fails, 0, 0, 0},
};

Ref_Converted convert(u32 descriptor, const Ter_Bytes &text, u16)
{
    Ref_Converted out = {0, text};
    Ter_Bytes source = text;
    u16 length = 0;
    out.Code = Screen_Convert(descriptor, source.data(), static_cast<u16>(source.size()), out.Text.data(),
                              static_cast<u16>(out.Text.size()), &length);
    return out;
}

// As a real conversion: what was framed comes back without the frame.
Ref_Converted convertUnframed(u32 descriptor, const Ter_Bytes &text, u16 size)
{
    Ref_Converted out = convert(descriptor, text, size);
    if (text.front() == 0x0E && text.back() == 0x0F) out.Text.assign(out.Text.begin() + 1, out.Text.end() - 1);
    return out;
}

// Double-byte text is framed for the conversion to ASCII; the way back takes the frame off.
Ref_Arguments way(const Row &row, bool toAscii)
{
    Ref_Arguments arguments;
    arguments.HasCommand = !row.Inbound;
    arguments.NoPrefix = !row.Inbound;
    arguments.SourceIsEbcdic = toAscii;
    arguments.Descriptor = toAscii ? Screen_FromEbcdic : Screen_ToEbcdic;
    arguments.DoubleByteMode = toAscii ? 2 : 1;
    return arguments;
}

Screen_Picture draw(const Row &row, const Ter_Bytes &stream)
{
    return Screen_Decode(std::string(stream.begin(), stream.end()),
                         row.Inbound ? Screen_Source::Terminal : Screen_Source::Host);
}

bool sameCell(const Screen_Cell &a, const Screen_Cell &b)
{
    return a.IsField == b.IsField && a.IsGraphic == b.IsGraphic && a.Code == b.Code && a.Look.Colour == b.Look.Colour &&
           a.Look.Highlight == b.Look.Highlight && a.Look.CharacterSet == b.Look.CharacterSet;
}

bool samePicture(const Screen_Picture &one, const Screen_Picture &other)
{
    return one.Problem.empty() && other.Problem.empty() && one.Cursor == other.Cursor &&
           std::equal(one.Cells.begin(), one.Cells.end(), other.Cells.begin(), other.Cells.end(), sameCell);
}

} // namespace

class RecordedRecord : public testing::TestWithParam<Row>
{
protected:
    Ter_Bytes Record;

    void SetUp() override
    {
        const std::string path = Ter_RecordsDirectory() + "/" + GetParam().Name + ".ebc.bin";
        if (!std::filesystem::exists(path)) GTEST_SKIP() << "no recorded records at " << Ter_RecordsDirectory();
        Record = Ter_ReadFile(path);
    }
};

TEST_P(RecordedRecord, IsTranslatedThereAndBack)
{
    const Row &row = GetParam();
    const Ter_TranslateResult there = Ter_Translate(Record, way(row, true), convert);
    if (row.Picture == fails) {
        EXPECT_EQ(there.Code, TERBM_ERR_INCOMPLETE_ORDER);
        EXPECT_EQ(there.Length, Record.size());
        return;
    }
    ASSERT_EQ(there.Code, ERZ_OK);
    const Ter_TranslateResult back = Ter_Translate(there.Result, way(row, false), convert);
    ASSERT_EQ(back.Code, ERZ_OK);
    EXPECT_EQ(back.Length, Record.size());

    Ter_Bytes device = back.Result;
    if (row.Inbound) // a prefix is text on the way back
        std::copy_n(Record.begin(), std::min<size_t>(3, Record.size()), device.begin());
    else
        device[0] = Screen_CommandFromWire(device[0]);
    if (!row.Inbound && Record.size() > 1) {
        EXPECT_EQ(there.Result[1], back.Result[1]) << "a WCC goes back as it came";
    }
    EXPECT_EQ(samePicture(draw(row, Record), draw(row, device)), row.Picture == survives);
}

TEST_P(RecordedRecord, IsTranslatedAsTheReferenceDoes)
{
    const Row &row = GetParam();
    const Ref_Translation there = Ref_Translate(Record, way(row, true), convert);
    EXPECT_EQ(Ter_Translate(Record, way(row, true), convert).Result, there.Result);
    if (there.Code != 0) return;
    EXPECT_EQ(Ter_Translate(there.Result, way(row, false), convert).Result,
              Ref_Translate(there.Result, way(row, false), convert).Result);
}

TEST_P(RecordedRecord, IsScannedInItsAsciiForm)
{
    const Row &row = GetParam();
    if (row.Picture == fails) return;
    const Ter_Bytes ascii = Ter_Translate(Record, way(row, true), convertUnframed).Result;
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_ScanResult scanned = Ter_Scan(ascii, &map, 0);
    EXPECT_EQ(scanned.Code, row.ScanCode);
    EXPECT_EQ(scanned.Stream.size(), row.ScanEnd);
    EXPECT_EQ(map.size() - static_cast<size_t>(std::count(map.begin(), map.end(), 0)), row.Fields);

    for (const bool insert : {false, true}) {
        Ter_Bytes ours = Ter_EmptyMap();
        Ter_Bytes theirs = Ter_EmptyMap();
        EXPECT_EQ(Ter_Scan(ascii, &ours, insert).Stream, Ref_ParseTIOA(ascii, &theirs, insert, 0).Stream);
        EXPECT_EQ(ours, theirs);
    }
}

// As it came over the wire, with the command code that is none of the EBCDIC form's.
TEST_P(RecordedRecord, HasNoCommandInItsWireForm)
{
    const Row &row = GetParam();
    if (row.Inbound) return;
    const std::string path = Ter_RecordsDirectory() + "/" + row.Name + ".raw.bin";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no recorded records at " << Ter_RecordsDirectory();
    const Ter_Bytes raw = Ter_ReadFile(path);
    if (raw[0] == Record[0]) return; // recorded with a local code
    const Ter_TranslateResult result = Ter_Translate(raw, way(row, true), convert);
    if (row.Picture == fails) {
        EXPECT_EQ(result.Code, TERBM_ERR_INCOMPLETE_ORDER);
        return;
    }
    ASSERT_EQ(result.Code, ERZ_OK);
    EXPECT_EQ(result.Result[0], convert(Screen_FromEbcdic, {raw[0]}, 1).Text[0]) << "it went on as text";
}

INSTANTIATE_TEST_SUITE_P(All, RecordedRecord, testing::ValuesIn(rows),
                         [](const testing::TestParamInfo<Row> &row) { return std::string(row.param.Name); });

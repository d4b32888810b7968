// The width of multibyte text. The locales are built for the test by localedef, into a directory of its own; without
// the tool or its sources the tests are skipped.

#include <gtest/gtest.h>

#include "terbm_int.h"
#include "terbm_support.h"

#include <clocale>
#include <filesystem>
#include <random>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

// The directory of the locales of this process.
std::string localeDirectory()
{
    static const std::string directory = [] {
        std::string pattern = (fs::temp_directory_path() / "terbm_locale_XXXXXX").string();
        return std::string(mkdtemp(pattern.data()) != nullptr ? pattern : "");
    }();
    return directory;
}

// Puts this thread's texts into a locale such as ja_JP and EUC-JP, for one test. Localedef leaves warnings of charsets
// that are no superset of ASCII; what counts is whether the locale can be set.
class LocaleTest : public testing::Test
{
protected:
    void use(const std::string &language, const std::string &charset)
    {
        const std::string name = language + "." + charset;
        const std::string directory = localeDirectory();
        ASSERT_FALSE(directory.empty());
        if (!fs::exists(directory + "/" + name)) {
            const std::string command =
                "localedef -c -i " + language + " -f " + charset + " '" + directory + "/" + name + "' >/dev/null 2>&1";
            static_cast<void>(std::system(command.c_str()));
        }
        setenv("LOCPATH", directory.c_str(), 1);
        if (std::setlocale(LC_CTYPE, name.c_str()) == nullptr)
            GTEST_SKIP() << "localedef cannot build " << name << " here (package locales)";
    }

    void TearDown() override
    {
        std::setlocale(LC_CTYPE, "C");
        unsetenv("LOCPATH");
    }

    static void TearDownTestSuite() { fs::remove_all(localeDirectory()); }

    // The width of a text in the field that the map has at its position.
    static u32 width(const std::string &hex, const Ter_Bytes *map = nullptr, u16 position = 0)
    {
        const Ter_Bytes text = Ter_Hex(hex);
        u8 *const block = Ter_Exact(text);
        u16 offset = 0;
        const u32 count = TerBM_ASCIICountToControl(block, static_cast<u16>(text.size()), &offset,
                                                    map != nullptr ? map->data() : nullptr, position);
        EXPECT_EQ(offset, text.size());
        Ter_ReleaseAll();
        return count;
    }

    // Streams of this locale's characters, whole and torn, against the reference.
    static void agree(const std::vector<std::string> &characters)
    {
        for (u32 seed = 1; seed <= 20000; ++seed) {
            std::mt19937 dice(seed);
            Ter_Bytes stream = Ter_Hex("35 C3");
            for (auto count = dice() % 12; count > 0; --count) {
                static const char *const orders[] = {"1D 40", "10 01 43 38", "1F 43 38", "11 20 41", "00", "14 21 20"};
                const std::string &next = dice() % 3 ? characters[dice() % characters.size()] : orders[dice() % 6];
                const Ter_Bytes bytes = Ter_Hex(next);
                stream.insert(stream.end(), bytes.begin(), bytes.end());
            }
            if (dice() % 4 == 0) stream[dice() % stream.size()] = static_cast<u8>(dice());
            if (dice() % 4 == 0) stream.resize(1 + dice() % stream.size());
            Ter_Bytes ours = Ter_EmptyMap();
            Ter_Bytes theirs = Ter_EmptyMap();
            const Ter_ScanResult scan = Ter_Scan(stream, &ours, 1);
            const Ref_Scan reference = Ref_ParseTIOA(stream, &theirs, true, 0);
            ASSERT_EQ(scan.Code, reference.Code) << seed;
            ASSERT_EQ(scan.Stream, reference.Stream) << seed;
            ASSERT_EQ(ours, theirs) << seed;
        }
    }
};

} // namespace

#define USE_LOCALE(Language, Charset)                                                                                  \
    use(Language, Charset);                                                                                            \
    if (IsSkipped() || HasFatalFailure()) return

TEST_F(LocaleTest, CountsEucJapanese)
{
    USE_LOCALE("ja_JP", "EUC-JP");
    EXPECT_EQ(width("41 42"), 2u);
    EXPECT_EQ(width("C6 FC"), 4u) << "two bytes, and the shifts around them";
    EXPECT_EQ(width("C6 FC CB DC"), 6u) << "a run pays the shifts once";
    EXPECT_EQ(width("41 C6 FC CB DC 42"), 8u);
    EXPECT_EQ(width("C6 FC 41 CB DC"), 9u) << "a single-byte character ends the run";
    EXPECT_EQ(width("C6 FC 00 CB DC"), 7u) << "a NUL does not";
    EXPECT_EQ(width("8E B1"), 4u) << "a half-width character of two bytes";
    EXPECT_EQ(width("8F B0 A1"), 5u) << "one of three";
    EXPECT_EQ(width("C6"), 1u) << "cut off by the end";
    EXPECT_EQ(width("C6 FC CB"), 5u);
    EXPECT_EQ(width("C6 41"), 2u) << "no character: each byte is one";

    Ter_Bytes map = Ter_EmptyMap();
    map[10] = TERBM_MAP_DOUBLE_BYTE;
    EXPECT_EQ(width("C6 FC CB DC", &map, 20), 4u) << "in a double-byte field there are no shifts";
    EXPECT_EQ(width("C6 FC CB DC", &map, 9), 6u);
    agree({"41", "C6 FC", "CB DC", "8E B1", "8F B0 A1", "C6", "FF", "20"});
}

TEST_F(LocaleTest, EndsATextBehindACutOffCharacter)
{
    USE_LOCALE("ja_JP", "EUC-JP");
    Ter_Bytes map = Ter_EmptyMap();
    const Ter_ScanResult scan = Ter_Scan(Ter_Hex("31 40 41 C6 1D 40"), &map, 1);
    EXPECT_EQ(scan.Code, ERZ_OK);
    EXPECT_EQ(scan.Stream, Ter_Hex("31 40 41 C6 11 20 42 1D 40")) << "the order behind it is seen";
}

TEST_F(LocaleTest, AddressesAFieldBehindDoubleByteText)
{
    USE_LOCALE("ja_JP", "EUC-JP");
    Ter_Bytes map = Ter_EmptyMap();
    // 0: field; 1 to 6: two characters in shifts; 7: field. In the double-byte field: 8 to 11, then 12.
    const Ter_ScanResult scan =
        Ter_Scan(Ter_Hex("35 40 11 20 20 1D 40 C6 FC CB DC 10 01 43 38 C6 FC CB DC 1D 40"), &map, 1);
    EXPECT_EQ(scan.Stream, Ter_Hex("35 40 11 20 20 1D 40 C6 FC CB DC 11 20 47 10 01 43 38 C6 FC CB DC 11 20 3C 1D 40"));
    EXPECT_EQ(map[7], TERBM_MAP_DOUBLE_BYTE);
    EXPECT_EQ(map[12], TERBM_MAP_SINGLE_BYTE);
}

TEST_F(LocaleTest, CountsShiftJis)
{
    USE_LOCALE("ja_JP", "SHIFT_JIS");
    EXPECT_EQ(width("93 FA 96 7B"), 6u);
    EXPECT_EQ(width("B1 B2"), 2u) << "half-width characters are single-byte";
    EXPECT_EQ(width("93 FA B1 96 7B"), 9u);
    EXPECT_EQ(width("93 20"), 2u);
    agree({"41", "93 FA", "96 7B", "B1", "5C", "7E", "93"});
}

TEST_F(LocaleTest, CountsGb18030)
{
    USE_LOCALE("zh_CN", "GB18030");
    EXPECT_EQ(width("D6 D0 B9 FA"), 6u);
    EXPECT_EQ(width("81 30 84 36"), 6u) << "four bytes, and the shifts";
    EXPECT_EQ(width("81 30 84 36 41 D6 D0"), 11u);
    EXPECT_EQ(width("81 30 84"), 3u);
    agree({"41", "D6 D0", "B9 FA", "81 30 84 36", "81 30", "FF"});
}

TEST_F(LocaleTest, CountsUtf8)
{
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) GTEST_SKIP() << "no locale C.UTF-8";
    EXPECT_EQ(width("E6 97 A5"), 5u) << "the bytes of the encoding, not the columns";
    EXPECT_EQ(width("C3 A4"), 4u);
    EXPECT_EQ(width("F0 A0 80 8B E6 97 A5"), 9u);
    EXPECT_EQ(width("E6 97"), 2u);
    agree({"41", "C3 A4", "E6 97 A5", "F0 A0 80 8B", "80", "C3"});
}

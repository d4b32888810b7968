// The message catalogue: every number that the system uses is there, with its identifier and the inserts that all
// callers of it pass.

#include <gtest/gtest.h>

#include <set>

#include "catalog_hook.h"
#include "scratch_root.h"
#include "super_messages.h"
#include "tks_catalog.h"

// Inserts is a letter for each insert that every caller passes: s text, d integer.
struct CatalogRow {
    u32 Number;
    const char *Identifier;
    const char *Inserts;
};

// clang-format off
static const CatalogRow rows[] = {
    {0x0C401005, "ERZ049001E", "s"},
    {0x0C402009, "ERZ049002E", "s"},
    {0x0C40300D, "ERZ049003E", "s"},
    {0x0C404011, "ERZ049004E", "s"},
    {0x0C405015, "ERZ049005E", "s"},
    {0x0C406019, "ERZ049006E", "s"},
    {0x0C40701D, "ERZ049007E", "ssd"},
    {0x0C408020, "ERZ049008I", "s"},
    {0x0C409029, "ERZ049010E", ""},
    {0x0C40A02C, "ERZ049011I", "ss"},
    {0x0C421089, "ERZ049034E", "s"},
    {0x0C42208D, "ERZ049035E", "ss"},
    {0x0C423091, "ERZ049036E", "s"},
    {0x0C424095, "ERZ049037E", "ss"},
    {0x0E402009, "ERZ057002E", "ssdsd"},
    {0x0E406019, "ERZ057006E", "sd"},
    {0x0E409045, "ERZ057017E", "sd"},
    {0x0E40B055, "ERZ057021E", "sdd"},
    {0x0E40C05A, "ERZ057022W", "sd"},
    {0x0E41006A, "ERZ057026W", "sd"},
    {0x0E416081, "ERZ057032E", "dd"},
    {0x0E806025, "ERZ058009E", "ss"},
    {0x0E80702D, "ERZ058011E", ""},
    {0x0E8273AE, "ERZ058235W", "ds"},
    {0x0E8283B1, "ERZ058236E", "ss"},
    {0x0E82B645, "ERZ058401E", ""},
    {0x0E82D64D, "ERZ058403E", "s"},
    {0x0E82F655, "ERZ058405E", "sd"},
    {0x0E830659, "ERZ058406E", "ssd"},
    {0x0E83A680, "ERZ058416I", "s"},
    {0x0E83B684, "ERZ058417I", "s"},
    {0x0E83D68E, "ERZ058419W", "s"},
    {0x0E83E691, "ERZ058420E", "sds"},
    {0x0E872E51, "ERZ058916E", "d"},
    {0x0E873ED1, "ERZ058948E", "ss"},
    {0x0E897F65, "ERZ058985E", "sdd"},
    {0x2E83D000, "GTI", ""},
    {0x2E83E000, "GTI", ""},
    {0x2E840000, "GTI", ""},
    {0x2E841000, "GTI", ""},
    {0x2E842000, "GTI", ""},
    {0x2E843000, "GTI", ""},
    {0x2E844000, "GTI", ""},
};
// clang-format on

static u32 openCatalog()
{
    Scratch_MakeRoot();
    Hook_Reset();
    return tks_catopen("vela.cat", 1);
}

static std::string bodyOf(u32 Catalog, const CatalogRow &Row)
{
    static char missing[] = "(missing)";
    return tks_catgets(Catalog, SUPER_MSG_SET(Row.Number), SUPER_MSG_CATALOG_NUMBER(Row.Number), missing);
}

// The letters of the inserts that a body names, by number; a gap is '-'. Fails on any form but %n and %n!d!.
static std::string insertsOf(const std::string &Body)
{
    std::string letters;
    for (size_t at = Body.find('%'); at != std::string::npos; at = Body.find('%', at + 1)) {
        const char digit = at + 1 < Body.size() ? Body[at + 1] : '\0';
        if (digit < '1' || digit > '9' || isdigit(static_cast<u8>(Body[at + 2])) != 0) {
            ADD_FAILURE() << "not an insert of one digit: " << Body;
            return letters;
        }
        const size_t place = static_cast<size_t>(digit - '1');
        if (letters.size() <= place) letters.resize(place + 1, '-');
        const bool isInteger = Body.compare(at + 2, 3, "!d!") == 0;
        EXPECT_TRUE(isInteger || Body[at + 2] != '!') << Body;
        const char letter = isInteger ? 'd' : 's';
        EXPECT_TRUE(letters[place] == '-' || letters[place] == letter) << Body;
        letters[place] = letter;
    }
    return letters;
}

TEST(Catalog, HasEveryNumberWithItsIdentifier)
{
    const u32 catalog = openCatalog();
    ASSERT_NE(catalog, TKS_CAT_FAILED);
    for (const CatalogRow &row : rows) {
        const std::string body = bodyOf(catalog, row);
        ASSERT_NE(body, "(missing)") << row.Identifier;
        EXPECT_EQ(body.find('\n'), std::string::npos) << body;
        if (SUPER_IS_GTI(row.Number))
            EXPECT_NE(body.substr(0, 3), "ERZ") << body;
        else
            EXPECT_EQ(body.substr(0, 12), std::string(row.Identifier) + ": ") << body;
    }
}

TEST(Catalog, NamesNoInsertThatACallerLeavesOut)
{
    const u32 catalog = openCatalog();
    for (const CatalogRow &row : rows) {
        const std::string passed = row.Inserts;
        const std::string named = insertsOf(bodyOf(catalog, row));
        ASSERT_LE(named.size(), passed.size()) << row.Identifier;
        for (size_t i = 0; i < named.size(); ++i)
            EXPECT_TRUE(named[i] == '-' || named[i] == passed[i]) << row.Identifier << " insert " << i + 1;
    }
}

TEST(Catalog, NumbersAndIdentifiersBelongTogether)
{
    std::set<std::pair<u32, u32>> places;
    for (const CatalogRow &row : rows) {
        EXPECT_TRUE(places.insert({SUPER_MSG_SET(row.Number), SUPER_MSG_CATALOG_NUMBER(row.Number)}).second);
        if (SUPER_IS_GTI(row.Number)) continue;
        char identifier[16];
        snprintf(identifier, sizeof identifier, "ERZ%6.6u%c", SUPER_MSG_DIGITS(row.Number),
                 SUPER_MSG_LETTER(row.Number));
        EXPECT_STREQ(identifier, row.Identifier);
    }
}

// The text that a body gives with the inserts one, 2, three, ... by their types.
static std::string expectedText(const std::string &Body, const char *const *Texts, const int *Integers)
{
    std::string text;
    for (size_t at = 0; at < Body.size(); ++at) {
        if (Body[at] != '%') {
            text += Body[at];
            continue;
        }
        const size_t place = static_cast<size_t>(Body[at + 1] - '1');
        const bool isInteger = Body.compare(at + 2, 3, "!d!") == 0;
        text += isInteger ? std::to_string(Integers[place]) : Texts[place];
        at += isInteger ? 4 : 1;
    }
    return text;
}

TEST(Catalog, EveryMessageCanBeFormatted)
{
    const u32 catalog = openCatalog();
    const char *const texts[] = {"one", "two", "three", "four", "five"};
    const int integers[] = {-1, 2, 2147483647, 4, 5};
    for (const CatalogRow &row : rows) {
        const std::string body = bodyOf(catalog, row);
        const std::string passed = row.Inserts;
        char buffer[512];
        u32 size = sizeof buffer;
        u32 code = ~0u;
        if (passed.empty())
            code = SupER_GetMessage(buffer, &size, 0, row.Number);
        else if (passed == "s" || passed == "ss")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, texts[0], texts[1]);
        else if (passed == "d")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, integers[0]);
        else if (passed == "sd")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, texts[0], integers[1]);
        else if (passed == "ds")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, integers[0], texts[1]);
        else if (passed == "dd")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, integers[0], integers[1]);
        else if (passed == "sdd")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, texts[0], integers[1], integers[2]);
        else if (passed == "ssd")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, texts[0], texts[1], integers[2]);
        else if (passed == "sds")
            code = SupER_GetMessage(buffer, &size, 0, row.Number, texts[0], integers[1], texts[2]);
        else if (passed == "ssdsd")
            code =
                SupER_GetMessage(buffer, &size, 0, row.Number, texts[0], texts[1], integers[2], texts[3], integers[4]);
        EXPECT_EQ(code, ERZ_OK) << row.Identifier;
        EXPECT_EQ(std::string(buffer), expectedText(body, texts, integers));
        EXPECT_EQ(size, strlen(buffer));
    }
}

TEST(Catalog, TextsWithoutIdentifierMeanTheirErrors)
{
    const u32 catalog = openCatalog();
    const CatalogRow yes = {0x2E83D000, "GTI", ""};
    const CatalogRow no = {0x2E83E000, "GTI", ""};
    const CatalogRow missingFile = {0x2E840000, "GTI", ""};
    EXPECT_EQ(bodyOf(catalog, yes), "[yY]");
    EXPECT_EQ(bodyOf(catalog, no), "[nN]");
    EXPECT_EQ(bodyOf(catalog, missingFile), "No such file or directory");
}

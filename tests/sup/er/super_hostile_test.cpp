// Message texts as no catalogue should have them: random bytes, broken inserts, missing identifiers. Whatever the text,
// a message comes out that is as long as it says and stays in its buffer.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "catalog_hook.h"
#include "scratch_root.h"
#include "super_formatting.h"
#include "win32_text.h"

static constexpr u32 programCheck = 0x0E402009;
static constexpr u32 someGti = 0x2E841000;

#define TEN_TEXTS "a", "", "three", "%4", "five: five", "6", "sieben", "8!", "9", "0"

static u32 expandWithNinetyNine(const char *Text, char *Out, u32 Size, ...)
{
    va_list args;
    va_start(args, Size);
    const u32 length = FormatMessageA(FORMAT_MESSAGE_FROM_STRING, Text, 0, 0, Out, Size, &args);
    va_end(args);
    return length;
}

static u32 getWithNinetyNine(char *Out, u32 *Size, i32 Format, u32 MessageNumber, i32 MSN, ...)
{
    va_list args;
    va_start(args, MSN);
    const u32 code = SupER_IGetMessage(Out, Size, SUPER_SYSTEM_LOG, 1, Format, MessageNumber, MSN, args);
    va_end(args);
    return code;
}

#define NINETY_NINE_TEXTS                                                                                              \
    TEN_TEXTS, TEN_TEXTS, TEN_TEXTS, TEN_TEXTS, TEN_TEXTS, TEN_TEXTS, TEN_TEXTS, TEN_TEXTS, TEN_TEXTS, TEN_TEXTS

// Parts that texts are put together from. No width comes from the list: any of its words may stand there.
static std::string randomText(std::mt19937 &Random)
{
    static const char *const parts[] = {"%1",      "%2",       "%99",   "%0",           "%",         "%%",
                                        "%n",      "%r",       "%t",    "%b",           "%.",        "%!",
                                        "%1!s!",   "%3!d!",    "%4!x!", "%5!5d!",       "%1!-9s",    "%1!.3s!",
                                        "%2!08X!", "%7!hd!",   "%9!c",  "%1!c!",        "%1!lu!",    "%1!lld!",
                                        "%1!q!",   "%1!",      "%10",   "%100",         "%1!3000s!", "%1!99999d!",
                                        " ",       ":",        "\n",    "ERZ",          "text ",     "\x80",
                                        "\xF1",    "%s%s%s%n", "!",     "ERZ057002E: ", "%1!.0s!",   "%3!#o!",
                                        "/",       "%\xFF"};
    std::string text;
    const auto count = Random() % 12;
    for (u32 i = 0; i < count; ++i) {
        if (Random() % 4 == 0) {
            const char byte = static_cast<char>(Random() % 255 + 1);
            if (byte != '*') text += byte;
        } else {
            text += parts[Random() % std::size(parts)];
        }
    }
    return text;
}

// One text through both routines, into a block of just the size that it needs.
static void checkText(const std::string &Text, u32 MessageNumber, i32 Format, i32 MSN)
{
    Hook_SetText(MessageNumber, Text);
    const bool expanded = SUPER_IS_GTI(MessageNumber) || Text.compare(0, 3, "ERZ") == 0;
    char little[16];
    const u32 needed = expanded ? expandWithNinetyNine(Text.c_str(), little, sizeof little, NINETY_NINE_TEXTS) : 0;

    const u32 room = std::max(needed, 120u) + 1 + SUPER_MSG_TEXT_OFFSET;
    const auto buffer = std::make_unique<char[]>(room);
    memset(buffer.get(), '~', room);
    u32 size = room;
    const u32 code = getWithNinetyNine(buffer.get(), &size, Format, MessageNumber, MSN, NINETY_NINE_TEXTS);

    ASSERT_LT(size, room);
    ASSERT_EQ(buffer[size], '\0');
    if (!expanded) {
        ASSERT_EQ(code, SUPER_ERR_CATALOG);
    } else if (needed == 0) {
        ASSERT_EQ(code, SUPER_ERR_FORMAT);
    } else if (Format == SUPER_FORMAT_WHOLE && MSN == 0) {
        ASSERT_EQ(code, ERZ_OK);
        ASSERT_EQ(size, needed);
    }
}

TEST(SupER_HostileTexts, ComeOutWhole)
{
    Scratch_MakeRoot();
    Hook_Reset();
    std::mt19937 random(20260531);
    for (int i = 0; i < 100000; ++i) {
        const std::string text = randomText(random);
        SCOPED_TRACE(testing::Message() << "text " << i << " <" << text << ">");
        switch (i % 5) {
        case 0: checkText(text, programCheck, SUPER_FORMAT_WHOLE, 0); break;
        case 1: checkText("ERZ057002E: " + text, programCheck, SUPER_FORMAT_WHOLE, static_cast<i32>(random())); break;
        case 2: checkText("ERZ" + text, programCheck, SUPER_FORMAT_WHOLE, 0); break;
        case 3: checkText(text, someGti, SUPER_FORMAT_BODY, 7); break;
        case 4: checkText("ERZ057002E: " + text, programCheck, 1 + static_cast<i32>(random() % 2), 7); break;
        }
        if (HasFatalFailure()) return;
    }
}

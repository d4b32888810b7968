// Multibyte text in the locale of the process, and yes or no answers.

#include "supos_text_int.h"

#include "supos_regex_int.h"

#include "inftr_guard.h"
#include "plat_text.h"
#include "super_messages.h"

#include <cstdlib>
#include <cstring>

constexpr u32 yesPattern = 0x2E83D000;
constexpr u32 noPattern = 0x2E83E000;
constexpr u32 patternFlags = 8;
constexpr size_t patternRoom = 256; // a pattern takes 81; the text that tells of a missing one must fit as well
constexpr size_t longestCharacter = 5;
constexpr size_t characterRoom = 161;

i32 SupOS_mbswidth(const char *Text, u32 Length)
{
    INFTR_FUNCTION(SUPOS, "SupOS_mbswidth");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %lu)", static_cast<const void *>(Text), static_cast<unsigned long>(Length));

    i32 width = 0;
    for (u32 at = 0; at < Length;) {
        wchar_t character = 0;
        const i32 bytes = plat_mbtowc(&character, Text + at, Length - at);
        if (bytes < 1) break;
        char room[characterRoom];
        width += plat_wctomb(room, character); // required: the bytes of its encoding, not columns
        at += static_cast<u32>(bytes);
    }
    INFTR_RETURN_VALUE(1, width);
}

const char *SupOS_mbsadvance(const char *Text)
{
    INFTR_FUNCTION(SUPOS, "SupOS_mbsadvance");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<const void *>(Text));

    static const char *const none = nullptr;
    if (Text == nullptr || *Text == '\0') INFTR_RETURN_VALUE(2, none);
    // required: an invalid character counts as -1
    const char *const next = Text + plat_mbtowc(nullptr, Text, strnlen(Text, longestCharacter));
    INFTR_RETURN_VALUE(1, next);
}

const char *SupOS_mbsinvalid(const char *Text)
{
    INFTR_FUNCTION(SUPOS, "SupOS_mbsinvalid");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<const void *>(Text));

    static const char *const none = nullptr;
    const char *at = Text;
    while (*at != '\0') {
        const i32 bytes = plat_mbtowc(nullptr, at, strnlen(at, MB_CUR_MAX));
        if (bytes < 0) INFTR_RETURN_VALUE(2, at);
        at += bytes;
    }
    INFTR_RETURN_VALUE(1, none);
}

// A pattern of the message catalogue; false without it.
static bool fetchPattern(u32 Number, char (&Pattern)[patternRoom])
{
    u32 size = patternRoom;
    return SupER_GetMessage(Pattern, &size, SUPER_FORMAT_WHOLE, Number) == ERZ_OK;
}

i32 SupOS_rpmatch(const char *Response)
{
    INFTR_FUNCTION(SUPOS, "SupOS_rpmatch");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<const void *>(Response));

    char pattern[patternRoom];
    SupOS_Regex regex;
    if (!fetchPattern(yesPattern, pattern)) INFTR_RETURN_VALUE(2, -1);
    if (SupOS_Regcomp(&regex, pattern, patternFlags) != 0) INFTR_RETURN_VALUE(3, -2);
    if (SupOS_Regexec(&regex, Response, 0, nullptr, 0) == 0) {
        SupOS_Regfree(&regex);
        INFTR_RETURN_VALUE(1, 1);
    }
    if (!fetchPattern(noPattern, pattern)) {
        SupOS_Regfree(&regex);
        INFTR_RETURN_VALUE(4, -1);
    }
    if (SupOS_Regcomp(&regex, pattern, patternFlags) != 0) INFTR_RETURN_VALUE(5, -3);
    const i32 answer = SupOS_Regexec(&regex, Response, 0, nullptr, 0) == 0 ? 0 : -1;
    SupOS_Regfree(&regex);
    INFTR_RETURN_VALUE(6, answer);
}

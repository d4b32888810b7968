// Locale names: the portable ones of configuration and the native ones of the runtime.
//
// One table holds both columns, and is searched from the top in either direction: the first match counts. A few native
// names changed with version 5 of the original platform, whose number still decides which form is used; an installation
// sets it. Everything here is for process start: the locale belongs to the whole process and no lock guards it.

#include "supos_locales.h"

#include "supos_icnv_int.h"
#include "supos_text_int.h"

#include "crt.h"
#include "inftr_guard.h"
#include "plat_text.h"
#include "tks_locale.h"
#include "win32_error.h"
#include "win32_locale.h"
#include "win32_registry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

struct localeRow {
    const char *key;
    const char *native;
    const char *older; // native name before version 5, NULL = the same
};

static const char taiwanBefore5[] = "Chinese(Taiwan)_Taiwan.950";
static const char prcBefore5[] = "Chinese(PRC)_People's Republic of China.936";

// clang-format off
static constexpr localeRow localeRows[] = {
    {"En_US", "English_United States.1252", nullptr},
    {"Zh_TW", "Chinese_Taiwan.950", taiwanBefore5},
    {"zh_CN", "Chinese_People's Republic of China.936", prcBefore5},
    {"Ja_JP", "Japanese_Japan.932", nullptr},
    {"De_DE", "German_Germany.1252", nullptr},
    {"Fr_FR", "French_France.1252", nullptr},
    {"It_IT", "Italian_Italy.1252", nullptr},
    {"ko_KR", "Korean_Korea.949", nullptr},
    {"Es_ES", "Spanish - Modern Sort_Spain.1252", nullptr},
    {"Es_ES", "Spanish - Traditional Sort_Spain.1252", nullptr},
    {"Pt_BR", "Portuguese_Brazil.1252", nullptr},
    {"Ar_AA", "Arabic_Algeria.1256", nullptr},
    {"Ar_AA", "Arabic_Bahrain.1256", nullptr},
    {"Ar_AA", "Arabic_Egypt.1256", nullptr},
    {"Ar_AA", "Arabic_Iraq.1256", nullptr},
    {"Ar_AA", "Arabic_Jordan.1256", nullptr},
    {"Ar_AA", "Arabic_Kuwait.1256", nullptr},
    {"Ar_AA", "Arabic_Lebanon.1256", nullptr},
    {"Ar_AA", "Arabic_Libya.1256", nullptr},
    {"Ar_AA", "Arabic_Morocco.1256", nullptr},
    {"Ar_AA", "Arabic_Oman.1256", nullptr},
    {"Ar_AA", "Arabic_Qatar.1256", nullptr},
    {"Ar_AA", "Arabic_Saudi Arabia.1256", nullptr},
    {"Ar_AA", "Arabic_Syria.1256", nullptr},
    {"Ar_AA", "Arabic_Tunisia.1256", nullptr},
    {"Ar_AA", "Arabic_U.A.E..1256", nullptr},
    {"Ar_AA", "Arabic_Yemen.1256", nullptr},
    {"Iw_IL", "Hebrew_Israel.1255", nullptr},
    {"en_US", "English_United States.1252", nullptr},
    {"zh_TW", "Chinese_Taiwan.950", taiwanBefore5},
    {"ja_JP", "Japanese_Japan.932", nullptr},
    {"de_DE", "German_Germany.1252", nullptr},
    {"fr_FR", "French_France.1252", nullptr},
    {"it_IT", "Italian_Italy.1252", nullptr},
    {"es_ES", "Spanish - Modern Sort_Spain.1252", nullptr},
    {"es_ES", "Spanish - Traditional Sort_Spain.1252", nullptr},
    {"pt_BR", "Portuguese_Brazil.1252", nullptr},
    {"ar_AA", "Arabic_Algeria.1256", nullptr},
    {"ar_AA", "Arabic_Bahrain.1256", nullptr},
    {"ar_AA", "Arabic_Egypt.1256", nullptr},
    {"ar_AA", "Arabic_Iraq.1256", nullptr},
    {"ar_AA", "Arabic_Jordan.1256", nullptr},
    {"ar_AA", "Arabic_Kuwait.1256", nullptr},
    {"ar_AA", "Arabic_Lebanon.1256", nullptr},
    {"ar_AA", "Arabic_Libya.1256", nullptr},
    {"ar_AA", "Arabic_Morocco.1256", nullptr},
    {"ar_AA", "Arabic_Oman.1256", nullptr},
    {"ar_AA", "Arabic_Qatar.1256", nullptr},
    {"ar_AA", "Arabic_Saudi Arabia.1256", nullptr},
    {"ar_AA", "Arabic_Syria.1256", nullptr},
    {"ar_AA", "Arabic_Tunisia.1256", nullptr},
    {"ar_AA", "Arabic_U.A.E..1256", nullptr},
    {"ar_AA", "Arabic_Yemen.1256", nullptr},
    {"iw_IL", "Hebrew_Israel.1255", nullptr},
    {"en_US.ISO8859-1", "English_United States.1252", nullptr},
    {"En_US.ASCII", "English_United States.1252", nullptr},
    {"En_US", "English_United States.850", nullptr},
    {"De_DE", "German_Germany.850", nullptr},
    {"En_GB", "English_United Kingdom.850", nullptr},
    {"Fr_FR", "French_France.850", nullptr},
    {"It_IT", "Italian_Italy.850", nullptr},
    {"Es_ES", "Spanish - Modern Sort_Spain.850", nullptr},
    {"Es_ES", "Spanish - Traditional Sort_Spain.850", nullptr},
    {"Pt_BR", "Portuguese_Brazil.850", nullptr},
    {"C", "C", nullptr},
};
// clang-format on
static_assert(sizeof localeRows / sizeof localeRows[0] == 65);

constexpr i32 renamingVersion = 5;

static const char versionKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

constexpr u32 pageOfPrc = 936;
constexpr u32 setOfPrc = 1381;
constexpr u32 pageWithoutEuro = 850;
constexpr u32 pageWithEuro = 858;
constexpr wchar_t euroSign = 8364;

static const char *nativeName(const localeRow &Row, i32 Version)
{
    return Version < renamingVersion && Row.older != nullptr ? Row.older : Row.native;
}

// The platform's version; 0 when the registry has none.
static i32 platformVersion(void)
{
    char text[256] = {};
    u32 size = sizeof text - 1;
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, versionKey, 0, KEY_READ, &key) != ERROR_SUCCESS) return 0;
    const i32 code = RegQueryValueExA(key, "CurrentVersion", nullptr, nullptr, reinterpret_cast<u8 *>(text), &size);
    RegCloseKey(key);
    return code == ERROR_SUCCESS ? atoi(text) : 0;
}

const char *SupOS_LangInfo(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_LangInfo");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    u32 page = GetOEMCP();
    if (page == pageOfPrc) page = setOfPrc;
    if (page == pageWithoutEuro && getenv("VELA_USE_OEMCP") == nullptr) {
        wchar_t wide = 0;
        if (plat_mbtowc(&wide, "\x80", 1) == 1 && wide == euroSign) page = pageWithEuro;
    }
    for (const IcnvCodeSet &row : IcnvCodeSets)
        if (row.ccsid == page) INFTR_RETURN_VALUE(1, row.name);
    static const char *const unknownPage = "QMX-850";
    INFTR_RETURN_VALUE(2, unknownPage);
}

const char *SupOS_SetLocale(i32 Category, const char *Locale)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SetLocale");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d, %p)", Category, static_cast<const void *>(Locale));

    static const char *const none = nullptr;
    const char *const lang = getenv("LANG");
    if (lang == nullptr) INFTR_RETURN_VALUE(2, none);

    const i32 version = platformVersion();
    const char *wanted = Locale;
    if (Locale != nullptr && *Locale != '\0') {
        for (const localeRow &row : localeRows) {
            if (strcmp(row.key, Locale) != 0) continue;
            wanted = nativeName(row, version);
            break;
        }
    }
    if (strcmp(lang, "ZHTW950") == 0 || strcmp(lang, "ZHCN936") == 0) wanted = "";
    const char *const set = tks_setlocale(Category, wanted);
    if (set == nullptr) INFTR_RETURN_VALUE(3, none);

    for (const localeRow &row : localeRows)
        if (strcmp(nativeName(row, version), set) == 0) INFTR_RETURN_VALUE(1, row.key);
    static const char *const unknownName = "En_US";
    INFTR_RETURN_VALUE(4, unknownName);
}

i32 SupOS_SetLang(const char *Lang)
{
    static char setting[512]; // the environment may go on using it

    INFTR_FUNCTION(SUPOS, "SupOS_SetLang");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<const void *>(Lang));

    const char *name = Lang;
    if (strcmp(Lang, "En_GB") == 0) name = "En_US";
    if (strcmp(Lang, "en_GB") == 0) name = "en_US";
    if (strlen(name) >= sizeof setting - sizeof "LANG=") INFTR_RETURN_VALUE(2, -1);
    snprintf(setting, sizeof setting, "LANG=%s", name);
    INFTR_RETURN_VALUE(1, _putenv(setting));
}

char *SupOS_NativeLocale(char *Out, const char *Name)
{
    INFTR_FUNCTION(SUPOS, "SupOS_NativeLocale");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p)", static_cast<void *>(Out), static_cast<const void *>(Name));

    static char *const none = nullptr;
    if (Name == nullptr || *Name == '\0') INFTR_RETURN_VALUE(2, none);
    const size_t length = strcspn(Name, " ");
    memcpy(Out, Name, length);
    Out[length] = '\0';
    INFTR_RETURN_VALUE(1, Out);
}

i32 SupOS_NativeLocaleLength(const char *Name)
{
    INFTR_FUNCTION(SUPOS, "SupOS_NativeLocaleLength");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<const void *>(Name));

    INFTR_RETURN_VALUE(1, static_cast<i32>(strlen(Name)));
}

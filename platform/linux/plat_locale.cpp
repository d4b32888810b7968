// Native locale names.

#include "plat_locale.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>

// Where several rows share a system's name the first is the one that is told back.
// clang-format off
static constexpr Plat_LocaleRow localeRows[] = {
    // native name                                      here     ANSI  OEM
    {"English_United States",                          "en_US", 1252, 437},
    {"English_United Kingdom",                         "en_GB", 1252, 850},
    {"Chinese_Taiwan",                                 "zh_TW",  950, 950},
    {"Chinese(Taiwan)_Taiwan",                         "zh_TW",  950, 950}, // before version 5
    {"Chinese_People's Republic of China",             "zh_CN",  936, 936},
    {"Chinese(PRC)_People's Republic of China",        "zh_CN",  936, 936}, // before version 5
    {"Japanese_Japan",                                 "ja_JP",  932, 932},
    {"Korean_Korea",                                   "ko_KR",  949, 949},
    {"German_Germany",                                 "de_DE", 1252, 850},
    {"French_France",                                  "fr_FR", 1252, 850},
    {"Italian_Italy",                                  "it_IT", 1252, 850},
    {"Spanish - Modern Sort_Spain",                    "es_ES", 1252, 850},
    {"Spanish - Traditional Sort_Spain",               "es_ES", 1252, 850},
    {"Portuguese_Brazil",                              "pt_BR", 1252, 850},
    {"Arabic_Algeria",                                 "ar_DZ", 1256, 720},
    {"Arabic_Bahrain",                                 "ar_BH", 1256, 720},
    {"Arabic_Egypt",                                   "ar_EG", 1256, 720},
    {"Arabic_Iraq",                                    "ar_IQ", 1256, 720},
    {"Arabic_Jordan",                                  "ar_JO", 1256, 720},
    {"Arabic_Kuwait",                                  "ar_KW", 1256, 720},
    {"Arabic_Lebanon",                                 "ar_LB", 1256, 720},
    {"Arabic_Libya",                                   "ar_LY", 1256, 720},
    {"Arabic_Morocco",                                 "ar_MA", 1256, 720},
    {"Arabic_Oman",                                    "ar_OM", 1256, 720},
    {"Arabic_Qatar",                                   "ar_QA", 1256, 720},
    {"Arabic_Saudi Arabia",                            "ar_SA", 1256, 720},
    {"Arabic_Syria",                                   "ar_SY", 1256, 720},
    {"Arabic_Tunisia",                                 "ar_TN", 1256, 720},
    {"Arabic_U.A.E.",                                  "ar_AE", 1256, 720},
    {"Arabic_Yemen",                                   "ar_YE", 1256, 720},
    {"Hebrew_Israel",                                  "he_IL", 1255, 862},
};

struct CodesetRow {
    u32 CodePage;
    Plat_CodesetNames Names;
};

static constexpr CodesetRow codesetRows[] = {
    { 437, {"IBM437",      nullptr}},
    { 850, {"IBM850",      nullptr}},
    { 932, {"WINDOWS-31J", "SJIS"}},
    { 936, {"GBK",         nullptr}},
    { 949, {"UHC",         "CP949"}},
    { 950, {"BIG5",        nullptr}},
    {1252, {"CP1252",      nullptr}},
    {1255, {"CP1255",      nullptr}},
    {1256, {"CP1256",      nullptr}},
};
// clang-format on

const Plat_LocaleRow *Plat_LocaleOfNative(const char *Native, size_t Length)
{
    for (const Plat_LocaleRow &row : localeRows) {
        if (strlen(row.Native) == Length && memcmp(row.Native, Native, Length) == 0) return &row;
    }
    return nullptr;
}

const Plat_LocaleRow *Plat_LocaleOfSystem(const char *Name)
{
    const size_t length = strcspn(Name, ".@");
    for (const Plat_LocaleRow &row : localeRows) {
        if (strlen(row.System) == length && strncasecmp(row.System, Name, length) == 0) return &row;
    }
    return nullptr;
}

const Plat_LocaleRow *Plat_LocaleOfLanguage(const char *Name)
{
    const size_t length = strcspn(Name, "_.@");
    for (const Plat_LocaleRow &row : localeRows) {
        if (row.System[length] == '_' && strncasecmp(row.System, Name, length) == 0) return &row;
    }
    return nullptr;
}

const Plat_CodesetNames *Plat_CodesetOfPage(u32 CodePage)
{
    for (const CodesetRow &row : codesetRows) {
        if (row.CodePage == CodePage) return &row.Names;
    }
    return nullptr;
}

const char *Plat_LocaleOfEnvironment()
{
    for (const char *variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char *const name = secure_getenv(variable);
        if (name != nullptr && *name != '\0') return name;
    }
    return "C";
}

bool Plat_LocaleIsUtf8(const char *Name)
{
    const char *const codeset = strchr(Name, '.');
    if (codeset == nullptr) return false;
    const size_t length = strcspn(codeset + 1, "@");
    return (length == 5 && strncasecmp(codeset + 1, "UTF-8", 5) == 0) ||
           (length == 4 && strncasecmp(codeset + 1, "UTF8", 4) == 0);
}

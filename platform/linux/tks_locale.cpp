// The locale of the process.
//
// The native name that was asked for is remembered, for the C library only knows what it set in its place.

#include "tks_locale.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_locale.h"

constexpr size_t nameRoom = 128;
constexpr i32 categoryCount = 6;

// By TKS_LC_*.
static constexpr int systemCategories[categoryCount] = {LC_ALL, LC_COLLATE, LC_CTYPE, LC_MONETARY, LC_NUMERIC, LC_TIME};

static constinit char inForce[categoryCount][nameRoom] = {"C", "C", "C", "C", "C", "C"};

static const char *remember(i32 Category, const char *Name)
{
    char copy[nameRoom]; // Name may be one of ours
    snprintf(copy, sizeof copy, "%s", Name);
    for (i32 i = 0; i < categoryCount; ++i) {
        if (Category == TKS_LC_ALL || i == Category) strcpy(inForce[i], copy);
    }
    if (Category == TKS_LC_CTYPE) strcpy(inForce[TKS_LC_ALL], copy);
    return inForce[Category];
}

static bool setSystem(int Category, const char *Locale, const char *Codeset)
{
    char name[nameRoom];
    snprintf(name, sizeof name, "%s.%s", Locale, Codeset);
    return setlocale(Category, name) != nullptr;
}

// Sets the best locale here for a native name. The last resort is C, which is always there.
static void setForNative(int Category, const Plat_LocaleRow *Row, const Plat_CodesetNames *Codeset)
{
    const bool done = setSystem(Category, Row->System, Codeset->First) ||
                      (Codeset->Second != nullptr && setSystem(Category, Row->System, Codeset->Second)) ||
                      setSystem(Category, Row->System, "UTF-8") || setlocale(Category, "C.UTF-8") != nullptr;
    if (!done) setlocale(Category, "C");
}

// Sets the locale of a native name. False when it is none.
static bool setNative(int Category, const char *Name)
{
    const char *const point = strrchr(Name, '.');
    if (point == nullptr || point[1] == '\0' || strspn(point + 1, "0123456789") != strlen(point + 1)) return false;
    const Plat_LocaleRow *const row = Plat_LocaleOfNative(Name, static_cast<size_t>(point - Name));
    const unsigned long page = strtoul(point + 1, nullptr, 10);
    const Plat_CodesetNames *const codeset = page <= 65535 ? Plat_CodesetOfPage(static_cast<u32>(page)) : nullptr;
    if (row == nullptr || codeset == nullptr) return false;
    setForNative(Category, row, codeset);
    return true;
}

// The native name of a system's locale; the name itself where there is none.
static const char *nativeName(const char *System, char *Out)
{
    const size_t length = strcspn(System, ".@");
    if ((length == 1 && System[0] == 'C') || strcmp(System, "POSIX") == 0) return "C";
    const Plat_LocaleRow *const row = Plat_LocaleOfSystem(System);
    if (row == nullptr) return System;
    snprintf(Out, nameRoom, "%s.%u", row->Native, row->AnsiCodePage);
    return Out;
}

// The native name behind what the environment names, when the system does not know that name; "C" without one. The
// environment may use names of this system's own family, such as "Ja_JP".
static const char *nativeOfEnvironment(char *Out)
{
    const char *const name = Plat_LocaleOfEnvironment();
    if (strcmp(name, "ZHTW950") == 0) return "Chinese_Taiwan.950";
    if (strcmp(name, "ZHCN936") == 0) return "Chinese_People's Republic of China.936";
    return Plat_LocaleOfSystem(name) != nullptr ? nativeName(name, Out) : "C";
}

// Sets a name that is not native. NULL when the system does not know it either; the default is always there.
static const char *setByName(i32 Category, const char *Name)
{
    char native[nameRoom];
    const int category = systemCategories[Category];
    if (setlocale(category, Name) != nullptr) {
        // Asked of one category: the answer for all may list each.
        const char *const set = setlocale(Category == TKS_LC_ALL ? LC_CTYPE : category, nullptr);
        return remember(Category, nativeName(set, native));
    }
    if (*Name != '\0') return nullptr;
    const char *const standIn = nativeOfEnvironment(native);
    if (!setNative(category, standIn)) setlocale(category, "C");
    return remember(Category, standIn);
}

const char *tks_setlocale(i32 Category, const char *Name)
{
    if (Category < 0 || Category >= categoryCount) return nullptr;
    if (Name == nullptr) return inForce[Category];
    if (setNative(systemCategories[Category], Name)) return remember(Category, Name);
    return setByName(Category, Name);
}

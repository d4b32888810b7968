#ifndef PLAT_LOCALE_H
#define PLAT_LOCALE_H

// Native locale names and what stands for them here.

#include <cstddef>

#include "plat_types.h"

// One language and country.
struct Plat_LocaleRow {
    const char *Native; // "Language_Country"
    const char *System; // "ll_CC"
    u32 AnsiCodePage;
    u32 OemCodePage;
};

// The row of a native name, given without its code page; NULL for an unknown one.
const Plat_LocaleRow *Plat_LocaleOfNative(const char *Native, size_t Length);

// The first row with the language and country of a system's name "ll_CC.codeset@modifier", in any case; NULL without
// one.
const Plat_LocaleRow *Plat_LocaleOfSystem(const char *Name);

// The first row with the language of a system's name; NULL without one.
const Plat_LocaleRow *Plat_LocaleOfLanguage(const char *Name);

// The names that a code page has as a code set in locale names, best first; NULL for an unknown one.
struct Plat_CodesetNames {
    const char *First;
    const char *Second; // may be NULL
};
const Plat_CodesetNames *Plat_CodesetOfPage(u32 CodePage);

// The locale that the environment names for LC_CTYPE; "C" without one.
const char *Plat_LocaleOfEnvironment();

// Whether a system's locale name names UTF-8 as its code set.
bool Plat_LocaleIsUtf8(const char *Name);

#endif

// The code page of the system.

#include "win32_locale.h"

#include <langinfo.h>

#include <clocale>
#include <cstdlib>
#include <cstring>

#include "plat_locale.h"
#include "win32_registry.h"

constexpr u32 pageUtf8 = 1208;
constexpr u32 pageDefault = 850;

// The page that the registry names; 0 when it names none.
static u32 pageOfRegistry()
{
    HKEY key;
    char text[16] = "";
    u32 size = sizeof text - 1;
    const char *const path = "SYSTEM\\CurrentControlSet\\Control\\Nls\\CodePage";
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != 0) return 0;
    const i32 result = RegQueryValueExA(key, "OEMCP", nullptr, nullptr, reinterpret_cast<u8 *>(text), &size);
    RegCloseKey(key);
    if (result != 0 || text[0] == '\0' || strspn(text, "0123456789") != strlen(text)) return 0;
    const unsigned long page = strtoul(text, nullptr, 10);
    return page <= 65535 ? static_cast<u32>(page) : 0;
}

static bool isPlain(const char *Name)
{
    return strcmp(Name, "C") == 0 || strcmp(Name, "POSIX") == 0;
}

static u32 pageOfLocale(const char *Name)
{
    if (Plat_LocaleIsUtf8(Name)) return pageUtf8;
    const Plat_LocaleRow *row = Plat_LocaleOfSystem(Name);
    // Countries that are not listed share the page of their language, but 437 is that of the United States alone.
    if (row == nullptr && strncmp(Name, "en", 2) != 0) row = Plat_LocaleOfLanguage(Name);
    return row != nullptr ? row->OemCodePage : pageDefault;
}

u32 GetOEMCP(void)
{
    const u32 page = pageOfRegistry();
    if (page != 0) return page;
    const char *const process = setlocale(LC_CTYPE, nullptr);
    if (isPlain(process)) return pageOfLocale(Plat_LocaleOfEnvironment());
    return strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? pageUtf8 : pageOfLocale(process);
}

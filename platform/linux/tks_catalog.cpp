// Message catalogues.
//
// A catalogue is found by name, loaded by the C library and kept for ever: one per path, shared by all threads. A
// descriptor is its place in the list, from 1. Entries are complete before the count says that they are there, so
// reading a text takes no lock.
//
// The C library hands out texts in read-only memory. Callers may write theirs, so each thread gets a copy.

#include "tks_catalog.h"

#include <dlfcn.h>
#include <nl_types.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "crt.h"
#include "plat_path.h"
#include "plat_sys.h"
#include "plat_thread.h"
#include "win32_registry.h"

constexpr u32 catalogRoom = 256;
constexpr size_t textRoom = 128; // a caller may write as much, however short the text is
constexpr size_t localeRoom = 128; // of a locale name and its parts

struct Catalog {
    char *Path;
    nl_catd Loaded;
};

static constinit pthread_mutex_t catalogLock = PTHREAD_MUTEX_INITIALIZER; // guards additions
static constinit Catalog catalogs[catalogRoom] = {};
static constinit std::atomic<u32> catalogCount = 0;

// A locale name and what it is made of: language[_territory][.codeset][@modifier].
struct LocaleName {
    char Whole[localeRoom];
    char Language[localeRoom];
    char Territory[localeRoom];
    char Codeset[localeRoom];
};

static const char *variable(const char *Name)
{
    const char *const value = secure_getenv(Name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

static const char *localeFromEnvironment(i32 Flag)
{
    const char *name = nullptr;
    if (Flag == 1) {
        name = variable("LC_ALL");
        if (name == nullptr) name = variable("LC_MESSAGES");
    }
    if (name == nullptr) name = variable("LANG");
    // A name with a slash would lead out of the message directories.
    const bool usable = name != nullptr && strchr(name, '/') == nullptr && strcmp(name, "POSIX") != 0 &&
                        strcmp(name, "..") != 0 && strcmp(name, ".") != 0;
    return usable ? name : "C";
}

static void splitLocale(const char *Name, LocaleName *Out)
{
    const size_t language = strcspn(Name, "_.@");
    const char *at = Name + language;
    const size_t territory = *at == '_' ? strcspn(at + 1, ".@") : 0;
    const char *const territoryAt = at + 1;
    if (*at == '_') at += 1 + territory;
    const size_t codeset = *at == '.' ? strcspn(at + 1, "@") : 0;
    snprintf(Out->Whole, localeRoom, "%s", Name);
    snprintf(Out->Language, localeRoom, "%.*s", static_cast<int>(language), Name);
    snprintf(Out->Territory, localeRoom, "%.*s", static_cast<int>(territory), territory != 0 ? territoryAt : "");
    snprintf(Out->Codeset, localeRoom, "%.*s", static_cast<int>(codeset), codeset != 0 ? at + 1 : "");
}

// The loaded catalogue of that path, loading it at the first call. TKS_CAT_FAILED when it cannot be.
static u32 loadCatalog(const char *Path)
{
    u32 found = TKS_CAT_FAILED;
    pthread_mutex_lock(&catalogLock);
    const u32 count = catalogCount.load(std::memory_order_relaxed);
    for (u32 i = 0; i < count && found == TKS_CAT_FAILED; ++i) {
        if (strcmp(catalogs[i].Path, Path) == 0) found = i + 1;
    }
    if (found == TKS_CAT_FAILED && count < catalogRoom) {
        const nl_catd loaded = catopen(Path, 0);
        if (loaded != reinterpret_cast<nl_catd>(-1)) {
            char *const copy = static_cast<char *>(Plat_Sys.Malloc(strlen(Path) + 1));
            if (copy != nullptr) {
                catalogs[count] = {strcpy(copy, Path), loaded};
                catalogCount.store(count + 1, std::memory_order_release);
                found = count + 1;
            } else {
                catclose(loaded);
            }
        }
    }
    pthread_mutex_unlock(&catalogLock);
    return found;
}

// Loads by a path that may be relative or of the system's own form.
static u32 loadByPath(const char *Path)
{
    char full[PLAT_PATH_ROOM];
    if (_fullpath(full, Path, sizeof full) == nullptr) return TKS_CAT_FAILED;
    return loadCatalog(full);
}

// One template of NLSPATH, up to the next colon, expanded into Out. False when it does not fit.
static bool expandTemplate(const char *Template, size_t Length, const char *Name, const LocaleName *Locale, char *Out)
{
    size_t used = 0;
    for (size_t i = 0; i < Length; ++i) {
        const char one[2] = {Template[i], '\0'};
        const char *part = one;
        if (Template[i] == '%' && i + 1 < Length) {
            switch (Template[++i]) {
            case 'N': part = Name; break;
            case 'L': part = Locale->Whole; break;
            case 'l': part = Locale->Language; break;
            case 't': part = Locale->Territory; break;
            case 'c': part = Locale->Codeset; break;
            case '%': part = "%"; break;
            default: part = ""; break; // POSIX leaves it open
            }
        }
        const size_t size = strlen(part);
        if (used + size >= PLAT_PATH_ROOM) return false;
        memcpy(Out + used, part, size);
        used += size;
    }
    Out[used] = '\0';
    return true;
}

static u32 searchTemplates(const char *Name, const LocaleName *Locale)
{
    const char *at = variable("NLSPATH");
    if (at == nullptr) return TKS_CAT_FAILED;
    for (;; ++at) {
        char path[PLAT_PATH_ROOM];
        const size_t length = strcspn(at, ":");
        const bool expanded =
            length != 0 ? expandTemplate(at, length, Name, Locale, path) : expandTemplate("%N", 2, Name, Locale, path);
        const u32 found = expanded ? loadByPath(path) : TKS_CAT_FAILED;
        if (found != TKS_CAT_FAILED) return found;
        at += length;
        if (*at == '\0') return TKS_CAT_FAILED;
    }
}

static u32 loadFromDirectory(const char *Directory, const char *Below, const char *Name)
{
    char path[PLAT_PATH_ROOM];
    const int length = snprintf(path, sizeof path, "%s/%s/%s", Directory, Below, Name);
    return length > 0 && static_cast<size_t>(length) < sizeof path ? loadByPath(path) : TKS_CAT_FAILED;
}

// Below the installation directory that the registry names. A registry that is missing names none.
static u32 searchInstallation(const char *Name, const LocaleName *Locale)
{
    HKEY key;
    char directory[PLAT_PATH_ROOM] = "", below[localeRoom + 8];
    u32 size = sizeof directory - 1;
    const char *const path = "SOFTWARE\\QMX\\Corvanta-VELA\\CurrentVersion";
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != 0) return TKS_CAT_FAILED;
    const i32 result = RegQueryValueExA(key, "InstallPath", nullptr, nullptr, reinterpret_cast<u8 *>(directory), &size);
    RegCloseKey(key);
    if (result != 0 || directory[0] == '\0') return TKS_CAT_FAILED;

    snprintf(below, sizeof below, "msg/%s", Locale->Whole);
    const u32 found = loadFromDirectory(directory, below, Name);
    return found != TKS_CAT_FAILED ? found : loadFromDirectory(directory, "msg/C", Name);
}

// Beside this library, so that an unpacked tree speaks before anything is set up.
static u32 searchBesideLibrary(const char *Name)
{
    Dl_info library;
    char resolved[PLAT_PATH_ROOM];
    if (dladdr(reinterpret_cast<void *>(&tks_catopen), &library) == 0 || library.dli_fname == nullptr ||
        realpath(library.dli_fname, resolved) == nullptr)
        return TKS_CAT_FAILED;
    char *const slash = strrchr(resolved, '/');
    *slash = '\0';
    const u32 found = loadFromDirectory(resolved, "../msg/C", Name);
    return found != TKS_CAT_FAILED ? found : loadFromDirectory(resolved, "msg/C", Name);
}

u32 tks_catopen(const char *Name, i32 Flag)
{
    if (Name == nullptr || *Name == '\0') return TKS_CAT_FAILED;
    if (strpbrk(Name, "/\\") != nullptr) return loadByPath(Name);

    LocaleName locale;
    splitLocale(localeFromEnvironment(Flag), &locale);
    u32 found = searchTemplates(Name, &locale);
    if (found == TKS_CAT_FAILED) found = searchInstallation(Name, &locale);
    if (found == TKS_CAT_FAILED) found = searchBesideLibrary(Name);
    return found;
}

// The calling thread's copy of the text last handed out.
struct TextBuffer {
    size_t Room;
    char Text[];
};

// The thread's buffer with at least that room; NULL without memory.
static char *bufferOf(size_t Room)
{
    TextBuffer *buffer = static_cast<TextBuffer *>(Plat_ThreadGetInner(PLAT_INNER_CATALOG_TEXT));
    if (buffer != nullptr && buffer->Room >= Room) return buffer->Text;
    TextBuffer *const larger = static_cast<TextBuffer *>(Plat_Sys.Malloc(sizeof(TextBuffer) + Room));
    if (larger == nullptr) return nullptr;
    larger->Room = Room;
    free(buffer);
    Plat_ThreadSetInner(PLAT_INNER_CATALOG_TEXT, larger, free);
    return larger->Text;
}

char *tks_catgets(u32 Catalog, u32 Set, u32 Number, char *Default)
{
    static const char missing[] = "";

    if (Catalog == 0 || Catalog > catalogCount.load(std::memory_order_acquire)) return Default;
    if (Set > INT32_MAX || Number > INT32_MAX) return Default;
    const char *const text =
        catgets(catalogs[Catalog - 1].Loaded, static_cast<int>(Set), static_cast<int>(Number), missing);
    if (text == missing) return Default;

    const size_t length = strlen(text) + 1;
    char *const copy = bufferOf(length > textRoom ? length : textRoom);
    return copy != nullptr ? static_cast<char *>(memcpy(copy, text, length)) : Default;
}

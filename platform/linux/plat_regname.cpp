// Names of the registry on disk.

#include "plat_regname.h"

#include <dirent.h>
#include <strings.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "plat_path.h"
#include "plat_sys.h"

constexpr char valueEnd[] = ".value";
constexpr size_t valueEndLength = sizeof valueEnd - 1;

static bool endsAsValue(const char *Name, size_t Length)
{
    return Length >= valueEndLength && strncasecmp(Name + Length - valueEndLength, valueEnd, valueEndLength) == 0;
}

static bool mustEscape(const char *Name, size_t Length, size_t At, Plat_RegKind Kind)
{
    const u8 byte = static_cast<u8>(Name[At]);
    if (byte == '/' || byte == '%' || byte < 0x20 || byte == 0x7F) return true;
    if (byte != '.') return false;
    return At == 0 || (Kind == PLAT_REG_KEY && At + valueEndLength == Length && endsAsValue(Name, Length));
}

int Plat_RegNameEncode(const char *Name, size_t Length, Plat_RegKind Kind, char *Out)
{
    static const char digits[] = "0123456789ABCDEF";
    const size_t room = PLAT_REGNAME_ROOM - 1 - (Kind == PLAT_REG_VALUE ? valueEndLength : 0);
    const size_t bytes = Length == 0 ? 1 : Length; // the empty name is written as its terminator
    size_t length = 0;
    for (size_t i = 0; i < bytes; ++i) {
        const u8 byte = Length == 0 ? 0 : static_cast<u8>(Name[i]);
        const bool escaped = Length == 0 || mustEscape(Name, Length, i, Kind);
        if (length + (escaped ? 3 : 1) > room) {
            errno = ENAMETOOLONG;
            return -1;
        }
        if (escaped) {
            Out[length++] = '%';
            Out[length++] = digits[byte >> 4];
            Out[length++] = digits[byte & 15];
        } else {
            Out[length++] = static_cast<char>(byte);
        }
    }
    Out[length] = '\0';
    if (Kind == PLAT_REG_VALUE) memcpy(Out + length, valueEnd, sizeof valueEnd);
    return 0;
}

static int hexDigit(char Character)
{
    if (Character >= '0' && Character <= '9') return Character - '0';
    const int lower = Character | 0x20;
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

int Plat_RegNameDecode(const char *FileName, Plat_RegKind Kind, char *Out)
{
    size_t length = strlen(FileName);
    if (FileName[0] == '.' || length >= PLAT_REGNAME_ROOM) return -1;
    if (endsAsValue(FileName, length) != (Kind == PLAT_REG_VALUE)) return -1;
    if (Kind == PLAT_REG_VALUE) length -= valueEndLength;

    size_t out = 0;
    for (size_t i = 0; i < length; ++i) {
        const bool escape =
            FileName[i] == '%' && i + 2 < length && hexDigit(FileName[i + 1]) >= 0 && hexDigit(FileName[i + 2]) >= 0;
        Out[out++] =
            escape ? static_cast<char>(hexDigit(FileName[i + 1]) * 16 + hexDigit(FileName[i + 2])) : FileName[i];
        if (escape) i += 2;
    }
    Out[out] = '\0';
    return 0;
}

static bool isEqualName(const char *Decoded, const char *Name, size_t Length)
{
    return strlen(Decoded) == Length && strncasecmp(Decoded, Name, Length) == 0;
}

// Directory and file name as one path. 0, or -1 with errno.
static int joinPath(const char *Directory, const char *FileName, char *Out)
{
    const int length = snprintf(Out, PLAT_PATH_ROOM, "%s/%s", Directory, FileName);
    if (length >= 0 && static_cast<size_t>(length) < PLAT_PATH_ROOM) return 0;
    errno = ENAMETOOLONG;
    return -1;
}

int Plat_RegNameFind(const char *Directory, const char *Name, size_t Length, Plat_RegKind Kind, char *Out)
{
    char path[PLAT_PATH_ROOM];
    struct stat found;
    if (Plat_RegNameEncode(Name, Length, Kind, Out) != 0 || joinPath(Directory, Out, path) != 0) return -1;
    if (Plat_Sys.Stat(path, &found) == 0) return 1;
    if (errno != ENOENT) return -1;

    DIR *const listing = Plat_Sys.Opendir(Directory);
    if (listing == nullptr) return -1;
    char decoded[PLAT_REGNAME_ROOM], best[PLAT_REGNAME_ROOM] = "";
    for (const dirent *entry; (entry = readdir(listing)) != nullptr;) {
        if (Plat_RegNameDecode(entry->d_name, Kind, decoded) != 0 || !isEqualName(decoded, Name, Length)) continue;
        if (best[0] == '\0' || strcmp(entry->d_name, best) < 0) strcpy(best, entry->d_name);
    }
    closedir(listing);
    if (best[0] == '\0') return 0;
    strcpy(Out, best);
    return 1;
}

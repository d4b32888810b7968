// The path map.
//
// Paths inside the system keep their backslashes and drive letters; they are mapped where they are used. A backslash
// becomes a slash, "c:\opt\vela" is /opt/vela, "NUL" is the null device. Case is not folded.

#include "plat_path.h"

#include <strings.h>

#include <cerrno>
#include <cstring>

#include "crt.h"
#include "plat_sys.h"

static bool isLetter(char Character)
{
    const char lower = static_cast<char>(Character | 0x20);
    return lower >= 'a' && lower <= 'z';
}

static bool isSeparator(char Character)
{
    return Character == '\\' || Character == '/';
}

const char *Plat_PipeName(const char *Path)
{
    const bool device = isSeparator(Path[0]) && isSeparator(Path[1]) && Path[2] == '.' && isSeparator(Path[3]);
    if (!device || strncasecmp(Path + 4, "pipe", 4) != 0 || !isSeparator(Path[8])) return nullptr;
    return Path + 9;
}

char *Plat_MapSeparators(const char *Path, char *Out, size_t Size)
{
    const char *from = Path;
    if (isLetter(from[0]) && from[1] == ':') from += 2;
    if (strcasecmp(from, "NUL") == 0) from = "/dev/null";
    if (from[0] == '\0' && from != Path) from = "."; // a drive alone is its current directory

    const size_t length = strlen(from);
    if (length >= Size) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    for (size_t i = 0; i <= length; ++i) Out[i] = from[i] == '\\' ? '/' : from[i];
    return Out;
}

static bool exists(const char *Path)
{
    struct stat ignored;
    return Plat_Sys.Stat(Path, &ignored) == 0;
}

// Drops a final ".exe" where only the name without it is there.
static void resolveExe(char *Path)
{
    const size_t length = strlen(Path);
    if (length <= 4 || strcasecmp(Path + length - 4, ".exe") != 0 || isSeparator(Path[length - 5])) return;
    const int before = errno;
    if (!exists(Path)) {
        const char dot = Path[length - 4];
        Path[length - 4] = '\0';
        if (!exists(Path)) Path[length - 4] = dot;
    }
    errno = before;
}

char *Plat_MapPath(const char *Path, char *Out, size_t Size)
{
    if (Plat_MapSeparators(Path, Out, Size) == nullptr) return nullptr;
    resolveExe(Out);
    return Out;
}

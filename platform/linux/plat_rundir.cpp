// The run directory: SORREL_RUNDIR, else XDG_RUNTIME_DIR/sorrel, else sorrel-UID below the temporary directory.
//
// A directory below the temporary one could be made by anybody before us, so the owner is looked at.

#include "plat_rundir.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "plat_sys.h"

static int fits(int length, size_t size)
{
    if (length >= 0 && static_cast<size_t>(length) < size) return 0;
    errno = ENAMETOOLONG;
    return -1;
}

static int choose(char *out, size_t size)
{
    const char *const given = getenv("SORREL_RUNDIR");
    if (given != nullptr && given[0] != '\0') return fits(snprintf(out, size, "%s", given), size);
    const char *const session = getenv("XDG_RUNTIME_DIR");
    if (session != nullptr && session[0] == '/') return fits(snprintf(out, size, "%s/sorrel", session), size);
    const char *const named = getenv("TMPDIR");
    const char *const temporary = named != nullptr && named[0] == '/' ? named : "/tmp";
    return fits(snprintf(out, size, "%s/sorrel-%u", temporary, geteuid()), size);
}

int Plat_RunDirectory(char *Out, size_t Size)
{
    if (choose(Out, Size) != 0) return -1;
    if (Plat_Sys.Mkdir(Out, 0700) != 0 && errno != EEXIST) return -1;
    struct stat found;
    if (Plat_Sys.Stat(Out, &found) != 0) return -1;
    if (!S_ISDIR(found.st_mode)) {
        errno = ENOTDIR;
        return -1;
    }
    if (found.st_uid != geteuid() && geteuid() != 0) {
        errno = EPERM;
        return -1;
    }
    return 0;
}

// The run directory: SORREL_RUNDIR, else XDG_RUNTIME_DIR/sorrel, else sorrel-UID below the temporary directory.
//
// A directory that nobody has named could have been made by anybody before us, in a place that all share: whoever owns
// it can stand in for our servers. So that one must be ours, root's own included, and no link. SORREL_RUNDIR is taken on
// the word of whoever set it; it may be a directory that several users share.

#include "plat_rundir.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "plat_sys.h"

static int fits(int length, char *out, size_t size)
{
    if (length < 0 || static_cast<size_t>(length) >= size) {
        errno = ENAMETOOLONG;
        return -1;
    }
    for (; length > 1 && out[length - 1] == '/'; --length) out[length - 1] = '\0';
    return 0;
}

// Named receives whether SORREL_RUNDIR has given the path.
static int choose(char *out, size_t size, bool *named)
{
    const char *const given = getenv("SORREL_RUNDIR");
    *named = given != nullptr && given[0] != '\0';
    if (*named) return fits(snprintf(out, size, "%s", given), out, size);
    const char *const session = getenv("XDG_RUNTIME_DIR");
    if (session != nullptr && session[0] == '/') return fits(snprintf(out, size, "%s/sorrel", session), out, size);
    const char *const chosen = getenv("TMPDIR");
    const char *const temporary = chosen != nullptr && chosen[0] == '/' ? chosen : "/tmp";
    return fits(snprintf(out, size, "%s/sorrel-%u", temporary, geteuid()), out, size);
}

int Plat_RunDirectory(char *Out, size_t Size)
{
    bool named;
    if (choose(Out, Size, &named) != 0) return -1;
    if (Plat_Sys.Mkdir(Out, 0700) != 0 && errno != EEXIST) return -1;
    struct stat found;
    if ((named ? Plat_Sys.Stat : Plat_Sys.Lstat)(Out, &found) != 0) return -1;
    if (!S_ISDIR(found.st_mode)) {
        errno = ENOTDIR;
        return -1;
    }
    if (!named && found.st_uid != geteuid()) {
        errno = EPERM;
        return -1;
    }
    return 0;
}

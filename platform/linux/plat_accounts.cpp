// Users and groups, of the system or of a directory of files in the same form.
//
// The files serve tests, containers and installations that keep their accounts to themselves: where SORREL_ACCOUNTS is
// set, nothing here reads or writes the system's accounts.

#include "plat_accounts.h"

#include <grp.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_sys.h"
#include "win32_error.h"

constexpr size_t firstBuffer = 4096;
constexpr size_t largestBuffer = 1u << 22;
constexpr size_t pathSize = 4096;

// What a look-up's errno means: several values say no more than that there is nothing.
static u32 accountError(int Code)
{
    switch (Code) {
    case 0:
    case ENOENT:
    case ESRCH:
    case EBADF:
    case EPERM: return ERROR_NONE_MAPPED;
    case EAGAIN:
    case EMFILE:
    case ENFILE: return RPC_S_SERVER_TOO_BUSY;
    default: return Plat_ErrorFromErrno(Code);
    }
}

// Runs Fetch with a growing buffer and hands what it finds to Use.
template <class Entry, class Fetch, class Use>
static u32 lookUp(Fetch fetch, Use use)
{
    for (size_t size = firstBuffer; size <= largestBuffer;) {
        char *const buffer = static_cast<char *>(Plat_Sys.Malloc(size));
        if (buffer == nullptr) return ERROR_NOT_ENOUGH_MEMORY;

        Entry entry, *found = nullptr;
        const int code = fetch(&entry, buffer, size, &found);
        const bool done = code == 0 && found != nullptr;
        if (done) use(*found);
        free(buffer);

        if (done) return ERROR_SUCCESS;
        if (code == ERANGE)
            size *= 2;
        else if (code != EINTR)
            return accountError(code);
    }
    return ERROR_NOT_ENOUGH_MEMORY;
}

// The path of one of our own account files; false when the system's are in use.
static bool ownFile(const char *Name, char (&Path)[pathSize])
{
    const char *const directory = secure_getenv("SORREL_ACCOUNTS"); // not for a program with the rights of another
    if (directory == nullptr || directory[0] == 0) return false;
    const int length = snprintf(Path, sizeof Path, "%s/%s", directory, Name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof Path) Path[0] = 0; // names no file
    return true;
}

// Reads a file of accounts up to the entry that Matches; errno values as from the system's look-ups.
template <class Entry, class Read, class Matches>
static int scanFile(const char *Path, Read read, Matches matches, Entry *Row, char *Buffer, size_t Size, Entry **Found)
{
    FILE *const file = fopen(Path, "re");
    if (file == nullptr) return errno;
    int code;
    while ((code = read(file, Row, Buffer, Size, Found)) == 0 && !matches(*Row)) *Found = nullptr;
    fclose(file);
    return code == ENOENT ? 0 : code;
}

static void copyUser(const struct passwd &Entry, Plat_User *Out)
{
    snprintf(Out->Name, sizeof Out->Name, "%s", Entry.pw_name);
    snprintf(Out->Home, sizeof Out->Home, "%s", Entry.pw_dir);
    Out->Id = Entry.pw_uid;
    Out->Group = Entry.pw_gid;
}

u32 Plat_FindUser(const char *Name, Plat_User *Out)
{
    char path[pathSize];
    const bool own = ownFile("passwd", path);
    return lookUp<struct passwd>(
        [&](struct passwd *Row, char *Buffer, size_t Size, struct passwd **Found) {
            if (!own) return Plat_Sys.Getpwnam(Name, Row, Buffer, Size, Found);
            return scanFile(
                path, fgetpwent_r, [&](const struct passwd &Entry) { return strcmp(Entry.pw_name, Name) == 0; }, Row,
                Buffer, Size, Found);
        },
        [&](const struct passwd &Entry) { copyUser(Entry, Out); });
}

u32 Plat_FindUserById(u32 Id, Plat_User *Out)
{
    char path[pathSize];
    const bool own = ownFile("passwd", path);
    return lookUp<struct passwd>(
        [&](struct passwd *Row, char *Buffer, size_t Size, struct passwd **Found) {
            if (!own) return Plat_Sys.Getpwuid(Id, Row, Buffer, Size, Found);
            return scanFile(
                path, fgetpwent_r, [&](const struct passwd &Entry) { return Entry.pw_uid == Id; }, Row, Buffer, Size,
                Found);
        },
        [&](const struct passwd &Entry) { copyUser(Entry, Out); });
}

u32 Plat_FindGroup(const char *Name, const char *Member, Plat_Group *Out)
{
    char path[pathSize];
    const bool own = ownFile("group", path);
    return lookUp<struct group>(
        [&](struct group *Row, char *Buffer, size_t Size, struct group **Found) {
            if (!own) return Plat_Sys.Getgrnam(Name, Row, Buffer, Size, Found);
            return scanFile(
                path, fgetgrent_r, [&](const struct group &Entry) { return strcmp(Entry.gr_name, Name) == 0; }, Row,
                Buffer, Size, Found);
        },
        [&](const struct group &Entry) {
            snprintf(Out->Name, sizeof Out->Name, "%s", Entry.gr_name);
            Out->Id = Entry.gr_gid;
            Out->HasMember = false;
            for (char **row = Entry.gr_mem; Member != nullptr && *row != nullptr; ++row)
                if (strcmp(*row, Member) == 0) Out->HasMember = true;
        });
}

// Copies a group file to Out with User behind the members of Group; 0 or errno.
static int copyWithMember(const char *Path, const char *Group, const char *User, int Out)
{
    FILE *const file = fopen(Path, "re");
    if (file == nullptr) return errno;

    char *line = nullptr;
    size_t room = 0;
    int code = 0;
    const size_t nameLength = strlen(Group);
    for (ssize_t length; code == 0 && (length = getline(&line, &room, file)) != -1;) {
        size_t size = static_cast<size_t>(length);
        const bool ended = size != 0 && line[size - 1] == '\n';
        if (ended) --size;
        if (Plat_WriteAll(Out, line, size, nullptr) != 0) code = errno;
        if (strncmp(line, Group, nameLength) == 0 && line[nameLength] == ':') {
            char added[Plat_AccountNameSize + 1];
            const bool first = size != 0 && line[size - 1] == ':';
            const int count = snprintf(added, sizeof added, "%s%s", first ? "" : ",", User);
            if (code == 0 && Plat_WriteAll(Out, added, static_cast<size_t>(count), nullptr) != 0) code = errno;
        }
        if (code == 0 && ended && Plat_WriteAll(Out, "\n", 1, nullptr) != 0) code = errno;
    }
    if (code == 0 && ferror(file)) code = EIO;
    free(line);
    fclose(file);
    return code;
}

// Writes our own group file anew, in one step for all who read it. The caller holds the lock.
static int rewriteGroups(const char *Path, const char *Group, const char *User)
{
    char fresh[pathSize + 8];
    snprintf(fresh, sizeof fresh, "%s.new", Path);
    const int out = Plat_OpenFile(fresh, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (out == -1) return errno;

    int code = copyWithMember(Path, Group, User, out);
    struct stat present;
    if (code == 0 && Plat_Sys.Stat(Path, &present) == 0) Plat_Sys.Fchmod(out, present.st_mode & 07777);
    if (code == 0 && Plat_Sys.Fsync(out) != 0) code = errno;
    if (Plat_Sys.Close(out) != 0 && code == 0) code = errno;
    if (code == 0 && Plat_Sys.Rename(fresh, Path) != 0) code = errno;
    if (code != 0) Plat_Sys.Unlink(fresh);
    return code;
}

static u32 addToOwnFile(const char *Path, const char *Group, const char *User)
{
    char lockPath[pathSize + 8];
    snprintf(lockPath, sizeof lockPath, "%s.lock", Path);
    const int lock = Plat_OpenFile(lockPath, O_RDWR | O_CREAT, 0644);
    if (lock == -1) return Plat_ErrorFromErrno(errno);

    int code = PLAT_RETRY(Plat_Sys.Flock(lock, LOCK_EX)) == 0 ? rewriteGroups(Path, Group, User) : errno;
    Plat_Sys.Close(lock);
    return Plat_ErrorFromErrno(code);
}

// Has the system's own program add the member; its word is checked by reading the group again.
static u32 addBySystem(const char *Group, const char *User)
{
    if (geteuid() != 0) return ERROR_ACCESS_DENIED;
    if (strchr(Group, ',') != nullptr) return ERROR_INVALID_PARAMETER; // would be read as two groups

    const char *const arguments[] = {"usermod", "-a", "-G", Group, "--", User, nullptr};
    static const char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    const char *const environment[] = {path, nullptr};
    pid_t child = 0;
    const int code = Plat_Sys.PosixSpawn(&child, "/usr/sbin/usermod", nullptr, nullptr,
                                         const_cast<char *const *>(arguments), const_cast<char *const *>(environment));
    if (code != 0) return Plat_ErrorFromErrno(code);

    siginfo_t ignored = {};
    PLAT_RETRY(Plat_Sys.Waitid(P_PID, static_cast<id_t>(child), &ignored, WEXITED));
    Plat_Group group = {};
    const u32 found = Plat_FindGroup(Group, User, &group);
    if (found != ERROR_SUCCESS) return found;
    return group.HasMember ? ERROR_SUCCESS : ERROR_GEN_FAILURE;
}

u32 Plat_AddMember(const char *Group, const char *User)
{
    char path[pathSize];
    return ownFile("group", path) ? addToOwnFile(path, Group, User) : addBySystem(Group, User);
}

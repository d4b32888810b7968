// The registry, as a tree of directories.
//
// A key handle holds the path of its directory and a descriptor of it. The descriptor pins the inode, so a directory
// that was removed, or removed and made again, is told from the one that was opened.
//
// Readers take no lock. Writers take an exclusive lock on the root directory, which makes "find the name in any case,
// else make it" one step for all processes. The lock is held for one call.

#include "win32_registry.h"

#include <strings.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_registry.h"
#include "plat_sys.h"
#include "win32_error.h"

constexpr u32 dispositionCreated = 1;
constexpr u32 dispositionOpened = 2;

constexpr u32 maximumAllowed = 0x02000000;
constexpr u32 genericAll = 0x10000000;
constexpr u32 genericWrite = 0x40000000;
constexpr u32 genericRead = 0x80000000;

static void destroyKey(Plat_Object *Object)
{
    Plat_Key *const key = reinterpret_cast<Plat_Key *>(Object);
    if (key->Descriptor >= 0) Plat_Sys.Close(key->Descriptor);
    free(key);
}

static const Plat_ObjectOps keyOps = {PLAT_KIND_KEY, nullptr, destroyKey};

char *Plat_RegistryRoot(char *Out, size_t Size)
{
    const char *const named = secure_getenv("SORREL_REGISTRY");
    if (Size != 0) snprintf(Out, Size, "%s", named != nullptr && *named != '\0' ? named : SORREL_REGISTRY_DIR);
    return Out;
}

i32 Plat_KeyError(int Errno)
{
    return static_cast<i32>(Errno == ENOTDIR ? ERROR_FILE_NOT_FOUND : Plat_ErrorFromErrno(Errno));
}

static u32 accessOf(u32 Requested)
{
    if (Requested & (maximumAllowed | genericAll)) return PLAT_KEY_ALL;
    u32 access = Requested & PLAT_KEY_ALL;
    if (Requested & genericRead) access |= PLAT_KEY_QUERY | PLAT_KEY_ENUMERATE;
    if (Requested & genericWrite) access |= PLAT_KEY_SET | PLAT_KEY_CREATE;
    return access;
}

// 0 while the directory that was opened still lies at its path, 1018 after that.
static i32 keyIsThere(const Plat_Key *Key)
{
    struct stat opened, now;
    if (Plat_Sys.Fstat(Key->Descriptor, &opened) != 0) return Plat_KeyError(errno);
    if (Plat_Sys.Stat(Key->Path, &now) != 0) return errno == ENOENT ? ERROR_KEY_DELETED : Plat_KeyError(errno);
    return opened.st_dev == now.st_dev && opened.st_ino == now.st_ino ? ERROR_SUCCESS : ERROR_KEY_DELETED;
}

i32 Plat_KeyAcquire(HKEY Handle, u32 Access, Plat_Key *Hive, Plat_Key **Out)
{
    if (Handle == HKEY_LOCAL_MACHINE) {
        Hive->Descriptor = -1;
        Hive->Access = PLAT_KEY_ALL;
        Plat_RegistryRoot(Hive->Path, sizeof Hive->Path);
        *Out = Hive;
        return ERROR_SUCCESS;
    }
    Plat_Key *const key = reinterpret_cast<Plat_Key *>(Plat_HandleAcquire(Handle, PLAT_KIND_KEY));
    if (key == nullptr) return ERROR_INVALID_HANDLE;
    i32 result = keyIsThere(key);
    if (result == ERROR_SUCCESS && (key->Access & Access) != Access) result = ERROR_ACCESS_DENIED;
    if (result != ERROR_SUCCESS) {
        Plat_HandleRelease(&key->Head);
        return result;
    }
    *Out = key;
    return ERROR_SUCCESS;
}

void Plat_KeyRelease(Plat_Key *Key)
{
    if (Key->Descriptor >= 0) Plat_HandleRelease(&Key->Head);
}

static bool isDirectory(const char *Path)
{
    struct stat found;
    return Plat_Sys.Stat(Path, &found) == 0 && S_ISDIR(found.st_mode);
}

// Makes a directory and those above it.
static i32 makeDirectories(const char *Path)
{
    char part[PLAT_PATH_ROOM];
    snprintf(part, sizeof part, "%s", Path);
    for (char *slash = strchr(part + 1, '/');; slash = strchr(slash + 1, '/')) {
        if (slash != nullptr) *slash = '\0';
        if (Plat_Sys.Mkdir(part, 0777) != 0) {
            const int reason = errno;
            if (!isDirectory(part)) return Plat_KeyError(reason);
        }
        if (slash == nullptr) return ERROR_SUCCESS;
        *slash = '/';
    }
}

i32 Plat_KeyLock(bool Make, int *Lock)
{
    char root[PLAT_PATH_ROOM];
    Plat_RegistryRoot(root, sizeof root);
    const i32 made = Make && !isDirectory(root) ? makeDirectories(root) : static_cast<i32>(ERROR_SUCCESS);
    if (made != ERROR_SUCCESS) return made;
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    const int descriptor = Plat_DescriptorAbove2(PLAT_RETRY(Plat_Sys.Open(root, flags, 0)));
    if (descriptor < 0) return Plat_KeyError(errno);
    if (PLAT_RETRY(Plat_Sys.Flock(descriptor, LOCK_EX)) != 0) {
        const i32 result = Plat_KeyError(errno);
        Plat_Sys.Close(descriptor);
        return result;
    }
    *Lock = descriptor;
    return ERROR_SUCCESS;
}

void Plat_KeyUnlock(int Lock)
{
    Plat_Sys.Close(Lock); // the lock goes with its descriptor
}

i32 Plat_KeyExtend(char *Path, const char *Name)
{
    const size_t length = strlen(Path);
    const int added = snprintf(Path + length, PLAT_PATH_ROOM - length, "/%s", Name);
    return length + static_cast<size_t>(added) < PLAT_PATH_ROOM ? ERROR_SUCCESS : ERROR_FILENAME_EXCED_RANGE;
}

// Goes down from the directory in Path along SubKey, one part after the other. Without Make a missing part is an
// error; with it the part is made and *Disposition says so. SubKey may be NULL or empty: the key itself.
static i32 walkDown(char *Path, const char *SubKey, bool Make, u32 *Disposition)
{
    const char *part = SubKey != nullptr ? SubKey : "";
    while (*part != '\0') {
        const size_t length = strcspn(part, "\\");
        if (length == 0) return ERROR_BAD_PATHNAME;
        char name[PLAT_REGNAME_ROOM];
        const int found = Plat_RegNameFind(Path, part, length, PLAT_REG_KEY, name);
        if (found < 0) return Plat_KeyError(errno);
        if (found == 0 && !Make) return ERROR_FILE_NOT_FOUND;
        const i32 extended = Plat_KeyExtend(Path, name);
        if (extended != ERROR_SUCCESS) return extended;
        if (found == 0) {
            if (Plat_Sys.Mkdir(Path, 0777) != 0 && errno != EEXIST) return Plat_KeyError(errno);
            if (Disposition != nullptr) *Disposition = dispositionCreated;
        }
        part += length;
        if (*part == '\\') ++part; // a trailing one falls away
    }
    return isDirectory(Path) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

// Makes the handle of an existing key.
static i32 openKey(const char *Path, u32 Access, HKEY *Out)
{
    const int rights = R_OK | X_OK | (Access & (PLAT_KEY_SET | PLAT_KEY_CREATE) ? W_OK : 0);
    if (Plat_Sys.Faccessat(AT_FDCWD, Path, rights, AT_EACCESS) != 0) return Plat_KeyError(errno);
    void *const block = Plat_Sys.Malloc(sizeof(Plat_Key));
    if (block == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    Plat_Key *const key = new (block) Plat_Key{};
    key->Access = Access;
    snprintf(key->Path, sizeof key->Path, "%s", Path);
    key->Descriptor = Plat_DescriptorAbove2(PLAT_RETRY(Plat_Sys.Open(Path, O_PATH | O_DIRECTORY | O_CLOEXEC, 0)));
    if (key->Descriptor < 0) {
        const i32 result = Plat_KeyError(errno);
        free(block);
        return result;
    }
    const u32 before = GetLastError();
    *Out = Plat_HandleCreate(&key->Head, &keyOps);
    if (*Out != nullptr) return ERROR_SUCCESS;
    const u32 result = GetLastError();
    SetLastError(before);
    destroyKey(&key->Head);
    return static_cast<i32>(result);
}

i32 RegOpenKeyExA(HKEY Parent, const char *SubKey, u32, u32 Access, HKEY *Out)
{
    Plat_Key hive, *parent;
    if (Out == nullptr) return ERROR_INVALID_PARAMETER;
    *Out = nullptr;
    i32 result = Plat_KeyAcquire(Parent, 0, &hive, &parent);
    if (result != ERROR_SUCCESS) return result;

    char path[PLAT_PATH_ROOM];
    strcpy(path, parent->Path);
    Plat_KeyRelease(parent);
    result = walkDown(path, SubKey, false, nullptr);
    return result == ERROR_SUCCESS ? openKey(path, accessOf(Access), Out) : result;
}

// Opens or makes a key; the tree is locked.
static i32 createLocked(const Plat_Key *Parent, const char *SubKey, u32 Access, HKEY *Out, u32 *Disposition)
{
    char path[PLAT_PATH_ROOM];
    strcpy(path, Parent->Path);
    i32 result = walkDown(path, SubKey, false, nullptr);
    if (result == ERROR_FILE_NOT_FOUND) {
        if ((Parent->Access & PLAT_KEY_CREATE) == 0) return ERROR_ACCESS_DENIED;
        strcpy(path, Parent->Path);
        result = walkDown(path, SubKey, true, Disposition);
    }
    return result == ERROR_SUCCESS ? openKey(path, Access, Out) : result;
}

i32 RegCreateKeyExA(HKEY Parent, const char *SubKey, u32 Reserved, const char *, u32 Options, u32 Access, void *,
                    HKEY *Out, u32 *Disposition)
{
    Plat_Key hive, *parent;
    if (Out == nullptr || Reserved != 0 || Options != 0) return ERROR_INVALID_PARAMETER;
    *Out = nullptr;
    i32 result = Plat_KeyAcquire(Parent, 0, &hive, &parent);
    if (result != ERROR_SUCCESS) return result;

    int lock = -1;
    u32 disposition = dispositionOpened;
    result = Plat_KeyLock(true, &lock);
    if (result == ERROR_SUCCESS) {
        result = createLocked(parent, SubKey, accessOf(Access), Out, &disposition);
        Plat_KeyUnlock(lock);
    }
    Plat_KeyRelease(parent);
    if (result == ERROR_SUCCESS && Disposition != nullptr) *Disposition = disposition;
    return result;
}

i32 RegCloseKey(HKEY Handle)
{
    if (Handle == HKEY_LOCAL_MACHINE) return ERROR_SUCCESS;
    return Plat_HandleClose(Handle, PLAT_KIND_KEY) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

// Goes through a key's directory and removes its values, or with Remove false only sees that nothing else is in it.
// Hidden files are left-overs of writers that died.
static i32 emptyDirectory(const char *Path, bool Remove)
{
    DIR *const listing = Plat_Sys.Opendir(Path);
    if (listing == nullptr) return Plat_KeyError(errno);
    i32 result = ERROR_SUCCESS;
    for (const dirent *entry; result == ERROR_SUCCESS && (entry = readdir(listing)) != nullptr;) {
        char file[PLAT_PATH_ROOM], name[PLAT_REGNAME_ROOM];
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
        strcpy(file, Path);
        result = Plat_KeyExtend(file, entry->d_name);
        if (result != ERROR_SUCCESS) break;
        if (Remove) {
            if (Plat_Sys.Unlink(file) != 0 && errno != ENOENT) result = Plat_KeyError(errno);
            continue;
        }
        const bool isLeftOver = strncmp(entry->d_name, ".new.", 5) == 0;
        if (!isLeftOver && Plat_RegNameDecode(entry->d_name, PLAT_REG_VALUE, name) != 0) result = ERROR_ACCESS_DENIED;
    }
    closedir(listing);
    return result;
}

// Whether a directory may be emptied, and itself be taken out of the one above it.
static i32 mayRemove(const char *Path)
{
    char above[PLAT_PATH_ROOM];
    strcpy(above, Path);
    *strrchr(above, '/') = '\0';
    const bool allowed = Plat_Sys.Faccessat(AT_FDCWD, Path, R_OK | W_OK | X_OK, AT_EACCESS) == 0 &&
                         Plat_Sys.Faccessat(AT_FDCWD, above, W_OK | X_OK, AT_EACCESS) == 0;
    return allowed ? static_cast<i32>(ERROR_SUCCESS) : Plat_KeyError(errno);
}

// Removes a key without subkeys; the tree is locked. Nothing is removed before all of it may be.
static i32 deleteLocked(const Plat_Key *Parent, const char *SubKey)
{
    char path[PLAT_PATH_ROOM];
    strcpy(path, Parent->Path);
    i32 result = walkDown(path, SubKey, false, nullptr);
    if (result == ERROR_SUCCESS) result = mayRemove(path);
    if (result == ERROR_SUCCESS) result = emptyDirectory(path, false);
    if (result == ERROR_SUCCESS) result = emptyDirectory(path, true);
    if (result == ERROR_SUCCESS && Plat_Sys.Rmdir(path) != 0) result = Plat_KeyError(errno);
    return result;
}

i32 RegDeleteKeyA(HKEY Parent, const char *SubKey)
{
    Plat_Key hive, *parent;
    if (SubKey == nullptr || *SubKey == '\0') return ERROR_INVALID_PARAMETER;
    i32 result = Plat_KeyAcquire(Parent, 0, &hive, &parent); // read access of the parent is enough
    if (result != ERROR_SUCCESS) return result;

    int lock = -1;
    result = Plat_KeyLock(false, &lock);
    if (result == ERROR_SUCCESS) {
        result = deleteLocked(parent, SubKey);
        Plat_KeyUnlock(lock);
    }
    Plat_KeyRelease(parent);
    return result;
}

// Names of entries, in memory that grows.
struct NameList {
    char (*Names)[PLAT_REGNAME_ROOM];
    u32 Count;
    u32 Room;
};

static i32 addName(NameList *List, const char *Name)
{
    if (List->Count == List->Room) {
        const u32 room = List->Room == 0 ? 64 : List->Room * 2;
        void *const grown = Plat_Sys.Malloc(room * sizeof *List->Names);
        if (grown == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
        if (List->Count != 0) memcpy(grown, List->Names, List->Count * sizeof *List->Names);
        free(List->Names);
        List->Names = static_cast<char(*)[PLAT_REGNAME_ROOM]>(grown);
        List->Room = room;
    }
    strcpy(List->Names[List->Count++], Name);
    return ERROR_SUCCESS;
}

static i32 listNames(const char *Path, Plat_RegKind Kind, NameList *List)
{
    DIR *const listing = Plat_Sys.Opendir(Path);
    if (listing == nullptr) return Plat_KeyError(errno);
    i32 result = ERROR_SUCCESS;
    for (const dirent *entry; result == ERROR_SUCCESS && (entry = readdir(listing)) != nullptr;) {
        char name[PLAT_REGNAME_ROOM], file[PLAT_PATH_ROOM];
        if (Plat_RegNameDecode(entry->d_name, Kind, name) != 0) continue;
        strcpy(file, Path);
        if (Plat_KeyExtend(file, entry->d_name) != ERROR_SUCCESS) continue;
        if (isDirectory(file) == (Kind == PLAT_REG_KEY)) result = addName(List, name);
    }
    closedir(listing);
    return result;
}

static int compareNames(const void *Left, const void *Right)
{
    const char *const left = static_cast<const char *>(Left);
    const char *const right = static_cast<const char *>(Right);
    const int order = strcasecmp(left, right);
    return order != 0 ? order : strcmp(left, right);
}

// The list is made anew at every call, in the order of the names: an index means the same until something changes.
i32 Plat_KeyEntry(const char *Path, Plat_RegKind Kind, u32 Index, char *Out)
{
    NameList list = {};
    i32 result = listNames(Path, Kind, &list);
    if (result == ERROR_SUCCESS && Index >= list.Count) result = ERROR_NO_MORE_ITEMS;
    if (result == ERROR_SUCCESS) {
        qsort(list.Names, list.Count, sizeof *list.Names, compareNames);
        strcpy(Out, list.Names[Index]);
    }
    free(list.Names);
    return result;
}

i32 RegEnumKeyA(HKEY Handle, u32 Index, char *Name, u32 Size)
{
    Plat_Key hive, *key;
    if (Name == nullptr) return ERROR_INVALID_PARAMETER;
    i32 result = Plat_KeyAcquire(Handle, PLAT_KEY_ENUMERATE, &hive, &key);
    if (result != ERROR_SUCCESS) return result;

    char found[PLAT_REGNAME_ROOM];
    result = Plat_KeyEntry(key->Path, PLAT_REG_KEY, Index, found);
    Plat_KeyRelease(key);
    if (result != ERROR_SUCCESS) return result;
    if (strlen(found) >= Size) return ERROR_MORE_DATA;
    strcpy(Name, found);
    return ERROR_SUCCESS;
}

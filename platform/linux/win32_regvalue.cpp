// Values of the registry.
//
// A value is a file, changed by writing another and renaming it, so a reader sees the old bytes or the new ones.

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plat_descriptor.h"
#include "plat_registry.h"
#include "plat_sys.h"
#include "win32_error.h"

// A whole file in heap memory.
struct Contents {
    u8 *Data;
    u32 Size;
};

// Reads a value's file. A final newline comes from an editor and stands for the terminator.
static i32 readContents(const char *Path, Contents *Out)
{
    *Out = {nullptr, 0};
    const int descriptor = Plat_OpenFile(Path, O_RDONLY, 0);
    if (descriptor < 0) return Plat_KeyError(errno);
    struct stat file;
    i32 result = Plat_Sys.Fstat(descriptor, &file) == 0 ? static_cast<i32>(ERROR_SUCCESS) : Plat_KeyError(errno);
    if (result == ERROR_SUCCESS && file.st_size > INT32_MAX) result = ERROR_FILE_TOO_LARGE;
    if (result == ERROR_SUCCESS) {
        const size_t room = static_cast<size_t>(file.st_size);
        Out->Data = static_cast<u8 *>(Plat_Sys.Malloc(room + 1));
        if (Out->Data == nullptr) result = ERROR_NOT_ENOUGH_MEMORY;
        while (result == ERROR_SUCCESS && Out->Size < room) {
            const ssize_t count = PLAT_RETRY(Plat_Sys.Read(descriptor, Out->Data + Out->Size, room - Out->Size));
            if (count < 0) result = Plat_KeyError(errno);
            if (count <= 0) break;
            Out->Size += static_cast<u32>(count);
        }
    }
    Plat_Sys.Close(descriptor);
    if (result != ERROR_SUCCESS)
        free(Out->Data);
    else if (Out->Size != 0 && Out->Data[Out->Size - 1] == '\n')
        Out->Data[Out->Size - 1] = '\0';
    return result;
}

// Hands out stored bytes by the rules of RegQueryValueExA.
static i32 deliver(const Contents *From, u8 *Data, u32 *Size)
{
    const u32 room = Size != nullptr ? *Size : 0;
    if (Size != nullptr) *Size = From->Size;
    if (Data == nullptr) return ERROR_SUCCESS;
    if (room < From->Size) return ERROR_MORE_DATA;
    if (From->Size != 0) memcpy(Data, From->Data, From->Size);
    if (room > From->Size) Data[From->Size] = 0; // required: one byte more than is counted
    return ERROR_SUCCESS;
}

// The path of a value; 2 when it is not there and Make is false.
static i32 valuePath(const Plat_Key *Key, const char *Name, bool Make, char *Path)
{
    const char *const name = Name != nullptr ? Name : "";
    char file[PLAT_REGNAME_ROOM];
    const int found = Plat_RegNameFind(Key->Path, name, strlen(name), PLAT_REG_VALUE, file);
    if (found < 0) return Plat_KeyError(errno);
    if (found == 0 && !Make) return ERROR_FILE_NOT_FOUND;
    strcpy(Path, Key->Path);
    return Plat_KeyExtend(Path, file);
}

i32 RegQueryValueExA(HKEY Handle, const char *Name, u32 *Reserved, u32 *Type, u8 *Data, u32 *Size)
{
    Plat_Key hive, *key;
    if (Reserved != nullptr || (Data != nullptr && Size == nullptr)) return ERROR_INVALID_PARAMETER;
    i32 result = Plat_KeyAcquire(Handle, PLAT_KEY_QUERY, &hive, &key);
    if (result != ERROR_SUCCESS) return result;

    char path[PLAT_PATH_ROOM];
    Contents contents;
    result = valuePath(key, Name, false, path);
    Plat_KeyRelease(key);
    if (result == ERROR_SUCCESS) result = readContents(path, &contents);
    if (result != ERROR_SUCCESS) return result;
    if (Type != nullptr) *Type = REG_SZ;
    result = deliver(&contents, Data, Size);
    free(contents.Data);
    return result;
}

// Writes a file that is not the value yet; Mode is that of the value's old file.
static i32 writeTemporary(const char *Path, const u8 *Data, u32 Size, bool Terminate, const struct stat *Old)
{
    const int descriptor = Plat_OpenFile(Path, O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (descriptor < 0) return Plat_KeyError(errno);
    const bool written = Plat_WriteAll(descriptor, Data, Size, nullptr) == 0 &&
                         (!Terminate || Plat_WriteAll(descriptor, "", 1, nullptr) == 0) &&
                         (Old == nullptr || Plat_Sys.Fchmod(descriptor, Old->st_mode & 07777) == 0) &&
                         PLAT_RETRY(Plat_Sys.Fsync(descriptor)) == 0;
    i32 result = written ? static_cast<i32>(ERROR_SUCCESS) : Plat_KeyError(errno);
    if (Plat_Sys.Close(descriptor) != 0 && errno != EINTR && written) result = Plat_KeyError(errno);
    return result;
}

// Makes a rename last. A file system that cannot is no reason to fail a value that is in place.
static void syncDirectory(const char *Path)
{
    const int descriptor =
        Plat_DescriptorAbove2(PLAT_RETRY(Plat_Sys.Open(Path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0)));
    if (descriptor < 0) return;
    PLAT_RETRY(Plat_Sys.Fsync(descriptor));
    Plat_Sys.Close(descriptor);
}

// Puts a value in place of an old one in one step; the tree is locked.
static i32 replaceValue(const Plat_Key *Key, const char *Name, const u8 *Data, u32 Size, bool Terminate)
{
    static constinit std::atomic<u32> serial = 0;

    char path[PLAT_PATH_ROOM], temporary[PLAT_PATH_ROOM], file[64];
    i32 result = valuePath(Key, Name, true, path);
    if (result != ERROR_SUCCESS) return result;
    snprintf(file, sizeof file, ".new.%d.%u", getpid(), serial.fetch_add(1));
    strcpy(temporary, Key->Path);
    result = Plat_KeyExtend(temporary, file);
    if (result != ERROR_SUCCESS) return result;

    struct stat old;
    const bool isOld = Plat_Sys.Stat(path, &old) == 0;
    Plat_Sys.Unlink(temporary); // of a process of the same number that died here
    result = writeTemporary(temporary, Data, Size, Terminate, isOld ? &old : nullptr);
    if (result == ERROR_SUCCESS && Plat_Sys.Rename(temporary, path) != 0) result = Plat_KeyError(errno);
    if (result == ERROR_SUCCESS)
        syncDirectory(Key->Path);
    else
        Plat_Sys.Unlink(temporary);
    return result;
}

i32 RegSetValueExA(HKEY Handle, const char *Name, u32 Reserved, u32 Type, const u8 *Data, u32 Size)
{
    Plat_Key hive, *key;
    if (Reserved != 0 || Type != REG_SZ || (Data == nullptr && Size != 0)) return ERROR_INVALID_PARAMETER;
    i32 result = Plat_KeyAcquire(Handle, PLAT_KEY_SET, &hive, &key);
    if (result != ERROR_SUCCESS) return result;

    // Required: a text whose length leaves out a terminator that is there gets it. A text that ends in a newline of
    // its own gets one too, for a bare newline at the end of the file would be read as the terminator.
    const bool open = Size != 0 && Data[Size - 1] != 0;
    const bool terminate = open && (Data[Size] == 0 || Data[Size - 1] == '\n');
    int lock;
    result = Plat_KeyLock(true, &lock);
    if (result == ERROR_SUCCESS) {
        result = replaceValue(key, Name, Data, Size, terminate);
        Plat_KeyUnlock(lock);
    }
    Plat_KeyRelease(key);
    return result;
}

i32 RegDeleteValueA(HKEY Handle, const char *Name)
{
    Plat_Key hive, *key;
    i32 result = Plat_KeyAcquire(Handle, PLAT_KEY_SET, &hive, &key);
    if (result != ERROR_SUCCESS) return result;

    int lock;
    char path[PLAT_PATH_ROOM];
    result = Plat_KeyLock(false, &lock);
    if (result == ERROR_SUCCESS) {
        result = valuePath(key, Name, false, path);
        if (result == ERROR_SUCCESS && Plat_Sys.Unlink(path) != 0) result = Plat_KeyError(errno);
        Plat_KeyUnlock(lock);
    }
    Plat_KeyRelease(key);
    return result;
}

i32 RegEnumValueA(HKEY Handle, u32 Index, char *Name, u32 *NameSize, u32 *Reserved, u32 *Type, u8 *Data, u32 *Size)
{
    Plat_Key hive, *key;
    if (Name == nullptr || NameSize == nullptr || Reserved != nullptr || (Data != nullptr && Size == nullptr))
        return ERROR_INVALID_PARAMETER;
    i32 result = Plat_KeyAcquire(Handle, PLAT_KEY_QUERY, &hive, &key);
    if (result != ERROR_SUCCESS) return result;

    char found[PLAT_REGNAME_ROOM], path[PLAT_PATH_ROOM];
    result = Plat_KeyEntry(key->Path, PLAT_REG_VALUE, Index, found);
    if (result == ERROR_SUCCESS) result = valuePath(key, found, false, path);
    Plat_KeyRelease(key);
    if (result != ERROR_SUCCESS) return result;

    Contents contents;
    const u32 length = static_cast<u32>(strlen(found));
    if (length >= *NameSize) return ERROR_MORE_DATA;
    if (Size != nullptr || Data != nullptr) {
        result = readContents(path, &contents);
        if (result != ERROR_SUCCESS) return result;
        result = deliver(&contents, Data, Size);
        free(contents.Data);
        if (result != ERROR_SUCCESS) return result;
    }
    strcpy(Name, found);
    *NameSize = length;
    if (Type != nullptr) *Type = REG_SZ;
    return ERROR_SUCCESS;
}

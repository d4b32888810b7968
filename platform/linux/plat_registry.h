#ifndef PLAT_REGISTRY_H
#define PLAT_REGISTRY_H

// What the calls on keys and the calls on values share. All results are 0 or a Win32 error number, as those of the
// calls themselves; none touches the last error.

#include "plat_handles.h"
#include "plat_path.h"
#include "plat_regname.h"
#include "win32_registry.h"

// Rights of an open key.
constexpr u32 PLAT_KEY_QUERY = 0x1;
constexpr u32 PLAT_KEY_SET = 0x2;
constexpr u32 PLAT_KEY_CREATE = 0x4;
constexpr u32 PLAT_KEY_ENUMERATE = 0x8;
constexpr u32 PLAT_KEY_ALL = 0xF;

struct Plat_Key {
    Plat_Object Head;
    int Descriptor; // pins the directory; -1 for the machine hive
    u32 Access; // sum of PLAT_KEY_*
    char Path[PLAT_PATH_ROOM];
};

// The key behind a handle, with these rights at least, until Plat_KeyRelease. The machine hive, which is no object, is
// made up in *Hive. 6, 5, or 1018 for a key that was deleted.
i32 Plat_KeyAcquire(HKEY Handle, u32 Access, Plat_Key *Hive, Plat_Key **Out);
void Plat_KeyRelease(Plat_Key *Key);

// Takes the writers' lock of the whole tree; Make makes the root directory when it is missing.
i32 Plat_KeyLock(bool Make, int *Lock);
void Plat_KeyUnlock(int Lock);

// Puts "/Name" behind a path of PLAT_PATH_ROOM bytes.
i32 Plat_KeyExtend(char *Path, const char *Name);

// The name of the entry with that index among the keys or values in a directory, by name without case; 259 beyond the
// last. Out has PLAT_REGNAME_ROOM bytes.
i32 Plat_KeyEntry(const char *Path, Plat_RegKind Kind, u32 Index, char *Out);

// The error of a failed system call on the tree. A plain file in the way of a path is a key that is not there.
i32 Plat_KeyError(int Errno);

#endif

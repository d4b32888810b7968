#ifndef WIN32_REGISTRY_H
#define WIN32_REGISTRY_H

/* The registry: a tree of keys that hold text values, kept as directories and files. */

#include "plat_types.h"

PLAT_BEGIN

typedef handle HKEY;

#define HKEY_LOCAL_MACHINE ((HKEY)(uintptr_t)0x80000002u)
#define REG_SZ 1u
#define KEY_READ 0x20019u
#define KEY_WRITE 0x20006u

/* All return 0 or the error number itself; none changes GetLastError. Key and value names compare without case. */
PLAT_API i32 RegOpenKeyExA(HKEY Parent, const char *SubKey, u32 Options, u32 Access, HKEY *Key);
PLAT_API i32 RegCreateKeyExA(HKEY Parent, const char *SubKey, u32 Reserved, const char *Class, u32 Options, u32 Access,
                             void *Security, HKEY *Key, u32 *Disposition);
PLAT_API i32 RegQueryValueExA(HKEY Key, const char *Name, u32 *Reserved, u32 *Type, u8 *Data, u32 *Size);
PLAT_API i32 RegSetValueExA(HKEY Key, const char *Name, u32 Reserved, u32 Type, const u8 *Data, u32 Size);
PLAT_API i32 RegDeleteKeyA(HKEY Parent, const char *SubKey);
PLAT_API i32 RegDeleteValueA(HKEY Key, const char *Name);
PLAT_API i32 RegEnumKeyA(HKEY Key, u32 Index, char *Name, u32 Size);
PLAT_API i32 RegEnumValueA(HKEY Key, u32 Index, char *Name, u32 *NameSize, u32 *Reserved, u32 *Type, u8 *Data,
                           u32 *Size);
PLAT_API i32 RegCloseKey(HKEY Key);

/* The directory that holds the tree: SORREL_REGISTRY, else the configured system directory. Returns Out, cut to Size. */
PLAT_API char *Plat_RegistryRoot(char *Out, size_t Size);

PLAT_END_C

#endif

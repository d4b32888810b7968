#ifndef WIN32_REGISTRY_H
#define WIN32_REGISTRY_H

/* The registry: a tree of keys that hold text values, kept as directories and files.
 *
 * A key is a directory, a value is a file NAME.value in it, so ls, cat and echo are tools enough to look after a tree.
 * The tree lies in the directory of SORREL_REGISTRY, else in the configured system directory.
 *
 * Names     compare without case (ASCII letters). A part of a key path may hold any byte but NUL and the backslash,
 *           a value name any byte but NUL; what a file name cannot hold is written as %XX. In its written form, and
 *           with ".value" behind a value, a name has at most 255 bytes, beyond that 206.
 * Paths     parts of a key path are separated by a backslash. One at the end falls away; one in front, or two in a
 *           row: 161.
 * Values    are bytes. A file that ends in a newline, as an editor leaves it, ends in a zero byte for the reader.
 * Results   0 or the error number itself: 2 no such key or value, 5 not allowed by the access of the handle or by the
 *           file system, 6 no key handle, 8 no memory, 87 a bad argument, 161 a bad path, 206 a name or path too long,
 *           1018 the key was deleted after it was opened, else the number for the error of the file system. GetLastError
 *           does not change.
 * Threads   all calls are safe from any thread, and for several processes on one tree: a value is written to a file of
 *           its own and put in place in one step.
 *
 * Differs from Win32: the machine hive is the only one, all values are of type REG_SZ, and there is no security
 * descriptor of a key but the rights of its directory. */

#include "plat_types.h"

PLAT_BEGIN

typedef handle HKEY;

#define HKEY_LOCAL_MACHINE ((HKEY)(uintptr_t)0x80000002u)
#define REG_SZ 1u
#define KEY_READ 0x20019u
#define KEY_WRITE 0x20006u
#define KEY_ALL_ACCESS 0xF003Fu

#define REG_CREATED_NEW_KEY 1u
#define REG_OPENED_EXISTING_KEY 2u

/* Opens an existing key.
 *
 * Parent   an open key or HKEY_LOCAL_MACHINE
 * SubKey   path below Parent; NULL or empty is Parent itself
 * Options  not looked at
 * Access   KEY_READ, KEY_WRITE or both; what is left out is refused with 5 later. A right to write that the directory
 *          does not give is refused here.
 * Key      receives the handle, for RegCloseKey; NULL on failure */
PLAT_API i32 RegOpenKeyExA(HKEY Parent, const char *SubKey, u32 Options, u32 Access, HKEY *Key);

/* Opens a key, and makes it and the keys above it when they are missing, the root directory of the tree included.
 * Making one needs a Parent opened for writing.
 *
 * Reserved, Options   0, else 87
 * Class, Security     not looked at: a directory gets the rights that the process's umask leaves
 * Disposition         receives REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY; may be NULL */
PLAT_API i32 RegCreateKeyExA(HKEY Parent, const char *SubKey, u32 Reserved, const char *Class, u32 Options, u32 Access,
                             void *Security, HKEY *Key, u32 *Disposition);

/* Reads a value; Key must be open for reading.
 *
 * Name      NULL or empty is the value without a name
 * Reserved  NULL
 * Type      receives REG_SZ; may be NULL
 * Data      receives the bytes as they were stored, with or without a terminator. NULL only asks for the size.
 * Size      room of Data in bytes, receives the size. May be NULL when Data is.
 *
 * A room that is too small gives 234 with the size needed and leaves Data as it was. In a larger room one zero byte
 * that is not counted stands behind the value. */
PLAT_API i32 RegQueryValueExA(HKEY Key, const char *Name, u32 *Reserved, u32 *Type, u8 *Data, u32 *Size);

/* Writes a value; Key must be open for writing. When it returns 0 the value is on disk.
 *
 * Type   REG_SZ, else 87
 * Data   the text. When its last byte is not zero, one byte behind it is looked at, and stored too if that is zero: a
 *        length that leaves out the terminator does no harm. So Size + 1 bytes must be readable.
 * Size   in bytes, the terminator counted
 *
 * A text without a terminator that ends in a newline is stored with one. */
PLAT_API i32 RegSetValueExA(HKEY Key, const char *Name, u32 Reserved, u32 Type, const u8 *Data, u32 Size);

/* Removes a key and its values. A Parent opened for reading is enough. 5 when the key has subkeys, or when its directory
 * holds a file that is no value: then nothing is removed. 87 for a NULL or empty SubKey (Win32 removes Parent itself for
 * an empty one). */
PLAT_API i32 RegDeleteKeyA(HKEY Parent, const char *SubKey);

/* Removes a value; Key must be open for writing. */
PLAT_API i32 RegDeleteValueA(HKEY Key, const char *Name);

/* The name of a subkey by its index, 0 upward in the order of the names; 259 beyond the last. 234 when it does not fit
 * into Size bytes with its terminator. Key must be open for reading. */
PLAT_API i32 RegEnumKeyA(HKEY Key, u32 Index, char *Name, u32 Size);

/* The name of a value by its index, and what RegQueryValueExA tells of it where Type, Data and Size are given.
 *
 * NameSize   room of Name in bytes; receives the length without the terminator
 *
 * 259 beyond the last; 234 when Name or Data is too small, and then Name and *NameSize are as they were. */
PLAT_API i32 RegEnumValueA(HKEY Key, u32 Index, char *Name, u32 *NameSize, u32 *Reserved, u32 *Type, u8 *Data,
                           u32 *Size);

/* Gives up a key; HKEY_LOCAL_MACHINE stays open. */
PLAT_API i32 RegCloseKey(HKEY Key);

/* The directory that holds the tree. Returns Out, cut to Size. A program that runs with the rights of another user or
 * group than its caller's does not look at SORREL_REGISTRY. */
PLAT_API char *Plat_RegistryRoot(char *Out, size_t Size);

PLAT_END_C

#endif

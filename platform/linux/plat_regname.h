#ifndef PLAT_REGNAME_H
#define PLAT_REGNAME_H

// How names of the registry look on disk.
//
// A key is a directory, a value is a file NAME.value in it. A name may hold any byte; the ones that a file name cannot
// hold, or that mean something there, are written as %XX:
//
//     / and %, bytes below 0x20 and 0x7F     everywhere
//     .                                      in front, so hidden files are never ours, and "." and ".." are safe
//     .                                      of a final ".value" in the name of a key
//     the empty name                         is %00
//
// A name made by hand need not be escaped where it is unambiguous: a percent sign without two hex digits behind it is
// itself. Names are compared in their decoded form, ASCII letters without case.

#include <cstddef>

#include "plat_types.h"

// Room for a file name with its terminator.
constexpr size_t PLAT_REGNAME_ROOM = 256;

enum Plat_RegKind : u32 { PLAT_REG_KEY, PLAT_REG_VALUE };

// The file name of a key or value. 0, or -1 with errno ENAMETOOLONG.
int Plat_RegNameEncode(const char *Name, size_t Length, Plat_RegKind Kind, char *Out);

// The name behind a file name; Out has PLAT_REGNAME_ROOM bytes. 0, or -1 for a file name that is no name of that kind:
// a hidden one, or one without ".value" for a value.
int Plat_RegNameDecode(const char *FileName, Plat_RegKind Kind, char *Out);

// Finds the file name under which a key or value lies in Directory: the encoded one when it is there, else the first
// in byte order that is equal without case. 1 found, 0 not there and Out is the encoded name, -1 with errno.
int Plat_RegNameFind(const char *Directory, const char *Name, size_t Length, Plat_RegKind Kind, char *Out);

#endif

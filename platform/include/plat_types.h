#ifndef PLAT_TYPES_H
#define PLAT_TYPES_H

/* Integer and handle types that every header of this system uses, and the mark of a call that leaves a library. */

#include <stddef.h>
#include <stdint.h>

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef uint64_t u64;
typedef int8_t i8;
typedef int16_t i16;
typedef int32_t i32;
typedef int64_t i64;

/* A platform object: process, pipe end, mutex, event, file. NULL is none, all ones is invalid. */
typedef void *handle;

#define PLAT_INVALID_HANDLE ((handle)(intptr_t)-1)

#define PLAT_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define PLAT_BEGIN extern "C" {
#define PLAT_END_C }
#else
#define PLAT_BEGIN
#define PLAT_END_C
#endif

#endif

#ifndef QRT_TABLES_H
#define QRT_TABLES_H

// Statuses, faults and exceptions as tables.

#include "qrt_exceptions.h"

struct Qrt_ExceptionRow {
    const exc_Object *Object;
    const char *Name;
};

struct Qrt_StatusRow {
    u32 Status;
    const exc_Object *Exception;
    const char *Text;
};

constexpr size_t QRT_EXCEPTION_COUNT = 156;
extern const Qrt_ExceptionRow Qrt_ExceptionTable[QRT_EXCEPTION_COUNT];

// Each sorted by Status.
extern const Qrt_StatusRow Qrt_StatusTable[];
extern const size_t Qrt_StatusCount;
extern const Qrt_StatusRow Qrt_MapperTable[];
extern const size_t Qrt_MapperCount;
extern const Qrt_StatusRow Qrt_FaultTable[];
extern const size_t Qrt_FaultCount;

#endif

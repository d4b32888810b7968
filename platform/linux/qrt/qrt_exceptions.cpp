// Raising, holding and naming exceptions, and the way from statuses and faults to them.

#include "qrt_exceptions.h"

#include "plat_exception.h"
#include "qrt_tables.h"
#include "rpc_status.h"

#include <pthread.h>

#include <cstdio>

// For the filter of exceptions that nobody caught: called while one is there.
static const void *uncaughtObject()
{
    try {
        throw;
    } catch (const exc_Raised &raised) {
        return raised.Object;
    } catch (...) {
        return nullptr;
    }
}

void exc_raise(const exc_Object *Object)
{
    Plat_SetUncaughtObject(uncaughtObject);
    throw exc_Raised{Object};
}

i32 exc_matches(const exc_Object *One, const exc_Object *Other)
{
    return One->Kind == Other->Kind && One->Value == Other->Value;
}

const exc_Object *exc_guard(void (*Routine)(void *Argument), void *Argument)
{
    try {
        Routine(Argument);
    } catch (const exc_Raised &raised) {
        return raised.Object;
    }
    return nullptr;
}

i32 QRTExceptionFilter(const exc_Object *Object, const exc_Object **Held)
{
    if (*Held == nullptr) *Held = Object;
    return 1;
}

i32 qrt_ptdexc_setcanceltype(i32 NewState, i32 *Previous)
{
    if (NewState != 0 && NewState != 1) return -1;
    int before = PTHREAD_CANCEL_ENABLE;
    if (pthread_setcancelstate(NewState == 1 ? PTHREAD_CANCEL_ENABLE : PTHREAD_CANCEL_DISABLE, &before) != 0) return -1;
    if (Previous) *Previous = before == PTHREAD_CANCEL_ENABLE ? 1 : 0;
    return 0;
}

static const Qrt_StatusRow *findRow(const Qrt_StatusRow *table, size_t count, u32 status)
{
    size_t low = 0;
    for (size_t high = count; low < high;) {
        const size_t middle = (low + high) / 2;
        if (table[middle].Status < status)
            low = middle + 1;
        else
            high = middle;
    }
    return low < count && table[low].Status == status ? &table[low] : nullptr;
}

// A status of either base; the mapper's own come first, since the catalogue has no other meaning for their numbers.
static const Qrt_StatusRow *findStatus(u32 status)
{
    if ((status & 0xFFFFF000u) == RPC_WIRE_STATUS_BASE) {
        const Qrt_StatusRow *row = findRow(Qrt_MapperTable, Qrt_MapperCount, status);
        if (row) return row;
        status = status - RPC_WIRE_STATUS_BASE + RPC_STATUS_BASE;
    }
    return findRow(Qrt_StatusTable, Qrt_StatusCount, status);
}

const exc_Object *qrt_exception_of_status(u32 Status)
{
    const Qrt_StatusRow *row = findStatus(Status);
    return row ? row->Exception : &rpc_x_unknown_error;
}

const exc_Object *qrt_exception_of_fault(u32 Fault)
{
    const Qrt_StatusRow *row = findRow(Qrt_FaultTable, Qrt_FaultCount, Fault);
    return row ? row->Exception : &rpc_x_unknown_remote_fault;
}

const char *qrt_exception_name(const exc_Object *Object)
{
    for (const Qrt_ExceptionRow &row : Qrt_ExceptionTable) {
        if (exc_matches(row.Object, Object)) return row.Name;
    }
    return nullptr;
}

void dce_error_inq_text(u32 StatusToConvert, unsigned char *Text, i32 *Status)
{
    char *const out = reinterpret_cast<char *>(Text);
    const Qrt_StatusRow *row = findStatus(StatusToConvert);
    if (!row) row = findRow(Qrt_FaultTable, Qrt_FaultCount, StatusToConvert);
    if (StatusToConvert == rpc_s_ok)
        snprintf(out, RPC_ERROR_TEXT_SIZE, "successful completion (dce / rpc)");
    else if (row)
        snprintf(out, RPC_ERROR_TEXT_SIZE, "%s (dce / rpc)", row->Text);
    else
        snprintf(out, RPC_ERROR_TEXT_SIZE, "status %08x (dce / rpc)", StatusToConvert);
    *Status = row || StatusToConvert == rpc_s_ok ? 0 : -1;
}

#ifndef INFTR_GUARD_H
#define INFTR_GUARD_H

/* The trace guard: the inline test at every trace point, and the macros that put it on a function.
 *
 *     INFTR_FUNCTION(SUPOS, "SupOS_ByteSwap");                     names component and function, first of all
 *     INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%#x, %d)", value, flag);    the entry record
 *     INFTR_RETURN(1);                                             a way out of a void function
 *     INFTR_RETURN_CODE(2, code);                                  a way out with a return code
 *     INFTR_RETURN_VALUE(3, value);                                a way out with another value of at most 4 bytes
 *
 * The ways out hide a return, which no other macro of this system does. With the master flag off a trace point costs
 * one pointer load and one compare; with tracing on but its class not selected a few loads; never a call or a lock. */

#include "inftr.h"

/* Reads a word that other threads may change: one plain load, ordered before the reads behind it. */
#define InfTR_Read(Word) __atomic_load_n(&(Word), __ATOMIC_ACQUIRE)

/* The rows of InfTR_ProductMaskTable, as the guard has them: a class is known where the guard is compiled, and so are the
 * levels that let it through, a bit for each. */
#define INFTR_LEVEL_MASK_1 0x00038u
#define INFTR_LEVEL_MASK_2 0x0003Cu
#define INFTR_LEVEL_MASK_3 0x0083Fu
#define INFTR_LEVEL_MASK_4 0x00FFFu
#define INFTR_LEVEL_MASK_5 0x18FFFu

static inline __attribute__((always_inline)) u32 InfTR_LevelsOf(u32 Class)
{
    return (u32)((INFTR_LEVEL_MASK_1 & Class) != 0) << 1 | (u32)((INFTR_LEVEL_MASK_2 & Class) != 0) << 2 |
           (u32)((INFTR_LEVEL_MASK_3 & Class) != 0) << 3 | (u32)((INFTR_LEVEL_MASK_4 & Class) != 0) << 4 |
           (u32)((INFTR_LEVEL_MASK_5 & Class) != 0) << 5;
}

/* Nonzero when a trace point of this class in this component leaves a record.
 *
 * Always inline, since it stands at every trace point: with the master switch off it is the load of a pointer and the
 * compare of a flag. Takes no lock. Beside an update of the levels it sees the old or the new level. */
static inline __attribute__((always_inline)) int InfTR_Guard(u32 Component, u32 Class)
{
    struct InfTR_MasterTraceArea *const master = InfTR_Read(InfTR_TracePtr);
    if (__builtin_expect(master == NULL, 0)) return 0;
    if (__builtin_expect(InfTR_Read(master->TraceFlagMaster) != 1, 1)) return 0;
    if (InfTR_Read(master->TraceFlagSystem) != 1) return 0;

    u32 level = 0;
    struct InfTR_ProcessCache *const cache = InfTR_Read(InfTR_CachePtr);
    if (cache != NULL && cache->ProductIndex < INFTR_PRODUCT_COUNT) {
        const u32 table = InfTR_Read(master->SpecTableInUse) == 1 ? 0 : 1;
        const u32 index = (u32)cache->ProductIndex + Component; /* required: a plain sum, not a row times a width */
        if (index < INFTR_SPEC_TABLE_SIZE) level = InfTR_Read(master->TraceSpecTable[table][index]);
    }
    return level < INFTR_LEVEL_COUNT && (InfTR_LevelsOf(Class) >> level & 1) != 0;
}

/* The component and name of the enclosing function; stands once, before any other macro. */
#define INFTR_FUNCTION(Component, Name)                                                                                \
    enum { inftrComponent = INFTR_COMPONENT_##Component };                                                             \
    static const char inftrFunction[] = Name

/* Arguments are evaluated only when the record is wanted. */
#define INFTR_ENTRY(Class, ...)                                                                                        \
    do {                                                                                                               \
        if (__builtin_expect(InfTR_Guard(inftrComponent, (Class)), 0))                                                 \
            InfTR_TraceFnEntry(inftrComponent, inftrFunction, (Class), InfTR_EntryArgs(__VA_ARGS__));                  \
    } while (0)

/* The exit records alone, for a function that goes on to end the process or its thread. */
#define INFTR_EXIT_VOID(Point)                                                                                         \
    do {                                                                                                               \
        if (__builtin_expect(InfTR_Guard(inftrComponent, INFTR_CLASS_VOID_EXIT), 0))                                   \
            InfTR_TraceVoidExit(inftrComponent, inftrFunction, (Point));                                               \
    } while (0)

#define INFTR_EXIT_CODE(Point, Code)                                                                                   \
    do {                                                                                                               \
        if (__builtin_expect(InfTR_Guard(inftrComponent, INFTR_CLASS_ERROR_EXIT), 0))                                  \
            InfTR_TraceErrorExit(inftrComponent, inftrFunction, (u32)(Code)&VELA_CODE_MASK, (Point));                  \
    } while (0)

#define INFTR_RETURN(Point)                                                                                            \
    do {                                                                                                               \
        INFTR_EXIT_VOID(Point);                                                                                        \
        return;                                                                                                        \
    } while (0)

#define INFTR_RETURN_CODE(Point, Code)                                                                                 \
    do {                                                                                                               \
        const __typeof__(Code) inftrCode = (Code);                                                                     \
        INFTR_EXIT_CODE(Point, inftrCode);                                                                             \
        return inftrCode;                                                                                              \
    } while (0)

/* Value has the function's own type: its size is recorded, and of a pointer the low 4 bytes. Only behind the guard does
 * it need an address. */
#define INFTR_RETURN_VALUE(Point, Value)                                                                               \
    do {                                                                                                               \
        const __typeof__(Value) inftrValue = (Value);                                                                  \
        if (__builtin_expect(InfTR_Guard(inftrComponent, INFTR_CLASS_TYPED_EXIT), 0)) {                                \
            const __typeof__(Value) inftrShown = inftrValue;                                                           \
            const i32 inftrSize = (i32)sizeof inftrShown; /* a pointer too; NOLINT(bugprone-sizeof-expression) */      \
            InfTR_TraceTypedExit(inftrComponent, inftrFunction, inftrSize, &inftrShown, (Point));                      \
        }                                                                                                              \
        return inftrValue;                                                                                             \
    } while (0)

#endif

// Opening a conversion: two names in, one of 32 fixed descriptors out.
//
// The catalogue tells what each code set is made of. Equal parts need no work (a copy); byte code sets need a table
// for the single bytes and one for the double bytes; the Unicode and EUC routes need one table, or none between forms
// of Unicode. A pair without its table falls back to the default code sets, where the catalogue has any.
//
// A descriptor is handed out as a fixed code of its slot, so a value that is no descriptor can be told: it ends in a
// memory fault, the same one each time. IcnvLock guards the free list and nothing else; a descriptor is written
// between its unlinking and the return of the open, and read-only from then on.

#include <errno.h>
#include <string.h>

#include "inftr_guard.h"
#include "supos_icnv_engine.h"
#include "win32_file.h"
#include "win32_sync.h"

IcnvDescriptor IcnvPool[ICNV_DESCRIPTORS];
IcnvPlan IcnvPlans[ICNV_DESCRIPTORS];

static IcnvDescriptor *icnvFreeList; // guarded by icnvLock
static handle icnvLock;

constexpr u32 ICNV_NO_LIMIT = 0xFFFFFFFFu;

// The fault of a caller's mistake that nothing can answer: a read through a null pointer.
__attribute__((noreturn, noinline, no_sanitize("address", "undefined", "thread"))) static void fault(void)
{
    const volatile u32 *volatile nowhere = nullptr;
    static_cast<void>(*nowhere); // NOLINT(clang-analyzer-core.NullDereference): required
    __builtin_trap();
}

static u32 slotOf(u32 Code)
{
    const u32 distance = Code - ICNV_FIRST_CODE;
    if (distance % ICNV_CODE_STEP != 0 || distance / ICNV_CODE_STEP >= ICNV_DESCRIPTORS) fault();
    return distance / ICNV_CODE_STEP;
}

void SupOS_IcnvInitProcess(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvInitProcess");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(void)");

    icnvLock = CreateMutexA(nullptr, 0, nullptr);
    IcnvDescriptor *head = nullptr;
    for (IcnvDescriptor &descriptor : IcnvPool) { // the last slot is handed out first
        descriptor.next = head;
        head = &descriptor;
    }
    icnvFreeList = head;
    INFTR_RETURN(1);
}

void SupOS_IcnvEndProcess(void)
{
    INFTR_FUNCTION(SUPOS, "SupOS_IcnvEndProcess");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(void)");

    CloseHandle(icnvLock);
    INFTR_RETURN(1);
}

bool SupOS_IcnvFreeListEmpty(void)
{
    return icnvFreeList == nullptr;
}

// A free descriptor, or null when the lock fails. The pool's end is not an answer: the 33rd open faults.
static IcnvDescriptor *takeDescriptor(void)
{
    if (WaitForSingleObject(icnvLock, ICNV_NO_LIMIT) == WAIT_FAILED) return nullptr;
    IcnvDescriptor *const taken = icnvFreeList;
    if (taken == nullptr) fault();
    icnvFreeList = taken->next;
    return ReleaseMutex(icnvLock) ? taken : nullptr;
}

// The number of a full name; false for a name that is not known.
static bool findCodeSet(const char *Name, u32 *Ccsid)
{
    const size_t length = strlen(Name) + 1;
    for (const IcnvCodeSet &row : IcnvCodeSets) {
        // Most rows share their first four bytes, so the last one of a name is looked at first.
        if (strncmp(row.name, Name, length) != 0) continue;
        *Ccsid = row.ccsid;
        return true;
    }
    return false;
}

// Byte to byte, the new-line rule in place. False when the table is too short to answer every byte.
static bool foldBytes(IcnvPlan *Plan, const IcnvDescriptor *Descriptor)
{
    const u32 table1 = Descriptor->table1 == ICNV_TBL_SAME ? 0 : Descriptor->table1;
    const IcnvLookup single = SupOS_IcnvLookupOf(table1, 0);
    if (single.table == nullptr) {
        for (u32 i = 0; i < 256; ++i) Plan->bytes[i] = static_cast<u8>(i);
        return true;
    }
    if (single.size < 256) return false;
    memcpy(Plan->bytes, single.table, 256);
    if (Descriptor->mode & ICNV_FROM_HOST) Plan->bytes[ICNV_HOST_NEWLINE] = single.table[ICNV_HOST_LINEFEED];
    return true;
}

void SupOS_IcnvMakePlan(IcnvPlan *Plan, const IcnvDescriptor *Descriptor)
{
    Plan->catalogue = InfTR_Read(IcnvRoot);
    Plan->map = nullptr;
    Plan->flat = nullptr;
    if (Descriptor->mode == 0) {
        const IcnvFlatKind kind = SupOS_IcnvFlatKindOf(Descriptor->fromKind, Descriptor->fromEncoding,
                                                       Descriptor->toKind, Descriptor->toEncoding);
        if (kind != ICNV_FLAT_NONE) Plan->flat = SupOS_IcnvFlatOf(Descriptor->table1, kind);
    } else if (Descriptor->mode != ICNV_MODE_COPY) {
        if (foldBytes(Plan, Descriptor)) Plan->map = Plan->bytes;
        const u32 table2 = Descriptor->table2;
        if (table2 != 0 && table2 != ICNV_TBL_SAME && table2 != ICNV_TBL_SUBST)
            Plan->flat = SupOS_IcnvFlatOf(table2, ICNV_FLAT_D2);
    }
    Plan->straight = SupOS_IcnvStraightOf(Plan, Descriptor);
}

static bool isOpenFailure(i32 Code)
{
    return Code == ICNV_RC_NODEFAULT || Code == ICNV_RC_NOTABLE || Code == ICNV_RC_NOFROM || Code == ICNV_RC_NOTO ||
           Code == ICNV_RC_NOMEM;
}

u32 SupOS_SafeIcnvOpen(const char *ToCode, const char *FromCode)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SafeIcnvOpen");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%s, %s)", ToCode, FromCode);

    u32 cd = SUPOS_ICNV_FAILED;
    const int before = errno;
    SupOS_IcnvNeedCatalogue();

    u32 to, from;
    if (!findCodeSet(ToCode, &to)) {
        errno = EINVAL;
        INFTR_RETURN_VALUE(1, cd);
    }
    if (!findCodeSet(FromCode, &from)) {
        errno = EINVAL;
        INFTR_RETURN_VALUE(2, cd);
    }

    IcnvDescriptor found = {};
    i32 code = ICNV_RC_SAME;
    if (from != to) {
        code = SupOS_OpenConversion(from, to, 1, &found.mode, &found.table1, &found.table2, &found.index,
                                    &found.fromKind, &found.fromEncoding, &found.toKind, &found.toEncoding);
    }
    errno = before; // files that were looked for leave no trace in it
    if (isOpenFailure(code)) INFTR_RETURN_VALUE(3, cd);

    IcnvDescriptor *const taken = takeDescriptor();
    if (taken == nullptr) INFTR_RETURN_VALUE(4, cd);
    if (code == ICNV_RC_SAME) {
        found = {};
        found.mode = ICNV_MODE_COPY;
    }
    *taken = found;
    const u32 slot = static_cast<u32>(taken - IcnvPool);
    SupOS_IcnvMakePlan(&IcnvPlans[slot], taken);
    errno = before;
    cd = ICNV_FIRST_CODE + slot * ICNV_CODE_STEP;
    INFTR_RETURN_VALUE(5, cd);
}

i32 SupOS_SafeIcnvClose(u32 cd)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SafeIcnvClose");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%#x)", cd);

    i32 result = -1;
    IcnvDescriptor *const closed = &IcnvPool[slotOf(cd)];
    if (WaitForSingleObject(icnvLock, ICNV_NO_LIMIT) == WAIT_FAILED) INFTR_RETURN_VALUE(1, result);
    closed->next = icnvFreeList;
    icnvFreeList = closed;
    if (!ReleaseMutex(icnvLock)) INFTR_RETURN_VALUE(2, result);
    result = 0;
    INFTR_RETURN_VALUE(3, result);
}

// The copy of a descriptor without work: all or nothing, and the pointers stay.
static i32 copyAll(const u8 *Source, u32 Length, u8 *Target, u32 Room)
{
    if (Length > Room) return ICNV_RC_COPYFULL;
    if (Source != Target) memmove(Target, Source, Length);
    return ICNV_RC_OK;
}

i32 SupOS_SafeIcnvCode(u32 cd, const u8 **srcpp, u32 *slenp, u8 **tgtpp, u32 *tlenp)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SafeIcnvCode");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%#x, %p, %u, %p, %u)", cd, static_cast<const void *>(*srcpp), *slenp,
                static_cast<void *>(*tgtpp), *tlenp);

    const u32 length = *slenp;
    const u32 room = *tlenp;
    i32 code = ICNV_RC_OK;
    if (length == 0) { // required: the room counts as gone
        *tlenp = 0;
        INFTR_RETURN_CODE(1, code);
    }

    const u32 slot = slotOf(cd);
    const IcnvDescriptor *const descriptor = &IcnvPool[slot];
    const IcnvPlan *plan = &IcnvPlans[slot];
    if (plan->catalogue == nullptr || plan->catalogue != InfTR_Read(IcnvRoot)) plan = nullptr;

    if (descriptor->mode == ICNV_MODE_COPY) {
        code = copyAll(*srcpp, length, *tgtpp, room);
        if (code != ICNV_RC_OK) INFTR_RETURN_CODE(2, code);
        *tlenp = length;
    } else if (descriptor->mode != 0) {
        code = SupOS_CodeConv(srcpp, slenp, tgtpp, tlenp, descriptor->table1, descriptor->table2, descriptor->mode,
                              descriptor->index, plan);
    } else {
        code = SupOS_NewCodeConv(srcpp, slenp, tgtpp, tlenp, &descriptor->table1, descriptor->fromKind,
                                 descriptor->fromEncoding, descriptor->toKind, descriptor->toEncoding,
                                 descriptor->index, plan);
    }
    *tlenp = room - *tlenp;
    *slenp = 0; // required: the count left is the noted length less an input that no routine changes
    INFTR_RETURN_CODE(3, code);
}

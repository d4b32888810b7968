// Table files: finding, loading, sharing.
//
// Coding reads `tables` by position and takes no lock. So an entry is complete before tableCount tells of it, it never
// changes afterwards, and when the array is full a longer copy takes its place while the old array stays. Loading and
// searching run under tableLock, so that two opens of one table load it once.

#include <stdio.h>
#include <string.h>

#include "crt.h"
#include "inftr_guard.h"
#include "supos_allocation.h"
#include "supos_icnv_engine.h"
#include "suppr_names.h"

constexpr u32 ICNV_FIRST_TABLES = 8; // length of the first array; each further one is twice as long
constexpr u32 ICNV_KIND_NARROW_ROWS = 6; // no catalogue can name this kind
constexpr u32 ICNV_KEY_STEP = 10;
constexpr i64 ICNV_FILE_LIMIT = 0x7FFFFFFF;

#define ICNV_TABLES_LABEL "ERZ58TBL"

const IcnvTable *SupOS_IcnvTableOf(u32 Handle)
{
    const IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    if (catalogue == nullptr) return nullptr;
    const u32 count = InfTR_Read(catalogue->tableCount); // before the array, which then holds at least as many
    if (Handle == 0 || Handle > count) return nullptr;
    return &InfTR_Read(catalogue->tables)[Handle - 1];
}

IcnvLookup SupOS_IcnvLookupOf(u32 Handle, u32 Index)
{
    const IcnvTable *const table = SupOS_IcnvTableOf(Handle);
    if (table == nullptr) return {nullptr, 0, Index};
    return {table->data, table->size, Index};
}

static u32 lengthOfArray(u32 Count)
{
    u32 length = ICNV_FIRST_TABLES;
    while (length < Count) length *= 2;
    return Count == 0 ? 0 : length;
}

// The array with room for one more entry: the one in use, or a longer copy that is not in use yet. Null: no memory.
// Behind its entries an array has one more, whose data is the array that it took the place of.
static IcnvTable *roomForOne(const IcnvCatalogue *Catalogue)
{
    const u32 count = Catalogue->tableCount;
    if (count < lengthOfArray(count)) return Catalogue->tables;
    void *longer = nullptr;
    const u32 length = lengthOfArray(count + 1);
    const u32 size = (length + 1) * static_cast<u32>(sizeof(IcnvTable));
    if (SupOS_AllocateRE(size, ICNV_TABLES_LABEL, &longer) != ERZ_OK) return nullptr;
    IcnvTable *const tables = static_cast<IcnvTable *>(longer);
    if (count != 0) memcpy(tables, Catalogue->tables, count * sizeof(IcnvTable));
    tables[length].data = reinterpret_cast<u8 *>(Catalogue->tables);
    return tables;
}

// The whole file at Path into Table. A failure leaves no block behind.
static i32 loadFile(const char *Path, IcnvTable *Table)
{
    const i32 file = _open(Path, PLAT_O_RDONLY | PLAT_O_BINARY, 0);
    if (file == -1) return ICNV_RC_NOTABLE;

    struct plat_stat32 status;
    if (_stat32(Path, &status) != 0) return ICNV_RC_NOTABLE; // required: the file stays open, here and below
    if (status.st_size > ICNV_FILE_LIMIT) {
        _close(file);
        return ICNV_RC_NOTABLE;
    }
    void *data = nullptr;
    if (SupOS_Allocate(static_cast<u32>(status.st_size), &data) != ERZ_OK) return ICNV_RC_NOMEM;

    const i32 got = _read(file, data, static_cast<u32>(status.st_size));
    _close(file);
    if (got != static_cast<i32>(status.st_size)) {
        SupOS_Deallocate(data);
        return ICNV_RC_NOTABLE;
    }
    Table->data = static_cast<u8 *>(data);
    Table->size = static_cast<u32>(status.st_size);
    return ICNV_RC_OK;
}

static void nameFile(char *Path, size_t Size, u32 From, u32 To, u32 Suffix)
{
    if (Suffix != 0)
        snprintf(Path, Size, "%s/%04X%04X_%d.tbl", SupPR_GetNames(SUPPR_NAME_ETC_DIR), From, To,
                 static_cast<int>(Suffix));
    else
        snprintf(Path, Size, "%s/%04X%04X.tbl", SupPR_GetNames(SUPPR_NAME_ETC_DIR), From, To);
}

// The position of a table, counted from 1, or 0.
static u32 findTable(const IcnvCatalogue *Catalogue, u32 Key, u32 To)
{
    for (u32 i = 0; i < Catalogue->tableCount; ++i) {
        const IcnvTable *const table = &Catalogue->tables[i];
        if (table->key == Key && table->to == To) return i + 1;
    }
    return 0;
}

// Puts a loaded table behind the others, in an array with room for it. The two positions whose numbers mean something else
// stay empty.
static i32 addTable(IcnvCatalogue *Catalogue, IcnvTable *Tables, const IcnvTable *Loaded)
{
    while (Tables != nullptr) {
        const u32 position = Catalogue->tableCount + 1;
        const bool empty = position == ICNV_TBL_SUBST || position == ICNV_TBL_SAME;
        Tables[position - 1] = empty ? IcnvTable{} : *Loaded;
        __atomic_store_n(&Catalogue->tables, Tables, __ATOMIC_RELEASE);
        __atomic_store_n(&Catalogue->tableCount, position, __ATOMIC_RELEASE);
        if (!empty) return ICNV_RC_OK;
        Tables = roomForOne(Catalogue);
    }
    return ICNV_RC_NOMEM;
}

// Loads a table that is not there yet. The array comes first: without room the file is not looked for.
static i32 loadTable(IcnvCatalogue *Catalogue, u32 To, u32 From, u32 Key, u32 Kind, u32 Suffix)
{
    IcnvTable *const tables = roomForOne(Catalogue);
    if (tables == nullptr) return ICNV_RC_NOMEM;

    IcnvTable loaded = {{'I', 'C', 'N', 'V'}, Key, To, nullptr, 0, nullptr};
    char path[SUPPR_NAME_ENTRY_SIZE + 32];
    nameFile(path, sizeof path, From, To, Suffix);
    const i32 code = loadFile(path, &loaded);
    if (code != ICNV_RC_OK) {
        if (tables != Catalogue->tables) SupOS_Deallocate(tables);
        return code;
    }
    // required: a table that cannot be widened stays as it is, and the open fails
    const i32 widened =
        Kind == ICNV_KIND_NARROW_ROWS && loaded.size % 512 != 0 ? SupOS_ModifyTable(&loaded) : ICNV_RC_OK;
    const i32 added = addTable(Catalogue, tables, &loaded);
    if (added != ICNV_RC_OK) SupOS_Deallocate(loaded.data);
    return added != ICNV_RC_OK ? added : widened;
}

i32 SupOS_GetTable(u32 To, u32 From, u32 *Table, u32 Kind, u32 Suffix)
{
    INFTR_FUNCTION(SUPOS, "SupOS_GetTable");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%u, %u, %p, %u, %u)", To, From, static_cast<void *>(Table), Kind, Suffix);

    IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    const u32 key = From * ICNV_KEY_STEP + Suffix;
    i32 code = ICNV_RC_OK;

    tks_MutexLock(&catalogue->tableLock);
    const u32 known = findTable(catalogue, key, To);
    if (known != 0) {
        *Table = known;
        tks_MutexUnlock(&catalogue->tableLock);
        INFTR_RETURN_CODE(1, code);
    }
    const u32 before = catalogue->tableCount;
    code = loadTable(catalogue, To, From, key, Kind, Suffix);
    if (catalogue->tableCount != before) *Table = catalogue->tableCount;
    tks_MutexUnlock(&catalogue->tableLock);
    INFTR_RETURN_CODE(2, code);
}

const IcnvFlat *SupOS_IcnvFlatOf(u32 Handle, IcnvFlatKind Kind)
{
    IcnvCatalogue *const catalogue = InfTR_Read(IcnvRoot);
    if (SupOS_IcnvTableOf(Handle) == nullptr) return nullptr;

    tks_MutexLock(&catalogue->tableLock);
    IcnvTable *const table = &catalogue->tables[Handle - 1];
    IcnvFlat *flat = table->flat;
    while (flat != nullptr && flat->kind != Kind) flat = flat->next;
    if (flat == nullptr) {
        flat = SupOS_IcnvMakeFlat(table, Kind);
        if (flat != nullptr) {
            flat->next = table->flat;
            table->flat = flat;
        }
    }
    tks_MutexUnlock(&catalogue->tableLock);
    return flat;
}

// Rows of 260 bytes: a native 32-bit base and 256 signed deltas, behind an index of 256 bytes.
constexpr u32 ICNV_NARROW_INDEX = 256;
constexpr u32 ICNV_NARROW_ROW = 260;
constexpr u32 ICNV_WIDE_ROW = 512;

// The largest row number that any row in use leads to; all ones when the table does not hold together.
static u32 countNarrowRows(const IcnvTable *Table)
{
    constexpr u32 none = 0xFFFFFFFFu;
    if (Table->size < ICNV_NARROW_INDEX) return none;
    i64 rows = 0;
    for (u32 i = 0; i < ICNV_NARROW_INDEX; ++i) {
        const u32 offset = ICNV_NARROW_INDEX + Table->data[i] * ICNV_NARROW_ROW;
        if (offset + ICNV_NARROW_ROW > Table->size) return none;
        i32 base;
        memcpy(&base, Table->data + offset, sizeof base);
        for (u32 k = 0; k < 256; ++k) {
            const i64 sum = i64{base} + static_cast<i8>(Table->data[offset + 4 + k]);
            if (sum > rows) rows = sum;
        }
    }
    return rows > (Table->size - ICNV_NARROW_INDEX) / ICNV_NARROW_ROW ? none : static_cast<u32>(rows);
}

i32 SupOS_ModifyTable(IcnvTable *Table)
{
    INFTR_FUNCTION(SUPOS, "SupOS_ModifyTable");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<void *>(Table));

    i32 code = ICNV_RC_NOTABLE;
    const u32 rows = countNarrowRows(Table);
    if (rows == 0xFFFFFFFFu) INFTR_RETURN_CODE(1, code);

    const u32 size = Table->size + rows * (ICNV_WIDE_ROW - ICNV_NARROW_ROW) + ICNV_NARROW_INDEX;
    void *block = nullptr;
    if (SupOS_AllocateRE(size, ICNV_TABLES_LABEL, &block) != ERZ_OK) {
        code = ICNV_RC_NOMEM;
        INFTR_RETURN_CODE(2, code);
    }
    u8 *const wide = static_cast<u8 *>(block);
    memcpy(wide, Table->data, ICNV_NARROW_INDEX);
    const u8 *from = Table->data + ICNV_NARROW_INDEX;
    u8 *to = wide + ICNV_WIDE_ROW;
    for (u32 row = 0; row < rows; ++row) {
        memcpy(to, from, ICNV_NARROW_ROW);
        from += ICNV_NARROW_ROW;
        to += ICNV_WIDE_ROW;
    }
    const u32 rest = Table->size - static_cast<u32>(from - Table->data);
    if (static_cast<u32>(to - wide) + rest != size) {
        SupOS_Deallocate(wide);
        INFTR_RETURN_CODE(3, code);
    }
    memcpy(to, from, rest);
    SupOS_Deallocate(Table->data);
    Table->data = wide;
    Table->size = size;
    code = ICNV_RC_OK;
    INFTR_RETURN_CODE(4, code);
}

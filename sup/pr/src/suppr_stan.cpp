// Stanza files: an attribute of a region by a plain search of text, so the region need not run.
//
// A line is what fgets gives of 200 bytes; the rest of a longer one is tried as a line of its own. Only the beginning of
// a line is compared, and the value is whatever stands between its first two double quotes.

#include "suppr_int.h"

#include "crt.h"
#include "inftr_guard.h"

#include <cctype>
#include <cstdio>
#include <cstring>

constexpr int lineSize = SUPPR_STANZA_VALUE_SIZE;
constexpr size_t pathSize = 4096;

// Cuts the value out of a line; NULL when the line has fewer than two double quotes.
static char *quotedText(char *Line)
{
    char *const opening = strchr(Line, '"');
    char *const closing = opening != nullptr ? strchr(opening + 1, '"') : nullptr;
    if (closing == nullptr) return nullptr;
    *closing = 0;
    return opening + 1;
}

u32 SupPR_SearchFile(const char *File, const char *Attribute, char *Value)
{
    INFTR_FUNCTION(SUPPR, "SupPR_SearchFile");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %.255s, %p)", File, Attribute, static_cast<void *>(Value));

    FILE *const file = plat_fopen(File, "r");
    if (file == nullptr) INFTR_RETURN_CODE(1, SUPPR_ERR_REGION_ACCESS);

    u32 result = SUPPR_ERR_NOT_FOUND;
    const size_t length = strlen(Attribute);
    char line[lineSize];
    while (result != ERZ_OK && fgets(line, sizeof line, file) != nullptr) {
        char *start = line;
        while (isspace(static_cast<u8>(*start))) ++start;
        if (strncmp(start, Attribute, length) != 0) continue;

        const char *const value = quotedText(start);
        if (value == nullptr) continue; // a line without a value has no attribute
        strcpy(Value, value);
        result = ERZ_OK;
    }
    fclose(file);
    INFTR_RETURN_CODE(2, result);
}

// Searches the file of a path that snprintf has built with this result; one that was cut names no file.
static u32 searchPath(const char *Path, int Length, const char *Attribute, char *Value)
{
    if (Length < 0 || static_cast<size_t>(Length) >= pathSize) return SUPPR_ERR_REGION_ACCESS;
    return SupPR_SearchFile(Path, Attribute, Value);
}

u32 SupPR_StanzaValue(const char *Region, const char *RegionPath, const char *Attribute, char *Value)
{
    INFTR_FUNCTION(SUPPR, "SupPR_StanzaValue");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%.255s, %.255s, %.255s, %p)", Region, RegionPath, Attribute,
                static_cast<void *>(Value));

    char path[pathSize];
    int size = snprintf(path, sizeof path, "%s/database/RD/RD.%s/RD.auto", RegionPath, Region);
    u32 result = searchPath(path, size, Attribute, Value);
    if (result != SUPPR_ERR_NOT_FOUND && result != SUPPR_ERR_REGION_ACCESS) INFTR_RETURN_CODE(1, result);

    size = snprintf(path, sizeof path, "%s/database/RD/RD.stanza", RegionPath);
    result = searchPath(path, size, Attribute, Value);
    INFTR_RETURN_CODE(2, result);
}

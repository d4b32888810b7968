// Text fields of fixed size in a multibyte encoding: what does not fit is cut between two characters.

#include "suppr_utility.h"

#include "suppr_int.h"

#include "inftr_guard.h"
#include "plat_text.h"

#include <cstring>

// Walks whole characters from Start; where a broken one, or the end of the text, comes before End, the text ends there.
static void endBehindLastCharacter(char *Start, char *End)
{
    while (Start < End) {
        const i32 length = plat_mblen(Start, static_cast<size_t>(End - Start));
        if (length < 1) {
            *Start = 0;
            return;
        }
        Start += length;
    }
}

char *SupPR_MBCSstrncpy(char *Destination, const char *Source, u32 Size)
{
    INFTR_FUNCTION(SUPPR, "SupPR_MBCSstrncpy");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %u)", static_cast<void *>(Destination),
                static_cast<const void *>(Source), Size);

    if (Destination == nullptr || Source == nullptr || Size == 0) INFTR_RETURN_VALUE(1, Destination);

    char *const end = Destination + Size;
    strncpy(Destination, Source, Size);
    if (end[-1] == 0) INFTR_RETURN_VALUE(2, Destination);

    endBehindLastCharacter(Destination, end); // required: a field full of whole characters stays without terminator
    INFTR_RETURN_VALUE(3, Destination);
}

char *SupPR_MBCSstrncat(char *Destination, const char *Source, u32 Size)
{
    INFTR_FUNCTION(SUPPR, "SupPR_MBCSstrncat");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %u)", static_cast<void *>(Destination),
                static_cast<const void *>(Source), Size);

    if (Destination == nullptr || Source == nullptr || Size == 0) INFTR_RETURN_VALUE(1, Destination);

    char *const added = Destination + strlen(Destination);
    strncat(added, Source, Size);
    endBehindLastCharacter(added, added + Size);
    INFTR_RETURN_VALUE(2, Destination);
}

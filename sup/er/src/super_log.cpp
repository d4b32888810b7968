// Logging: a message number becomes text, errors go to the event log, then the streams follow.
//
// Logging can fail, and what fails logs. The three busy words of the thread's block stop that circle: a call owns the
// word of its stream while it runs, a nested call that finds its word taken moves to the console, and one that finds the
// console taken is dropped. The words belong to the thread, so that threads log side by side without a lock.

#include <cstdio>
#include <cstring>

#include "crt.h"
#include "inftr_records.h"
#include "super_assert.h"
#include "super_int.h"
#include "supos_inner.h"
#include "suppr_names.h"

#define SUPER_LOG_FILE "sup\\er\\src\\super_log"

static constexpr u32 messageRoom = 16384 + SUPER_MSG_TEXT_OFFSET;

static constexpr u16 destinationRows[] = {SUPER_CONSOLE, SUPER_STDOUT, 0};

// The busy words that a call of SupER_Log owns.
struct Claim {
    bool Console;
    bool Stdout;
    bool Other;
};

// Claims the busy words for *Destination, which changes to the console where its own stream is taken. Returns 0, or the
// exit point of a call that is dropped.
static u32 claimStreams(const SupERData *Data, u16 *Destination, Claim *Owned)
{
    for (const u16 *row = destinationRows; *row != 0; ++row) { // required: a turn for each row, whatever the row is
        if (*Destination & SUPER_CONSOLE) {
            if (Data->ConsoleBusy == 1) return 1;
            Owned->Console = true;
            continue;
        }
        const bool toStdout = (*Destination & SUPER_STDOUT) != 0;
        if (!toStdout && Data->OutputLock == nullptr) return 2; // the block is being built
        if ((toStdout ? Data->StdoutBusy : Data->OtherBusy) != 1) {
            (toStdout ? Owned->Stdout : Owned->Other) = true;
            continue;
        }
        if (Data->ConsoleBusy == 1) return toStdout ? 7 : 2;
        *Destination = SUPER_CONSOLE;
        Owned->Console = true;
    }
    return 0;
}

static void setBusy(SupERData *Data, const Claim *Owned, u32 Value)
{
    if (Owned->Other) Data->OtherBusy = Value;
    if (Owned->Console) Data->ConsoleBusy = Value;
    if (Owned->Stdout) Data->StdoutBusy = Value;
}

// Standard output comes before standard error.
static void writeStreams(u16 Destination, const char *Message)
{
    bool toConsole = false;
    for (const u16 *row = destinationRows; *row != 0 && Destination != 0; ++row) {
        if ((Destination & *row) == 0) continue;
        if (*row == SUPER_CONSOLE) toConsole = true;
        if (*row == SUPER_STDOUT) fprintf(stdout, "%s\n", Message);
        Destination = static_cast<u16>(Destination & ~*row);
    }
    if (!toConsole) return;
    fprintf(stderr, "%s\n", Message);
    fflush(stderr);
}

u32 SupER_Log(u16 Destination, u32 MessageNumber, i32 MSN, ...)
{
    INFTR_FUNCTION(SUPER, "SupER_Log");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(dest (%hd), #%#8.8x, msn (%d))", static_cast<i16>(Destination), MessageNumber,
                MSN);

    if (SUPER_IS_GTI(MessageNumber))
        SUPER_ASSERT_EXIT(SUPER, 3, "(!SUPER_IS_GTI(MessageNumber))", __LINE__, SUPER_LOG_FILE, 9,
                          "GTIs cannot be logged");

    SupERData *const data = SupER_GetData();
    Claim owned = {};
    const u32 droppedAt = claimStreams(data, &Destination, &owned);
    if (droppedAt != 0) INFTR_RETURN_CODE(droppedAt, ERZ_OK);
    setBusy(data, &owned, 1);

    char message[messageRoom];
    u32 size = messageRoom;
    va_list args;
    va_start(args, MSN);
    SupER_IGetMessage(message, &size, SUPER_SYSTEM_LOG, SUPER_SYSTEM_LOG, SUPER_FORMAT_WHOLE, MessageNumber, MSN, args);
    va_end(args);

    SupOS_WriteNTEventLog(message, MSN, MessageNumber);
    writeStreams(Destination, message);
    if (InfTR_Guard(inftrComponent, INFTR_CLASS_ERROR))
        InfTR_TraceError(static_cast<u16>(SUPER_MSG_SET(MessageNumber)), MessageNumber, static_cast<u32>(MSN));

    setBusy(data, &owned, 0);
    INFTR_RETURN_CODE(2, ERZ_OK);
}

u32 SupER_FormatDiag(const char *Format, ...)
{
    INFTR_FUNCTION(SUPER, "SupER_FormatDiag");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p)", static_cast<const void *>(Format));

    va_list args;
    va_start(args, Format);
    vsnprintf(SupER_GetData()->Symptom.Secondary, SUPER_SECONDARY_SIZE, Format, args);
    va_end(args);
    INFTR_RETURN_CODE(1, ERZ_OK);
}

// The label and the four fixed fields of a service message, each at its place whatever the length of the one before.
void SupER_ServiceFormatMessage(const char *Format, char *Buffer, va_list Args)
{
    INFTR_FUNCTION(SUPER, "SupER_ServiceFormatMessage");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p)", static_cast<const void *>(Format), static_cast<void *>(Buffer));

    static constexpr char label[] = "SERVICE_MESSAGE ";
    static constexpr char filler[] = "     : ";
    const char *const region = SupPR_GetNames(SUPPR_NAME_REGION);

    size_t at = sizeof label - 1;
    memcpy(Buffer, label, at);
    at += SupER_TimeText(Buffer + at);
    at += static_cast<size_t>(
        snprintf(Buffer + at, SUPPR_NAME_ENTRY_SIZE + 1, " %.*s", SUPPR_NAME_ENTRY_SIZE - 1, region));
    snprintf(Buffer + at, SUPER_SERVICE_ROOM - at, " %6d/%.4d ", _getpid(), static_cast<i32>(tks_ThreadSelf()));
    at += 13; // required: a constant, so that a long process or thread id loses its end to the filler
    memcpy(Buffer + at, filler, sizeof filler);
    at += sizeof filler - 1;

    const size_t room = SUPER_SERVICE_ROOM - at - 1; // keeps a byte for the line end
    vsnprintf(Buffer + at, room, Format, Args);
    at += strlen(Buffer + at);
    memcpy(Buffer + at, "\n", 2);
    INFTR_RETURN(1);
}

void SupER_ServiceLog(const char *Format, ...)
{
    INFTR_FUNCTION(SUPER, "SupER_ServiceLog");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<const void *>(Format));

    char line[SUPER_SERVICE_ROOM];
    va_list args;
    va_start(args, Format);
    SupER_ServiceFormatMessage(Format, line, args);
    va_end(args);
    _write(2, line, static_cast<u32>(strlen(line)));
    INFTR_RETURN(1);
}

void SupER_ServiceLogSafe(const char *Format, ...)
{
    INFTR_FUNCTION(SUPER, "SupER_ServiceLogSafe");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", static_cast<const void *>(Format));

    char line[SUPER_SERVICE_ROOM];
    va_list args;
    va_start(args, Format);
    SupER_ServiceFormatMessage(Format, line, args);
    va_end(args);
    _write(2, line, static_cast<u32>(strlen(line)));
    INFTR_RETURN(1);
}

// Messages to the system's event log.
//
// A source is registered and given back around each report: these messages are rare, and nothing is left behind in a
// process that is about to end. Nothing here fails visibly; an event that cannot be reported is lost.

#include <stdarg.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "inftr_guard.h"
#include "super_formatting.h"
#include "supos_eventlog.h"
#include "supos_inner.h"
#include "supos_ntlog_int.h"
#include "supos_services.h"
#include "win32_eventlog.h"
#include "win32_file.h"
#include "win32_time.h"

static constexpr char eventSource[] = "VELATS";
static constexpr u32 eventIdError = 0xC00015B3u;
static constexpr u32 eventIdWarning = 0x800015B4u;
static constexpr u32 eventIdInformation = 0x400015B5u;

static constexpr u32 textRoom = 16384;
static constexpr u32 eventRoom = 8192; // OemToCharA cuts to it

// The severity letter of a formatted message; 0 in a text too short to have one.
static char severityOf(const char *Message)
{
    return strnlen(Message, SUPER_MSG_NAME_SIZE) < SUPER_MSG_NAME_SIZE ? '\0' : Message[SUPER_MSG_NAME_SIZE - 1];
}

static void reportEvent(u16 Type, u32 EventId, const char *Message)
{
    handle source = RegisterEventSourceA(nullptr, eventSource);
    if (source == nullptr) return;

    char text[eventRoom];
    const char *strings[] = {text};
    OemToCharA(Message, text);
    ReportEventA(source, Type, 0, EventId, nullptr, 1, 0, strings, nullptr);
    DeregisterEventSource(source);
}

// One blank-padded column of the line: exactly Width characters of Text, as far as there is room for them and an end.
static u32 putColumn(char *Out, u32 Room, u32 At, const char *Text, u32 Width)
{
    const u32 length = static_cast<u32>(strnlen(Text, Width));
    for (u32 i = 0; i < Width && At + 1 < Room; ++i) Out[At++] = i < length ? Text[i] : ' ';
    return At;
}

u32 SupOS_NTFormatMessage(const char *Region, const char *Message, u32 MessageLength, char *Out, u32 *OutSize)
{
    INFTR_FUNCTION(SUPOS, "SupOS_NTFormatMessage "); // required: the trailing blank
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %u, %p, %u)", static_cast<const void *>(Region),
                static_cast<const void *>(Message), MessageLength, static_cast<void *>(Out), *OutSize);

    const u32 room = *OutSize;
    u32 split = 0;
    while (split < MessageLength && split + 1 < room && Message[split] != ':' && Message[split] != 0) ++split;

    SYSTEMTIME now = {};
    GetLocalTime(&now);
    char date[20] = "";
    const i32 dateSize = GetDateFormatA(0x800, 1, nullptr, nullptr, date, sizeof date);
    char time[32];
    snprintf(time, sizeof time, " %02d:%02d:%02d", now.wHour, now.wMinute, now.wSecond);
    char region[10];
    snprintf(region, sizeof region, " %-8.8s", Region == nullptr ? "(null)" : Region);

    u32 at = putColumn(Out, room, 0, Message, split);
    at = putColumn(Out, room, at, "", 1);
    at = putColumn(Out, room, at, date, dateSize == 0 ? 8 : static_cast<u32>(dateSize) - 1);
    at = putColumn(Out, room, at, time, 9);
    at = putColumn(Out, room, at, region, 9);
    at = putColumn(Out, room, at, "", 5);
    *OutSize = at;

    // Two bytes stay free, for a line end and the terminator.
    const u32 left = room - at > 2 ? room - at - 2 : 0;
    const u32 length = MessageLength - split < left ? MessageLength - split : left;
    if (at < room)
        at += static_cast<u32>(snprintf(Out + at, room - at, "%.*s", static_cast<int>(length), Message + split));
    INFTR_RETURN_VALUE(1, at);
}

// The second of the words of Source between dots; NULL where there is none. Source is cut up.
static const char *secondWord(char *Source)
{
    char *rest = nullptr;
    if (SupOS_strtok_r(Source, ".", &rest) == nullptr) return nullptr;
    return SupOS_strtok_r(nullptr, ".", &rest);
}

static void reportLine(const char *Line)
{
    switch (severityOf(Line)) {
    case 'I': reportEvent(EVENTLOG_INFORMATION_TYPE, eventIdInformation, Line); break;
    case 'W': reportEvent(EVENTLOG_WARNING_TYPE, eventIdWarning, Line); break;
    default: reportEvent(EVENTLOG_ERROR_TYPE, eventIdError, Line); break;
    }
}

void SupOS_NTLog(const char *Source, u32 CopyToStderr, u32 MessageNumber, i32 MSN, ...)
{
    INFTR_FUNCTION(SUPOS, "SupOS_NTLog");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(ERZ%6.6d%c, %d)", static_cast<i32>(SUPER_MSG_DIGITS(MessageNumber)),
                SUPER_MSG_LETTER(MessageNumber), MSN);

    char message[textRoom];
    u32 size = sizeof message;
    va_list args;
    va_start(args, MSN);
    const u32 code =
        SupER_IGetMessage(message, &size, SUPER_END_USER, SUPER_END_USER, SUPER_FORMAT_WHOLE, MessageNumber, MSN, args);
    va_end(args);
    if (code != ERZ_OK) INFTR_RETURN(1);
    message[size] = 0;

    char *const words = Source == nullptr ? nullptr : strdup(Source);
    const char *const region = words == nullptr ? nullptr : secondWord(words);
    char line[textRoom];
    u32 textOffset = sizeof line;
    u32 length = SupOS_NTFormatMessage(region, message, size, line, &textOffset);
    reportLine(line);
    if (CopyToStderr != 0) {
        u32 written = 0;
        line[length++] = '\n';
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), line, length, &written, nullptr);
    }
    free(words);
    INFTR_RETURN(2);
}

void SupOS_WriteNTEventLog(const char *Message, i32 MSN, u32 MessageNumber)
{
    INFTR_FUNCTION(SUPOS, "SupOS_WriteNTEventLog");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %d, %#8.8x)", static_cast<const void *>(Message), MSN, MessageNumber);

    if (severityOf(Message) != 'E') INFTR_RETURN(1);
    reportEvent(EVENTLOG_ERROR_TYPE, eventIdError, Message);
    INFTR_RETURN(2);
}

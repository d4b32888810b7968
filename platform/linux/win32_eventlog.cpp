// The system's event log.
//
// A source is a descriptor: of the file named by SORREL_EVENTLOG, or of a socket connected to the local log socket.
// An event is one line, written by one call, so lines of several writers never mix:
//
//     VELATS[4711]: 0xC00015B3 ERZ057002E/0009: text
//
// The socket gets it behind "<priority>Mmm dd hh:mm:ss ", the local form of RFC 3164. The log connection of the host,
// if it has one through syslog(3), is not touched.

#include "win32_eventlog.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "plat_descriptor.h"
#include "plat_error.h"
#include "plat_handles.h"
#include "plat_sys.h"
#include "win32_error.h"

constexpr size_t textRoom = 8192; // of a message, with its terminator
constexpr size_t sourceRoom = 64; // of a source name, with its terminator
constexpr size_t headRoom = 160; // priority, time, source, process id, event id
constexpr size_t oldPacket = 1024; // what RFC 3164 promises to pass

constexpr int facilityUser = 1;

struct EventSource {
    Plat_Object Head;
    int Descriptor;
    bool IsSocket;
    char Name[sourceRoom];
};

static void destroySource(Plat_Object *Object)
{
    EventSource *const source = reinterpret_cast<EventSource *>(Object);
    if (source->Descriptor >= 0) Plat_Sys.Close(source->Descriptor);
    free(source);
}

static const Plat_ObjectOps sourceOps = {PLAT_KIND_EVENT_SOURCE, nullptr, destroySource};

// Copies text as one line: every control character is a blank, those at the end are dropped.
static void copyLine(const char *Text, char *Out, size_t Room)
{
    size_t length = strnlen(Text, Room - 1);
    while (length > 0 && (static_cast<u8>(Text[length - 1]) < 0x20 || Text[length - 1] == 0x7F)) --length;
    for (size_t i = 0; i < length; ++i) {
        const u8 byte = static_cast<u8>(Text[i]);
        Out[i] = byte < 0x20 || byte == 0x7F ? ' ' : Text[i];
    }
    Out[length] = '\0';
}

// A socket connected to the local log, or -1 with errno.
static int connectLog()
{
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", Plat_Sys.LogSocket);
    const int descriptor = Plat_DescriptorAbove2(Plat_Sys.Socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (descriptor < 0) return -1;
    const struct sockaddr *const where = reinterpret_cast<const struct sockaddr *>(&address);
    if (PLAT_RETRY(Plat_Sys.Connect(descriptor, where, sizeof address)) == 0) return descriptor;
    const int reason = errno;
    Plat_Sys.Close(descriptor);
    errno = reason;
    return -1;
}

handle RegisterEventSourceA(const char *Server, const char *Source)
{
    if (Server != nullptr || Source == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const char *const file = secure_getenv("SORREL_EVENTLOG");
    const bool isSocket = file == nullptr || *file == '\0';
    const int descriptor = isSocket ? connectLog() : Plat_OpenFile(file, O_WRONLY | O_CREAT | O_APPEND, 0666);
    if (descriptor < 0) {
        Plat_FailFromErrno();
        return nullptr;
    }
    void *const block = Plat_Sys.Malloc(sizeof(EventSource));
    if (block == nullptr) {
        Plat_Sys.Close(descriptor);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    EventSource *const source = new (block) EventSource{};
    source->Descriptor = descriptor;
    source->IsSocket = isSocket;
    copyLine(Source, source->Name, sizeof source->Name);
    const handle created = Plat_HandleCreate(&source->Head, &sourceOps);
    if (created == nullptr) destroySource(&source->Head);
    return created;
}

// Severity of syslog for an event type; -1 for a type that is not offered.
static int severityOf(u16 Type)
{
    switch (Type) {
    case EVENTLOG_ERROR_TYPE: return 3;
    case EVENTLOG_WARNING_TYPE: return 4;
    case EVENTLOG_INFORMATION_TYPE: return 6;
    default: return -1;
    }
}

// "<11>Nov  5 09:03:07 ": the names of the months are those of the standard in every locale.
static void printTime(char *Out, size_t Room, int Severity)
{
    static const char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    struct timespec now = {};
    struct tm local = {};
    Plat_Sys.ClockGettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);
    snprintf(Out, Room, "<%d>%.3s %2d %02d:%02d:%02d ", facilityUser * 8 + Severity, months + 3 * local.tm_mon,
             local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

static bool sendLine(const EventSource *Source, const char *Line, size_t Length)
{
    if (!Source->IsSocket) {
        const ssize_t written = Plat_WriteOnce(Source->Descriptor, Line, Length);
        if (written >= 0 && static_cast<size_t>(written) < Length) errno = ENOSPC;
        return written == static_cast<ssize_t>(Length);
    }
    const int flags = MSG_NOSIGNAL;
    if (PLAT_RETRY(Plat_Sys.Sendto(Source->Descriptor, Line, Length, flags, nullptr, 0)) >= 0) return true;
    if (errno != EMSGSIZE || Length <= oldPacket) return false;
    return PLAT_RETRY(Plat_Sys.Sendto(Source->Descriptor, Line, oldPacket, flags, nullptr, 0)) >= 0;
}

i32 ReportEventA(handle Source, u16 Type, u16, u32 EventId, void *, u16 StringCount, u32 DataSize, const char **Strings,
                 void *)
{
    const int severity = severityOf(Type);
    if (severity < 0 || StringCount != 1 || DataSize != 0 || Strings == nullptr || Strings[0] == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    Plat_Object *const object = Plat_HandleAcquire(Source, PLAT_KIND_EVENT_SOURCE);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    const EventSource *const source = reinterpret_cast<const EventSource *>(object);

    char line[headRoom + textRoom], head[64] = "";
    if (source->IsSocket) printTime(head, sizeof head, severity);
    int length = snprintf(line, headRoom, "%s%s[%d]: 0x%08X ", head, source->Name, getpid(), EventId);
    copyLine(Strings[0], line + length, textRoom);
    length += static_cast<int>(strlen(line + length));
    if (!source->IsSocket) line[length++] = '\n'; // takes the place of the terminator
    const bool sent = sendLine(source, line, static_cast<size_t>(length));
    if (!sent) Plat_FailFromErrno();
    Plat_HandleRelease(object);
    return sent;
}

i32 DeregisterEventSource(handle Source)
{
    if (Plat_HandleClose(Source, PLAT_KIND_EVENT_SOURCE)) return 1;
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
}

i32 OemToCharA(const char *Text, char *Out)
{
    if (Text == nullptr || Out == nullptr) return 0;
    const size_t length = strnlen(Text, textRoom - 1);
    memmove(Out, Text, length);
    Out[length] = '\0';
    return 1;
}

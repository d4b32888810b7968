// The connection relay: accepts connections one at a time and starts a handler for each.
//
// A named pipe of the relay's name serves two others: a second relay sees that the name is taken, and whoever opens it asks
// the relay to stop. No data goes over it. The watcher thread blocks on the pipe and writes one word, which the loop looks
// at after every wait for a connection; that wait is bounded, so a stop is served within about 10 seconds.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "inftr_guard.h"
#include "supos_eventlog.h"
#include "supos_inetd_int.h"
#include "supos_relay.h"
#include "win32_error.h"
#include "win32_file.h"
#include "win32_pipe.h"
#include "win32_process.h"
#include "win32_socket.h"
#include "win32_thread.h"

#define SUPOS_MSG_RELAY_RUNNING 0x0E83A680u // ERZ058416I
#define SUPOS_MSG_RELAY_STOPPED 0x0E83B684u // ERZ058417I
#define SUPOS_MSG_RELAY_NAME_TAKEN 0x0E83D68Eu // ERZ058419W
#define SUPOS_MSG_RELAY_FAILED 0x0E83E691u // ERZ058420E

static constexpr char logSource[] = "VELA";
static constexpr char pipePrefix[] = "\\\\.\\pipe\\velateldi";
static constexpr size_t pipeNameRoom = 1024;
static constexpr u32 pipeBuffer = 9; // the pipe carries no data
static constexpr u32 pipeTimeout = 10000;

static constinit handle RelayStopPipe = nullptr;
static constinit u32 RelayStopFlag = 0; // required: never cleared

u32 SupOS_InetdConnect(void *Unused)
{
    INFTR_FUNCTION(SUPOS, "SupOS_InetdConnect");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p)", Unused);

    const handle pipe = __atomic_load_n(&RelayStopPipe, __ATOMIC_ACQUIRE);
    ConnectNamedPipe(pipe, nullptr);
    __atomic_store_n(&RelayStopFlag, 1, __ATOMIC_RELEASE);
    DisconnectNamedPipe(pipe);
    InfTR_ThreadExit(inftrComponent, inftrFunction, 1);
    return 0;
}

static void reportFailure(i32 msn, const char *operation, u32 error, const char *relayName)
{
    SupOS_NTLog(logSource, 0, SUPOS_MSG_RELAY_FAILED, msn, operation, error, relayName);
}

char *SupOS_InetdCommandLine(const char *Program, u32 Socket, i32 Argc, const char **Argv)
{
    char socketText[16];
    snprintf(socketText, sizeof socketText, "%u", Socket);
    const size_t optionLength = strlen(" -u ") + strlen(socketText);
    size_t size = strlen(Program) + optionLength + 1;
    for (i32 i = 1; i < Argc; ++i) size += 1 + strlen(Argv[i]) + optionLength;
    char *const line = static_cast<char *>(malloc(size));
    if (line == nullptr) return nullptr;

    bool optionMet = false;
    int at = snprintf(line, size, "%s", Program);
    const auto append = [&](const char *form, const char *text) {
        at += snprintf(line + at, size - static_cast<size_t>(at), form, text);
    };
    for (i32 i = 1; i < Argc; ++i) {
        if (strncmp(Argv[i], "-u", 2) != 0) {
            append(" %s", Argv[i]);
            continue;
        }
        append(" -u %s", socketText);
        if (Argv[i][2] == '\0') ++i; // its value gives way to ours
        optionMet = true;
    }
    if (!optionMet) append(" -u %s", socketText);
    return line;
}

// Waits for a connection. 1 when there is one, 0 for a stop request, -1 with the reason in WSAGetLastError.
static i32 awaitConnection(u32 listenSocket)
{
    const struct timeval limit = {10, 10};
    for (;;) {
        plat_SocketSet readable = {1, {listenSocket}};
        const i32 count = plat_select(&readable, &limit);
        if (__atomic_load_n(&RelayStopFlag, __ATOMIC_ACQUIRE) != 0) return 0;
        if (count != 0) return count < 0 ? -1 : 1;
    }
}

// Starts a handler for a connected socket; false with the reason in GetLastError.
static bool startHandler(const char *program, u32 socket, i32 argc, const char **argv)
{
    char *const line = SupOS_InetdCommandLine(program, socket, argc, argv);
    if (line == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
    STARTUPINFOA startup;
    GetStartupInfoA(&startup);
    PROCESS_INFORMATION child = {};
    const i32 started = CreateProcessA(nullptr, line, nullptr, nullptr, 1, 0, nullptr, nullptr, &startup, &child);
    const u32 error = GetLastError();
    free(line);
    if (started) {
        CloseHandle(child.hProcess);
        CloseHandle(child.hThread);
    }
    SetLastError(error);
    return started != 0;
}

// Serves connections until something ends the relay; returns the relay's result.
static u32 serve(const char *program, u32 listenSocket, const char *relayName, i32 argc, const char **argv)
{
    for (;;) {
        u32 on = 1, off = 0;
        ioctlsocket(listenSocket, FIONBIO, &on);
        const i32 state = awaitConnection(listenSocket);
        const u32 selectError = GetLastError();
        if (state == 0) {
            SupOS_NTLog(logSource, 0, SUPOS_MSG_RELAY_STOPPED, 6, relayName);
            return SUPOS_RELAY_STOPPED;
        }
        ioctlsocket(listenSocket, FIONBIO, &off);
        if (state < 0) {
            reportFailure(4, "select", selectError, relayName);
            return SUPOS_RELAY_SOCKET_FAILED;
        }

        struct sockaddr_in address;
        socklen_t addressSize = sizeof address;
        const u32 socket = plat_accept(listenSocket, reinterpret_cast<struct sockaddr *>(&address), &addressSize);
        if (socket == PLAT_INVALID_SOCKET) {
            reportFailure(5, "accept", static_cast<u32>(WSAGetLastError()), relayName);
            return SUPOS_RELAY_SOCKET_FAILED;
        }
        const bool started = startHandler(program, socket, argc, argv);
        if (!started) reportFailure(7, "CreateProcess", GetLastError(), relayName);
        closesocket(socket); // a handler has its own copy
        if (!started) return SUPOS_RELAY_START_FAILED;
    }
}

u32 SupOS_Inetd(const char *Program, u32 ListenSocket, const char *RelayName, i32 Argc, const char **Argv)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Inetd");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%s,%d,%s,%d,%p)", Program, static_cast<i32>(ListenSocket), RelayName, Argc,
                static_cast<const void *>(Argv));

    char pipeName[pipeNameRoom];
    snprintf(pipeName, sizeof pipeName, "%s%s", pipePrefix, RelayName);
    if (WaitNamedPipeA(pipeName, 1)) {
        SupOS_NTLog(logSource, 0, SUPOS_MSG_RELAY_NAME_TAKEN, 1, RelayName);
        const u32 result = SUPOS_RELAY_STOPPED;
        INFTR_RETURN_VALUE(1, result);
    }

    const handle pipe = CreateNamedPipeA(pipeName, PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, pipeBuffer, pipeBuffer,
                                         pipeTimeout, nullptr);
    if (pipe == PLAT_INVALID_HANDLE) {
        reportFailure(2, "CreateNamedPipe", GetLastError(), RelayName);
        const u32 result = SUPOS_RELAY_PIPE_FAILED;
        INFTR_RETURN_VALUE(2, result);
    }
    __atomic_store_n(&RelayStopPipe, pipe, __ATOMIC_RELEASE);

    const handle watcher = CreateThread(nullptr, 0, SupOS_InetdConnect, nullptr, 0, nullptr);
    if (watcher == nullptr) {
        reportFailure(3, "CreateThread", GetLastError(), RelayName);
        CloseHandle(pipe);
        const u32 result = SUPOS_RELAY_THREAD_FAILED;
        INFTR_RETURN_VALUE(3, result);
    }
    SupOS_NTLog(logSource, 0, SUPOS_MSG_RELAY_RUNNING, 5, RelayName);

    const u32 result = serve(Program, ListenSocket, RelayName, Argc, Argv);
    CloseHandle(watcher);
    CloseHandle(pipe);
    INFTR_RETURN_VALUE(4, result);
}

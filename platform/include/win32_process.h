#ifndef WIN32_PROCESS_H
#define WIN32_PROCESS_H

/* Processes: starting, finding, waiting. Safe from any thread. */

#include "plat_types.h"

PLAT_BEGIN

#define DETACHED_PROCESS 8u
#define STARTF_USESHOWWINDOW 1u
#define STARTF_USESTDHANDLES 0x100u
#define STILL_ACTIVE 259u
#define SYNCHRONIZE 0x100000u
#define PROCESS_ALL_ACCESS 0x1F0FFFu

/* Of a start-up record only the flags and the three streams count; cb is stored and not looked at. */
typedef struct STARTUPINFOA {
    u32 cb; /* 0x44 by convention */
    char *lpReserved;
    char *lpDesktop;
    char *lpTitle;
    u32 dwX;
    u32 dwY;
    u32 dwXSize;
    u32 dwYSize;
    u32 dwXCountChars;
    u32 dwYCountChars;
    u32 dwFillAttribute;
    u32 dwFlags;
    u16 wShowWindow;
    u16 cbReserved2;
    u8 *lpReserved2;
    handle hStdInput;
    handle hStdOutput;
    handle hStdError;
} STARTUPINFOA;

typedef struct PROCESS_INFORMATION {
    handle hProcess;
    handle hThread;
    u32 dwProcessId;
    u32 dwThreadId;
} PROCESS_INFORMATION;

/* Starts a program.
 *
 * Application   must be NULL: the program is the first word of the line
 * CommandLine   cut into arguments by the published rules: blanks and tabs part them; a double quote opens and closes a
 *               part that keeps blanks; 2n backslashes in front of a quote are n and the quote acts, 2n+1 are n and a
 *               plain quote; two quotes within quotes are one. Of an unquoted program each prefix up to a blank is tried.
 *               A program is looked for as it stands, and without a separator in the directory of this program, the
 *               current one and PATH; with ".exe" behind it where its last part has no point, without where it has one
 *               and is not there.
 * Security      of process and thread, ignored
 * Inherit       ignored: the child gets its three streams and nothing else; a socket accepted by plat_accept is passed on
 * Flags         DETACHED_PROCESS: a session of its own; 0
 * Environment, Directory   must be NULL: those of the caller
 * Startup       with STARTF_USESTDHANDLES the three streams; a NULL or invalid handle is a stream on which every read and
 *               write fails. Without it the streams of the caller.
 *
 * Returns nonzero, or 0 with the reason in GetLastError: 2 no such program, 5 not executable, 193 no program. Closing
 * hProcess of a running child leaves no zombie behind. hThread stands for nothing but itself. */
PLAT_API i32 CreateProcessA(const char *Application, const char *CommandLine, void *ProcessSecurity,
                            void *ThreadSecurity, i32 Inherit, u32 Flags, void *Environment, const char *Directory,
                            const STARTUPINFOA *Startup, PROCESS_INFORMATION *Information);

/* An empty start-up record: no flags, no streams, cb 0x44. */
PLAT_API void GetStartupInfoA(STARTUPINFOA *Startup);

/* STILL_ACTIVE while it runs; then 0 to 255, or for one that a signal ended 0xC0000005 (SIGSEGV, SIGBUS), 0xC0000094
 * (SIGFPE), 0xC000001D (SIGILL), 0x80000003 (SIGTRAP), else 128 plus the signal. 0 for a process that is not our child
 * or was reaped by somebody else. Nonzero, or 0 with error 6. */
PLAT_API i32 GetExitCodeProcess(handle Process, u32 *Code);

/* A handle of any process, child or not. NULL: error 87 when there is none, a zombie counts as ended but present. */
PLAT_API handle OpenProcess(u32 Access, i32 Inherit, u32 ProcessId);

/* The pseudo handle of the own process, -1, and its id. */
PLAT_API handle GetCurrentProcess(void);
PLAT_API u32 GetCurrentProcessId(void);

PLAT_END_C

#endif

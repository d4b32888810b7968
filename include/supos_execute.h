#ifndef SUPOS_EXECUTE_H
#define SUPOS_EXECUTE_H

/* Starting a child process with its three streams chosen one by one. */

#include "vela_types.h"

VELA_BEGIN

/* One value of each nibble; any other leaves that stream without a handle. */
#define SUPOS_EXEC_IN_NULL 0x1u
#define SUPOS_EXEC_IN_PIPE 0x2u
#define SUPOS_EXEC_IN_FILE 0x4u
#define SUPOS_EXEC_IN_OWN 0x8u
#define SUPOS_EXEC_OUT_NULL 0x10u
#define SUPOS_EXEC_OUT_PIPE 0x20u
#define SUPOS_EXEC_OUT_FILE 0x40u
#define SUPOS_EXEC_OUT_OWN 0x80u
#define SUPOS_EXEC_ERR_NULL 0x100u
#define SUPOS_EXEC_ERR_PIPE 0x200u
#define SUPOS_EXEC_ERR_FILE 0x400u
#define SUPOS_EXEC_ERR_OWN 0x800u
#define SUPOS_EXEC_NO_WAIT 0x2000u /* close the process handle at once */
#define SUPOS_EXEC_DEFAULTS 0x4000u /* creation flags of the process-wide default, which is 0; else detached */

typedef struct SupOS_ExecRecord {
    u32 Flags;
    const char *InputName; /* for SUPOS_EXEC_IN_FILE */
    const char *OutputName;
    const char *ErrorName; /* empty: standard error goes where standard output goes */
    i32 InputFd; /* out, with SUPOS_EXEC_IN_PIPE: the caller writes here, and closes it */
    i32 OutputFd; /* out, with SUPOS_EXEC_OUT_PIPE: the caller reads here, and closes it */
    i32 ErrorFd;
} SupOS_ExecRecord;

typedef struct SupOS_ExecResult {
    u32 ProcessId;
    handle
        ProcessHandle; /* the caller's, for WaitForSingleObject, GetExitCodeProcess, CloseHandle; NULL with NO_WAIT */
} SupOS_ExecResult;

/**
 * Starts a program.
 *
 * @param[in]     Program  a name or path; found as CreateProcessA finds programs
 * @param[in]     Argv     ends with NULL; Argv[0] is not used. Nothing is quoted: an argument with a blank becomes two.
 * @param[in,out] Record   Flags and names in; the descriptors of piped streams out, on success only
 * @param[out]    Result   written on success only
 *
 * @return ERZ_OK or SupOS_RC_SYSTEM. A failure is logged (ERZ058405E, ERZ058406E). A file that cannot be opened is no
 *         failure: the child starts with a stream on which every call fails.
 *
 * With a standard output that was opened here, the caller's own standard input is closed when the child has it
 * (SUPOS_EXEC_IN_OWN); with one that was not, a standard input opened here stays open in the caller.
 * Any thread; no lock. The child gets its three streams and nothing else.
 */
VELA_API u32 SupOS_Exec(const char *Program, char **Argv, SupOS_ExecRecord *Record, SupOS_ExecResult *Result);

VELA_END

#endif

#ifndef SUPOS_MSGPIPE_H
#define SUPOS_MSGPIPE_H

/* Message pipes: a byte pipe inside a process, with a wait on one or two of them that has a time limit. */

#include <sys/time.h>

#include "vela_types.h"

VELA_BEGIN

#define SUPOS_PIPE_FAILED (-1)
#define SUPOS_PIPE_TIMEOUT 0
#define SUPOS_PIPE_FIRST 1
#define SUPOS_PIPE_SECOND 2
#define SUPOS_PIPE_ABANDONED 3
#define SUPOS_PIPE_EMPTY 4 /* only inside the library */

/* A pipe, owned by the caller and filled by SupOS_PipeCreate. */
typedef struct SupOS_Pipe {
    handle ReadHandle;
    handle WriteHandle;
    handle DataEvent; /* set after a complete write, reset when the pipe is seen empty; both under Lock */
    handle Lock;
} SupOS_Pipe;

/**
 * Makes a pipe.
 *
 * @param[out] Pipe  all four handles are set on success; a failure leaves no handle open
 * @return 0, or the system error number (win32_error.h)
 */
VELA_API i32 SupOS_PipeCreate(SupOS_Pipe *Pipe);

/**
 * Writes a message and tells those who wait. Several threads may write; each message goes in whole.
 *
 * @param[in] Data, Length  bytes, any content
 * @return bytes written; 0 also stands for a failure. Blocks while the pipe has no room (65536 bytes), and a
 *         SupOS_PipeWait then ends by its time limit.
 */
VELA_API i32 SupOS_PipeWrite(SupOS_Pipe *Pipe, const void *Data, u32 Length);

/**
 * Reads what is there, up to Length bytes. Blocks while the pipe is empty, so wait first. One thread reads at a time.
 *
 * @return bytes read; 0 also stands for a failure
 */
VELA_API i32 SupOS_PipeRead(SupOS_Pipe *Pipe, void *Data, u32 Length);

/** Closes all four handles. No other thread may be in a call with this pipe. */
VELA_API void SupOS_PipeClose(SupOS_Pipe *Pipe);

/**
 * Waits until a pipe holds data.
 *
 * @param[in]  First      must be open
 * @param[in]  Second     is looked at before First where UseSecond is not 0; not looked at otherwise, may be null
 * @param[in]  Timeout    null = no limit; 0 s 0 us = only look; with 0 s, any microseconds count as 1 ms.
 *                        The limit holds for each stage, so a call may last three times as long.
 * @param[out] Outcome    SUPOS_PIPE_FAILED, _TIMEOUT, _FIRST, _SECOND or _ABANDONED; always set. With UseSecond, a
 *                        second pipe that could not be looked at counts as _SECOND.
 *
 * Takes the Lock of each pipe in turn, never both. Logs nothing.
 */
VELA_API void SupOS_PipeWait(SupOS_Pipe *First, SupOS_Pipe *Second, i32 UseSecond, const struct timeval *Timeout,
                             i32 *Outcome);

VELA_END

#endif

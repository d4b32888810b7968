#ifndef WIN32_PIPE_H
#define WIN32_PIPE_H

/* Anonymous pipes, and named pipes as far as a relay needs them. Safe from any thread. */

#include "plat_types.h"

PLAT_BEGIN

#define PIPE_ACCESS_INBOUND 1u
#define PIPE_TYPE_BYTE 0u

/* Makes an anonymous pipe with the system's default room (65536 bytes).
 *
 * Security, Size  ignored: no end is inherited but by CreateProcessA, as a stream of the child
 *
 * Returns nonzero, or 0 with the reason in GetLastError: 4 without descriptors. */
PLAT_API i32 CreatePipe(handle *ReadEnd, handle *WriteEnd, void *Security, u32 Size);

/* Tells how many bytes wait in a pipe, and leaves them there.
 *
 * Pipe            a read end
 * Buffer          must be NULL, else error 87: copying out is not offered
 * BytesAvailable  receives the count; may be NULL
 *
 * Returns nonzero, or 0: error 109 when the pipe is empty and its writers are gone, 6 for no pipe. Never blocks. */
PLAT_API i32 PeekNamedPipe(handle Pipe, void *Buffer, u32 Size, u32 *BytesRead, u32 *BytesAvailable, u32 *BytesLeft);

/* Named pipes: "\\.\pipe\NAME", a local socket in the run directory (SORREL_RUNDIR, else XDG_RUNTIME_DIR/sorrel, else
 * sorrel-UID below the temporary directory; mode 0700). A lock beside it tells that the name is taken; it goes with the
 * process, however that ends. The client's end comes from CreateFileA on the name. */

/* Takes a name.
 *
 * OpenMode, PipeMode  PIPE_ACCESS_INBOUND and PIPE_TYPE_BYTE; Instances must be 1; else error 87
 * Security            not looked at: the pipe takes clients of its own user alone, whatever umask and directory allow
 *
 * Returns a handle, or PLAT_INVALID_HANDLE: error 231 when the name is taken, 123 for no pipe name. */
PLAT_API handle CreateNamedPipeA(const char *Name, u32 OpenMode, u32 PipeMode, u32 Instances, u32 OutSize, u32 InSize,
                                 u32 Timeout, void *Security);

/* Blocks until a client opens the pipe. From then on the name counts as busy. Nonzero, or 0 with the reason. A pipe
 * whose handle is closed meanwhile takes no client any more, and the call stays blocked. */
PLAT_API i32 ConnectNamedPipe(handle Pipe, void *Overlapped);

/* Sends the client away. The name stays busy until the handle is closed. */
PLAT_API i32 DisconnectNamedPipe(handle Pipe);

/* Waits up to Milliseconds until a pipe of that name takes a client. Only looks: the pipe does not notice. Nonzero, or
 * 0: error 2 when nobody has the name, 121 when it is busy all the time. */
PLAT_API i32 WaitNamedPipeA(const char *Name, u32 Milliseconds);

PLAT_END_C

#endif

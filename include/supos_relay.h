#ifndef SUPOS_RELAY_H
#define SUPOS_RELAY_H

/* The connection relay: a small internet super-server. */

#include "vela_types.h"

VELA_BEGIN

#define SUPOS_RELAY_SOCKET_FAILED 1u
#define SUPOS_RELAY_START_FAILED 2u
#define SUPOS_RELAY_STOPPED 4u
#define SUPOS_RELAY_PIPE_FAILED 5u
#define SUPOS_RELAY_THREAD_FAILED 7u

/**
 * Accepts connections and starts a fresh handler for each, until it is told to stop.
 *
 * @param[in] Program       the handler, as CreateProcessA finds programs
 * @param[in] ListenSocket  bound and listening; stays the caller's, who sets close-on-exec where handlers must not have it
 * @param[in] RelayName     one relay of a name runs on a machine at a time; a client that opens the pipe
 *                          "\\.\pipe\velateldiNAME" stops it
 * @param[in] Argc, Argv    Argv[1] to Argv[Argc-1] are the handler's arguments. The handler finds the connected socket's
 *                          number behind "-u": in place of an argument that begins so (and of its value), else added.
 *
 * @return SUPOS_RELAY_*: there is no other way back. A stop request is noticed within about 10 seconds. Once a relay was
 *         stopped, another one in the same process stops at its first look.
 *
 * Reports to the event log only. One call at a time in a process.
 */
VELA_API u32 SupOS_Inetd(const char *Program, u32 ListenSocket, const char *RelayName, i32 Argc, const char **Argv);

VELA_END

#endif

#ifndef SUPOS_INETD_INT_H
#define SUPOS_INETD_INT_H

#include "vela_types.h"

VELA_BEGIN

// The watcher thread of the relay: blocks until somebody opens the relay's pipe.
u32 SupOS_InetdConnect(void *Unused);

// The command line of a handler for a connected socket; freed with free. NULL without memory.
char *SupOS_InetdCommandLine(const char *Program, u32 Socket, i32 Argc, const char **Argv);

VELA_END

#endif

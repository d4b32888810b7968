// The table of system calls, with the real ones in it.

#include "qrt_sys.h"

#include <stdlib.h>

constinit Qrt_SysTable Qrt_Sys = {
    ::socket, ::connect, ::bind, ::listen, ::accept4, ::recv, ::sendmsg, ::poll, ::getaddrinfo, ::malloc, ::realloc,
};

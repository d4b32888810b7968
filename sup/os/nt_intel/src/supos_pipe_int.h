#ifndef SUPOS_PIPE_INT_H
#define SUPOS_PIPE_INT_H

#include "supos_msgpipe.h"

VELA_BEGIN

// Looks whether a pipe holds data, waiting up to Milliseconds for its Lock. SUPOS_PIPE_FIRST stands for "data present";
// SUPOS_PIPE_EMPTY for an empty pipe, whose event has been reset.
i32 SupOS_PipePeek(SupOS_Pipe *Pipe, u32 Milliseconds);

VELA_END

#endif

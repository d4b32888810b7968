#ifndef TRACE_COMPONENTS_H
#define TRACE_COMPONENTS_H

#include "vela_types.h"

#include <string>

// The five-letter name of a component, or its number as text; "-" for 0, which a thread's first entry may hold.
std::string Trace_ComponentName(u32 Component);

#endif

// A trace point of LTTng-UST with the arguments of an entry record. No session ever switches it on: what is measured is
// the test in front of it.

#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER vela_bench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "./lttng_point.h"

#if !defined(LTTNG_POINT_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define LTTNG_POINT_H

#include <lttng/tracepoint.h>

LTTNG_UST_TRACEPOINT_EVENT(vela_bench, point, LTTNG_UST_TP_ARGS(const char *, Function, int, Value),
                           LTTNG_UST_TP_FIELDS(lttng_ust_field_string(function, Function)
                                                   lttng_ust_field_integer(int, value, Value)))

#endif

#include <lttng/tracepoint-event.h>

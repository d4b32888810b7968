// Trace points of LTTng-UST with the payload of our records. A session of scripts/bench.sh switches enter and leave on;
// off stays off.

#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER vela_bench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "./lttng_point.h"

#if !defined(LTTNG_POINT_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define LTTNG_POINT_H

#include <lttng/tracepoint.h>

LTTNG_UST_TRACEPOINT_EVENT(vela_bench, off, LTTNG_UST_TP_ARGS(const char *, Function, unsigned, Point),
                           LTTNG_UST_TP_FIELDS(lttng_ust_field_string(function, Function)
                                                   lttng_ust_field_integer(unsigned, point, Point)))

LTTNG_UST_TRACEPOINT_EVENT(vela_bench, leave, LTTNG_UST_TP_ARGS(const char *, Function, unsigned, Point),
                           LTTNG_UST_TP_FIELDS(lttng_ust_field_string(function, Function)
                                                   lttng_ust_field_integer(unsigned, point, Point)))

LTTNG_UST_TRACEPOINT_EVENT(
    vela_bench, enter, LTTNG_UST_TP_ARGS(const char *, Function, const void *, Where, const char *, Text, int, Value),
    LTTNG_UST_TP_FIELDS(lttng_ust_field_string(function, Function)
                            lttng_ust_field_integer_hex(unsigned long, where, (unsigned long)Where)
                                lttng_ust_field_string(text, Text) lttng_ust_field_integer(int, value, Value)))

#endif

#include <lttng/tracepoint-event.h>

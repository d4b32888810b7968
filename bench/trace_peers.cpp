// The tracers that stand beside ours: LTTng-UST and the backtrace ring of spdlog.

#include "trace_peers.h"

#ifdef VELA_HAVE_LTTNG
#define LTTNG_UST_TRACEPOINT_DEFINE
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#include "lttng_point.h"
#endif

#ifdef VELA_HAVE_SPDLOG
#include <memory>

#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#endif

static const char text[] = "a text";

#ifdef VELA_HAVE_LTTNG

bool Peers_HaveLttng()
{
    return true;
}

bool Peers_LttngRecords()
{
    return lttng_ust_tracepoint_enabled(vela_bench, enter) && lttng_ust_tracepoint_enabled(vela_bench, leave);
}

void Peers_LttngOff(u32 Times)
{
    for (u32 i = 0; i < Times; ++i) lttng_ust_tracepoint(vela_bench, off, "guardedCall", i);
}

void Peers_LttngLeave(u32 Times)
{
    for (u32 i = 0; i < Times; ++i) lttng_ust_tracepoint(vela_bench, leave, "guardedCall", i);
}

void Peers_LttngEnter(u32 Times)
{
    for (u32 i = 0; i < Times; ++i)
        lttng_ust_tracepoint(vela_bench, enter, "guardedCall", &Times, text, static_cast<int>(i));
}

void Peers_LttngCall(u32 Times)
{
    for (u32 i = 0; i < Times; ++i) {
        lttng_ust_tracepoint(vela_bench, enter, "guardedCall", &Times, text, static_cast<int>(i));
        lttng_ust_tracepoint(vela_bench, leave, "guardedCall", i);
    }
}

#else

bool Peers_HaveLttng()
{
    return false;
}

bool Peers_LttngRecords()
{
    return false;
}

void Peers_LttngOff(u32)
{
}
void Peers_LttngLeave(u32)
{
}
void Peers_LttngEnter(u32)
{
}
void Peers_LttngCall(u32)
{
}

#endif

#ifdef VELA_HAVE_SPDLOG

bool Peers_HaveSpdlog()
{
    return true;
}

static spdlog::logger *ringOfMessages()
{
    static const std::shared_ptr<spdlog::logger> logger = [] {
        auto made = spdlog::create<spdlog::sinks::null_sink_mt>("bench");
        made->set_level(spdlog::level::err);
        made->enable_backtrace(4096);
        return made;
    }();
    return logger.get();
}

void Peers_SpdlogEnter(u32 Times)
{
    spdlog::logger *const logger = ringOfMessages();
    for (u32 i = 0; i < Times; ++i)
        logger->debug("guardedCall({}, {}, {})", static_cast<const void *>(&Times), text, static_cast<int>(i));
}

#else

bool Peers_HaveSpdlog()
{
    return false;
}

void Peers_SpdlogEnter(u32)
{
}

#endif

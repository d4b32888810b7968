// What a trace point costs. Guard/...: while it leaves no record, which decides whether the guard may stand in every
// function; read Guard/off against Guard/bare of the same run. Record/...: a call with an entry and an exit record, from
// the guard to the sink. The figures of two machines say nothing together.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "bench_start.h"
#include "inftr_guard.h"

#ifdef VELA_HAVE_LTTNG
#define LTTNG_UST_TRACEPOINT_DEFINE
#define LTTNG_UST_TRACEPOINT_PROBE_DYNAMIC_LINKAGE
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#include "lttng_point.h"
#pragma GCC diagnostic pop
#endif

#define NO_INLINE __attribute__((noinline))

NO_INLINE static i32 bareCall(i32 Value)
{
    return Value * 3 + 1;
}

NO_INLINE static i32 guardedCall(i32 Value)
{
    INFTR_FUNCTION(SUPOS, "guardedCall");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");
    const i32 result = Value * 3 + 1;
    INFTR_RETURN_VALUE(1, result);
}

NO_INLINE static i32 guardedCallWithArguments(i32 Value, const void *Where)
{
    INFTR_FUNCTION(SUPOS, "guardedCallWithArguments");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d, %p)", Value, Where);
    const i32 result = Value * 3 + 1;
    INFTR_RETURN_VALUE(1, result);
}

#ifdef VELA_HAVE_LTTNG
NO_INLINE static i32 lttngCall(i32 Value)
{
    lttng_ust_tracepoint(vela_bench, point, "lttngCall", Value);
    const i32 result = Value * 3 + 1;
    lttng_ust_tracepoint(vela_bench, point, "lttngCall", result);
    return result;
}
#endif

static void setFlags(u32 Master, u32 Buffer, u32 Aux, u8 Level)
{
    auto *const master = InfTR_TracePtr;
    const u32 table = master->SpecTableInUse == 1 ? 0 : 1;
    master->TraceSpecTable[table][INFTR_COMPONENT_SUPOS] = Level;
    master->TraceFlagBuffer = Buffer;
    master->TraceFlagAux = Aux;
    master->TraceFlagMaster = Master;
}

template <typename Call>
static void repeat(benchmark::State &State, Call Body)
{
    i32 value = 1;
    for (auto _ : State) {
        value = Body(value);
        benchmark::DoNotOptimize(value);
    }
}

static void guardBare(benchmark::State &State)
{
    repeat(State, bareCall);
}
BENCHMARK(guardBare)->Name("Guard/bare");

static void guardOff(benchmark::State &State)
{
    setFlags(0, 0, 0, 0);
    repeat(State, guardedCall);
}
BENCHMARK(guardOff)->Name("Guard/off");

static void guardNotSelected(benchmark::State &State)
{
    setFlags(1, 1, 0, 1);
    repeat(State, guardedCall);
}
BENCHMARK(guardNotSelected)->Name("Guard/on_class_not_selected");

#ifdef VELA_HAVE_LTTNG
static void guardLttng(benchmark::State &State)
{
    repeat(State, lttngCall);
}
BENCHMARK(guardLttng)->Name("Guard/lttng_disabled");
#endif

// Two records a round; items are records.
static void recordRing(benchmark::State &State)
{
    if (State.thread_index() == 0) setFlags(1, 1, 0, 4);
    repeat(State, guardedCall);
    State.SetItemsProcessed(State.iterations() * 2);
}
BENCHMARK(recordRing)->Name("Record/entry+exit")->ThreadRange(1, 2)->UseRealTime();

static void recordArguments(benchmark::State &State)
{
    setFlags(1, 1, 0, 4);
    repeat(State, [](i32 Value) { return guardedCallWithArguments(Value, &Value); });
    State.SetItemsProcessed(State.iterations() * 2);
}
BENCHMARK(recordArguments)->Name("Record/entry+exit_with_arguments");

static void recordFile(benchmark::State &State)
{
    setFlags(1, 0, 1, 4);
    repeat(State, guardedCall);
    State.SetItemsProcessed(State.iterations() * 2);
    setFlags(0, 0, 0, 0);
}
BENCHMARK(recordFile)->Name("Record/entry+exit_to_file");

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    Bench_Start(nullptr);
    const std::string options = "-S ON -t ALL=0 -a 1048576 -d " + std::string(Bench_Root());
    Bench_Start(options.c_str());
#ifndef VELA_HAVE_LTTNG
    printf("Guard/lttng_disabled: left out, the headers of LTTng-UST were not found\n");
#endif
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

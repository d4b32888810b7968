// What scan and translation of a 3270 stream cost, in bytes of the stream a second.
//
// The streams are the recorded screens, read when the program starts, or a composed one where they are absent. The counter
// of_memcpy is the part of memcpy's rate on the same bytes, measured in the same run. The three sizes of Linear say
// whether a byte costs the same in a short stream and in the longest.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench_screens.h"
#include "terbm_stream.h"

namespace
{

using Bytes = Bench_Bytes;
using Clock = std::chrono::steady_clock;

Bytes inAscii(const Bytes &stream)
{
    Bytes copy = stream;
    u8 *buffer = copy.data();
    u16 length = static_cast<u16>(copy.size());
    if (Bench_Translate(&buffer, &length, true) != 0) std::abort();
    Bytes out(buffer, buffer + length);
    std::free(buffer);
    return out;
}

// Bytes a second of memcpy on so many bytes, once for each size.
double memcpyRate(size_t bytes)
{
    static std::map<size_t, double> rates;
    const auto known = rates.find(bytes);
    if (known != rates.end()) return known->second;

    const Bytes source(bytes, 0xC1);
    Bytes target(bytes);
    size_t rounds = 0;
    const Clock::time_point start = Clock::now();
    std::chrono::duration<double> spent{0};
    while (spent.count() < 0.05) {
        for (int i = 0; i < 1000; ++i) {
            std::memcpy(target.data(), source.data(), bytes);
            benchmark::DoNotOptimize(target.data());
            benchmark::ClobberMemory();
        }
        rounds += 1000;
        spent = Clock::now() - start;
    }
    return rates[bytes] = static_cast<double>(bytes * rounds) / spent.count();
}

void count(benchmark::State &state, size_t bytes, Clock::time_point start)
{
    const std::chrono::duration<double> spent = Clock::now() - start;
    const i64 all = static_cast<i64>(state.iterations()) * static_cast<i64>(bytes);
    state.SetBytesProcessed(all);
    state.counters["of_memcpy"] = static_cast<double>(all) / spent.count() / memcpyRate(bytes);
}

// The stream is copied afresh each time, for its orders are rewritten in place; that copy is part of the figure.
void translating(benchmark::State &state, const Bytes &stream, bool toAscii)
{
    Bytes source(stream.size());
    memcpyRate(stream.size());
    const Clock::time_point start = Clock::now();
    for (auto _ : state) {
        std::memcpy(source.data(), stream.data(), stream.size());
        u8 *buffer = source.data();
        u16 length = static_cast<u16>(source.size());
        if (Bench_Translate(&buffer, &length, toAscii) != 0) state.SkipWithError("the stream was not translated");
        benchmark::DoNotOptimize(buffer[0]);
        if (buffer != source.data()) std::free(buffer);
    }
    count(state, stream.size(), start);
}

void scanning(benchmark::State &state, const Bytes &stream, bool insert)
{
    Bytes map(TERBM_SCREEN_MAP_SIZE);
    memcpyRate(stream.size());
    const Clock::time_point start = Clock::now();
    for (auto _ : state) {
        u8 *buffer = static_cast<u8 *>(std::malloc(stream.size()));
        std::memcpy(buffer, stream.data(), stream.size());
        u16 length = static_cast<u16>(stream.size());
        benchmark::DoNotOptimize(TerBM_ParseTIOA(&buffer, &length, map.data(), Bench_Allocate, Bench_Release, insert));
        benchmark::DoNotOptimize(map.data());
        std::free(buffer);
    }
    count(state, stream.size(), start);
}

void addScreens()
{
    static const std::map<std::string, Bytes> all = Bench_Screens();
    static std::map<std::string, Bytes> ascii;
    for (const auto &[name, stream] : all) {
        ascii[name] = inAscii(stream);
        const Bytes *const host = &stream;
        const Bytes *const local = &ascii[name];
        const auto add = [](const std::string &row, auto &&run) { benchmark::RegisterBenchmark(row.c_str(), run); };
        add("ToAscii/" + name, [host](benchmark::State &state) { translating(state, *host, true); });
        add("ToEbcdic/" + name, [local](benchmark::State &state) { translating(state, *local, false); });
        add("Scan/" + name, [local](benchmark::State &state) { scanning(state, *local, false); });
        add("ScanAndInsert/" + name, [local](benchmark::State &state) { scanning(state, *local, true); });
    }
}

void addSizes()
{
    for (const size_t size : {size_t{1024}, size_t{8192}, size_t{60000}}) {
        const Bytes host = Bench_ComposedScreen(size);
        const Bytes local = inAscii(host);
        const std::string end = "/" + std::to_string(size);
        benchmark::RegisterBenchmark(("Linear/ToAscii" + end).c_str(),
                                     [host](benchmark::State &state) { translating(state, host, true); });
        benchmark::RegisterBenchmark(("Linear/Scan" + end).c_str(),
                                     [local](benchmark::State &state) { scanning(state, local, false); });
    }
}

} // namespace

int main(int argc, char **argv)
{
    addScreens();
    addSizes();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

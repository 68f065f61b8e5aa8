#include "pausebenchmark.h"

#include <QThread>

#include <benchmark/benchmark.h>

namespace {

void runPause(benchmark::State& state)
{
    state.counters["allocations"] = 0;
    state.counters["frame"] = 0;
    state.counters["rounds"] = 1;
    for ([[maybe_unused]] auto _ : state) {
        QThread::msleep(10);
    }
}

} // namespace

void registerPauseBenchmark(const std::string& group)
{
    benchmark::RegisterBenchmark((group + "/pause/10ms").c_str(), runPause)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

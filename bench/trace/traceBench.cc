// What a trace statement costs while no tracer has enabled its event: the difference between the
// two lines. countStatement.sh tells what it executes.

#include "loops.h"

#include <benchmark/benchmark.h>

namespace {

constexpr long kRounds = 1000;

template <void (*Loop)(long)>
void perRound(benchmark::State& state) {
    for (auto _ : state) {
        Loop(kRounds);
    }
    const auto rounds = static_cast<double>(state.iterations() * kRounds);
    state.counters["perRound"] =
        benchmark::Counter(rounds, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(perRound<loopWithStatement>)->Name("trace/disabledStatement");
BENCHMARK(perRound<loopWithoutStatement>)->Name("trace/noStatement");

}  // namespace

BENCHMARK_MAIN();

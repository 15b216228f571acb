// Two sides of a benchmark.
#pragma once

#include <benchmark/benchmark.h>

#include "timing.h"

namespace tonvale_bench {

// The seconds that a call takes.
template <typename Call>
double SecondsOf(const Call &call) {
    const Clock::time_point start = Clock::now();
    call();
    return SecondsSince(start);
}

// Runs the baseline and the work in turn, each of which gives its seconds; their ratio becomes a
// counter. Gives how many seconds more the work took in all.
template <typename Baseline, typename Work>
double Compare(benchmark::State &state, const Baseline &baseline, const Work &work) {
    double base = 0;
    double measured = 0;
    for (auto _ : state) {
        base += baseline();
        const double seconds = work();
        measured += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = measured / base;
    return measured - base;
}

// The difference of both sides, in milliseconds for an iteration.
inline benchmark::Counter MoreMs(double seconds) {
    return {seconds * 1000, benchmark::Counter::kAvgIterations};
}

}  // namespace tonvale_bench

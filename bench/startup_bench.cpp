// What it costs a process to be linked to the library: starting a program that does nothing, with
// the library and without, in turn.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "compare.h"

namespace {

using tonvale_bench::Clock;

// Seconds from starting a program to its end.
double Run(const std::string &program) {
    char *arguments[] = {const_cast<char *>(program.c_str()), nullptr};
    const Clock::time_point start = Clock::now();
    pid_t child = 0;
    int status = 1;
    if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        std::abort();
    }
    return tonvale_bench::SecondsSince(start);
}

void Startup(benchmark::State &state) {
    const auto here = std::filesystem::canonical("/proc/self/exe").parent_path();
    const std::string empty = here / "startup-empty";
    const std::string linked = here / "startup-linked";
    const double more = tonvale_bench::Compare(
        state, [&] { return Run(empty); }, [&] { return Run(linked); });
    state.counters["more_ms"] = tonvale_bench::MoreMs(more);
}

BENCHMARK(Startup)->UseManualTime()->Iterations(300)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

// What every benchmark needs.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace tonvale_bench {

using Clock = std::chrono::steady_clock;

inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Ends the program, which cannot measure without what is missing.
[[noreturn]] inline void Die(const std::string &what) {
    std::fprintf(stderr, "%s; start it through bench/run\n", what.c_str());
    std::exit(1);
}

}  // namespace tonvale_bench

// The check of all targets.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void Require(bool holds, const char *what) {
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

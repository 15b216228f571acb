// What every target says when something does not hold.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void Require(bool holds, const char *what) {
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

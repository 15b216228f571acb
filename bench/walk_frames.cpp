// walk-frames FILE: walks all frames of an MPEG audio file and prints where that ends.
#include <climits>
#include <cstdio>

#include "tonvale/streaming.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: walk-frames FILE\n");
        return 2;
    }
    std::printf("%lld\n", static_cast<long long>(GetSeekOffset(argv[1], INT_MAX)));
    return 0;
}

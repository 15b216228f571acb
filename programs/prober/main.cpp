// ffmpeg's programs for the indexer: with few rights, because they decode what users put there.
//
//   tonvale-prober FILE PROGRAM [WORD...]
//
// FILE is an open file of the indexer, as /proc/PID/fd/NUMBER. The program finds the same file at
// /proc/self/fd/0, whatever stands at its path by then.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "confine/become.h"

namespace {

constexpr char kFile[] = "/proc/self/fd/0";

// A thousand times what a good file takes. The memory counts what is mapped.
constexpr confine::Limits kLimits = {
    .memory = rlim_t{1} << 30, .processorTime = 10, .fileSize = 0, .files = 64};

// Of a disk that hardly answers.
constexpr unsigned kSeconds = 20;

}  // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s FILE PROGRAM [WORD...]\n", argv[0]);
        return confine::kNotRun;
    }
    const int file = open(argv[1], O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (file < 0 || dup2(file, STDIN_FILENO) < 0) {
        std::perror(argv[1]);
        return EXIT_FAILURE;  // no other program would read it
    }
    alarm(kSeconds);
    return confine::DropRightsToRun(argv[2], kFile) ? confine::Become(argv[2], argv + 2, kLimits)
                                                    : confine::kNotRun;
}

// What a test does to a whole process, done in another one.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace tonvale_test {

// Starts a body in a forked child and returns at once. The child exits with 0 when no expectation
// of the body failed.
template <typename Body>
pid_t StartInChild(const Body &body) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    return pid;
}

// True when the child ended well.
inline bool EndedWell(pid_t pid) {
    int status = -1;
    return pid > 0 && waitpid(pid, &status, 0) == pid && status == 0;
}

template <typename Body>
bool HoldsInChild(const Body &body) {
    return EndedWell(StartInChild(body));
}

}  // namespace tonvale_test

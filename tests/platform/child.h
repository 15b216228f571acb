// Tests that change a whole process, in a child process.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace tonvale_test {

// Real, effective and saved user ids of this process, then its group ids.
std::array<unsigned, 6> CurrentIds();

std::vector<gid_t> CurrentGroups();

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
bool EndedWell(pid_t pid);

template <typename Body>
bool HoldsInChild(const Body &body) {
    return EndedWell(StartInChild(body));
}

// Takes one capability from root, so that a switch of accounts fails half way.
void DropSetUidRight();

// No file of this process grows beyond a number of bytes any more: its disk is full.
void LimitFiles(rlim_t most);

// A field of /proc/PID/status (proc(5)); "" when there is no such process.
std::string StatusOf(pid_t pid, const std::string &field);

}  // namespace tonvale_test

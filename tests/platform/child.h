// What a test does to a whole process, done in another one.
#pragma once

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

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

// Takes one capability from root, so that a switch fails after it has begun.
inline void DropSetUidRight() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    for (auto *set : {&data[0].effective, &data[0].permitted}) {
        *set &= ~(1u << CAP_SETUID);
    }
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
}

// A field of /proc/PID/status (proc(5)); "" when there is no such process.
inline std::string StatusOf(pid_t pid, const std::string &field) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field + ":\t")) {
            return line.substr(field.size() + 2);
        }
    }
    return "";
}

}  // namespace tonvale_test

// Tests that change a whole process, in a child process.
#pragma once

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace tonvale_test {

// Real, effective and saved user ids of this process, then its group ids.
inline std::array<unsigned, 6> CurrentIds() {
    std::array<unsigned, 6> ids{};
    getresuid(&ids[0], &ids[1], &ids[2]);
    getresgid(&ids[3], &ids[4], &ids[5]);
    return ids;
}

inline std::vector<gid_t> CurrentGroups() {
    std::vector<gid_t> groups(1024);
    groups.resize(static_cast<std::size_t>(getgroups(1024, groups.data())));
    std::sort(groups.begin(), groups.end());
    return groups;
}

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

// Takes one capability from root, so that a switch of accounts fails half way.
inline void DropSetUidRight() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    for (auto *set : {&data[0].effective, &data[0].permitted}) {
        *set &= ~(1u << CAP_SETUID);
    }
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
}

// No file of this process grows beyond a number of bytes any more: its disk is full.
inline void LimitFiles(rlim_t most) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {most, most};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
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

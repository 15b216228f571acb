#include "platform/child.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <fstream>

namespace tonvale_test {

std::array<unsigned, 6> CurrentIds() {
    std::array<unsigned, 6> ids{};
    getresuid(&ids[0], &ids[1], &ids[2]);
    getresgid(&ids[3], &ids[4], &ids[5]);
    return ids;
}

std::vector<gid_t> CurrentGroups() {
    std::vector<gid_t> groups(1024);
    groups.resize(static_cast<std::size_t>(getgroups(1024, groups.data())));
    std::sort(groups.begin(), groups.end());
    return groups;
}

bool EndedWell(pid_t pid) {
    int status = -1;
    return pid > 0 && waitpid(pid, &status, 0) == pid && status == 0;
}

void DropSetUidRight() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    for (auto *set : {&data[0].effective, &data[0].permitted}) {
        *set &= ~(1u << CAP_SETUID);
    }
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
}

void LimitFiles(rlim_t most) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {most, most};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

std::string StatusOf(pid_t pid, const std::string &field) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(field + ":\t")) {
            return line.substr(field.size() + 2);
        }
    }
    return "";
}

}  // namespace tonvale_test

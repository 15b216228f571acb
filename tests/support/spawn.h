// Starting a program with arguments, variables and open files of its own.
#pragma once

#include <gtest/gtest.h>
#include <spawn.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace tonvale_test {

// What a file of this process holds.
inline std::string TextOf(int fd) {
    const off_t end = lseek(fd, 0, SEEK_END);
    std::string text(end > 0 ? static_cast<std::size_t>(end) : 0, '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

// The environment of this process.
inline std::vector<std::string> OwnVariables() {
    std::vector<std::string> variables;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    return variables;
}

// Starts a program, whose name is the first of the arguments. `files` are pairs of a descriptor of
// this process and the number that it has in the program. Returns its process id.
inline pid_t Spawn(const std::string &path, std::vector<std::string> arguments,
                   std::vector<std::string> variables,
                   const std::vector<std::pair<int, int>> &files) {
    const auto pointers = [](std::vector<std::string> &texts) {
        std::vector<char *> all;
        for (std::string &text : texts) {
            all.push_back(text.data());
        }
        all.push_back(nullptr);
        return all;
    };
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const auto &[own, number] : files) {
        posix_spawn_file_actions_adddup2(&actions, own, number);
    }
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, path.c_str(), &actions, nullptr, pointers(arguments).data(),
                          pointers(variables).data()),
              0)
        << path;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

}  // namespace tonvale_test

// Starting programs, and what they print.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "varn/process.h"

namespace tonvale_test {

// Texts as an argument vector.
class Arguments {
  public:
    Arguments(std::vector<std::string> texts) : texts_(std::move(texts)) {
        for (std::string &text : texts_) {
            pointers_.push_back(text.data());
        }
        pointers_.push_back(nullptr);
    }
    Arguments(const Arguments &) = delete;
    Arguments &operator=(const Arguments &) = delete;

    char *const *Get() const { return pointers_.data(); }

  private:
    std::vector<std::string> texts_;
    std::vector<char *> pointers_;
};

// What a stream gives until its end.
inline std::string TextOf(FILE *stream) {
    std::string text;
    for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) {
        text += static_cast<char>(c);
    }
    return text;
}

// Runs a program, the first of the words, and returns what it prints. The test fails unless it ends
// well.
inline std::string Output(const std::vector<std::string> &words) {
    FILE *stream = VLIBCPopenv(words.front().c_str(), "r", Arguments(words).Get());
    if (stream == nullptr) {
        ADD_FAILURE() << words.front() << ": " << std::strerror(errno);
        return "";
    }
    const std::string output = TextOf(stream);
    EXPECT_EQ(VLIBCPclose(stream), 0) << words.back();
    return output;
}

// What a file of this process holds.
inline std::string TextOf(int fd) {
    const off_t end = lseek(fd, 0, SEEK_END);
    std::string text(end > 0 ? static_cast<std::size_t>(end) : 0, '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

inline std::vector<std::string> OwnVariables() {
    std::vector<std::string> variables;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    return variables;
}

// Starts a program, whose name is the first of the arguments. `files` are pairs of a descriptor of
// this process and the number that it has in the program. Returns its process id.
inline pid_t Spawn(const std::string &path, const std::vector<std::string> &arguments,
                   const std::vector<std::string> &variables,
                   const std::vector<std::pair<int, int>> &files) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const auto &[own, number] : files) {
        posix_spawn_file_actions_adddup2(&actions, own, number);
    }
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, path.c_str(), &actions, nullptr, Arguments(arguments).Get(),
                          Arguments(variables).Get()),
              0)
        << path;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

// A program with its helpers, for the length of a scope. It does not outlive this process, however
// that ends. What it prints goes to a file.
class Background {
  public:
    Background(std::vector<std::string> words, const std::vector<std::string> &variables,
               const std::filesystem::path &log) {
        const int file = open(log.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        words.insert(words.begin(), {"setsid", "setpriv", "--pdeathsig", "KILL"});
        pid_ = Spawn("/usr/bin/setsid", words, variables, {{file, 0}, {file, 1}, {file, 2}});
        close(file);
    }
    ~Background() {
        if (pid_ > 0) {
            kill(-pid_, SIGKILL);
            kill(pid_, SIGKILL);  // it may not have its group yet
            waitpid(pid_, nullptr, 0);
        }
    }
    Background(const Background &) = delete;
    Background &operator=(const Background &) = delete;

  private:
    pid_t pid_;
};

}  // namespace tonvale_test

#include "support/spawn.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "varn/process.h"

namespace tonvale_test {

Arguments::Arguments(std::vector<std::string> texts) : texts_(std::move(texts)) {
    for (std::string &text : texts_) {
        pointers_.push_back(text.data());
    }
    pointers_.push_back(nullptr);
}

std::string TextOf(FILE *stream) {
    std::string text;
    for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) {
        text += static_cast<char>(c);
    }
    return text;
}

std::string Output(const std::vector<std::string> &words) {
    FILE *stream = VLIBCPopenv(words.front().c_str(), "r", Arguments(words).Get());
    if (stream == nullptr) {
        ADD_FAILURE() << words.front() << ": " << std::strerror(errno);
        return "";
    }
    const std::string output = TextOf(stream);
    EXPECT_EQ(VLIBCPclose(stream), 0) << words.back();
    return output;
}

std::string TextOf(int fd) {
    const off_t end = lseek(fd, 0, SEEK_END);
    std::string text(end > 0 ? static_cast<std::size_t>(end) : 0, '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

std::vector<std::string> OwnVariables() {
    std::vector<std::string> variables;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    return variables;
}

pid_t Spawn(const std::string &path, const std::vector<std::string> &arguments,
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

Background::Background(std::vector<std::string> words, const std::vector<std::string> &variables,
                       const std::filesystem::path &log) {
    const int file = open(log.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    words.insert(words.begin(), {"setsid", "setpriv", "--pdeathsig", "KILL"});
    pid_ = Spawn("/usr/bin/setsid", words, variables, {{file, 0}, {file, 1}, {file, 2}});
    close(file);
}

Background::~Background() {
    if (pid_ > 0) {
        kill(-pid_, SIGKILL);
        kill(pid_, SIGKILL);  // it may not have its group yet
        waitpid(pid_, nullptr, 0);
    }
}

}  // namespace tonvale_test

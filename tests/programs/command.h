// Running the built command line.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

namespace tonvale_test {

struct Finished {
    int status = -1;  // exit status, 128+n after signal n
    std::string out;
    std::string err;
};

// A run of `tonvale`, or of another program of the build, that has been started. It works on this
// process's root unless the arguments name another one.
class Command {
  public:
    // Its standard output goes to the file `outFile` when there is one.
    explicit Command(std::vector<std::string> arguments, const std::string &outFile = "",
                     const std::string &name = "tonvale")
        : out_(outFile.empty() ? memfd_create("out", MFD_CLOEXEC)
                               : open(outFile.c_str(), O_WRONLY | O_CLOEXEC)),
          err_(memfd_create("err", MFD_CLOEXEC)) {
        std::string program = TONVALE_PROGRAM_DIR "/" + name;
        std::vector<char *> argv = {program.data()};
        for (std::string &argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&files, out_, 1);
        posix_spawn_file_actions_adddup2(&files, err_, 2);
        EXPECT_EQ(posix_spawn(&pid_, program.c_str(), &files, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&files);
    }
    ~Command() {
        Wait();
        close(out_);
        close(err_);
    }
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    // Waits until the program's standard output has a text; false when it has not in 30 seconds.
    bool WaitForOutput(const std::string &part) {
        for (int tries = 0; tries < 1500; ++tries) {
            if (TextOf(out_).find(part) != std::string::npos) {
                return true;
            }
            usleep(20000);
        }
        return false;
    }

    pid_t Id() const { return pid_; }

    Finished Signal(int number) {
        if (pid_ > 0) {
            kill(pid_, number);
        }
        return Wait();
    }

    Finished Wait() {
        Finished finished;
        int status = -1;
        if (pid_ > 0 && waitpid(pid_, &status, 0) == pid_) {
            finished.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        pid_ = -1;
        finished.out = TextOf(out_);
        finished.err = TextOf(err_);
        return finished;
    }

  private:
    static std::string TextOf(int fd) {
        const off_t end = lseek(fd, 0, SEEK_END);
        std::string text(end > 0 ? static_cast<std::size_t>(end) : 0, '\0');
        const ssize_t got = pread(fd, text.data(), text.size(), 0);
        text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return text;
    }

    int out_;
    int err_;
    pid_t pid_ = -1;
};

inline Finished Tonvale(std::vector<std::string> arguments) {
    return Command(std::move(arguments)).Wait();
}

inline bool Contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

}  // namespace tonvale_test

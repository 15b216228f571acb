// Debian's AirPlay receiver, playing to nowhere.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "airplay_password/scripted_speaker.h"

namespace tonvale_test {

class RealSpeaker {
  public:
    // Without a password for "". Its settings and what it prints go into `folder`.
    RealSpeaker(const std::filesystem::path &folder, const std::string &password) {
        close(ListenOnLoopback(port_));
        const std::string conf = folder / "receiver.conf";
        std::ofstream(conf) << "general = { name = \"Test\"; output_backend = \"dummy\"; port = "
                            << port_ << "; };\nmetadata = { enabled = \"no\"; };\n";
        Start(folder, {"shairport-sync", "-u", "-c", conf,
                       password.empty() ? "--stuffing=basic" : "--password=" + password});
        WaitUntilItListens(folder);
    }
    ~RealSpeaker() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    RealSpeaker(const RealSpeaker &) = delete;
    RealSpeaker &operator=(const RealSpeaker &) = delete;

    std::string Port() const { return std::to_string(port_); }

  private:
    void Start(const std::filesystem::path &folder, std::vector<std::string> arguments) {
        std::vector<char *> argv;
        for (std::string &argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        std::string path = "PATH=/usr/bin:/usr/sbin";
        std::string preload = "LD_PRELOAD=" TONVALE_QUIET_AVAHI;
        char *const environment[] = {path.data(), preload.data(), nullptr};
        const std::string log = folder / "receiver.log";
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&files, 2, log.c_str(), O_WRONLY | O_CREAT, 0644);
        EXPECT_EQ(posix_spawn(&pid_, "/usr/bin/shairport-sync", &files, nullptr, argv.data(),
                              environment),
                  0)
            << "the package shairport-sync is not installed";
        posix_spawn_file_actions_destroy(&files);
    }

    void WaitUntilItListens(const std::filesystem::path &folder) const {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<in_port_t>(port_));
        for (int tries = 0; pid_ > 0 && tries < 500; ++tries) {
            const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const int connected =
                connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
            close(fd);
            if (connected == 0) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ADD_FAILURE() << "the receiver does not listen: "
                      << std::ifstream(folder / "receiver.log").rdbuf();
    }

    int port_ = 0;
    pid_t pid_ = -1;
};

}  // namespace tonvale_test

// Debian's AirPlay receiver, playing to nowhere.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/eventually.h"
#include "support/sockets.h"
#include "support/spawn.h"

namespace tonvale_test {

class RealSpeaker {
  public:
    // Without a password for "". Its settings and what it prints go into `folder`.
    RealSpeaker(const std::filesystem::path &folder, const std::string &password) {
        const std::string conf = folder / "receiver.conf";
        std::ofstream(conf) << "general = { name = \"Test\"; output_backend = \"dummy\"; port = "
                            << port_ << "; };\nmetadata = { enabled = \"no\"; };\n";
        const int log =
            open((folder / "receiver.log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
        pid_ = Spawn("/usr/bin/shairport-sync",
                     {"shairport-sync", "-u", "-c", conf,
                      password.empty() ? "--stuffing=basic" : "--password=" + password},
                     {"PATH=/usr/bin:/usr/sbin", "LD_PRELOAD=" TONVALE_QUIET_AVAHI},
                     {{null, 0}, {null, 1}, {log, 2}});
        close(null);
        close(log);
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
    void WaitUntilItListens(const std::filesystem::path &folder) const {
        const bool listens = Eventually([&] {
            const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const bool connects = Connect(fd, LoopbackAddress(port_));
            close(fd);
            return connects;
        });
        EXPECT_TRUE(listens) << std::ifstream(folder / "receiver.log").rdbuf();
    }

    const int port_ = UnusedPort();
    pid_t pid_ = -1;
};

}  // namespace tonvale_test

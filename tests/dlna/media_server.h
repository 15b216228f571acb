// A real media server from Debian on loopback, with its files in a folder of the test.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/sockets.h"
#include "support/spawn.h"
#include "tonvale/dlna.h"

namespace tonvale_test {

class MediaServer {
  public:
    MediaServer(const std::filesystem::path &home, const std::filesystem::path &music)
        : home_(home), port_(UnusedPort()) {
        std::filesystem::create_directories(home);
        const std::string conf = home / "minidlna.conf";
        std::ofstream(conf) << "port=" << port_ << "\nnetwork_interface=lo\nmedia_dir=A,"
                            << music.string() << "\ndb_dir=" << home.string()
                            << "\nlog_dir=" << home.string()
                            << "\ninotify=no\nfriendly_name=Tones\nminissdpdsocket="
                            << home.string() << "/none\n";
        // In a group of its own, because a server has helpers; it does not outlive this process,
        // however that ends.
        const int log = open((home / "log").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        pid_ = Spawn("/usr/bin/setsid",
                     {"setsid", "setpriv", "--pdeathsig", "KILL", "/usr/sbin/minidlnad", "-S", "-f",
                      conf, "-P", home / "pid"},
                     {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8", "HOME=" + home.string()},
                     {{log, 0}, {log, 1}, {log, 2}});
        close(log);
    }
    ~MediaServer() {
        if (pid_ > 0) {
            kill(-pid_, SIGKILL);
            kill(pid_, SIGKILL);  // which may not have its group yet
            waitpid(pid_, nullptr, 0);
        }
    }
    MediaServer(const MediaServer &) = delete;
    MediaServer &operator=(const MediaServer &) = delete;

    std::string ControlUrl() const {
        return "http://127.0.0.1:" + std::to_string(port_) + "/ctl/ContentDir";
    }

    // The container of all tracks. Waits until there are that many in it; "" when that never is.
    std::string AllTracks(std::size_t count) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        while (std::chrono::steady_clock::now() < end) {
            const std::string container = Container();
            DMAParser page;
            if (!container.empty() && Children(container, static_cast<int>(count) - 1, 1, page) &&
                page.items.nodes().size() == 1) {
                return container;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        std::ostringstream log;
        log << std::ifstream(home_ / "log").rdbuf();
        ADD_FAILURE() << "the server does not answer:\n" << log.str();
        return "";
    }

    // One page. False when the server does not answer it.
    bool Children(const std::string &id, int start, int count, DMAParser &page) const {
        DMABrowse browse(DMAGENT_BROWSE_CHILDREN, ControlUrl());
        browse.objectId = id;
        browse.startingIndex = start;
        browse.requestedCount = count;
        return browse.Perform() == 0 && browse.response().starts_with("<?xml") &&
               page.Parse(&browse) == 0;
    }

  private:
    std::string Container() const {
        std::string id = "0";
        for (const char *title : {"Music", "All Music"}) {
            DMAParser page;
            std::string next;
            if (Children(id, 0, 0, page)) {
                for (const auto &node : page.containers.nodes()) {
                    next = node->getValueByKey("title") == title ? node->getValueByKey("id") : next;
                }
            }
            if (next.empty()) {
                return "";
            }
            id = next;
        }
        return id;
    }

    std::filesystem::path home_;
    int port_;
    pid_t pid_ = -1;
};

}  // namespace tonvale_test

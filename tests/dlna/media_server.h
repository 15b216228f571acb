// Real media servers from Debian on loopback, each with its files in a folder of the test.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
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
#include "tonvale/dlna.h"

namespace tonvale_test {

// What is particular to one program.
struct MediaServerKind {
    const char *program;
    std::vector<std::string> (*prepare)(const std::filesystem::path &home,
                                        const std::filesystem::path &music, int port);
    const char *controlPath;             // of its ContentDirectory
    std::vector<std::string> allTracks;  // the titles that lead to a container of every track
};

inline std::vector<std::string> PrepareMinidlna(const std::filesystem::path &home,
                                                const std::filesystem::path &music, int port) {
    std::ofstream(home / "minidlna.conf")
        << "port=" << port << "\nnetwork_interface=lo\nmedia_dir=A," << music.string()
        << "\ndb_dir=" << home.string() << "\nlog_dir=" << home.string()
        << "\ninotify=no\nfriendly_name=Tones\nminissdpdsocket=" << home.string() << "/none\n";
    return {"-S", "-f", home / "minidlna.conf", "-P", home / "pid"};
}

inline std::vector<std::string> PrepareRygel(const std::filesystem::path &home,
                                             const std::filesystem::path &music, int port) {
    std::ofstream(home / "rygel.conf")
        << "[general]\nipv6=false\nenable-transcoding=false\nallow-upload=false\n"
        << "allow-deletion=false\nacl-fallback-policy=true\nmedia-engine=librygel-media-engine-"
        << "gst.so\n[MediaExport]\nenabled=true\ntitle=Tones\nuris=" << music.string()
        << "\nextract-metadata=true\nmonitor-changes=false\nvirtual-folders=true\n"
        << "[Playbin]\nenabled=false\n[MPRIS]\nenabled=false\n[External]\nenabled=false\n";
    return {"-n", "lo", "-p", std::to_string(port)};
}

inline const MediaServerKind kMinidlna = {
    "/usr/sbin/minidlnad", PrepareMinidlna, "/ctl/ContentDir", {"Music", "All Music"}};
inline const MediaServerKind kRygel = {
    "/usr/bin/rygel", PrepareRygel, "/Control/MediaExport/RygelContentDirectory", {"Music", "All"}};

class MediaServer {
  public:
    MediaServer(const MediaServerKind &kind, const std::filesystem::path &home,
                const std::filesystem::path &music)
        : kind_(kind), home_(home), port_(UnusedPort()) {
        std::filesystem::create_directories(home);
        // In a group of its own, because a server has helpers; it does not outlive this process,
        // however that ends.
        std::vector<std::string> words = {
            "/usr/bin/setsid",    "/usr/bin/setpriv", "--pdeathsig", "KILL", "/usr/bin/env", "-i",
            "PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"};
        for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME",
                                     "XDG_RUNTIME_DIR", "TMPDIR"}) {
            words.push_back(variable + ("=" + home.string()));
        }
        words.insert(words.end(),
                     {"/bin/sh", "-c", "exec \"$0\" \"$@\" </dev/null >~/log 2>&1", kind.program});
        for (const std::string &word : kind.prepare(home, music, port_)) {
            words.push_back(word);
        }
        std::vector<char *> argv;
        for (std::string &word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&pid_, argv[0], nullptr, nullptr, argv.data(), environ), 0);
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
        return "http://127.0.0.1:" + std::to_string(port_) + kind_.controlPath;
    }

    // The container of all tracks. Waits until there are that many in it; "" when that never is. A
    // server may read its files only while nothing else runs, which can take minutes on a busy
    // machine.
    std::string AllTracks(std::size_t count) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(6);
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
        ADD_FAILURE() << kind_.program << " does not answer:\n" << log.str();
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
        for (const std::string &title : kind_.allTracks) {
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

    const MediaServerKind &kind_;
    std::filesystem::path home_;
    int port_;
    pid_t pid_ = -1;
};

}  // namespace tonvale_test

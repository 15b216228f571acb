// A music player daemon's place on a local socket: it records the lines that it is sent and takes
// its time, as no real one does when it is asked to.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tonvale_test {

class ScriptedMpd {
  public:
    // What to answer to a line, without its end.
    using Script = std::function<std::string(const std::string &line)>;

    ScriptedMpd(const std::string &path, Script script)
        : script_(std::move(script)), listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_, 8), 0);
        EXPECT_EQ(chmod(path.c_str(), 0777), 0);
        thread_ = std::thread([this] { Serve(); });
    }
    ~ScriptedMpd() {
        stop_ = true;
        thread_.join();
        close(listener_);
    }
    ScriptedMpd(const ScriptedMpd &) = delete;
    ScriptedMpd &operator=(const ScriptedMpd &) = delete;

    std::vector<std::string> Lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    // What most commands get.
    static std::string Usual(const std::string &line) {
        if (line == "status") {
            return "volume: 50\nrepeat: 0\nrandom: 0\nsingle: 0\nplaylistlength: 0\nstate: stop\n"
                   "OK\n";
        }
        return line.starts_with("addid ") ? "Id: 7\nOK\n" : "OK\n";
    }

  private:
    bool IsReadable(int fd) const {
        pollfd entry = {fd, POLLIN, 0};
        return poll(&entry, 1, 10) > 0;
    }

    void Serve() {
        while (!stop_) {
            if (IsReadable(listener_)) {
                Talk(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
            }
        }
    }

    void Talk(int client) {
        Say(client, "OK MPD 0.23.5\n");
        std::string text;
        char block[4096];
        while (!stop_) {
            if (!IsReadable(client)) {
                continue;
            }
            const ssize_t got = recv(client, block, sizeof block, 0);
            if (got <= 0) {
                break;
            }
            text.append(block, static_cast<std::size_t>(got));
            for (std::size_t end; (end = text.find('\n')) != text.npos; text.erase(0, end + 1)) {
                const std::string line = text.substr(0, end);
                {
                    const std::lock_guard lock(mutex_);
                    lines_.push_back(line);
                }
                Say(client, script_(line));
            }
        }
        close(client);
    }

    static void Say(int client, const std::string &text) {
        send(client, text.data(), text.size(), MSG_NOSIGNAL);
    }

    Script script_;
    int listener_;
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

}  // namespace tonvale_test

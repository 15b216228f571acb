// A player daemon that records what it is sent and answers by a script.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tonvale/players.h"
#include "varn/systempath.h"

namespace tonvale_test {

class ScriptedDaemon {
  public:
    // What to do with a client whose message has been read; the connection is closed afterwards.
    using Script = std::function<void(int client)>;

    explicit ScriptedDaemon(Script script)
        : script_(std::move(script)),
          listener_(DomainSocketCreate(SystemPath(varn::path::kPlayerSocket).c_str(), 5)),
          thread_([this] { Serve(); }) {
        EXPECT_GE(listener_, 0);
        // The socket is made for root alone, and handlers run as the package.
        const std::filesystem::path socket = SystemPath(varn::path::kPlayerSocket);
        struct stat folder {};
        EXPECT_EQ(stat(socket.parent_path().c_str(), &folder), 0);
        EXPECT_EQ(chown(socket.c_str(), folder.st_uid, folder.st_gid), 0);
    }
    // Answers everything with a text.
    explicit ScriptedDaemon(const std::string &answer)
        : ScriptedDaemon([answer](int client) { Say(client, answer); }) {}
    ~ScriptedDaemon() {
        stop_ = true;
        thread_.join();
        close(listener_);
        unlink(SystemPath(varn::path::kPlayerSocket).c_str());
    }
    ScriptedDaemon(const ScriptedDaemon &) = delete;
    ScriptedDaemon &operator=(const ScriptedDaemon &) = delete;

    static bool Say(int client, const std::string &text) {
        return send(client, text.data(), text.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size());
    }

    // The messages since the last call, one for each client.
    std::vector<std::string> TakeMessages() {
        const std::lock_guard lock(mutex_);
        return std::exchange(messages_, {});
    }

    bool IsStopping() const { return stop_; }

  private:
    void Serve() {
        std::vector<std::thread> talks;
        while (!stop_) {
            pollfd entry = {listener_, POLLIN, 0};
            poll(&entry, 1, 10);
            const int client = SocketAccept(listener_);
            if (client >= 0) {
                talks.emplace_back([this, client] { Talk(client); });
            }
        }
        for (std::thread &talk : talks) {
            talk.join();
        }
    }

    void Talk(int client) {
        std::string message(sizeof(int) + 8192, '\0');
        const ssize_t got = recv(client, message.data(), message.size(), MSG_WAITALL);
        message.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        {
            const std::lock_guard lock(mutex_);
            messages_.push_back(message);
        }
        script_(client);
        close(client);
    }

    Script script_;
    int listener_;
    std::mutex mutex_;
    std::vector<std::string> messages_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

}  // namespace tonvale_test

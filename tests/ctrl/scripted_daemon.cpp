#include "ctrl/scripted_daemon.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "tonvale/players.h"

namespace tonvale_test {

ScriptedDaemon::ScriptedDaemon(Script script)
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

ScriptedDaemon::ScriptedDaemon(const std::string &answer)
    : ScriptedDaemon([answer](int client) { Say(client, answer); }) {}

ScriptedDaemon::~ScriptedDaemon() {
    stop_ = true;
    thread_.join();
    close(listener_);
    unlink(SystemPath(varn::path::kPlayerSocket).c_str());
}

bool ScriptedDaemon::Say(int client, const std::string &text) {
    return send(client, text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(text.size());
}

std::vector<std::string> ScriptedDaemon::TakeMessages() {
    const std::lock_guard lock(mutex_);
    return std::exchange(messages_, {});
}

void ScriptedDaemon::Serve() {
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

void ScriptedDaemon::Talk(int client) {
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

}  // namespace tonvale_test

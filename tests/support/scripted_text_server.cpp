#include "support/scripted_text_server.h"

#include <utility>

namespace tonvale_test {

ScriptedTextServer::ScriptedTextServer(int listener, Manners manners, Script script)
    : script_(std::move(script)),
      manners_(manners),
      listener_(listener),
      thread_([this] { Serve(); }) {}

ScriptedTextServer::~ScriptedTextServer() {
    stop_ = true;
    thread_.join();
    close(listener_);
}

std::vector<std::string> ScriptedTextServer::Requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<std::string> ScriptedTextServer::TakeRequests() {
    const std::lock_guard lock(mutex_);
    return std::exchange(requests_, {});
}

bool ScriptedTextServer::IsReadable(int fd) {
    pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, 10) > 0;
}

void ScriptedTextServer::Serve() {
    while (!stop_) {
        if (IsReadable(listener_)) {
            const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            Talk(client);
            close(client);
        }
    }
}

void ScriptedTextServer::Talk(int client) {
    Say(client, manners_.greeting);
    std::string text;
    char block[4096];
    while (!stop_) {
        if (!IsReadable(client)) {
            continue;
        }
        const ssize_t got = recv(client, block, sizeof block, 0);
        if (got <= 0) {
            return;
        }
        text.append(block, static_cast<std::size_t>(got));
        for (std::size_t end; (end = text.find(manners_.endOfRequest)) != text.npos;) {
            const std::string request = text.substr(0, end);
            text.erase(0, end + manners_.endOfRequest.size());
            {
                const std::lock_guard lock(mutex_);
                requests_.push_back(request);
            }
            const std::string answer = script_(request);
            if (answer == kHangUp) {
                return;
            }
            Say(client, answer);
            if (manners_.hangsUp) {
                return;
            }
        }
    }
}

void ScriptedTextServer::Say(int client, std::string_view text) const {
    const int flags = MSG_NOSIGNAL | (manners_.hangsUp ? MSG_MORE : 0);
    while (!text.empty() && !stop_) {
        const ssize_t put = send(client, text.data(), text.size(), flags);
        if (put <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(put));
    }
}

}  // namespace tonvale_test

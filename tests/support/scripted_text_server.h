// A server on a socket that records the requests that it is sent, and answers them by a script.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "support/sockets.h"

namespace tonvale_test {

class ScriptedTextServer {
  public:
    // The answer to a request, which is passed without its end; "" is none at all, and kHangUp the
    // end of the connection.
    using Script = std::function<std::string(const std::string &request)>;

    static constexpr std::string_view kHangUp = "hang up";

    struct Manners {
        std::string_view endOfRequest;
        std::string_view greeting = {};
        bool hangsUp = false;  // after each answer
    };

    // Takes over the listening socket, and one client after the other.
    ScriptedTextServer(int listener, Manners manners, Script script)
        : script_(std::move(script)),
          manners_(manners),
          listener_(listener),
          thread_([this] { Serve(); }) {}
    ~ScriptedTextServer() {
        stop_ = true;
        thread_.join();
        close(listener_);
    }
    ScriptedTextServer(const ScriptedTextServer &) = delete;
    ScriptedTextServer &operator=(const ScriptedTextServer &) = delete;

    std::vector<std::string> Requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    // The requests since the last call.
    std::vector<std::string> TakeRequests() {
        const std::lock_guard lock(mutex_);
        return std::exchange(requests_, {});
    }

  private:
    static bool IsReadable(int fd) {
        pollfd entry = {fd, POLLIN, 0};
        return poll(&entry, 1, 10) > 0;
    }

    void Serve() {
        while (!stop_) {
            if (IsReadable(listener_)) {
                const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
                Talk(client);
                close(client);
            }
        }
    }

    void Talk(int client) {
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

    // Before it hangs up, the server sends the answer together with the end of the connection. Else
    // a client may use the connection for its next request.
    void Say(int client, std::string_view text) const {
        const int flags = MSG_NOSIGNAL | (manners_.hangsUp ? MSG_MORE : 0);
        while (!text.empty() && !stop_) {
            const ssize_t put = send(client, text.data(), text.size(), flags);
            if (put <= 0) {
                return;
            }
            text.remove_prefix(static_cast<std::size_t>(put));
        }
    }

    Script script_;
    Manners manners_;
    int listener_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

}  // namespace tonvale_test

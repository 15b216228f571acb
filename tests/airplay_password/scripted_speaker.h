// A speaker on loopback that records what it is asked and answers by a script.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace tonvale_test {

// A free port of the loopback address, and what listens at it.
inline int ListenOnLoopback(int &port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), size), 0);
    EXPECT_EQ(listen(fd, 5), 0);
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size), 0);
    port = ntohs(address.sin_port);
    return fd;
}

class ScriptedSpeaker {
  public:
    // The answer to the n-th request, n from 0. "CSEQ" in it becomes the request's number; an
    // answer of "" is none at all.
    using Script = std::function<std::string(int n)>;

    enum Manner { kStays, kHangUp };  // after each answer

    explicit ScriptedSpeaker(Script script, Manner manner = kStays)
        : script_(std::move(script)),
          manner_(manner),
          listener_(ListenOnLoopback(port_)),
          thread_([this] { Serve(); }) {}
    explicit ScriptedSpeaker(const std::string &answer)
        : ScriptedSpeaker([answer](int) { return answer; }) {}
    ~ScriptedSpeaker() {
        stop_ = true;
        thread_.join();
        close(listener_);
    }
    ScriptedSpeaker(const ScriptedSpeaker &) = delete;
    ScriptedSpeaker &operator=(const ScriptedSpeaker &) = delete;

    std::string Port() const { return std::to_string(port_); }

    // The requests since the last time.
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
            if (!IsReadable(listener_)) {
                continue;
            }
            const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
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
                if (text.ends_with("\r\n\r\n")) {
                    Answer(client, std::exchange(text, {}));
                    if (manner_ == kHangUp) {
                        break;
                    }
                }
            }
            close(client);
        }
    }

    void Answer(int client, const std::string &request) {
        const std::size_t at = request.find("CSeq: ") + 6;
        const std::string number = request.substr(at, request.find('\r', at) - at);
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(request);
        }
        std::string answer = script_(answered_++);
        if (const std::size_t place = answer.find("CSEQ"); place != std::string::npos) {
            answer.replace(place, 4, number);
        }
        for (std::string_view rest = answer; !rest.empty() && !stop_;) {
            const ssize_t put = send(client, rest.data(), rest.size(), MSG_NOSIGNAL);
            if (put <= 0) {
                break;
            }
            rest.remove_prefix(static_cast<std::size_t>(put));
        }
    }

    Script script_;
    Manner manner_;
    int port_ = 0;
    int listener_;
    int answered_ = 0;
    std::mutex mutex_;
    std::vector<std::string> requests_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

}  // namespace tonvale_test

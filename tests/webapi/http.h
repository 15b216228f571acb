// A small client for a web server of this machine.
#pragma once

#include <chrono>
#include <cstdlib>
#include <string>

#include "support/eventually.h"
#include "support/sockets.h"
#include "webapi/described.h"

namespace tonvale_test {

struct HttpAnswer {
    std::string header;  // status line and fields, with the empty line
    std::string body;

    int Status() const { return header.size() > 12 ? std::atoi(header.c_str() + 9) : 0; }
    bool Has(const std::string &line) const {
        return header.find("\r\n" + line + "\r\n") != header.npos;
    }
};

// One connection for one request, whose answer ends with the connection, and is as it is described.
class HttpClient {
  public:
    // The client's address is 127.0.0.`host`.
    explicit HttpClient(int port, unsigned host = 1)
        : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in own = LoopbackAddress(0);
        own.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + host);
        EXPECT_TRUE(Bind(fd_, own) && Connect(fd_, LoopbackAddress(port)));
    }
    ~HttpClient() { close(fd_); }
    HttpClient(const HttpClient &) = delete;
    HttpClient &operator=(const HttpClient &) = delete;

    void Send(const std::string &text) {
        EXPECT_EQ(send(fd_, text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
        sent_ += text;
    }

    // False when nobody reads it any more.
    bool TrySend(const std::string &text) {
        return send(fd_, text.data(), text.size(), MSG_NOSIGNAL) > 0;
    }

    // Reads until so many bytes are there or the connection ends; false after some time without
    // any.
    bool Read(std::size_t atLeast, std::string &text,
              std::chrono::milliseconds patience = kPatience) {
        while (text.size() < atLeast) {
            pollfd waiting = {fd_, POLLIN, 0};
            if (poll(&waiting, 1, static_cast<int>(patience.count())) <= 0) {
                return false;
            }
            char block[65536];
            const ssize_t got = recv(fd_, block, sizeof block, 0);
            if (got <= 0) {
                return true;
            }
            text.append(block, static_cast<std::size_t>(got));
        }
        return true;
    }

    HttpAnswer Answer(std::chrono::milliseconds patience = kPatience) {
        std::string text;
        EXPECT_TRUE(Read(std::string::npos, text, patience)) << "the server hangs";
        const std::size_t end = text.find("\r\n\r\n");
        if (end == text.npos) {
            return {text, ""};
        }
        HttpAnswer answer{text.substr(0, end + 4), text.substr(end + 4)};
        if (answer.Has("Transfer-Encoding: chunked")) {
            answer.body = Unchunked(answer.body);
        }
        const std::size_t form = std::min(sent_.find("\r\n\r\n"), sent_.size() - 4) + 4;
        CheckDescribed(Asked(), sent_.substr(form), answer.header + answer.body);
        return answer;
    }

    // The answer's status; 0 when none came in time.
    int Status(std::chrono::milliseconds patience = kPatience) {
        HttpAnswer answer;
        Read(13, answer.header, patience);
        return answer.Status();
    }

  private:
    // The query of the request, with the method that its path names.
    std::string Asked() const {
        constexpr std::string_view kPrefix = "/webapi/VARN.";
        const std::size_t path = sent_.find(' ') + 1;
        const std::string target = sent_.substr(path, sent_.find(' ', path) - path);
        const std::size_t mark = std::min(target.find('?'), target.size());
        const std::string query = target.substr(std::min(mark + 1, target.size()));
        const std::size_t slash = std::min(target.find('/', kPrefix.size()), mark);
        const std::size_t method = std::min(slash + 1, mark);
        return !target.starts_with(kPrefix)
                   ? query
                   : "api=" + target.substr(8, slash - 8) +
                         "&method=" + target.substr(method, mark - method) + "&" + query;
    }

    // RFC 9112, 7.1. What is cut short ends where it ends.
    static std::string Unchunked(const std::string &body) {
        std::string text;
        for (std::size_t place = 0; place < body.size();) {
            const std::size_t size = std::strtoul(body.c_str() + place, nullptr, 16);
            const std::size_t data = body.find("\r\n", place);
            if (size == 0 || data == body.npos) {
                break;
            }
            text += body.substr(data + 2, size);
            place = data + 2 + size + 2;
        }
        return text;
    }

    int fd_;
    std::string sent_;
};

}  // namespace tonvale_test

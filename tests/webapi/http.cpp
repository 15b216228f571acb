#include "webapi/http.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace tonvale_test {

bool HttpAnswer::Has(const std::string &line) const {
    return header.find("\r\n" + line + "\r\n") != header.npos;
}

HttpClient::HttpClient(int port, unsigned host)
    : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in own = LoopbackAddress(0);
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + host);
    EXPECT_TRUE(Bind(fd_, own) && Connect(fd_, LoopbackAddress(port)));
}

void HttpClient::Send(const std::string &text) {
    EXPECT_EQ(send(fd_, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    sent_ += text;
}

bool HttpClient::TrySend(const std::string &text) {
    return send(fd_, text.data(), text.size(), MSG_NOSIGNAL) > 0;
}

bool HttpClient::Read(std::size_t atLeast, std::string &text, std::chrono::milliseconds patience) {
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

HttpAnswer HttpClient::Answer() {
    std::string text;
    std::size_t end = text.npos;
    std::size_t size = text.npos;
    for (std::size_t before = 1; before != text.size() && text.size() < size;) {
        before = text.size();
        EXPECT_TRUE(Read(before + 1, text)) << "the server hangs";
        end = text.find("\r\n\r\n");
        const std::string length = FieldOf(text.substr(0, end), "Content-Length");
        size = end == text.npos || length.empty() ? text.npos : end + 4 + std::stoul(length);
    }
    if (end == text.npos) {
        return {text, ""};
    }
    HttpAnswer answer{text.substr(0, end + 4), text.substr(end + 4)};
    if (answer.Has("Transfer-Encoding: chunked")) {
        answer.body = Unchunked(answer.body);
    }
    CheckDescribed(Asked(), BodyOf(sent_), answer.header + answer.body);
    return answer;
}

int HttpClient::Status(std::chrono::milliseconds patience) {
    HttpAnswer answer;
    Read(13, answer.header, patience);
    return answer.Status();
}

std::string HttpClient::Asked() const {
    static const std::regex named("^/webapi/([^/?]*)/?([^?]*)\\??");
    const std::size_t path = sent_.find(' ') + 1;
    const std::string target = sent_.substr(path, sent_.find(' ', path) - path);
    return target.starts_with("/webapi/VARN.")
               ? std::regex_replace(target, named, "api=$1&method=$2&")
               : target.substr(std::min(target.find('?'), target.size() - 1) + 1);
}

std::string HttpClient::Unchunked(const std::string &body) {
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

}  // namespace tonvale_test

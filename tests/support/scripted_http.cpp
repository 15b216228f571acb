#include "support/scripted_http.h"

#include <strings.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace tonvale_test {

std::string HttpRequest::Header(const char *name) const {
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const auto &header) {
        return strcasecmp(header.first.c_str(), name) == 0;
    });
    return found != headers.end() ? found->second : "";
}

HttpReply Reply(std::string_view body, std::string_view status, std::string_view headers) {
    std::string text = "HTTP/1.1 ";
    text.append(status).append("\r\nConnection: close\r\n").append(headers);
    text.append("Content-Length: " + std::to_string(body.size()) + "\r\n\r\n").append(body);
    return {std::move(text)};
}

HttpReply ChunkedReply(std::string_view body, std::size_t size) {
    std::string text = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    while (!body.empty()) {
        const std::string_view chunk = body.substr(0, size);
        char length[16];
        text.append(length, std::to_chars(length, length + sizeof length, chunk.size(), 16).ptr);
        text.append("\r\n").append(chunk).append("\r\n");
        body.remove_prefix(chunk.size());
    }
    return {text + "0\r\n\r\n"};
}

HttpReply CutReply(HttpReply whole, std::size_t lost, Ending ending) {
    whole.bytes.resize(whole.bytes.size() - std::min(lost, whole.bytes.size()));
    whole.ending = ending;
    return whole;
}

HttpReply SlowReply(HttpReply whole, std::size_t piece, std::chrono::milliseconds pause) {
    whole.piece = piece;
    whole.pause = pause;
    return whole;
}

ScriptedHttp::ScriptedHttp(Script script)
    : script_(std::move(script)),
      listener_(ListenOnLoopback(port_)),
      stop_(eventfd(0, EFD_CLOEXEC)) {
    setenv("no_proxy", "*", 1);  // the caller's environment may name a proxy
    thread_ = std::thread([this] { Serve(); });
}

ScriptedHttp::~ScriptedHttp() {
    eventfd_write(stop_, 1);
    thread_.join();
    close(stop_);
    close(listener_);
}

std::string ScriptedHttp::Url(const std::string &path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<HttpRequest> ScriptedHttp::Requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

bool ScriptedHttp::WaitFor(int fd, short events) const {
    pollfd waits[] = {{fd, events, 0}, {stop_, POLLIN, 0}};
    return poll(waits, 2, -1) > 0 && waits[1].revents == 0;
}

void ScriptedHttp::Serve() {
    while (WaitFor(listener_, POLLIN)) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        HttpRequest request;
        if (Read(connection, request)) {
            const HttpReply reply = script_(request);
            {
                const std::lock_guard lock(mutex_);
                requests_.push_back(std::move(request));
            }
            Send(connection, reply);
            End(connection, reply.ending);
        }
        close(connection);
    }
}

bool ScriptedHttp::Read(int connection, HttpRequest &request) const {
    std::string text;
    std::size_t bodyAt = 0;
    std::size_t bodySize = 0;
    while (bodyAt == 0 || text.size() < bodyAt + bodySize) {
        char block[16384];
        if (!WaitFor(connection, POLLIN)) {
            return false;
        }
        const ssize_t got = recv(connection, block, sizeof block, 0);
        if (got <= 0) {
            return false;
        }
        text.append(block, static_cast<std::size_t>(got));
        const std::size_t end = text.find("\r\n\r\n");
        if (bodyAt == 0 && end != std::string::npos) {
            bodyAt = end + 4;
            ReadHead(std::string_view(text).substr(0, end + 2), request);
            const std::string length = request.Header("Content-Length");
            std::from_chars(length.data(), length.data() + length.size(), bodySize);
        }
    }
    request.body = text.substr(bodyAt);
    return true;
}

void ScriptedHttp::ReadHead(std::string_view head, HttpRequest &request) {
    const auto take = [&head](std::string_view separator) {
        const std::size_t at = head.find(separator);
        const std::string word(head.substr(0, at));
        head.remove_prefix(at == head.npos ? head.size() : at + separator.size());
        return word;
    };
    request.method = take(" ");
    request.target = take(" ");
    take("\r\n");
    while (!head.empty()) {
        std::string name = take(": ");
        request.headers.emplace_back(std::move(name), take("\r\n"));
    }
}

void ScriptedHttp::Send(int connection, const HttpReply &reply) const {
    for (std::string_view rest = reply.bytes; !rest.empty();) {
        const std::string_view piece = rest.substr(0, reply.piece);
        if (!WaitFor(connection, POLLOUT)) {
            return;
        }
        const ssize_t sent =
            send(connection, piece.data(), piece.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            return;  // the client went away
        }
        rest.remove_prefix(static_cast<std::size_t>(sent));
        std::this_thread::sleep_for(reply.pause);
    }
}

void ScriptedHttp::End(int connection, Ending ending) {
    const linger abort = {1, 0};
    if (ending == Ending::kReset) {
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    }
}

}  // namespace tonvale_test

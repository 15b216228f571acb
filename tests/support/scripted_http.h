// A web server on loopback that answers as a test tells it to, rightly or wrongly.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "support/sockets.h"

namespace tonvale_test {

struct HttpRequest {
    std::string method;
    std::string target;                                        // path and query, as it was sent
    std::vector<std::pair<std::string, std::string>> headers;  // in their order, names as sent
    std::string body;

    // The first header of a name, in any case; "" when there is none.
    std::string Header(const char *name) const;
};

// How a connection ends once its bytes are sent.
enum class Ending { kClose, kReset };

// The bytes of an answer, sent as they are: `piece` bytes at a time with a pause after each.
struct HttpReply {
    std::string bytes;
    std::size_t piece = std::string::npos;
    std::chrono::milliseconds pause{0};
    Ending ending = Ending::kClose;
};

// A whole answer.
HttpReply Reply(std::string_view body, std::string_view status = "200 OK",
                std::string_view headers = "Content-Type: text/xml\r\n");

// An answer in chunks of `size` bytes.
HttpReply ChunkedReply(std::string_view body, std::size_t size);

// The answer without its last `lost` bytes, and then the end of the connection.
HttpReply CutReply(HttpReply whole, std::size_t lost, Ending ending);

// The answer a few bytes at a time.
HttpReply SlowReply(HttpReply whole, std::size_t piece, std::chrono::milliseconds pause);

// Answers one request per connection, one connection after the other, until it is destroyed. The
// script runs in the server's thread.
class ScriptedHttp {
  public:
    using Script = std::function<HttpReply(const HttpRequest &)>;

    explicit ScriptedHttp(Script script);
    ~ScriptedHttp();
    ScriptedHttp(const ScriptedHttp &) = delete;
    ScriptedHttp &operator=(const ScriptedHttp &) = delete;

    int port() const { return port_; }
    std::string Url(const std::string &path = "/") const;
    std::vector<HttpRequest> Requests() const;

  private:
    // False when the server has to stop.
    bool WaitFor(int fd, short events) const;

    void Serve();
    bool Read(int connection, HttpRequest &request) const;
    static void ReadHead(std::string_view head, HttpRequest &request);
    void Send(int connection, const HttpReply &reply) const;
    static void End(int connection, Ending ending);

    Script script_;
    int port_ = 0;
    int listener_;
    int stop_;
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<HttpRequest> requests_;
};

}  // namespace tonvale_test

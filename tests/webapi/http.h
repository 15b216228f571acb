// A small client for a web server of this machine.
#pragma once

#include <unistd.h>

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
    bool Has(const std::string &line) const;
};

// One connection for one request, whose answer must match the description.
class HttpClient {
  public:
    // The client's address is 127.0.0.`host`.
    explicit HttpClient(int port, unsigned host = 1);
    ~HttpClient() { close(fd_); }
    HttpClient(const HttpClient &) = delete;
    HttpClient &operator=(const HttpClient &) = delete;

    void Send(const std::string &text);

    // False when the server has closed the connection.
    bool TrySend(const std::string &text);

    // Reads until there are so many bytes or the connection ends. False when nothing comes in time.
    bool Read(std::size_t atLeast, std::string &text,
              std::chrono::milliseconds patience = kPatience);

    // The whole answer. A server may keep the connection of a refused request open for seconds, so
    // that Content-Length tells the end where it is there.
    HttpAnswer Answer();

    // The answer's status; 0 when none came in time.
    int Status(std::chrono::milliseconds patience = kPatience);

  private:
    // The query of the request, with the method that its path names.
    std::string Asked() const;

    // RFC 9112, 7.1. A body that was cut short gives what came.
    static std::string Unchunked(const std::string &body);

    int fd_;
    std::string sent_;
};

}  // namespace tonvale_test

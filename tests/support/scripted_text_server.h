// A server on a socket that records the requests that it is sent, and answers them by a script.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
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
    ScriptedTextServer(int listener, Manners manners, Script script);
    ~ScriptedTextServer();
    ScriptedTextServer(const ScriptedTextServer &) = delete;
    ScriptedTextServer &operator=(const ScriptedTextServer &) = delete;

    std::vector<std::string> Requests() const;
    // The requests since the last call.
    std::vector<std::string> TakeRequests();

  private:
    static bool IsReadable(int fd);
    void Serve();
    void Talk(int client);

    // Before it hangs up, the server sends the answer together with the end of the connection. Else
    // a client may use the connection for its next request.
    void Say(int client, std::string_view text) const;

    Script script_;
    Manners manners_;
    int listener_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

}  // namespace tonvale_test

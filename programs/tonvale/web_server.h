// The web server as children of this process: the gate that others connect to, and the server of
// files and handlers behind it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "varn/host.h"
#include "web_config.h"

namespace tonvale_cli {

class WebServer {
  public:
    WebServer() = default;
    ~WebServer() { Stop(); }
    WebServer(const WebServer &) = delete;
    WebServer &operator=(const WebServer &) = delete;

    // Holds the signals back that end the server, from here on, so that none of them ends this
    // process between two steps of its start.
    static void HoldSignals();

    // True when such a signal has come meanwhile.
    static bool IsAskedToEnd();

    // Starts it and waits until it takes connections.
    varn::host::Outcome Start(const WebOptions &options);

    // Waits for SIGTERM or SIGINT, or for the end of a part of the server. True when it was asked
    // to end. `look` is called each second, and whenever a child of this process has ended.
    bool WaitForEnd(const std::function<void()> &look);

    // Ends the server, and the handlers that it leaves behind.
    void Stop();

  private:
    // Starts a part of the server, and waits until `isUp`. False when it has ended, or is not up in
    // time.
    bool StartPart(pid_t &part, std::vector<std::string> arguments,
                   const std::function<bool()> &isUp);

    // Ends a part of the server and waits for it.
    void EndPart(const pid_t &part);

    // Reaps whatever has ended. False when a part of the server was among it.
    bool Reap();

    // Waits until nobody of the server's process group is left; other children, as a process with
    // the id 1 has, are no matter. False when somebody stays.
    bool WaitForGroup(pid_t group);

    pid_t server_ = -1;  // while it runs
    pid_t gate_ = -1;    // the same
    pid_t group_ = -1;   // of both and of the handlers, which may outlive them
};

}  // namespace tonvale_cli

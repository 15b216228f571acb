// The web server as a child of this process.
#pragma once

#include <sys/types.h>

#include <string>

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

    // Waits for SIGTERM or SIGINT, or for the server's own end. True when it was asked to end.
    bool WaitForEnd();

    // Ends the server, and the handlers that it leaves behind.
    void Stop();

  private:
    // Reaps whatever has ended. False when the server was among it.
    bool Reap();

    // Waits until nobody of the server's process group is left; other children, as a process with
    // the id 1 has, are no matter. False when somebody stays.
    bool WaitForGroup(pid_t group);

    pid_t pid_ = -1;    // the server, while it runs
    pid_t group_ = -1;  // its own and its handlers', which may outlive it
};

}  // namespace tonvale_cli

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

    // Starts it and waits until it takes connections.
    varn::host::Outcome Start(const WebOptions &options);

    // Waits for SIGTERM or SIGINT, or for the server's own end. True when it was asked to end.
    bool WaitForEnd();

    // Ends the server, and the handlers that it leaves behind.
    void Stop();

  private:
    // Reaps whatever has ended. False when the server was among it.
    bool Reap();

    pid_t pid_ = -1;
};

}  // namespace tonvale_cli

// The web server as children of this process: nginx, which others connect to, and the workers of
// the web API, to which it hands requests over a socket. The indexer can run beside them.
#pragma once

#include <optional>

#include "children.h"
#include "varn/descriptor.h"
#include "varn/host.h"
#include "web_config.h"

namespace tonvale_cli {

class WebServer {
  public:
    WebServer() = default;
    ~WebServer();
    WebServer(const WebServer &) = delete;
    WebServer &operator=(const WebServer &) = delete;

    // Starts it and waits until it takes connections. It ends with this object.
    varn::host::Outcome Start(const WebOptions &options);

    // Starts again what has ended, and copies new lines of the log to standard error. To be called
    // once a second, and whenever a child has ended.
    void Look();

  private:
    varn::host::Outcome OpenLog();
    varn::host::Outcome Listen();
    void CopyLog();

    varn::UniqueFd log_;
    off_t copied_ = 0;  // of the log
    varn::UniqueFd socket_;
    std::optional<Children> children_;
};

}  // namespace tonvale_cli

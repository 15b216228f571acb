// The configuration of the web server.
#pragma once

#include <optional>
#include <string>

#include "varn/host.h"

namespace tonvale_cli {

struct WebOptions {
    std::string listen = "127.0.0.1";  // an address of this machine; "::" and "0.0.0.0" mean all
    int port = 8480;
};

// "ADDRESS:PORT", an IPv6 address in brackets.
std::string WebAddress(const WebOptions &options);

// What the web server was last started with; empty when it never was.
std::optional<WebOptions> ReadWebConfig();

// Writes the configuration to "/var/run/Tonvale-web/lighttpd.conf".
varn::host::Outcome WriteWebConfig(const WebOptions &options);

}  // namespace tonvale_cli

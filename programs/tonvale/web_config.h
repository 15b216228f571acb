// The configuration of the web server: of the gate that others connect to, and of the server of
// files and handlers behind it.
#pragma once

#include <string>

#include "varn/host.h"

namespace tonvale_cli {

struct WebOptions {
    std::string listen = "127.0.0.1";  // an address of this machine; "::" and "0.0.0.0" mean all
    int port = 8480;
};

// "ADDRESS:PORT", an IPv6 address in brackets.
std::string WebAddress(const WebOptions &options);

// Writes both configurations, "/var/run/Tonvale-web/nginx.conf" and "lighttpd.conf" beside it.
varn::host::Outcome WriteWebConfig(const WebOptions &options);

}  // namespace tonvale_cli

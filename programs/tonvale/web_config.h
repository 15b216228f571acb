// The configuration of nginx, the web server that others connect to.
//
// It hands whole requests to the workers and takes their answers at once: what comes or goes slowly
// waits there and costs no worker. Sound alone goes at its listener's pace.
#pragma once

#include <string>

#include "varn/host.h"

namespace tonvale_cli {

struct WebAddress {
    std::string listen = "127.0.0.1";  // an address of this machine; "::" and "0.0.0.0" mean all
    int port = 8480;
    bool isTls = false;

    // "ADDRESS:PORT", an IPv6 address in brackets.
    std::string HostAndPort() const;
    // The same with "http://" or "https://" in front.
    std::string Url() const;
};

struct WebOptions {
    WebAddress address;
    std::string certificate;  // for TLS, as the key: absolute paths
    std::string key;
    bool isWatched = true;  // the indexer runs beside it and follows every change
};

// Writes "/var/run/Tonvale-web/nginx.conf". Fails where `trusted_proxies` of audio.conf lists
// anything but addresses and networks.
varn::host::Outcome WriteWebConfig(const WebOptions &options);

// Where the web server was last started; the usual address when it never was.
WebAddress LastWebAddress();

}  // namespace tonvale_cli

#include "gate_config.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <charconv>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

constexpr std::string_view kListen = "listen ";
constexpr char kProxies[] = "trusted_proxies";

// A header has ten seconds in all, a body may pause for as long. Connections that bring neither are
// cheap, and there is room for many. Requests under way are bounded by address, of IPv6 by network;
// loopback is one address, and no header that a client writes changes that bound. A second bound
// goes by the name in the login, before lighttpd checks it: one name takes half of an address. Few
// requests of an address may have a body, because a body can come by the byte. lighttpd takes the
// requests of 32 addresses.
//
// Answers that are not sound are taken at once and wait in files: a list of 100,000 songs has 50 MB.
//
// Messages of single requests are not logged, because they hold the query.
// clang-format off: it would set the text, too
constexpr std::string_view kFixed = R"conf(daemon off;
worker_processes auto;
worker_rlimit_nofile 16384;
events { worker_connections 12288; }
http {
    access_log off;
    server_tokens off;
    client_header_timeout 10s;
    client_body_timeout 10s;
    client_max_body_size 1m;
    keepalive_timeout 15s;
    send_timeout 360s;
    reset_timedout_connection on;
    real_ip_header X-Forwarded-For;
    map $is_proxy $told_scheme { default ""; 1 $http_x_forwarded_proto; }
    map $http_host $told_host { default $http_host; "" "$server_addr:$server_port"; }
    map $binary_remote_addr $network {
        default $binary_remote_addr;
        "~(?s)\A((\x00{10}\xff\xff)?\x7f.{3}|\x00{15}\x01)\z" 127;
        "~(?s)\A\x00{10}\xff\xff(?<mapped>.{4})\z" $mapped;
        "~(?s)\A(?<prefix>.{8}).{8}\z" $prefix;
    }
    map $content_length$http_transfer_encoding $network_of_body { default $network; "" ""; }
    limit_conn_zone $network zone=networks:16m;
    limit_conn_zone $network_of_body zone=bodies:16m;
    limit_conn_zone $remote_user:$network zone=logins:16m;
    limit_conn networks 128;
    limit_conn bodies 32;
    limit_conn logins 64;
    limit_conn_status 503;
    proxy_http_version 1.1;
    proxy_set_header Host $told_host;
    proxy_set_header X-Forwarded-For $remote_addr;
    proxy_set_header X-Forwarded-Proto $told_scheme;
    proxy_pass_header Server;
    proxy_read_timeout 1h;
    proxy_buffer_size 64k;
    proxy_buffers 8 64k;
    proxy_busy_buffers_size 128k;
    proxy_max_temp_file_size 64m;
    proxy_temp_file_write_size 128k;
    error_page 502 503 504 =503 /503;
    error_page 414 494 =431 /431;
)conf";
constexpr std::string_view kLocations = R"conf(
        location / { proxy_pass http://handlers; }
        location = /431 { internal; return 431; }
        location = /503 {
            internal;
            default_type "application/json; charset=utf-8";
            add_header Retry-After 5 always;
            return 503 '{"error":{"code":503},"success":false}\n';
        }
    }
}
)conf";
// clang-format on

// The root's name holds nothing that ends such a text.
std::string Place(std::string_view fixedPath, std::string_view name = "") {
    return "\"" + SystemPath(fixedPath) + std::string(name) + "\"";
}

std::string Places() {
    std::string places = "    upstream handlers { server " +
                         ("\"unix:" + Place(varn::path::kWebSocket).substr(1)) + "; }\n";
    for (const std::string kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        places +=
            "    " + kind + "_temp_path " + Place(varn::path::kWebTemporary, "/" + kind) + ";\n";
    }
    return places;
}

// An address, or a network: 192.0.2.0/24, 2001:db8::/32.
bool IsNetwork(const std::string &text) {
    const std::size_t slash = text.find('/');
    const std::string address = text.substr(0, slash);
    in6_addr found{};
    const bool isIpv4 = inet_pton(AF_INET, address.c_str(), &found) == 1;
    if (!isIpv4 && inet_pton(AF_INET6, address.c_str(), &found) != 1) {
        return false;
    }
    if (slash == text.npos) {
        return true;
    }
    unsigned bits = 0;
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + slash + 1, end, bits);
    return error == std::errc() && rest == end && bits <= (isIpv4 ? 32U : 128U);
}

// What a proxy says of a request's address and scheme is believed. The package's account can write
// the list, so nothing but networks gets from there into the configuration.
Outcome AddProxies(std::string &config) {
    char list[4096] = "";
    const int length = VARNAudioConfGet(kProxies, list, sizeof list);
    const bool isWhole = length + 1 < static_cast<int>(sizeof list);
    std::istringstream words(list);
    std::string believed;
    config += "    geo $realip_remote_addr $is_proxy {\n        default 0;\n";
    for (std::string word; words >> word;) {
        if (!isWhole || !IsNetwork(word)) {
            return Outcome::Problem(std::string(kProxies) + " in " +
                                    SystemPath(varn::path::kPackageConf) +
                                    " takes addresses and networks with blanks between them, up "
                                    "to 4 KB; '" +
                                    word + "' is refused");
        }
        config += "        " + word + " 1;\n";
        believed += "    set_real_ip_from " + word + ";\n";
    }
    config += "    }\n" + believed;
    return Outcome::Good();
}

}  // namespace

Outcome MakeGateConfig(const WebOptions &options, std::string &text) {
    text = "pid " + Place(varn::path::kGatePid) + ";\nerror_log " +
           Place(varn::path::kWebLogDir, "/gate.log") + " emerg;\n";
    if (geteuid() == 0) {
        text += "user www-data;\n";
    }
    text += kFixed;
    if (Outcome done = AddProxies(text); !done) {
        return done;
    }
    text += Places() + "    server {\n        " + std::string(kListen) + WebAddress(options) +
            (options.listen == "::" ? " ipv6only=off;" : ";") + std::string(kLocations);
    return Outcome::Good();
}

std::optional<WebOptions> ReadGateConfig() {
    std::ifstream file(SystemPath(varn::path::kGateConf));
    for (std::string line; std::getline(file, line);) {
        std::string_view text = line;
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        const std::size_t colon = text.rfind(':');
        if (!text.starts_with(kListen) || colon == text.npos) {
            continue;
        }
        const std::string_view port = text.substr(colon + 1);
        std::string_view listen = text.substr(kListen.size(), colon - kListen.size());
        WebOptions options;
        if (std::from_chars(port.data(), port.data() + port.size(), options.port).ec !=
            std::errc()) {
            continue;
        }
        if (listen.starts_with('[') && listen.ends_with(']')) {
            listen = listen.substr(1, listen.size() - 2);
        }
        options.listen = listen;
        return options;
    }
    return std::nullopt;
}

}  // namespace tonvale_cli

#include "web_config.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "service/base/wording.h"
#include "varn/descriptor.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

constexpr char kProxies[] = "trusted_proxies";

// A header has ten seconds in all, and a body may pause for as long. Connections that bring neither
// are cheap, and there is room for many. Requests under way are bounded by address, of IPv6 by
// network; loopback is one address. No header that a client writes changes that bound. A second
// bound goes by the name in the login, which is not checked yet: one name takes half of an address.
// Few requests of an address may have a body, because a body can come by the byte.
//
// Answers that are not sound are taken at once, the first 512 KB into memory and 8 MB more into a
// file. Few pages of lists are longer, and those hold a worker only while their account has its
// turn. So answers that are not read fill 512 MB for a login and 1 GB for an address at most.
//
// The page's files are in css/ and js/, or have a dot; any other path is one of its addresses.
//
// What nginx refuses by itself has the web API's form below /webapi/, and is a line of text
// elsewhere. A request line that is too long, or that is none, has no path: the line itself tells
// which it is, and no location with a name is reached from it but by way of another one.
//
// The names of shares are in paths and queries. Neither is logged. nginx's messages of single
// requests hold both and are not logged either.
// clang-format off: it would lay out the text
constexpr std::string_view kText = R"conf(# @SCHEME@ @ADDRESS@ @PORT@
# Written by 'tonvale serve' each time it starts.
@USER@daemon off;
pid "@PID@";
error_log stderr emerg;
worker_processes auto;
worker_rlimit_nofile 16384;
events { worker_connections 12288; }
http {
    map $uri $logged_path { default $uri; "~^/as/sharing" /as/sharing; }
    log_format path '$remote_addr $remote_user [$time_local] '
                    '"$request_method $logged_path" $status $body_bytes_sent';
    access_log "@LOGS@/access.log" path;
    server_tokens off;
    sendfile on;
    client_header_timeout 10s;
    client_body_timeout 10s;
    client_max_body_size 1m;
    keepalive_timeout 15s;
    send_timeout 360s;
    reset_timedout_connection on;
    client_body_temp_path "@TEMPORARY@/client_body";
    proxy_temp_path "@TEMPORARY@/proxy";
    fastcgi_temp_path "@TEMPORARY@/fastcgi";
    uwsgi_temp_path "@TEMPORARY@/uwsgi";
    scgi_temp_path "@TEMPORARY@/scgi";

    real_ip_header X-Forwarded-For;
    geo $realip_remote_addr $is_proxy {
        default 0;
@PROXIES@    }
@BELIEVED@    map $is_proxy$http_x_forwarded_proto $told_https {
        default $https;
        1https on;
        1http "";
    }
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

    scgi_param SCGI 1;
    scgi_param SERVER_PROTOCOL $server_protocol;
    scgi_param SERVER_PORT $server_port;
    scgi_param HTTPS $told_https if_not_empty;
    scgi_param REMOTE_ADDR $remote_addr;
    scgi_param REQUEST_METHOD $request_method;
    scgi_param REQUEST_URI $request_uri;
    scgi_param SCRIPT_NAME $uri;
    scgi_param QUERY_STRING $args;
    scgi_param CONTENT_TYPE $content_type;
    scgi_param HTTP_HOST $told_host;
    scgi_param HTTP_PROXY "";
    scgi_hide_header X-Content-Type-Options;
    scgi_read_timeout 180s;
    scgi_buffer_size 64k;
    scgi_buffers 8 64k;
    scgi_busy_buffers_size 128k;
    scgi_max_temp_file_size 8m;
    scgi_temp_file_write_size 128k;

    gzip on;
    gzip_min_length 1024;
    gzip_comp_level 4;
    gzip_proxied any;
    gzip_vary on;
    gzip_types application/json application/manifest+json application/xml image/svg+xml text/css
               text/javascript text/xml;
    types {
        text/html html; text/css css; text/javascript js mjs; application/json json map;
        application/manifest+json webmanifest; image/svg+xml svg; image/png png;
        image/jpeg jpg jpeg; image/webp webp; image/x-icon ico; font/woff2 woff2; text/plain txt;
    }
    default_type application/octet-stream;
    add_header X-Content-Type-Options nosniff always;

    map $request $refused {
        default @refused;
        "~^[A-Z]+ (https?://[^/ ]*)?/+webapi/" @refused_call;
    }
    map $status $sentence {
        default "that is refused";
        400 "that is no request";
        404 "there is no such address";
        405 "that takes another HTTP method";
        413 "the body is too large";
        431 "the header is too large";
        500 "@FAILED@";
        503 "@BUSY@";
    }
    map $status $retry { default ""; 503 5; }
    server {
        listen @LISTEN@;
        error_page 400 /400;  # and from there once more
        error_page 414 =431 /431;
        error_page 404 405 413 431 $refused;
        error_page 421 =400 $refused;
        recursive_error_pages on;
        error_page 494 =431 $refused;
        error_page 502 =500 $refused;
        error_page 503 504 =503 $refused;
@TLS@        if ($told_host ~ [^][0-9A-Za-z._:-]) { return 421; }
        location = /webapi/entry.cgi { scgi_pass "unix:@SOCKET@"; }
        location ~ ^/webapi/(entry\.cgi/)?(openapi\.json|VARN\.[\w.]+/\w+)$ {
            scgi_pass "unix:@SOCKET@";
        }
        location = /as/sharing { scgi_pass "unix:@SOCKET@"; }
        location /as/sharing/ { scgi_pass "unix:@SOCKET@"; }
        location /rest/ { scgi_pass "unix:@SOCKET@"; }
        location /webapi/ { return 404; }
        location /as/ { return 404; }
        location / {
            root "@PAGE@";
            try_files $uri /index.html =404;
            add_header X-Content-Type-Options nosniff always;
            add_header Referrer-Policy no-referrer;
            add_header Cache-Control no-cache;
            add_header Content-Security-Policy "@POLICY@";
            location ~ ^/(css/|js/|[^/]*\.) { try_files $uri =404; }
        }
        location = /400 { internal; error_page 400 $refused; return 400; }
        location = /431 { internal; return 431; }
        location @refused {
            types { }
            default_type "text/plain; charset=utf-8";
            add_header X-Content-Type-Options nosniff always;
            add_header Retry-After $retry always;
            return 200 "$sentence\n";
        }
        location @refused_call {
            types { }
            default_type "application/json; charset=utf-8";
            add_header X-Content-Type-Options nosniff always;
            add_header Retry-After $retry always;
            return 200 '{"error":{"code":$status,"message":"$sentence"},"success":false}\n';
        }
    }
}
)conf";

// Plain HTTP at this port is sent to the same place.
constexpr std::string_view kTls = R"conf(        ssl_certificate "@CERTIFICATE@";
        ssl_certificate_key "@KEY@";
        ssl_protocols TLSv1.2 TLSv1.3;
        ssl_session_cache shared:tls:1m;
        error_page 497 =308 https://$told_host$request_uri;
)conf";
// clang-format on

// What the page may load and be part of.
constexpr char kPagePolicy[] =
    "default-src 'self'; img-src 'self' data:; media-src 'self' blob:; style-src 'self'; "
    "script-src 'self'; connect-src 'self'; frame-ancestors 'none'; base-uri 'none'; "
    "form-action 'self'";

using Values = std::vector<std::pair<std::string_view, std::string>>;

// A text with values in place of their names between "@".
std::string Filled(std::string_view text, const Values &values) {
    std::string filled(text);
    for (const auto &[name, value] : values) {
        const std::string mark = "@" + std::string(name) + "@";
        for (std::size_t place = 0; (place = filled.find(mark, place)) != filled.npos;) {
            filled.replace(place, mark.size(), value);
            place += value.size();
        }
    }
    return filled;
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
Outcome AddProxies(Values &values) {
    char list[4096] = "";
    const int length = VARNAudioConfGet(kProxies, list, sizeof list);
    const bool isWhole = length + 1 < static_cast<int>(sizeof list);
    std::istringstream words(list);
    std::string proxies;
    std::string believed;
    for (std::string word; words >> word;) {
        if (!isWhole || !IsNetwork(word)) {
            return Outcome::Problem(std::string(kProxies) + " in " +
                                    SystemPath(varn::path::kPackageConf) +
                                    " takes addresses and networks with blanks between them, up "
                                    "to 4 KB; '" +
                                    word + "' is refused");
        }
        proxies += "        " + word + " 1;\n";
        believed += "    set_real_ip_from " + word + ";\n";
    }
    values.emplace_back("PROXIES", proxies);
    values.emplace_back("BELIEVED", believed);
    return Outcome::Good();
}

Outcome AddTls(const WebOptions &options, Values &values) {
    for (const std::string &path : {options.certificate, options.key}) {
        if (path.find_first_of("\"$\\\n@") != path.npos) {
            return Outcome::Problem("the web server's configuration cannot hold the path " + path);
        }
    }
    values.emplace_back(
        "TLS", options.address.isTls
                   ? Filled(kTls, {{"CERTIFICATE", options.certificate}, {"KEY", options.key}})
                   : "");
    return Outcome::Good();
}

// What is at the path already is removed: neither it nor what it links to is written.
Outcome WriteAnew(std::string_view fixedPath, std::string_view text) {
    const std::string path = SystemPath(fixedPath);
    if (unlink(path.c_str()) == 0 || errno == ENOENT) {
        const varn::UniqueFd file(
            open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
        if (file && varn::WriteAll(file.Get(), text)) {
            return Outcome::Good();
        }
    }
    return Outcome::Problem("cannot write " + path + ": " + std::strerror(errno));
}

}  // namespace

std::string WebAddress::HostAndPort() const {
    const bool isIpv6 = listen.find(':') != std::string::npos;
    return (isIpv6 ? "[" + listen + "]" : listen) + ":" + std::to_string(port);
}

std::string WebAddress::Url() const {
    return (isTls ? "https://" : "http://") + HostAndPort();
}

Outcome WriteWebConfig(const WebOptions &options) {
    const WebAddress &address = options.address;
    Values values = {
        {"SCHEME", address.isTls ? "https" : "http"},
        {"ADDRESS", address.listen},
        {"PORT", std::to_string(address.port)},
        {"LISTEN", address.HostAndPort() + (address.listen == "::" ? " ipv6only=off" : "") +
                       (address.isTls ? " ssl" : "")},
        {"USER", geteuid() == 0 ? "user www-data;\n" : ""},
        {"PID", SystemPath(varn::path::kWebPid)},
        {"LOGS", SystemPath(varn::path::kWebLogDir)},
        {"TEMPORARY", SystemPath(varn::path::kWebTemporary)},
        {"SOCKET", SystemPath(varn::path::kWebSocket)},
        {"PAGE", SystemPath(varn::path::kWebPage)},
        {"POLICY", kPagePolicy},
        {"FAILED", tonvale_service::kThatFailed},
        {"BUSY", tonvale_service::kServerIsBusy},
    };
    if (Outcome done = AddProxies(values); !done) {
        return done;
    }
    if (Outcome done = AddTls(options, values); !done) {
        return done;
    }
    return WriteAnew(varn::path::kWebConf, Filled(kText, values));
}

WebAddress LastWebAddress() {
    std::ifstream file(SystemPath(varn::path::kWebConf));
    std::string mark;
    std::string scheme;
    WebAddress address;
    if (!(file >> mark >> scheme >> address.listen >> address.port)) {
        return {};
    }
    address.isTls = scheme == "https";
    return address;
}

}  // namespace tonvale_cli

#include "link_address.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string_view>

#include "complain.h"
#include "web_config.h"

namespace tonvale_cli {

namespace {

constexpr std::string_view kHttps = "https://";
constexpr std::string_view kHttp = "http://";

// What is wrong with an address; "" for nothing.
std::string CheckAddress(const std::string &text) {
    std::string_view host = text;
    for (const std::string_view scheme : {kHttps, kHttp}) {
        host.remove_prefix(host.starts_with(scheme) ? scheme.size() : 0);
    }
    const bool good = !host.empty() && host.find_first_not_of(
                                           "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                           "0123456789.-_:[]") == host.npos;
    return good ? "" : "'" + text + "' is no address: write HOST, HOST:PORT or https://HOST:PORT";
}

std::string HostName() {
    char name[HOST_NAME_MAX + 1] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

// Where the web server listened last, or will unless it is told otherwise.
std::string ServedAddress() {
    WebAddress served = LastWebAddress();
    if (served.listen == "0.0.0.0" || served.listen == "::") {
        served.listen = HostName();
    }
    return served.Url();
}

}  // namespace

void AddAddress(const Verb &verb, std::string &address) {
    verb.AddText("--address", address,
                 "How others reach this server, if its settings name no address: HOST:PORT, or "
                 "https://HOST:PORT")
        .ValueName("ADDRESS")
        .Check(CheckAddress);
}

void UseAddress(const std::string &address) {
    std::string host = address.empty() ? ServedAddress() : address;
    const bool isHttps = host.starts_with(kHttps);
    host.erase(0, isHttps ? kHttps.size() : host.starts_with(kHttp) ? kHttp.size() : 0);
    setenv("HTTP_HOST", host.c_str(), 1);
    setenv("HTTPS", isHttps ? "on" : "off", 1);
    setenv("REQUEST_URI", "/webapi/entry.cgi", 1);
    unsetenv("SERVER_PORT");
}

void WarnOfAddress(const std::string &link) {
    const WebAddress served = LastWebAddress();
    const bool isLoopback = served.listen.starts_with("127.") || served.listen == "::1";
    if (isLoopback && link.starts_with(served.Url() + "/")) {
        Complain("the server listens on " + served.HostAndPort() +
                 ", which only this machine reaches; 'tonvale serve --listen 0.0.0.0' serves "
                 "others, --address HOST:PORT names another way to it");
    }
}

}  // namespace tonvale_cli

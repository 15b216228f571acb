#include <filesystem>
#include <string>

#include "sharing/url_fixture.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingManager;

TEST_F(SharingUrl, TakesTheRequestsOwnAddressWithoutABetterOne) {
    const struct {
        Request request;
        const char *address;
    } cases[] = {
        {{.host = "nas:5000", .uri = "/portal/webapi/entry.cgi"}, "http://nas:5000/portal"},
        {{.host = "nas:5000", .uri = "/webapi/entry.cgi"}, "http://nas:5000"},
        {{.host = "nas", .serverPort = "8080"}, "http://nas:8080"},
        {{.host = "nas", .https = "ON"}, "https://nas"},
        {{.host = "nas", .https = "1"}, "http://nas"},
        {{.host = "nas", .uri = "/other?x=1"}, "http://nas/other?x=1"},
        {{.host = "[fe80::1]:5001"}, "http://[fe80::1]:5001"},
        {{.host = "[fe80::1]", .serverPort = "80"}, "http://[fe80::1]:80"},
        {{.host = "[fe80::1"}, "http://[fe80::1"},
        {{.host = "nas:81/evil"}, "http://nas:81"},
        {{.host = "nas/evil:81"}, "http://nas"},
        {{.host = ""}, "http://"},
        {{}, "http://"},
    };
    for (const auto &[request, address] : cases) {
        EXPECT_EQ(Address(request), address);
    }
    const std::string endless(5000, 'h');
    EXPECT_EQ(Address({.host = endless.c_str()}), "http://" + std::string(4095, 'h'));
}

TEST_F(SharingUrl, PrefersWhatTheAdministratorConfigured) {
    constexpr char kPorts[] = "external_port_kos_http=\"80\"\nexternal_port_kos_https=\"443\"\n";
    EXPECT_EQ(Address({.host = "nas:5000", .info = kPorts}), "http://nas:80");
    EXPECT_EQ(Address({.host = "nas:5001", .https = "on", .info = kPorts}), "https://nas:443");
    EXPECT_EQ(Address({.host = "nas:5000", .info = "external_port_kos_http=\"\"\n"}),
              "http://nas:5000");
    EXPECT_EQ(Address({.host = "nas:5000",
                       .info = "external_host_ip=\"203.0.113.5\"\n",
                       .ddns = "printf 'home.example'"}),
              "http://203.0.113.5:5000");
    EXPECT_EQ(Address({.host = "nas:5000",
                       .ddns = "[ \"$*\" = --get-hostname ] && printf 'home.example rest'"}),
              "http://home.example:5000");
    EXPECT_EQ(Address({.host = "nas:5000", .ddns = "exit 1"}), "http://nas:5000");
    EXPECT_EQ(Address({.host = "nas:5000", .ddns = "yes x | head -c 100000 | tr -d '\\n'"}),
              "http://" + std::string(1023, 'x') + ":5000");
}

TEST_F(SharingUrl, ComesThroughTheRelay) {
    // Through the relay's own name: its port, and the portal at its root.
    const Request through = {.host = "nas.relay.example:5000",
                             .uri = "/portal/webapi/entry.cgi",
                             .info = "external_host_ip=\"203.0.113.5\"\n",
                             .relay = kOn,
                             .permission = kPermitted};
    EXPECT_EQ(Address(through), "https://nas.relay.example");
    // Not through it: the daemon's name, when it knows one.
    Request beside = {.host = "nas:5000", .relay = kOn, .permission = kPermitted};
    beside.daemon = "[ \"$*\" = -p ] && printf nas.relay.example";
    EXPECT_EQ(Address(beside), "https://nas.relay.example");
    beside.daemon = "printf other.example";
    EXPECT_EQ(Address(beside), "http://other.example:5000");
    beside.daemon = "printf other.example; exit 3";
    EXPECT_EQ(Address(beside), "http://nas:5000");
    // Another server's name under the relay.
    Request other = through;
    other.host = "else.relay.example";
    other.info = "";
    EXPECT_EQ(Address(other), "http://else.relay.example/portal");
    other.host = "nas.relay.example.evil";
    EXPECT_EQ(Address(other), "http://nas.relay.example.evil/portal");
}

TEST_F(SharingUrl, UsesTheRelayOnlyWhereItMayServeThePortal) {
    const struct {
        const char *relay, *permission;
        bool used;
    } cases[] = {
        {kOn, nullptr, true},  // a system without the permission service
        {kOn, kPermitted, true},
        {kOn, R"({"get": {"success": true, "data": {"services": []}}})", false},
        {kOn, R"({"get": {"success": true, "data": {"services": 7}}})", false},
        {kOn, R"({"get": {"success": true, "data": []}})", false},
        {kOn, R"({"get": {"success": false, "error": {"code": 105}}})", false},
        {R"({"get": {"success": true, "data": {"enabled": "yes"}}})", kPermitted, false},
        {R"({"get": {"success": true, "data": []}})", kPermitted, false},
        {R"({"get": {"success": false, "error": {"code": 1}}})", kPermitted, false},
        {"no json", kPermitted, false},
        {nullptr, kPermitted, false},
    };
    for (const auto &[relay, permission, used] : cases) {
        EXPECT_EQ(Address({.host = "nas.relay.example", .relay = relay, .permission = permission}),
                  used ? "https://nas.relay.example" : "http://nas.relay.example")
            << (relay != nullptr ? relay : "") << (permission != nullptr ? permission : "");
    }
}

// Each part of the address comes from its own source, whatever the others are.
TEST_F(SharingUrl, PutsItsPartsTogether) {
    const struct {
        const char *header, *host, *port;
    } hosts[] = {{"nas", "nas", "81"},
                 {"nas:5000", "nas", "5000"},
                 {"[::1]", "[::1]", "81"},
                 {"[::1]:5000", "[::1]", "5000"},
                 {"nas.relay.example:9", "", ""}};
    const struct {
        const char *https, *scheme, *configured, *port;
    } schemes[] = {
        {"off", "http", "", ""},
        {"on", "https", "", ""},
        {"off", "http", "external_port_kos_http=\"1\"\nexternal_port_kos_https=\"2\"\n", "1"},
        {"on", "https", "external_port_kos_http=\"1\"\nexternal_port_kos_https=\"2\"\n", "2"},
        {"on", "https", "external_port_kos_http=\"1\"\n", ""}};
    for (const auto &[header, host, port] : hosts) {
        for (const auto &[https, scheme, configured, outside] : schemes) {
            for (const char *prefix : {"", "/portal", "/a/b"}) {
                for (const char *relay : {static_cast<const char *>(nullptr), kOn}) {
                    const std::string uri = std::string(prefix) + "/webapi/entry.cgi?x=/webapi";
                    const bool through = relay != nullptr && *host == '\0';
                    const std::string own = *host != '\0' ? host : "nas.relay.example";
                    const std::string ownPort = *host != '\0' ? port : "9";
                    const std::string expected =
                        through ? "https://nas.relay.example"
                                : std::string(scheme) + "://" + own + ":" +
                                      (*outside != '\0' ? outside : ownPort) + prefix;
                    EXPECT_EQ(Address({.host = header,
                                       .serverPort = "81",
                                       .https = https,
                                       .uri = uri.c_str(),
                                       .info = configured,
                                       .relay = relay,
                                       .permission = kPermitted}),
                              expected)
                        << header << https << configured << prefix << through;
                }
            }
        }
    }
}

TEST_F(SharingUrl, IsFoundOncePerObject) {
    Set("HTTP_HOST", "first:1");
    SharingManager manager;
    EXPECT_EQ(manager.GetUrl("abcdefgh"), "http://first:1/as/sharing/abcdefgh");
    Set("HTTP_HOST", "second:2");
    EXPECT_EQ(manager.GetUrl("abcdefgh"), "http://first:1/as/sharing/abcdefgh");
    EXPECT_EQ(manager.GetUrl(""), "");
    EXPECT_EQ(manager.GetUrl("", "/x"), "");
    EXPECT_EQ(manager.GetUrl("abcdefgh", ""), "");
}

TEST_F(SharingUrl, NamesAFileInTheAlphabetOfUrls) {
    Set("HTTP_HOST", "nas");
    SharingManager manager;
    const std::string share = (scratch() / "share").string();
    std::filesystem::create_directories(share);
    WriteFile(varn::path::kShares, "music=\"" + share + "\"\n");
    // "/music/>>>???~~" and "/music/>" in base64 hold "+", "/" and "=".
    EXPECT_EQ(manager.GetUrl("abcdefgh", share + "/>>>???~~"),
              "http://nas/as/sharing/abcdefgh/L211c2ljLz4-Pj8_P35-");
    EXPECT_EQ(manager.GetUrl("abcdefgh", share + "/>"),
              "http://nas/as/sharing/abcdefgh/L211c2ljLz4=");
}

}  // namespace

// The address of a link, from the request, the configuration and the tools of the machine.
#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "sharing/sharing_fixture.h"
#include "varn/process.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingManager;

using Text = std::optional<std::string>;

struct Request {
    const char *host = nullptr;
    const char *serverPort = nullptr;
    const char *https = nullptr;
    const char *uri = nullptr;
    Text info = "";        // /etc/varninfo.conf
    Text relay = {};       // the relay service's answer
    Text permission = {};  // the permission service's
    Text ddns = {};        // the dynamic-DNS tool
    Text daemon = {};      // the relay's
};

constexpr char kPorts[] = "external_port_kos_http=\"80\"\nexternal_port_kos_https=\"443\"\n";
constexpr char kAlias[] = R"("enabled": true, "domain": "relay.example", "server_alias": "nas")";

// A service's answer.
std::string Got(const std::string &data) {
    return R"({"get": {"success": true, "data": )" + data + "}}";
}
const std::string kRefused = R"({"get": {"success": false, "error": {"code": 105}}})";

std::string Relay(const std::string &members) {
    return Got("{" + members + "}");
}
const std::string kOn = Relay(kAlias);

std::string Services(const std::string &services) {
    return Got(R"({"services": )" + services + "}");
}
const std::string kPermitted =
    Services(R"([{"id": "files", "enabled": false}, {"id": "kos_portal", "enabled": true}])");

class SharingUrl : public SharingTest {
  protected:
    void TearDown() override {
        for (const char *name : {"HTTP_HOST", "SERVER_PORT", "HTTPS", "REQUEST_URI"}) {
            unsetenv(name);
        }
        SharingTest::TearDown();
    }

    static void Set(const char *name, const char *value) {
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }
    static void File(std::string_view path, const Text &text, const char *head = "") {
        fs::remove(At(path));
        if (text) {
            WriteFile(path, head + *text);
            fs::permissions(At(path), fs::perms(0755));
        }
    }
    static void Tool(std::string_view path, const Text &body) { File(path, body, "#!/bin/sh\n"); }

    static std::string Address(const Request &request) {
        Set("HTTP_HOST", request.host);
        Set("SERVER_PORT", request.serverPort);
        Set("HTTPS", request.https);
        Set("REQUEST_URI", request.uri);
        File(varn::path::kSystemInfo, request.info);
        File("/usr/varn/etc/webapi/VARN.Core.Farlink.json", request.relay);
        File("/usr/varn/etc/webapi/VARN.Core.Farlink.Permission.json", request.permission);
        Tool(varn::path::kDynamicDns, request.ddns);
        Tool(varn::path::kRelayDaemon, request.daemon);
        return SharingManager().GetRemoteAddr();
    }

    struct Case {
        Request request;
        std::string address;
    };
    static void Check(const std::vector<Case> &cases) {
        for (const Case &each : cases) {
            EXPECT_EQ(Address(each.request), each.address) << "case " << &each - cases.data();
        }
    }
};

TEST_F(SharingUrl, TakesTheRequestsAddressByDefault) {
    const std::string endless(5000, 'h');
    Check({
        {{.host = "nas:5000", .uri = "/portal/webapi/entry.cgi"}, "http://nas:5000/portal"},
        {{.host = "nas:5000", .uri = "/webapi/entry.cgi"}, "http://nas:5000"},
        {{.host = "nas", .uri = "/a/b/webapi/entry.cgi?x=/webapi"}, "http://nas/a/b"},
        {{.host = "nas", .serverPort = "8080"}, "http://nas:8080"},
        {{.host = "nas:5000", .serverPort = "8080"}, "http://nas:5000"},
        {{.host = "nas", .https = "ON"}, "https://nas"},
        {{.host = "[fe80::1]:5001"}, "http://[fe80::1]:5001"},
        {{.host = "[fe80::1"}, "http://[fe80::1"},
        {{.host = "nas:81/evil"}, "http://nas:81"},
        {{.host = "nas/evil:81"}, "http://nas"},
        {{}, "http://"},
        {{.host = endless.c_str()}, "http://" + std::string(4095, 'h')},
    });
}

TEST_F(SharingUrl, PrefersWhatTheAdministratorConfigured) {
    const std::string outside = "external_host_ip=\"203.0.113.5\"\n";
    Check({
        {{.host = "nas:5001", .https = "on", .info = kPorts}, "https://nas:443"},
        // The other scheme's port does not count.
        {{.host = "nas:5000", .info = "external_port_kos_https=\"443\"\n"}, "http://nas:5000"},
        // A port is cut to 15 characters.
        {{.host = "nas", .info = "external_port_kos_http=\"1234567890123456\"\n"},
         "http://nas:123456789012345"},
        {{.host = "nas:5000", .info = outside, .ddns = "printf home.example"},
         "http://203.0.113.5:5000"},
        {{.host = "[::1]:5000", .serverPort = "81", .uri = "/portal/webapi/x", .info = kPorts},
         "http://[::1]:80/portal"},
    });
}

TEST_F(SharingUrl, TakesTheNamesThatToolsPrint) {
    constexpr char kAsked[] = "[ \"$*\" = --get-hostname ] && printf 'home.example rest'";
    constexpr char kEndless[] = "yes x | head -c 100000 | tr -d '\\n'";
    const std::string off = Relay(R"("enabled": false)");
    const auto relayed = [](const Text &ddns, const char *daemon) {
        return Request{.host = "nas:5000",
                       .relay = kOn,
                       .permission = kPermitted,
                       .ddns = ddns,
                       .daemon = daemon};
    };
    Check({
        {{.host = "nas:5000", .ddns = kAsked}, "http://home.example:5000"},
        {{.host = "nas:5000", .ddns = "exit 1"}, "http://nas:5000"},
        {{.host = "nas:5000", .ddns = kEndless}, "http://" + std::string(1023, 'x') + ":5000"},
        {relayed({}, "[ \"$*\" = -p ] && printf nas.relay.example"), "https://nas.relay.example"},
        {relayed({}, "printf other.example; exit 3"), "http://nas:5000"},
        // A tool that prints without end, and one whose child keeps the output open.
        {relayed("echo home.example; exec yes", ""), "http://home.example\n:5000"},
        {relayed({}, "echo nas.other.example; sleep 4 &"), "http://nas.other.example\n:5000"},
        // Dynamic DNS comes first, and a relay that is off is not asked.
        {relayed("printf home.example", "printf nas.relay.example"), "http://home.example:5000"},
        {{.host = "nas", .relay = off, .permission = kPermitted, .daemon = "printf a.b"},
         "http://nas"},
    });
}

// A request to this server's name at the relay gets the relay's port and the portal at its root.
// Other servers' names and similar names do not.
TEST_F(SharingUrl, KnowsRequestsThroughTheRelay) {
    for (const auto &[host, address] :
         {std::pair("nas.relay.example:9", "https://nas.relay.example"),
          {"else.relay.example", "http://else.relay.example:80/portal"},
          {"nas.relay.example.evil", "http://nas.relay.example.evil:80/portal"},
          {"NAS.relay.example", "http://NAS.relay.example:80/portal"}}) {
        EXPECT_EQ(Address({.host = host,
                           .serverPort = "81",
                           .uri = "/portal/webapi/entry.cgi",
                           .info = kPorts,
                           .relay = kOn,
                           .permission = kPermitted}),
                  address);
    }
}

TEST_F(SharingUrl, UsesTheRelayOnlyWhereItMayServeThePortal) {
    const auto used = [](const char *host, const Text &relay, const Text &permission) {
        return Address({.host = host, .relay = relay, .permission = permission}) ==
               "https://" + std::string(host);
    };
    constexpr char kHost[] = "nas.relay.example";
    EXPECT_TRUE(used(kHost, kOn, kPermitted));
    EXPECT_TRUE(used(kHost, kOn, {})) << "a system without the permission service";
    for (const std::string &permission :
         {Services("7"), Services(R"([{"id": "kos_portal", "enabled": "true"}])"),
          Services(R"([7, null, {"id": 7, "enabled": true}])"),
          Services(R"({"id": "kos_portal", "enabled": true})"), Got("[]"), kRefused}) {
        EXPECT_FALSE(used(kHost, kOn, permission)) << permission;
    }
    constexpr char kOdd[] = R"("enabled": true, "domain": "relay.example", "server_alias": 7)";
    for (const Text &relay : {Text(), Text("no json"), Text(kRefused), Text(Got("[]")),
                              Text(Relay(R"("enabled": "yes")")), Text(Relay(kOdd))}) {
        EXPECT_FALSE(used(kHost, relay, kPermitted)) << relay.value_or("");
    }
    // An empty domain fits every host; the name must still be this server's.
    const std::string any = Relay(R"("enabled": true, "domain": "", "server_alias": "nas")");
    EXPECT_TRUE(used("nas.any.example", any, kPermitted));
    EXPECT_TRUE(used("nas", Relay(R"("enabled": true, "server_alias": "nas")"), kPermitted));
    EXPECT_FALSE(used("other.any.example", any, kPermitted));
}

TEST_F(SharingUrl, ToolsAreRunWithTheRightsTheyNeed) {
    if (!IsRoot()) {
        GTEST_SKIP() << "a process without rights runs as one account";
    }
    const std::string who = "printf %s \"$(id -u)\"";
    Address({.host = "nas", .relay = kOn, .permission = kPermitted, .ddns = who, .daemon = who});
    ASSERT_EQ(ResetCredentialsByName(varn::kPackageAccount, true), 0);
    const uid_t package = geteuid();
    EXPECT_EQ(SharingManager().GetRemoteAddr(), "http://0") << "the dynamic-DNS tool needs root";
    EXPECT_EQ(geteuid(), package);
    BackToRoot();
    Tool(varn::path::kDynamicDns, {});
    ASSERT_EQ(ResetCredentialsByName(varn::kPackageAccount, true), 0);
    EXPECT_EQ(SharingManager().GetRemoteAddr(), "http://" + std::to_string(package));
    EXPECT_EQ(geteuid(), package);
    BackToRoot();
}

TEST_F(SharingUrl, NamesAFileInUrlSafeBase64) {
    Set("HTTP_HOST", "nas");
    const std::string share = (scratch() / "share").string();
    fs::create_directories(share);
    WriteFile(varn::path::kShares, "music=\"" + share + "\"\n");
    // "/music/>>>???~~" and "/music/>" in base64 hold "+", "/" and "=".
    SharingManager manager;
    const std::string link = "http://nas/as/sharing/abcdefgh/";
    EXPECT_EQ(manager.GetUrl("abcdefgh", share + "/>>>???~~"), link + "L211c2ljLz4-Pj8_P35-");
    EXPECT_EQ(manager.GetUrl("abcdefgh", share + "/>"), link + "L211c2ljLz4=");
    EXPECT_EQ(manager.GetUrl("abcdefgh", "/etc/passwd"), link) << "in no share";
    Set("HTTP_HOST", "second:2");
    EXPECT_EQ(manager.GetUrl("abcdefgh") + "/", link) << "found once";
    EXPECT_EQ(manager.GetUrl(""), "");
}

}  // namespace

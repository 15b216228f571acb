#include <unistd.h>

#include <filesystem>
#include <string>

#include "sharing/url_fixture.h"
#include "varn/process.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingManager;

class SharingAddress : public SharingUrl {
  protected:
    static constexpr char kHere[] = "https://nas.relay.example";
    static constexpr char kNotHere[] = "http://nas.relay.example";
};

TEST_F(SharingAddress, PortsHaveAnOrder) {
    EXPECT_EQ(Address({.host = "nas:5000", .serverPort = "8080"}), "http://nas:5000");
    // The configured port of the other scheme says nothing of this one.
    EXPECT_EQ(Address({.host = "nas:5000", .info = "external_port_kos_https=\"443\"\n"}),
              "http://nas:5000");
    EXPECT_EQ(
        Address({.host = "nas:5001", .https = "on", .info = "external_port_kos_http=\"80\"\n"}),
        "https://nas:5001");
    EXPECT_EQ(Address({.host = "nas", .info = "external_port_kos_http=\"1234567890123456\"\n"}),
              "http://nas:123456789012345")
        << "cut to 15 characters";
}

TEST_F(SharingAddress, NamesOfToolsGoInAsTheyArePrinted) {
    EXPECT_EQ(Address({.host = "nas", .ddns = "echo home.example"}), "http://home.example\n");
    EXPECT_EQ(Address({.host = "nas", .ddns = "printf ' home.example'"}), "http://nas")
        << "nothing before its first blank";
    EXPECT_EQ(Address({.host = "nas", .ddns = "printf 'first\\nsecond'"}), "http://first\n");
    Request relayed = {.host = "nas", .relay = kOn, .permission = kPermitted};
    relayed.daemon = "echo nas.other.example";
    EXPECT_EQ(Address(relayed), "http://nas.other.example\n");
    relayed.daemon = "exit 0";
    EXPECT_EQ(Address(relayed), "http://nas") << "it prints nothing";
    relayed.daemon = "printf nas.relay.example";
    relayed.ddns = "printf home.example";
    EXPECT_EQ(Address(relayed), "http://home.example") << "dynamic DNS comes first";
    relayed.ddns = "exit 1";
    relayed.relay = R"({"get": {"success": true, "data": {"enabled": false}}})";
    EXPECT_EQ(Address(relayed), "http://nas") << "the relay is off";
}

TEST_F(SharingAddress, TheRelayHasToPermitThePortal) {
    const auto address = [](const char *services) {
        const std::string permission =
            std::string(R"({"get": {"success": true, "data": {"services": )") + services + "}}}";
        return Address(
            {.host = "nas.relay.example", .relay = kOn, .permission = permission.c_str()});
    };
    EXPECT_EQ(address(R"([{"id": "kos_portal", "enabled": true}])"), kHere);
    EXPECT_EQ(address(R"([{"id": "kos_portal", "enabled": false}])"), kNotHere);
    EXPECT_EQ(address(R"([{"id": "kos_portal", "enabled": "true"}])"), kNotHere);
    EXPECT_EQ(address(R"([{"id": "kos_portal"}])"), kNotHere);
    EXPECT_EQ(address(R"([7, null, {"id": 7, "enabled": true}])"), kNotHere);
    EXPECT_EQ(address(R"({"id": "kos_portal", "enabled": true})"), kNotHere);
}

TEST_F(SharingAddress, TheRelaysDomainIsTheTailOfItsHosts) {
    const auto through = [](const char *host, const char *data) {
        const std::string relay =
            std::string(R"({"get": {"success": true, "data": {"enabled": true, )") + data + "}}}";
        return Address({.host = host, .relay = relay.c_str(), .permission = kPermitted})
            .starts_with("https://");
    };
    // Every host has an empty domain; the name must still be this server's.
    EXPECT_TRUE(through("nas.any.example", R"("domain": "", "server_alias": "nas")"));
    EXPECT_TRUE(through("nas", R"("server_alias": "nas")"));
    EXPECT_FALSE(through("other.any.example", R"("domain": "", "server_alias": "nas")"));
    EXPECT_FALSE(through("nas.relay.example", R"("domain": "relay.example", "server_alias": 7)"));
    EXPECT_FALSE(
        through("nas.relay.example.org", R"("domain": "relay.example", "server_alias": "nas")"));
    EXPECT_FALSE(
        through("NAS.relay.example", R"("domain": "relay.example", "server_alias": "nas")"));
}

TEST_F(SharingAddress, ToolsAreRunWithTheRightsTheyNeed) {
    if (!IsRoot()) {
        GTEST_SKIP() << "a process without rights runs as one account";
    }
    ASSERT_EQ(ResetCredentialsByName(varn::kPackageAccount, true), 0);
    const uid_t package = geteuid();
    Request request = {.host = "nas", .relay = kOn, .permission = kPermitted};
    BackToRoot();
    request.ddns = "printf %s \"$(id -u)\"";
    request.daemon = "printf %s \"$(id -u)\"";
    Address(request);  // makes the files
    ASSERT_EQ(ResetCredentialsByName(varn::kPackageAccount, true), 0);
    EXPECT_EQ(SharingManager().GetRemoteAddr(), "http://0") << "the dynamic-DNS tool needs root";
    EXPECT_EQ(geteuid(), package);
    BackToRoot();
    Tool(varn::path::kDynamicDns, nullptr);
    ASSERT_EQ(ResetCredentialsByName(varn::kPackageAccount, true), 0);
    EXPECT_EQ(SharingManager().GetRemoteAddr(), "http://" + std::to_string(package));
    EXPECT_EQ(geteuid(), package);
    BackToRoot();
}

TEST_F(SharingAddress, FilesOutsideEveryShareHaveNoName) {
    Set("HTTP_HOST", "nas");
    EXPECT_EQ(SharingManager().GetUrl("abcdefgh", "/etc/passwd"),
              "http://nas/as/sharing/abcdefgh/");
}

}  // namespace

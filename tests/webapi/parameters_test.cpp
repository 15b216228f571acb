// How entry.cgi reads a request's parameters.
#include <arpa/inet.h>
#include <netinet/in.h>

#include "entry/parameters.h"
#include "entry/remote_url.h"
#include "support/fixture.h"
#include "webapi/cgi.h"

namespace {

using namespace tonvale_test;
using tonvale_entry::Parameters;

TEST(RequestParameters, AreDecoded) {
    const auto parameters =
        Parameters::Parse("a=1+2&b=%41%c3%A9&empty=&flag&&x%3Dy=z", "form=%0D%0A%09&last=100%25");
    ASSERT_TRUE(parameters);
    for (const auto &[name, value] : {std::pair("a", "1 2"),
                                      {"b", "A\xC3\xA9"},
                                      {"empty", ""},
                                      {"flag", ""},
                                      {"x=y", "z"},
                                      {"form", "\r\n\t"},
                                      {"last", "100%"}}) {
        ASSERT_NE(parameters->Find(name), nullptr) << name;
        EXPECT_EQ(*parameters->Find(name), value) << name;
    }
    EXPECT_EQ(parameters->Find("A"), nullptr);
}

TEST(RequestParameters, RefuseBadTextAndRepeatedNames) {
    for (const std::string &query :
         Words("a=% a=%4 a=%zz a=%4g %=1 a=%00 a=%01 a=%7f a=%ff a=%c3 a=%c3%28 a=%c0%af "
               "a=%e0%80%80 a=%ed%a0%80 a=%f4%90%80%80 a=\xff a=1&a=1 a=1&%61=2")) {
        EXPECT_FALSE(Parameters::Parse(query, "")) << query;
        EXPECT_FALSE(Parameters::Parse("", query)) << query;
    }
    EXPECT_FALSE(Parameters::Parse("a=1", "a=2"));
    std::string many;
    for (int i = 0; i < 257; ++i) {
        many += "&p" + std::to_string(i) + "=1";
    }
    EXPECT_FALSE(Parameters::Parse(many, ""));
    EXPECT_TRUE(Parameters::Parse(many.substr(0, many.rfind('&')), ""));
}

TEST(RequestParameters, TakeListsWithCommasOrAsJson) {
    const std::pair<const char *, std::vector<std::string>> cases[] = {
        {"", {}},
        {"a,b,,c,", {"a", "b", "c"}},
        {R"(["a,b", "c\u00e9", 7, -1])", {"a,b", "c\xC3\xA9", "7", "-1"}},
        {"[]", {}},
    };
    for (const auto &[text, values] : cases) {
        EXPECT_EQ(tonvale_entry::SplitValues(text, 4), values) << text;
    }
    std::vector<std::string> refused =
        Words(R"([ [1.5] [[1]] [null] ["a"]x ["\u0000"] 1,2,3,4,5 [1,2,3,4,5] [{"a":1}])");
    refused.emplace_back(100000, '[');
    for (const std::string &text : refused) {
        EXPECT_FALSE(tonvale_entry::SplitValues(text, 4)) << text.substr(0, 20);
    }
}

bool IsPublic(const char *text) {
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    if (inet_pton(AF_INET, text, &ipv4.sin_addr) == 1) {
        return tonvale_entry::IsPublicAddress(reinterpret_cast<const sockaddr &>(ipv4));
    }
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    EXPECT_EQ(inet_pton(AF_INET6, text, &ipv6.sin6_addr), 1) << text;
    return tonvale_entry::IsPublicAddress(reinterpret_cast<const sockaddr &>(ipv6));
}

using RemoteUrl = SystemTest;

TEST_F(RemoteUrl, LeadsOnlyToThePublicInternet) {
    for (const std::string &address :
         Words("8.8.8.8 172.15.0.1 172.32.0.1 192.167.1.1 100.63.0.1 100.128.0.1 223.255.255.255 "
               "2606:4700::1111 ::ffff:8.8.8.8 2001:200::1 3fff:1000::1")) {
        EXPECT_TRUE(IsPublic(address.c_str())) << address;
    }
    for (const std::string &address :
         Words("0.0.0.0 10.1.2.3 100.64.0.1 127.0.0.1 127.255.255.255 169.254.169.254 172.16.0.1 "
               "172.31.255.255 192.0.0.1 192.0.2.1 192.168.0.1 198.18.0.1 198.51.100.1 "
               "203.0.113.1 224.0.0.1 240.0.0.1 255.255.255.255 :: ::1 fe80::1 fc00::1 fd12::1 "
               "ff02::1 ::ffff:127.0.0.1 ::ffff:10.0.0.1 64:ff9b::7f00:1 2002:7f00:1:: "
               "2001:db8::1 3fff:fff::1 2001::1 ::127.0.0.1")) {
        EXPECT_FALSE(IsPublic(address.c_str())) << address;
    }
    using tonvale_entry::IsPermittedUrl;
    EXPECT_TRUE(IsPermittedUrl("http://8.8.8.8/stream?x=%20y"));
    EXPECT_TRUE(IsPermittedUrl("HTTPS://8.8.8.8:8000/"));
    EXPECT_TRUE(IsPermittedUrl("http://[2606:4700::1111]:80/"));
    std::vector<std::string> refused = Words(
        "/etc/passwd file:///etc/passwd ftp://8.8.8.8/ concat:http://8.8.8.8/ "
        "http://127.0.0.1/ http://localhost/ http://127.1/ http://2130706433/ "
        "http://0x7f000001/ http://017700000001/ http://[::1]/ http://[::ffff:127.0.0.1]/ "
        "http:// http:///x http://user@8.8.8.8/ http://8.8.8.8@127.0.0.1/ "
        "http://8.8.8.8\\@127.0.0.1/ http://no-such-name.invalid/ "
        "data:audio/mpeg,x -i");
    refused.insert(refused.end(), {"", "http://8.8.8.8/ x", "http://8.8.8.8/\n"});
    for (const std::string &url : refused) {
        EXPECT_FALSE(IsPermittedUrl(url)) << url;
    }
    EXPECT_FALSE(IsPermittedUrl("http://8.8.8.8/" + std::string(2000, 'x')));
    Configure("remote_local_addresses", "yes");
    EXPECT_TRUE(IsPermittedUrl("http://127.0.0.1/"));
    EXPECT_FALSE(IsPermittedUrl("file:///etc/passwd"));
}

}  // namespace

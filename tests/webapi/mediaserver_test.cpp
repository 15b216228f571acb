// VARN.Tonvale.MediaServer through the CGI environment.

#include "dlna/scripted_media_server.h"
#include "entry/server_url.h"
#include "service/base/failure.h"
#include "service/devices/media_server.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

class MediaServerApi : public SystemTest, protected Api {
  protected:
    static Json::Value Ask(const std::string &rest) {
        return Parsed(GetCgi(QueryOf("MediaServer/" + rest), {{"no_proxy", "*"}}));
    }
    static int Refusal(const std::string &rest) { return Ask(rest)["error"]["code"].asInt(); }
    static void PermitAnyAddress() { Configure("media_server_any_address", "yes"); }
};

TEST_F(MediaServerApi, AsksOnlyMachinesOfTheLocalNetwork) {
    using tonvale_entry::IsServerAddress;
    using tonvale_entry::IsServerUrl;
    for (const std::string &host : Words("10.0.0.1 172.16.0.1 172.31.255.255 192.168.1.2")) {
        EXPECT_TRUE(IsServerUrl("http://" + host + ":8200/ctl")) << host;
        EXPECT_TRUE(IsServerUrl("HTTPS://" + host)) << host;
        EXPECT_TRUE(IsServerAddress(host) && IsServerAddress(host + ":1900")) << host;
    }
    const ScriptedHttp server([](const HttpRequest &) { return Reply(Browsed("")); });
    std::vector<std::string> others = Words(
        "127.0.0.1 localhost 0.0.0.0 8.8.8.8 169.254.169.254 172.15.0.1 172.32.0.1 11.0.0.1 "
        "100.64.0.1 224.0.0.1 10.1 0x0A000001 167772161 012.0.0.1 router.local [::1] [fd00::1] "
        "10.0.0.1@127.0.0.1 10.0.0.1\\@127.0.0.1 10.0.0.1.nip.io");
    others.push_back("");
    for (const std::string &host : others) {
        EXPECT_FALSE(IsServerUrl("http://" + host + "/")) << host;
        EXPECT_FALSE(IsServerAddress(host)) << host;
    }
    for (const char *url : {"", "10.0.0.1", "ftp://10.0.0.1/", "file:///etc/passwd", "http://"}) {
        EXPECT_FALSE(IsServerUrl(url)) << url;
    }
    EXPECT_EQ(Refusal("browse?url=" + server.Url()), 400);
    EXPECT_TRUE(server.Requests().empty());
    PermitAnyAddress();
    EXPECT_FALSE(IsServerUrl("file:///etc/passwd"));
    EXPECT_TRUE(Ask("browse?url=" + server.Url())["success"].asBool());
}

TEST_F(MediaServerApi, BrowsesInPages) {
    const ScriptedHttp server([](const HttpRequest &request) {
        if (Asked(request, "ObjectID") == "none") {
            return Reply(
                "<s:Envelope xmlns:s=\"s\"><s:Body><s:Fault><detail><UPnPError>"
                "<errorCode>701</errorCode></UPnPError></detail></s:Fault></s:Body></s:Envelope>",
                "500 Internal Server Error");
        }
        std::string didl;
        const int start = std::stoi(Asked(request, "StartingIndex"));
        const int count = std::min(60, std::stoi(Asked(request, "RequestedCount")));
        for (int i = start; i < std::min(start + count, 2000); ++i) {
            didl +=
                i == 0 ? std::string("<container id=\"0\"><title>\xC3\xA4 \x7F</title></container>")
                       : "<item id=\"" + std::to_string(i) + "\"/>";
        }
        return Reply(Browsed(didl));
    });
    PermitAnyAddress();
    const std::string browse = "browse?url=" + server.Url("/ctl%3Fa=b");
    const Json::Value page = Ask(browse)["data"];
    EXPECT_EQ(Told(page, "number_returned containers[0].title"), "100 \xC3\xA4 \x7F");
    EXPECT_EQ(page["items"].size(), 99u);
    EXPECT_EQ(server.Requests().front().target, "/ctl?a=b");
    const Json::Value last = Ask(browse + "&offset=1900&limit=1000&id=a%26b%3C%22")["data"];
    EXPECT_EQ(Told(last, "offset items[99].id"), "1900 1999");
    EXPECT_EQ(Asked(server.Requests().back(), "ObjectID"), "a&amp;b&lt;&quot;");
    EXPECT_EQ(JsonOf({"mediaserver", "browse", server.Url(), "0", "--limit", "100", "--json"}),
              page);
    EXPECT_EQ(Refusal(browse + "&id=" + std::string(3001, 'x')), 400);
    EXPECT_EQ(Refusal(browse + "&id=none"), 404);
}

TEST_F(MediaServerApi, BoundsWhatAServerSends) {
    PermitAnyAddress();
    EXPECT_EQ(Refusal("browse?url=http://127.0.0.1:1/"), 500);
    const ScriptedHttp slow([](const HttpRequest &request) {
        return Reply(Browsed("<item id=\"" + Asked(request, "StartingIndex") + "\">" +
                             std::string(1000, ' ') + "</item>"));
    });
    tonvale_service::BrowseQuestion question;
    question.url = slow.Url();
    question.limit = 3;
    tonvale_service::ObjectCollector all(0), first(0);
    question.bytes = 10'000;
    EXPECT_NO_THROW(tonvale_service::BrowseServer(question, all));
    question.bytes = 2000;
    try {
        tonvale_service::BrowseServer(question, first);
        ADD_FAILURE() << "three pages do not fit";
    } catch (const tonvale_service::Failure &failure) {
        EXPECT_EQ(failure.Why(), tonvale_service::Reason::kServerSendsTooMuch);
        EXPECT_EQ(first.Data()["number_returned"], 1) << "the first page fits";
    }
}

}  // namespace

#include <curl/curl.h>

#include <tuple>

#include "support/fixture.h"
#include "support/scripted_http.h"
#include "tonvale/dlna.h"

namespace {

using namespace tonvale_test;
using namespace std::chrono_literals;

using AgentTest = SystemTest;

// The agent's result and text for an answer.
std::pair<int, std::string> Received(const HttpReply &reply) {
    const ScriptedHttp server([&](const HttpRequest &) { return reply; });
    DMABrowse browse(DMAGENT_BROWSE_CHILDREN, server.Url());
    const int result = browse.Perform();
    EXPECT_EQ(server.Requests().size(), 1u);
    return {result, browse.response()};
}

std::size_t CountOf(const HttpRequest &request, const std::string &header) {
    return static_cast<std::size_t>(
        std::count_if(request.headers.begin(), request.headers.end(),
                      [&](const auto &line) { return line.first == header; }));
}

TEST_F(AgentTest, SendsTheExactRequest) {
    const ScriptedHttp server([](const HttpRequest &) { return Reply(""); });
    DMABrowse children(static_cast<DMAGENT_BROWSETYPE>(7), server.Url("/ctl?a=b"));
    children.objectId = "64$a&b<c>%s'\"\xC3\xA4";
    children.startingIndex = 200;
    children.requestedCount = 100;
    ASSERT_EQ(children.Perform(), 0);
    DMABrowse metadata(DMAGENT_BROWSE_METADATA, server.Url());
    ASSERT_EQ(metadata.Perform(), 0);
    DMAGet get(DMAGENT_GET_SYSTEM_UPDATE_ID, server.Url());
    ASSERT_EQ(get.Perform(), 0);
    const std::vector<HttpRequest> asked = server.Requests();
    ASSERT_EQ(asked.size(), 3u);

    const std::string open =
        "<?xml version=\"1.0\"?>\r\n"
        "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" \r\n"
        "\t\ts:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n"
        "\t<s:Body>\r\n";
    const std::string close = "\t</s:Body>\r\n</s:Envelope>";
    const auto browseBody = [&](const std::string &id, const std::string &flag,
                                const std::string &start, const std::string &count) {
        return open +
               "\t\t<u:Browse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
               "\t\t\t<ObjectID>" +
               id + "</ObjectID>\r\n\t\t\t<BrowseFlag>" + flag +
               "</BrowseFlag>\r\n"
               "\t\t\t<Filter>res,res@resolution,res@protocolInfo,res@size,res@duration,"
               "res@bitrate,res@sampleFrequency,res@bitsPerSample,res@nrAudioChannels,dc:creator,"
               "dc:date,upnp:genre,upnp:album,upnp:originalTrackNumber,upnp:channelNr,"
               "upnp:scheduledStartTime,upnp:scheduledEndTime,upnp:icon,upnp:albumArtURI,"
               "upnp:artist,upnp:author,upnp:albumArtist,@childCount</Filter>\r\n"
               "\t\t\t<StartingIndex>" +
               start + "</StartingIndex>\r\n\t\t\t<RequestedCount>" + count +
               "</RequestedCount>\r\n\t\t\t<SortCriteria></SortCriteria>\r\n\t\t</u:Browse>\r\n" +
               close;
    };
    EXPECT_EQ(asked[0].method, "POST");
    EXPECT_EQ(asked[0].target, "/ctl?a=b");
    EXPECT_EQ(asked[0].body,
              browseBody("64$a&b<c>%s'\"\xC3\xA4", "BrowseDirectChildren", "200", "100"));
    EXPECT_EQ(asked[1].body, browseBody("", "BrowseMetadata", "0", "0"));
    EXPECT_EQ(asked[2].body, open +
                                 "\t\t<u:GetSystemUpdateID "
                                 "xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
                                 "\t\t</u:GetSystemUpdateID>\r\n" +
                                 close);
    for (const HttpRequest &request : asked) {
        EXPECT_EQ(request.Header("Content-Type"), "text/xml; charset=\"utf-8\"");
        EXPECT_EQ(request.Header("User-Agent"), "Tonvale/2.0 UPnP/1.0 DLNADOC/1.50");
        EXPECT_EQ(request.Header("Content-Length"), std::to_string(request.body.size()));
        EXPECT_EQ(CountOf(request, "Content-Length"), 1u);
    }
}

TEST_F(AgentTest, NamesItsAction) {
    const ScriptedHttp server([](const HttpRequest &) { return Reply(""); });
    for (const auto &[action, name] : {std::pair<int, std::string>(0, "Browse"),
                                       {1, "GetSearchCapabilities"},
                                       {2, "GetSortCapabilities"},
                                       {3, "GetSystemUpdateID"},
                                       {4, ""},
                                       {-1, ""}}) {
        DMAGet get(static_cast<DMAGENT_ACTION>(action), server.Url());
        get.addHeader("X-Test", "a: b");
        ASSERT_EQ(get.Perform(), 0);
        const HttpRequest asked = server.Requests().back();
        EXPECT_EQ(asked.Header("SOAPACTION"),
                  "\"urn:schemas-upnp-org:service:ContentDirectory:1#" + name + "\"");
        EXPECT_EQ(asked.Header("X-Test"), "a: b");
        EXPECT_NE(asked.body.find("</u:" + name + ">"), std::string::npos);
    }
}

TEST_F(AgentTest, CutsRequestsThatDoNotFitAndRepeatsTheLength) {
    const ScriptedHttp server([](const HttpRequest &) { return Reply("&lt;"); });
    DMABrowse browse(DMAGENT_BROWSE_CHILDREN, server.Url());
    browse.objectId = std::string(3000, 'x');
    ASSERT_EQ(browse.Perform(), 0);
    EXPECT_TRUE(server.Requests().back().body.ends_with("</s:Envelope>"));
    browse.objectId = std::string(5000, 'x');
    ASSERT_EQ(browse.Perform(), 0);
    const HttpRequest second = server.Requests().back();
    EXPECT_EQ(second.body.size(), 4095u);
    EXPECT_TRUE(second.body.ends_with("xxx"));
    EXPECT_EQ(CountOf(second, "Content-Length"), 2u);
    EXPECT_EQ(browse.response(), "<") << "of the second answer alone";
}

TEST_F(AgentTest, DecodesAnswersOfEveryTransfer) {
    std::string big;
    for (int i = 0; big.size() < (10u << 20); ++i) {
        big += "<a>" + std::to_string(i) + "</a>\r\n";
    }
    const std::tuple<const char *, HttpReply, int, std::string> kCases[] = {
        {"big", Reply(big), CURLE_OK, big},
        // fuzz/dlna_fuzz.cpp compares more texts with a plain decoder.
        {"entities", Reply("&amp;amp;&apos;&quot;&nbsp;&lt;&gt;&uuml;&#38; & &lt"), CURLE_OK,
         "&amp;'\" <>&uuml;&#38; & &lt"},
        {"NUL", Reply(std::string("a\0&lt;\0", 7)), CURLE_OK, std::string("a\0<\0", 4)},
        {"one byte a chunk", ChunkedReply("<a>&amp;b</a>", 1), CURLE_OK, "<a>&b</a>"},
        {"slow", SlowReply(Reply("<a>&lt;</a>"), 20, 5ms), CURLE_OK, "<a><</a>"},
        {"moved", Reply("there", "302 Found", "Location: /elsewhere\r\n"), CURLE_OK, "there"},
        {"without a length", {"HTTP/1.1 200 OK\r\n\r\n&quot;"}, CURLE_OK, "\""},
        {"ends early", CutReply(Reply("&lt;0123456789"), 8, Ending::kClose), CURLE_PARTIAL_FILE,
         "<01"},
        {"reset", CutReply(Reply(""), 1000, Ending::kReset), CURLE_RECV_ERROR, ""}};
    for (const auto &[name, reply, result, response] : kCases) {
        const auto [got, text] = Received(reply);
        EXPECT_EQ(got, result) << name;
        EXPECT_TRUE(text == response) << name << text.size() << text.substr(0, 100);
    }
}

TEST_F(AgentTest, ReturnsTheReasonOfAFailure) {
    const std::pair<std::string, int> kCases[] = {
        {"http://127.0.0.1:" + std::to_string(UnusedPort()) + "/", CURLE_COULDNT_CONNECT},
        {"", CURLE_URL_MALFORMAT},
        {"http://name.invalid/", CURLE_COULDNT_RESOLVE_HOST},
        {"nosuch://127.0.0.1/", CURLE_UNSUPPORTED_PROTOCOL}};
    for (const auto &[url, result] : kCases) {
        DMAGet get(DMAGENT_GET_SORT_CAPABILITIES, url);
        EXPECT_EQ(get.Perform(), result) << url;
        EXPECT_EQ(get.response(), "");
    }
    EXPECT_TRUE(Log().empty());
}

}  // namespace

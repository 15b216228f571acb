#include <cstdlib>
#include <tuple>

#include "dlna/scripted_media_server.h"
#include "programs/command.h"
#include "support/fixture.h"

namespace tonvale_test {

namespace {

Finished Verb(std::vector<std::string> words) {
    words.insert(words.begin(), "mediaserver");
    return Tonvale(std::move(words));
}

Json::Value Printed(std::vector<std::string> words) {
    words.insert(words.begin(), "mediaserver");
    words.emplace_back("--json");
    return JsonOf(words);
}

// The descriptions of the servers that answer.
std::map<std::string, HttpReply> Pages() {
    return {
        {"/a.xml", Reply(Description(Device("Bob's \x1B & <\xC3\xA4>", "uuid:a", "")))},
        {"/dir/b.xml", Reply(Description(Device("Béta &amp; &quot;Co&quot;", "uuid:b",
                                                Service("ContentDirectory:3", "ctl?x=1"))))},
        {"/c.xml", Reply(Description(Device("no list", "uuid:c",
                                            "<deviceList>" +
                                                Device("alpha", "uuid:d",
                                                       Service("ContentDirectory:1", "/c/../ctl")) +
                                                "</deviceList>"),
                                     "<URLBase>http://127.0.0.1:1/base/</URLBase>"))},
        {"/again.xml", Reply(Description(Device("Béta twice", "uuid:b",
                                                Service("ContentDirectory:1", "/else"))))},
        {"/file.xml",
         Reply(Description(Device("file", "uuid:e", Service("ContentDirectory:1", "file:///x"))))},
        {"/broken.xml", Reply("<root><device>")},
        {"/big.xml", Reply(std::string((1u << 20) + 1, ' '))},
        {"/reset.xml", CutReply(Reply(""), 1000, Ending::kReset)},
        {"/moved.xml", Reply("", "302 Found", "Location: /dir/b.xml\r\n")}};
}

using MediaServerTest = SystemTest;

TEST_F(MediaServerTest, ListsTheServersThatAnswer) {
    const ScriptedHttp web([pages = Pages()](const HttpRequest &request) {
        const auto page = pages.find(request.target);
        return page != pages.end() ? page->second : Reply("", "404 Not Found");
    });
    std::vector<std::string> answers = {
        Found(web.Url("/dir/b.xml")),
        "",
        "\r\n",
        "HTTP/1.1 200 OK\r\n",
        "HTTP/1.1 404 Not Found\r\nLocation: http://127.0.0.1:1/\r\n\r\n",
        "NOTIFY * HTTP/1.1\r\nLocation: http://127.0.0.1:1/\r\n\r\n",
        Found("file:///etc/passwd"),
        Found(web.Url("/other"), "upnp:rootdevice"),
        std::string("\0\xFF\0", 3),
        Found(web.Url("/dir/b.xml"))};
    for (const char *page : {"/a.xml", "/c.xml", "/again.xml", "/file.xml", "/broken.xml",
                             "/big.xml", "/reset.xml", "/moved.xml", "/missing.xml"}) {
        answers.push_back(Found(web.Url(page)));
    }
    ScriptedSsdp responder(answers);
    const std::vector<std::string> list = {"list", "--wait", "1", "--address", responder.address()};
    const Finished table = Verb(list);
    EXPECT_EQ(table.status, 0);
    EXPECT_TRUE(table.out.ends_with("\n2 media servers\n")) << table.out;
    const Json::Value servers = Printed(list)["servers"];
    EXPECT_EQ(Told(servers, "[0].name [0].url [0].udn"),
              "Béta & \"Co\" " + web.Url("/dir/ctl?x=1") + " uuid:b");
    EXPECT_EQ(Told(servers, "[1].name [1].url [2]"), "alpha http://127.0.0.1:1/ctl -");
    for (const char *problem :
         {"/a.xml: describes no media server", "/file.xml: describes no media server",
          "/broken.xml: describes no media server", "/big.xml: more than a mebibyte",
          "/reset.xml: ", "/moved.xml: status 302", "/missing.xml: status 404"}) {
        EXPECT_TRUE(Contains(table.err, problem)) << problem << "\n" << table.err;
    }
    EXPECT_EQ(responder.Stop(), "M-SEARCH * HTTP/1.1\r\nHOST: " + responder.address() +
                                    "\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\nST: "
                                    "urn:schemas-upnp-org:service:ContentDirectory:1\r\n\r\n");
}

// The command works without a root.
TEST_F(MediaServerTest, RefusesWhatItCannotUse) {
    const std::string root = getenv("TONVALE_ROOT");
    unsetenv("TONVALE_ROOT");
    ScriptedSsdp gone({});
    gone.Stop();
    const ScriptedHttp page([](const HttpRequest &) { return Reply("<html/>"); });
    const ScriptedHttp broken(
        [](const HttpRequest &) { return Reply("<BrowseResponse><item></BrowseResponse>"); });
    const ScriptedHttp fault([](const HttpRequest &) {
        return Reply(
            "<s:Envelope xmlns:s=\"s\"><s:Body><s:Fault><faultstring>UPnPError"
            "</faultstring><detail><UPnPError xmlns=\"u\"><errorCode>701</errorCode>"
            "<errorDescription>No \xE2\x80\xAE such object</errorDescription></UPnPError></detail>"
            "</s:Fault></s:Body></s:Envelope>",
            "500 Internal Server Error");
    });
    const std::tuple<std::vector<std::string>, int, std::string> kCases[] = {
        {{}, 2, "subcommand"},
        {{"list", "--wait", "0"}, 2, "from 1"},
        {{"list", "--address", "name.invalid"}, 2, "name.invalid"},
        {{"list", "--address", "127.0.0.1:http"}, 2, "127.0.0.1:http"},
        // Where nothing listens the search ends at once.
        {{"list", "--wait", "60", "--address", gone.address()}, 0, "127.0.0.1: Connection refused"},
        {{"browse", "file:///etc/passwd"}, 2, "http://"},
        {{"browse", "127.0.0.1"}, 2, "http://"},
        {{"browse", page.Url(), std::string(3001, 'x')}, 2, "too long for the id of an object"},
        {{"browse", page.Url(), "--depth", "33"}, 2, "32"},
        {{"browse", "http://" + gone.address() + "/"}, 1, "connect"},
        {{"browse", page.Url()}, 1, "no ContentDirectory"},
        {{"browse", broken.Url()}, 1, "it is not well-formed"},
        {{"browse", fault.Url(), "64$1"},
         1,
         "refuses to show that: 701 No \xEF\xBF\xBD such object\n"}};
    for (const auto &[arguments, status, message] : kCases) {
        const Finished run = Verb(arguments);
        EXPECT_EQ(run.status, status) << message << "\n" << run.err;
        EXPECT_TRUE(Contains(run.err, message)) << message << "\n" << run.err;
    }
    setenv("TONVALE_ROOT", root.c_str(), 1);
}

TEST_F(MediaServerTest, ReadsPagesAndContainers) {
    // "0" holds 250 objects, first a container of one item. The server gives 40 at a time.
    const ScriptedHttp server([](const HttpRequest &request) {
        if (Asked(request, "ObjectID") == "a&amp;b&lt;c") {
            return Reply(Browsed(Asked(request, "StartingIndex") == "0"
                                     ? "<item id=\"in\" children=\"x\" kind=\"y\" title=\"inner\"/>"
                                     : ""));
        }
        std::string didl;
        const int start = std::stoi(Asked(request, "StartingIndex"));
        const int count = std::min(40, std::stoi(Asked(request, "RequestedCount")));
        for (int i = start; i < std::min(start + count, 250); ++i) {
            didl += i == 0 ? std::string(
                                 "<container id=\"a&amp;amp;b&amp;lt;c\"><title>\x7F</title>"
                                 "</container>")
                           : "<item id=\"" + std::to_string(i) + "\"/>";
        }
        return Reply(Browsed(didl));
    });
    for (const auto &[options, count, first] :
         {std::tuple(std::vector<std::string>{"0"}, 250U, "a&b<c"),
          {{"0", "--limit", "100", "--offset", "3"}, 100, "3"},
          {{"0", "--offset", "2147483647"}, 0, ""}}) {
        std::vector<std::string> words = {"browse", server.Url()};
        words.insert(words.end(), options.begin(), options.end());
        const Json::Value page = Printed(words);
        EXPECT_EQ(page["number_returned"].asUInt(), count);
        EXPECT_EQ(page["containers"].size() + page["items"].size(), count);
        const Json::Value &list = page[page["containers"].empty() ? "items" : "containers"];
        EXPECT_EQ(list.empty() ? "" : list[0]["id"].asString(), first);
        EXPECT_FALSE(!list.empty() && list[0].isMember("children"));
    }
    const std::vector<std::string> deep = {"browse", server.Url(), "--depth", "2", "--limit", "2"};
    const Finished tree = Verb(deep);
    EXPECT_EQ(tree.out, "\xEF\xBF\xBD/  [a&b<c]\n  inner  [in]\n(untitled)  [1]\n3 objects\n");
    const Json::Value data = Printed(deep);
    EXPECT_EQ(data["number_returned"], 2);
    EXPECT_EQ(data["items"][0]["id"], "1");
    const Json::Value &inside = data["containers"][0]["children"];
    EXPECT_EQ(inside["number_returned"], 1);
    ASSERT_EQ(inside["items"].size(), 1u);
    EXPECT_EQ(inside["items"][0]["kind"], "item");
    EXPECT_FALSE(inside["items"][0].isMember("children"));
}

TEST_F(MediaServerTest, EndsWhenAServerRepeatsAPage) {
    const ScriptedHttp server([](const HttpRequest &request) {
        return Reply(Browsed(Asked(request, "BrowseFlag") == "BrowseMetadata"
                                 ? "<container id=\"0\"/><item id=\"more\"/>"
                                 : "<item id=\"same\"/><item id=\"other\"/>"));
    });
    const Finished pages = Verb({"browse", server.Url(), "--json"});
    EXPECT_EQ(pages.status, 1);
    EXPECT_TRUE(Contains(pages.err, "repeats the page before")) << pages.err;
    EXPECT_EQ(StrictJson(pages.out)["items"].size(), 2u);
    const Finished one = Verb({"browse", server.Url(), "0", "--metadata"});
    EXPECT_EQ(one.out, "(untitled)/  [0]\n1 object\n");
}

}  // namespace

}  // namespace tonvale_test

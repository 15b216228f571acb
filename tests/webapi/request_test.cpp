// entry.cgi through the CGI environment, and the parts that read a request.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/stat.h>

#include <fstream>

#include "entry/action.h"
#include "entry/parameters.h"
#include "entry/remote_url.h"
#include "platform/child.h"
#include "support/fixture.h"
#include "support/stdout.h"
#include "varn/packageconf.h"
#include "varn/process.h"
#include "varn/systempath.h"
#include "webapi/cgi.h"

namespace {

using tonvale_entry::Parameters;
using tonvale_test::GetCgi;
using tonvale_test::InsertSql;
using tonvale_test::RunCgi;
using tonvale_test::Words;

TEST(RequestParameters, AreDecoded) {
    const auto parameters =
        Parameters::Parse("a=1+2&b=%41%c3%A9&empty=&flag&&x%3Dy=z", "form=%0D%0A%09&last=100%25");
    ASSERT_TRUE(parameters);
    const std::pair<const char *, const char *> cases[] = {
        {"a", "1 2"}, {"b", "A\xC3\xA9"}, {"empty", ""},    {"flag", ""},
        {"x=y", "z"}, {"form", "\r\n\t"}, {"last", "100%"},
    };
    for (const auto &[name, value] : cases) {
        ASSERT_NE(parameters->Find(name), nullptr) << name;
        EXPECT_EQ(*parameters->Find(name), value) << name;
    }
    EXPECT_EQ(parameters->Find("A"), nullptr);
}

TEST(RequestParameters, AreRefused) {
    for (const char *query :
         {"a=%",         "a=%4",        "a=%zz",          "a=%4g",          "%=1",      "a=%00",
          "a=%01",       "a=%7f",       "a=%ff",          "a=%c3",          "a=%c3%28", "a=%c0%af",
          "a=%e0%80%80", "a=%ed%a0%80", "a=%f4%90%80%80", "a=%f8%88%80%80", "a=\xff",   "a=\x80",
          "a=1&a=1",     "a=1&%61=2"}) {
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

TEST(RequestParameters, HaveSeveralValues) {
    using Values = std::vector<std::string>;
    const std::pair<const char *, Values> cases[] = {
        {"", {}},
        {"a", {"a"}},
        {"a,b,,c,", {"a", "b", "c"}},
        {R"(["a,b", "c\u00e9", 7, -1])", {"a,b", "c\xC3\xA9", "7", "-1"}},
        {"[]", {}},
    };
    for (const auto &[text, values] : cases) {
        const auto split = tonvale_entry::SplitValues(text, 4);
        ASSERT_TRUE(split) << text;
        EXPECT_EQ(*split, values) << text;
    }
    const std::string deep(100000, '[');
    for (const std::string &text :
         {std::string("["), std::string("[1.5]"), std::string("[[1]]"), std::string("[null]"),
          std::string("[\"a\"] x"), deep, std::string(R"(["\u0000"])"), std::string("1,2,3,4,5"),
          std::string("[1,2,3,4,5]"), std::string("[{\"a\":1}]")}) {
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

using RemoteUrl = tonvale_test::SystemTest;

TEST_F(RemoteUrl, LeadsToThePublicInternetOnly) {
    for (const char *address : {"1.1.1.1", "8.8.8.8", "172.15.0.1", "172.32.0.1", "192.167.1.1",
                                "100.63.0.1", "100.128.0.1", "223.255.255.255", "2606:4700::1111",
                                "::ffff:8.8.8.8", "2001:200::1", "3fff:1000::1"}) {
        EXPECT_TRUE(IsPublic(address)) << address;
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
    ASSERT_EQ(VARNAudioConfSet("remote_local_addresses", "yes"), 0);
    EXPECT_TRUE(IsPermittedUrl("http://127.0.0.1/"));
    EXPECT_FALSE(IsPermittedUrl("file:///etc/passwd"));
}

constexpr char kJson[] = "Content-Type: application/json; charset=utf-8\r\n\r\n";

std::string Refused(int code) {
    return std::string(kJson) + "{\"error\":{\"code\":" + std::to_string(code) +
           "},\"success\":false}\n";
}

using Cgi = tonvale_test::DatabaseTest;

TEST_F(Cgi, RefusesWhatItDoesNotKnow) {
    const std::string song = "version=1&api=VARN.Tonvale.Song&method=";
    const std::pair<std::string, int> cases[] = {
        {"", 102},
        {"api=VARN.Tonvale.Nothing&version=1&method=get", 102},
        {"api=varn.tonvale.info&version=1&method=get", 102},
        {"api=VARN.Tonvale.Info&version=1", 405},
        {"api=VARN.Tonvale.Info&method=get", 405},
        {"api=VARN.Tonvale.Info&version=2&method=get", 405},
        {"api=VARN.Tonvale.Info&version=1&method=Get", 405},
        {"api=VARN.Tonvale.Info&version=1&method=get&method=get", 400},
        {"api=VARN.Tonvale.Info&version=1&method=get&x=%ff", 400},
        {song + "get&id=music_7", 404},
    };
    for (const auto &[query, code] : cases) {
        EXPECT_EQ(GetCgi(query), Refused(code)) << query;
    }
    const std::string longKeyword = "search&keyword=" + std::string(401, 'x');
    const std::string longGenre = "list&genre=" + std::string(4097, 'x');
    for (const std::string rest : {"list&limit=0",
                                   "list&limit=5001",
                                   "list&limit=1x",
                                   "list&limit=%201",
                                   "list&limit=1.0",
                                   "list&offset=-1",
                                   "list&offset=99999999999",
                                   "list&library=everything",
                                   "list&sort_by=title;DROP",
                                   "list&sort_direction=up",
                                   "list&additional=secrets",
                                   "get",
                                   "get&id=",
                                   "get&id=music_0",
                                   "get&id=music_1x",
                                   "get&id=music_99999999999",
                                   "get&id=../../etc/passwd",
                                   "get&id=music_1%27%20OR%201=1",
                                   longKeyword.c_str(),
                                   longGenre.c_str()}) {
        EXPECT_EQ(GetCgi(song + rest), Refused(400)) << rest;
    }
    EXPECT_EQ(RunCgi({{"REQUEST_METHOD", "PUT"}, {"REMOTE_USER", "alice"}}), Refused(405));
    EXPECT_EQ(RunCgi({}), Refused(405));
}

// What takes no root's rights for its work has none, and no way back to them. What takes them for
// moments writes no list with them.
TEST_F(Cgi, GivesRootsRightsUpWhereItCan) {
    const bool isRoot = IsRoot();
    for (const auto &[api, isKept] :
         {std::pair("Album", false), {"Song", false}, {"Playlist", true}}) {
        const bool isTaken = isRoot && isKept;
        const bool holds = tonvale_test::HoldsInChild([&] {
            setenv("REQUEST_METHOD", "GET", 1);
            setenv("REMOTE_USER", "alice", 1);
            const std::string query = "version=1&method=list&api=VARN.Tonvale." + std::string(api);
            setenv("QUERY_STRING", query.c_str(), 1);
            ASSERT_EQ(ResetCredentialsByName(varn::kPackageAccount), 0);
            const auto request = tonvale_entry::Request::Read();
            const auto action = tonvale_entry::FindAction(request);
            EXPECT_EQ(seteuid(0) == 0, isTaken) << api;
            EXPECT_FALSE(isTaken && action->Process()) << "a list is written as root";
        });
        EXPECT_EQ(holds, !isTaken) << api;
    }
    EXPECT_EQ(Logged("root's rights were not given back"), isRoot);
}

TEST_F(Cgi, KnowsNobodyWithoutALogin) {
    const std::string query = "api=VARN.Tonvale.Info&version=1&method=get";
    EXPECT_EQ(RunCgi({{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}}), Refused(403));
    for (const char *user : {"", "nobody-here", "../alice", "alice\n"}) {
        EXPECT_EQ(
            RunCgi({{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}, {"REMOTE_USER", user}}),
            Refused(403))
            << user;
    }
    const std::string info = GetCgi(query);
    EXPECT_NE(info.find("\"name\":\"alice\""), info.npos) << info;
    EXPECT_NE(info.find("\"uid\":1030"), info.npos) << info;
    EXPECT_NE(info.find("\"streaming\""), info.npos) << info;
}

TEST_F(Cgi, ReadsForms) {
    const std::string form = "api=VARN.Tonvale.Info&version=1&method=get";
    const auto post = [](const std::string &type, const std::string &length,
                         const std::string &body, const std::string &query = "") {
        return RunCgi({{"REQUEST_METHOD", "POST"},
                       {"REMOTE_USER", "alice"},
                       {"CONTENT_TYPE", type},
                       {"CONTENT_LENGTH", length},
                       {"QUERY_STRING", query}},
                      body);
    };
    const std::string type = "application/x-www-form-urlencoded";
    const std::string length = std::to_string(form.size());
    const std::string info = GetCgi(form);
    EXPECT_EQ(post(type, length, form), info);
    EXPECT_EQ(post("Application/X-WWW-form-urlencoded ; charset=utf-8", length, form), info);
    EXPECT_EQ(post("", "", "", form), info);
    EXPECT_EQ(post(type, length, form + "&and more"), info);
    EXPECT_EQ(post("text/plain", length, form), Refused(400));
    EXPECT_EQ(post("multipart/form-data; boundary=x", length, form), Refused(400));
    EXPECT_EQ(post(type, std::to_string(form.size() + 1), form), Refused(400));
    EXPECT_EQ(post(type, "104857600", form), Refused(400));
    EXPECT_EQ(post(type, "-1", form), Refused(400));
    EXPECT_EQ(post(type, "x", form), Refused(400));
    EXPECT_EQ(post(type, length, form, "api=VARN.Tonvale.Info"), Refused(400));
}

// What fails half-way has begun its answer already.
TEST_F(Cgi, AddsNothingToAMediaAnswerThatFails) {
    class Failing : public tonvale_entry::MediaAction {
      public:
        using MediaAction::MediaAction;

      protected:
        bool Send() override {
            std::fputs("Status: 200 OK\r\n\r\nsound", stdout);
            throw std::bad_alloc();
        }
    };
    setenv("REQUEST_METHOD", "GET", 1);
    const tonvale_entry::Request request = tonvale_entry::Request::Read();
    unsetenv("REQUEST_METHOD");
    const tonvale_test::CapturedStdout out;
    EXPECT_FALSE(Failing(request).Process());
    EXPECT_EQ(out.Text(), "Status: 200 OK\r\n\r\nsound");
}

TEST_F(Cgi, HandsFilesToTheWebServer) {
    WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
    const std::filesystem::path file = scratch() / "O'B 100% #1?\xC3\xA9.FLAC";
    std::ofstream(file) << "sound";
    Query(InsertSql({.id = 1, .path = file}) + InsertSql({.id = 2, .path = "/gone\r\nX: y/a.mp3"}) +
          InsertSql({.id = 3, .path = scratch()}) +
          InsertSql({.id = 4, .path = scratch() / "a\tb.mp3"}) +
          InsertSql({.id = 5, .path = scratch() / "\x7F.ape"}) +
          InsertSql({.id = 6, .userid = kBob, .path = "/home/bob/6.mp3", .title = "bob's"}));
    const std::string stream = "version=1&api=VARN.Tonvale.Stream&method=stream&id=";
    EXPECT_EQ(
        GetCgi(stream + "music_1"),
        "Status: 200 OK\r\nX-Accel-Buffering: no\r\nContent-Type: audio/flac\r\nX-Sendfile: " +
            scratch().string() + "/O'B%20100%25%20%231%3F%C3%A9.FLAC\r\n\r\n");
    const std::string gone = "Status: 404 Not Found\r\n" + Refused(404);
    for (const char *name : {"a\tb.mp3", "a_b.mp3", "\x7F.ape", "_.ape"}) {
        std::ofstream(scratch() / name) << name;
    }
    for (const char *id :
         {"music_2", "music_3", "music_4", "music_5", "music_v_1", "music_6", "music_p_6"}) {
        EXPECT_EQ(GetCgi(stream + id), gone) << id;
    }
    const std::string bad = "Status: 400 Bad Request\r\n" + Refused(400);
    // What is cut out of a file has the type that the encoder's answer has, where it can be cut. A
    // name may belong to another format.
    const std::string plain = "Status: 200 OK\r\n\r\n";
    const std::string mpeg = "Status: 200 OK\r\nContent-Type: audio/mpeg\r\n\r\n";
    const std::tuple<const char *, const char *, const char *, const std::string &> cuts[] = {
        {"a.FLAC", "flac", "flac", plain}, {"a.MP3", "mp3", "mp3", mpeg},
        {"a.mp3", "flac", "flac", bad},    {"a.mp3", "mp3", "mp2", bad},
        {"a.AIFF", "aiff", "pcm", bad},    {"a.wav", "aiff", "pcm", bad},
        {"a.wav", "flac", "flac", bad},    {"a.m4a", "mp4", "aac", plain},
        {"a.m4a", "mp4", "pcm", bad}};
    for (const auto &[name, container, codec, answer] : cuts) {
        std::ofstream(scratch() / name) << name;
        Query("UPDATE track SET path = '" + (scratch() / name).string() + "', container = '" +
              container + "', codec = '" + codec + "' WHERE id = 3");
        EXPECT_EQ(RunCgi({{"REQUEST_METHOD", "HEAD"},
                          {"QUERY_STRING", stream + "music_3&position=1"},
                          {"REMOTE_USER", "alice"}}),
                  answer)
            << name << " " << container << " " << codec;
    }
    for (const char *rest : {"&format=ogg", "&position=-1", "&position=x", "&bitrate=7999",
                             "&bitrate=320001", "&format=MP3", "&format=mp3&bitrate=100000"}) {
        EXPECT_EQ(GetCgi(stream + "music_1" + rest), bad) << rest;
    }
    // MP3 has a list of bit rates for each kind of sampling rate.
    const std::tuple<int, const char *, const char *> rates[] = {
        {44100, "32000", "24000"}, {0, "320000", "144000"},     {96000, "160000", "150000"},
        {28000, "224000", "8000"}, {22050, "144000", "192000"}, {8000, "64000", "80000"}};
    for (const auto &[frequency, permitted, refused] : rates) {
        Query("UPDATE track SET frequency = " + std::to_string(frequency));
        for (const char *rate : {permitted, refused}) {
            EXPECT_EQ(RunCgi({{"REQUEST_METHOD", "HEAD"},
                              {"QUERY_STRING", stream + "music_1&format=mp3&bitrate=" + rate},
                              {"REMOTE_USER", "alice"}})
                          .starts_with("Status: 200"),
                      rate == permitted)
                << frequency << " " << rate;
        }
    }
    const std::string remote = "version=1&api=VARN.Tonvale.Stream&method=remote&url=";
    EXPECT_EQ(GetCgi(remote + "file:///etc/passwd"), bad);
    EXPECT_EQ(GetCgi(remote + "http://127.0.0.1/&format=mp3"), bad);
    EXPECT_EQ(GetCgi(remote + "http://8.8.8.8/&format=wav"), bad);
}

}  // namespace

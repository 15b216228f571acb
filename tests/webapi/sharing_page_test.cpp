// The public page of a share link, over real HTTP and without a login.
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <fstream>
#include <future>
#include <regex>

#include "webapi/served.h"

namespace {

using namespace tonvale_test;
using namespace std::chrono_literals;
using std::chrono::steady_clock;
using Texts = std::vector<std::string>;

class PublicPage : public Served {
  protected:
    static constexpr char kLink[] = "abcDEF12";
    static constexpr char kMethod[] =
        "/webapi/entry.cgi?api=VARN.Tonvale.Sharing.Page&version=1&method=";

    void SetUp() override {
        Served::SetUp();
        WriteFile(varn::path::kUsersFile, R"({"1030": {"sharing": true}, "1031": {}})");
        WriteFile(varn::path::kShares, "music=\"" + scratch().string() + "\"\n");
        AddSong();
        fs::copy(scratch() / "O'B 100% #1 \xC3\xA9.flac", scratch() / "other.flac");
        fs::copy(scratch() / "other.flac", scratch() / "cue.flac");
        chmod((scratch() / "cue.flac").c_str(), 0600);  // the package's account may not read it
        Query(InsertSql({.id = 2, .path = scratch() / "other.flac", .title = "not shared"}) +
              InsertSql({.id = 3, .path = scratch() / "cue.flac", .has_virtual = true}) +
              InsertSql({.id = 4,
                         .path = scratch() / "cue.flac",
                         .title = "track",
                         .track = 1,
                         .is_virtual = true}) +
              "UPDATE track SET title = '<script>alert(1)</script> \" '' & \x01' WHERE id = 1;"
              "UPDATE track SET duration = 10, frequency = 44100, container = 'flac';"
              "INSERT INTO playlist (id, path, title) VALUES (12, '" +
              List() + "', '</title><b>\"Mine\"')");
        WriteList("O'B 100% #1 \xC3\xA9.flac\ncue.flac_1\n/etc/passwd\nhttp://radio.example/key\n");
        AddLink(kLink, kAlice, "1970-01-01", "1970-01-01");
    }

    static std::string List() { return scratch() / "list.m3u"; }
    static void WriteList(const std::string &entries) { std::ofstream(List()) << entries; }
    static void AddLink(const std::string &id, unsigned user, const std::string &first,
                        const std::string &last) {
        Query(
            "INSERT INTO playlist_sharing (id, user_id, user_name, playlist_id, path, avail_date, "
            "exp_date) VALUES ('" +
            id + "', " + std::to_string(user) + ", '" + (user == kAlice ? "alice" : "bob") +
            "', 'playlist_shared_normal/12', '" + List() + "', '" + first + "', '" + last + "')");
    }

    // Requests without a login.
    HttpAnswer Page(const std::string &rest) const { return Get("/as/sharing/" + rest, ""); }
    HttpAnswer Ask(const std::string &method, const std::string &link, const std::string &rest = "",
                   const std::string &fields = "") const {
        return Get(AskedOf(link, method, rest), fields);
    }
    static std::string AskedOf(const std::string &link, const std::string &method,
                               const std::string &rest = "") {
        return kMethod + method + "&sharing_id=" + link + rest;
    }
    // Sends refused requests at once. No answer comes early, so that the time tells nothing.
    Texts Refusals(const Texts &paths) const {
        std::vector<std::future<std::string>> clients;
        for (const std::string &path : paths) {
            clients.push_back(std::async(std::launch::async, [&] {
                const auto start = steady_clock::now();
                const std::string answer = Bare(Get(path, ""));
                EXPECT_GT(steady_clock::now() - start, 300ms) << path;
                EXPECT_TRUE(Contains(answer, "404")) << answer;
                return answer;
            }));
        }
        Texts answers;
        for (std::future<std::string> &client : clients) {
            answers.push_back(client.get());
        }
        return answers;
    }
    // Among them an unknown link's, from which no answer may differ.
    void ExpectAlike(Texts paths, const std::string &unknown) const {
        paths.push_back(unknown);
        const Texts answers = Refusals(paths);
        for (std::size_t i = 0; i < paths.size(); ++i) {
            EXPECT_EQ(answers[i], answers.back()) << paths[i];
        }
    }
    // An answer without the fields that may differ: some depend on how the handler's last bytes
    // come.
    static std::string Bare(const HttpAnswer &answer) {
        return std::regex_replace(
            answer.header + answer.body,
            std::regex("\r\n(Date|Transfer-Encoding|Content-Length|Accept-Ranges): [^\r]*"), "");
    }
};

class PublicPages : public BothWays<PublicPage> {};
INSTANTIATE_TEST_SUITE_P(, PublicPages, kBothWays, NameOfWay);

TEST_P(PublicPages, ShowsThePlaylistAlone) {
    Serve();
    const HttpAnswer page = Page(kLink);
    EXPECT_EQ(page.Status(), 200);
    EXPECT_TRUE(page.Has("Content-Type: text/html; charset=utf-8")) << page.header;
    for (const char *field :
         {"Cache-Control: no-store", "Referrer-Policy: no-referrer",
          "X-Content-Type-Options: nosniff", "X-Robots-Tag: noindex, nofollow"}) {
        EXPECT_TRUE(page.Has(field)) << field;
    }
    EXPECT_TRUE(
        Contains(page.header, "Content-Security-Policy: default-src 'none'; style-src 'self';"));
    EXPECT_TRUE(
        Contains(page.body, "<h1 dir=\"auto\">&lt;/title&gt;&lt;b&gt;&quot;Mine&quot;</h1>"))
        << page.body;
    EXPECT_TRUE(
        Contains(page.body, "&lt;script&gt;alert(1)&lt;/script&gt; &quot; &#39; &amp;  </strong>"));
    for (const char *bad : {"<script>", "<b>", "passwd", "radio.example", "not shared",
                            "http:", "//", "alice", "list.m3u", "music_3\"", "music_2\""}) {
        EXPECT_FALSE(Contains(page.body, bad)) << bad;
    }
    EXPECT_FALSE(Contains(page.body, scratch().string()));

    // The addresses in the page lead to its sound.
    std::smatch source;
    std::vector<std::string> sources;
    for (std::string rest = page.body;
         std::regex_search(rest, source, std::regex("<audio[^>]* src=\"../../([^\"]*)\""));
         rest = source.suffix()) {
        sources.push_back("/" + std::regex_replace(source[1].str(), std::regex("&amp;"), "&"));
    }
    ASSERT_EQ(sources.size(), 2U);
    const HttpAnswer sound = Get(sources[0], "Range: bytes=0-3\r\n");
    EXPECT_EQ(sound.Status(), 206);
    EXPECT_EQ(sound.body, "fLaC");
    const HttpAnswer encoded = Get(sources[1], "");
    EXPECT_TRUE(encoded.Has("Content-Type: audio/mpeg")) << sources[1];
    EXPECT_GT(encoded.body.size(), 1000U);

    const std::string json = Ask("get", kLink).body;
    EXPECT_TRUE(Contains(json, "\"total\":4")) << json;
    EXPECT_TRUE(Contains(json, "\"id\":\"music_v_4\"")) << json;
    EXPECT_FALSE(Contains(json, "path")) << json;
    EXPECT_TRUE(Contains(Ask("get", kLink, "&offset=1&limit=1").body, "\"songs\":[{"));
}

TEST_F(PublicPage, OffersMp3WhereABrowserMayNotPlayTheFile) {
    const struct {
        const char *file, *codec;
        bool isRaw;
    } cases[] = {
        {"a.MP3", "", true},      {"a.flac", "flac", true}, {"a.ogg", "vorbis", true},
        {"a.opus", "opus", true}, {"a.wav", "pcm", true},   {"a.m4a", "aac", true},
        {"b.m4a", "alac", false}, {"c.m4a", "", false},     {"a.wma", "wmav2", false},
        {"a.aiff", "pcm", false}, {"a.mka", "flac", false}, {"a.ape", "ape", false},
    };
    std::string entries;
    int id = 100;
    for (const auto &[file, codec, isRaw] : cases) {
        fs::copy(scratch() / "other.flac", scratch() / file);
        ++id;
        Query(InsertSql({.id = id, .path = scratch() / file}) + "UPDATE track SET codec = '" +
              codec + "' WHERE id = " + std::to_string(id));
        entries += std::string(file) + "\n";
    }
    WriteList(entries);
    Serve();
    const std::string page = Page(kLink).body;
    id = 100;
    for (const auto &[file, codec, isRaw] : cases) {
        const std::string song = ";id=music_" + std::to_string(++id);
        EXPECT_TRUE(Contains(page, song + (isRaw ? "\"" : "&amp;format=mp3\""))) << file << codec;
    }
}

TEST_F(PublicPage, StreamsTheSharedSongsOnly) {
    std::ofstream(scratch() / "cover.jpg") << "\xFF\xD8\xFF\xE0picture";
    Serve();
    EXPECT_EQ(Ask("stream", kLink, "&id=music_1").Status(), 200);
    EXPECT_TRUE(Ask("stream", kLink, "&id=music_1&format=wav").Has("Content-Type: audio/x-wav"));
    EXPECT_EQ(Ask("stream", kLink, "&id=music_v_4&format=mp3&position=1").Status(), 200);
    EXPECT_EQ(Ask("cover", kLink, "&id=music_1&size=original").body, "\xFF\xD8\xFF\xE0picture");
    EXPECT_TRUE(Ask("cover", kLink, "&id=music_1&size=original").Has("Content-Type: image/jpeg"));
    EXPECT_EQ(Ask("cover", kLink, "&id=music_2").Status(), 404);
    Texts others;
    for (const char *id : {"music_2", "music_3", "music_4", "music_v_1", "music_v_3", "music_0", "",
                           "music_1%20OR%201=1", "/etc/passwd"}) {
        others.push_back(AskedOf(kLink, "stream", std::string("&id=") + id));
    }
    for (const std::string &refused : Refusals(others)) {
        EXPECT_TRUE(Contains(refused, "\r\n\r\n{\"error\":{\"code\":404,")) << refused;
    }
    // No sound of the file after a track's end.
    const std::tuple<const char *, const char *, int> ends[] = {
        {"10", "9", 200},  {"10", "10", 400}, {"10", "2592000", 400},
        {"0", "0", 400},   {"0.9", "0", 200}, {"-3", "0", 200},
        {"-30", "0", 400}, {"1e9", "0", 400}, {"'NaN'", "0", 400}};
    for (const auto &[duration, position, status] : ends) {
        for (const char *format : {"wav", "raw"}) {
            Query(std::string("UPDATE track SET duration = ") + duration + " WHERE id = 4");
            const HttpAnswer sound =
                Ask("stream", kLink,
                    std::string("&id=music_v_4&format=") + format + "&position=" + position);
            EXPECT_EQ(sound.Status(), status) << duration << " " << position << format;
        }
    }
    Query("UPDATE track SET duration = 10 WHERE id = 4");
    // The time does not tell that a song has no cover or no file.
    fs::remove(scratch() / "cover.jpg");
    fs::rename(scratch() / "cue.flac", scratch() / "moved.flac");
    Refusals({AskedOf(kLink, "cover", "&id=music_1"), AskedOf(kLink, "stream", "&id=music_v_4")});
    // The link follows the playlist.
    WriteList("other.flac\n");
    EXPECT_EQ(Ask("stream", kLink, "&id=music_1").Status(), 404);
    EXPECT_EQ(Ask("stream", kLink, "&id=music_2").Status(), 200);
}

// The answers say nothing of what is there.
TEST_F(PublicPage, AsksToRetryWhileTheDatabaseIsDown) {
    Serve();
    const std::string page = "/as/sharing/" + std::string(kLink);
    std::vector<std::string> paths = {
        page, page + "/L211c2ljL2N1ZS5mbGFjXzE=", kMethod + std::string("get&sharing_id=") + kLink};
    for (const std::string &one :
         Words("Song.list Song.search&keyword=o Song.get&id=music_1 Album.list Artist.list "
               "Genre.list Folder.list Cover.get&id=music_1 Stream.stream&id=music_1 Pin.list "
               "Playlist.list Sharing.list")) {
        const std::size_t dot = one.find('.');
        paths.push_back(Path(one.substr(0, dot), one.substr(dot + 1)));
    }
    for (const std::string &path : paths) {
        EXPECT_EQ(Get(path).Status(), 200) << path;
    }
    // The server is stopped; it would start the database before the requests come.
    kill(server_->Id(), SIGSTOP);
    const pid_t database = std::stoi(ReadFile(At(varn::path::kClusterData) / "postmaster.pid"));
    AddLink("lastlink", kAlice, "1970-01-01", "1970-01-01");
    kill(database, SIGKILL);
    for (const std::string &path : paths) {
        const HttpAnswer answer = Get(path);
        EXPECT_EQ(answer.Status(), 503) << path;
        EXPECT_TRUE(answer.Has("Retry-After: 5")) << path << answer.header;
    }
    kill(server_->Id(), SIGCONT);
    EXPECT_TRUE(Eventually([&] { return Page("lastlink").Status() == 200; }));
    const Finished stopped = Stop();
    EXPECT_TRUE(Contains(stopped.err, "was started again")) << stopped.err;
    ASSERT_TRUE(varn::host::StartCluster(nullptr));
}

TEST_F(PublicPage, ShowsASongAtItsOwnAddress) {
    Serve();
    // "/music/cue.flac_1", "/music/cue.flac", "/music/other.flac", "/music/../../etc/passwd"
    const HttpAnswer page = Page(std::string(kLink) + "/L211c2ljL2N1ZS5mbGFjXzE=");
    EXPECT_EQ(page.Status(), 200);
    EXPECT_TRUE(Contains(page.body, "<h1 dir=\"auto\">track</h1>")) << page.body;
    EXPECT_TRUE(Contains(page.body, "src=\"../../../webapi/entry.cgi?")) << page.body;
    EXPECT_FALSE(Contains(page.body, "music_1"));
    EXPECT_EQ(Page(std::string(kLink) + "/L211c2ljL2N1ZS5mbGFjXzE%3D?utm=x").Status(), 200);
    Texts others;
    for (const char *reference :
         {"L211c2ljL2N1ZS5mbGFj", "L211c2ljL290aGVyLmZsYWM=", "L211c2ljLy4uLy4uL2V0Yy9wYXNzd2Q=",
          "L2V0Yy9wYXNzd2Q=", "x", "L_8=", "%26offset=9", "L211c2lj/x"}) {
        others.push_back("/as/sharing/" + std::string(kLink) + "/" + reference);
    }
    ExpectAlike(others, "/as/sharing/AAAAAAAA");
}

// The answer does not tell why a link does not work, or that it exists.
TEST_F(PublicPage, RefusesAllBadLinksAlike) {
    AddLink("expired1", kAlice, "2020-01-01", "2020-01-02");
    AddLink("notyet12", kAlice, "2990-01-01", "2990-01-02");
    AddLink("noright1", kBob, "1970-01-01", "1970-01-01");
    AddLink("noowner1", 4999, "1970-01-01", "1970-01-01");
    AddLink("gone1234", kAlice, "1970-01-01", "1970-01-01");
    Query(
        "UPDATE playlist_sharing SET path = '/gone.m3u', playlist_id = "
        "'playlist_shared_normal/13' WHERE id = 'gone1234'");
    Serve();
    Texts links;
    for (const std::string &link :
         Words("expired1 notyet12 noright1 noowner1 gone1234 x aaaaaaaaa abcDEF1%27")) {
        links.push_back(AskedOf(link, "get"));
    }
    ExpectAlike(links, AskedOf("AAAAAAAA", "get"));
    for (const char *method : {"stream", "cover", "page"}) {
        ExpectAlike({AskedOf("expired1", method, "&id=music_1")},
                    AskedOf("AAAAAAAA", method, "&id=music_1"));
    }
    Texts pages = {"/as/sharing", "/as/sharing?x=1"};
    for (const std::string path :
         {"expired1", "", "a/b/c", "abcDEF12/", "%3Cscript%3E", "AAAAAAAA?api=VARN.Tonvale.Info",
          "abcDEF12%26method=get", "expired1?offset=9"}) {
        pages.push_back("/as/sharing/" + path);
    }
    ExpectAlike(pages, "/as/sharing/AAAAAAAA");
    // The link's owner loses the right to share.
    EXPECT_EQ(Page(kLink).Status(), 200);
    WriteFile(varn::path::kUsersFile, R"({"1030": {"sharing": false}, "1031": {}})");
    ExpectAlike({"/as/sharing/" + std::string(kLink)}, "/as/sharing/AAAAAAAA");
}

TEST_F(PublicPage, TurnsPages) {
    std::string entries;
    for (int i = 0; i < 250; ++i) {
        entries += "other.flac\n";
    }
    WriteList(entries);
    Serve();
    const std::string link = kLink;
    const std::pair<const char *, const char *> cases[] = {{"", "<ol start=\"1\">"},
                                                           {"?offset=100", "<ol start=\"101\">"},
                                                           {"?offset=200", "<ol start=\"201\">"},
                                                           {"?x=1", "<ol start=\"1\">"}};
    for (const auto &[query, start] : cases) {
        const HttpAnswer page = Page(link + query);
        EXPECT_TRUE(Contains(page.body, start)) << query;
        EXPECT_EQ(Contains(page.body, ">More<"), std::string(query) != "?offset=200") << query;
    }
    EXPECT_TRUE(Contains(Page(link + "?offset=200").body, "href=\"?offset=100\""));
    EXPECT_TRUE(Contains(Page(link + "?offset=999999999").body, "<ol start=\"1000000000\">"));
    EXPECT_EQ(Ask("page", link, "&offset=999999999").Status(), 200);
    EXPECT_EQ(Ask("page", link, "&offset=2147483647").Status(), 404);
}

TEST_F(PublicPage, CountsDaysInTheServersTimeZone) {
    ASSERT_EQ(setenv("TZ", "EAST-24", 1), 0);  // a day ahead of everybody else
    tzset();
    const time_t now = std::time(nullptr);
    char tomorrow[16] = "";
    std::strftime(tomorrow, sizeof tomorrow, "%Y-%m-%d", std::localtime(&now));
    Serve();
    unsetenv("TZ");
    tzset();
    AddLink("fromnow1", kAlice, tomorrow, "2999-12-31");
    EXPECT_EQ(Page("fromnow1").Status(), 200);
}

// A trusted server with TLS tells by which scheme it was asked.
TEST_F(PublicPage, MakesLinksWithTheSchemeOfAServerInFront) {
    Configure("trusted_proxies", "127.0.0.2");
    Serve();
    WriteFile(varn::path::kSystemInfo, "external_port_kos_https=\"443\"\n");
    const std::string path = Path("Sharing", "get&id=") + kLink;
    const std::string front = "X-Forwarded-For: 203.0.113.7\r\nX-Forwarded-Proto: https\r\n";
    const std::string end = "/as/sharing/" + std::string(kLink) + "\"";
    const std::string plain = "\"url\":\"http://localhost:" + std::to_string(port_) + end;
    const std::string secure = "\"url\":\"https://localhost:443" + end;
    EXPECT_TRUE(Contains(Get(path, Login("alice") + front, 2).body, secure));
    EXPECT_TRUE(Contains(Get(path, Login("alice") + front, 1).body, plain));
}

// Slow clients leave encoders to other users, and to visitors from other networks.
TEST_F(PublicPage, LeavesEncodersToOthers) {
    Configure("trusted_proxies", "127.0.0.2");
    Configure("max_encoders", "5");
    UseEncoder("exec yes");
    Query("UPDATE track SET duration = 100000");
    Serve();
    const std::string sound = "stream&id=music_1&format=mp3";
    const std::string shared = kMethod + sound + "&sharing_id=" + kLink;
    const std::string own = Path("Stream", sound);
    const struct {
        std::string path, fields;
        int status;
    } readers[] = {{own, Login("alice"), 200},
                   {own, Login("alice"), 200},
                   {own, Login("alice"), 503},
                   {shared, "X-Forwarded-For: 2001:db8::1\r\n", 200},
                   {shared, "X-Forwarded-For: 2001:db8::2\r\n", 503},
                   {shared, "X-Forwarded-For: 192.0.2.1\r\n", 200},
                   {shared, "X-Forwarded-For: 192.0.2.2\r\n", 503},
                   {own, Login("bob"), 200},
                   {own, Login("bob"), 503}};
    std::deque<HttpClient> clients;
    for (const auto &[path, fields, status] : readers) {
        clients.emplace_back(port_, 2).Send(Request(path, fields));
        EXPECT_EQ(clients.back().Status(), status) << path << fields;
    }
}

}  // namespace

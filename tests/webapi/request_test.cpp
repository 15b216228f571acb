// entry.cgi through the CGI environment.

#include <regex>
#include <sstream>

#include "entry/action.h"
#include "sharing/shared_library.h"
#include "varn/process.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

constexpr char kJson[] = "Content-Type: application/json; charset=utf-8\r\n\r\n";

// True for an answer with this code and a message.
bool IsRefused(const std::string &answer, int code, const std::string &status = "") {
    return answer.starts_with(status + kJson + "{\"error\":{\"code\":" + std::to_string(code) +
                              ",\"message\":\"");
}

using Cgi = DatabaseTest;

class Contract : public SharedLibraryTest, protected Api {
  protected:
    void SetUp() override {
        SharedLibraryTest::SetUp();
        WriteFile(varn::path::kUsersFile,
                  R"({"1030": {"sharing": true, "usb": true},
                      "1031": {"playlist": true}})");
        Touch(In("hers.m3u"), "http://hers/\n");
        Query("INSERT INTO personal_playlist (userid, id, path, title) VALUES (1030, 7, '" +
              In("hers.m3u") + "', 'hers')");
    }
    // What "API.METHOD" answers to a query.
    static Json::Value Asked(const std::string &method, const std::string &query,
                             const std::string &user = "alice", Variables variables = {}) {
        const std::size_t dot = method.rfind('.');
        variables.emplace("REMOTE_USER", user);
        const std::string asked = method.substr(0, dot) + "/" + method.substr(dot + 1);
        return Parsed(GetCgi(QueryOf(asked + "?" + query), variables));
    }
    // The code of a refusal; 0 for a success.
    static int CodeOf(const std::string &method, const std::string &query,
                      const std::string &user = "alice", const Variables &variables = {}) {
        return Asked(method, query, user, variables)["error"]["code"].asInt();
    }
    // Everything that a method can change.
    static std::string State() {
        return ReadFile(At(varn::path::kUsersFile)) + ReadFile(In("hers.m3u")) + ReadFile(List()) +
               std::to_string(std::distance(fs::directory_iterator(music()), {})) +
               Value(
                   "SELECT count(*) || ' ' || (SELECT count(*) FROM pin) || ' ' || (SELECT "
                   "count(*) FROM rating_track) || (SELECT count(*) FROM personal_playlist) || "
                   "(SELECT count(*) FROM song_play) || (SELECT count(*) FROM favourite_song) || "
                   "(SELECT count(*) FROM bookmark) FROM playlist_sharing");
    }
};

// A method, the code of its refusals, and queries that it must refuse: of alice, or of the user
// before the method. "[9]" stands for nine characters. DescribedBounds tests the bounds that are
// described.
constexpr char kRefusals[] = R"(
Nothing.get 102 x
info.get 102 x
Info.Get 405 x
Sharing.publish 405 x
Info.get 400 method=get x=%ff x=1&x=2
Song.list 400 limit=%201 limit=1.0 offset=99999999999 genre=[4097] sort_by=random&artist=A
Song.get 400 x id= id=music_0 id=music_1x id=music_99999999999 id=../../etc/passwd
  id=music_1%27%20OR%201=1
Song.get 404 id=music_77 id=music_BOBS
Song.search 400 x keyword= keyword=[401] keyword=%CC%81
Song.rate 400 id=music_1 rating=1
  id=music_1,music_1%20OR%20true&rating=1 id=music_/m/a_1&rating=1
  id=remote_{}%20http://x/_1&rating=1
Song.rate 404 id=music_1,music_99&rating=1 id=music_v_1&rating=1 id=music_1,music_p_BOBS&rating=1
Song.lyrics 400 x id=x
Song.lyrics 404 id=music_99 id=music_p_BOBS
Play.note 400 songs=music_1&times=1,2 songs=music_1&times=-1 songs=dir_1
Play.note 404 songs=music_BOBS
Favourite.add 400 x songs=music_1&artist=B
Favourite.add 404 songs=music_1,music_BOBS artist=A%25 album= album=&album_artist=nobody
Queue.set 400 songs=music_1&current=1 songs=music_1&position=-1 songs=http://x/y
  songs=music_1&client=[201]
Bookmark.set 400 song=music_1&position=0&comment=[4001]
Bookmark.set 404 song=music_BOBS&position=0
Bookmark.remove 404 song=music_BOBS
Radio.add 403 name=x&stream=http://r
Radio.remove 403 id=1
admin:Radio.add 400 name=x&stream=ftp://r/a name=x&stream=http://a%20b name=x%0Ay&stream=http://r
  name=x&stream= name=x&stream=http://[2000] name=x&stream=http://r&home_page=javascript:alert(1)
admin:Radio.remove 404 id=77
Download.zip 400 x
Download.zip 404 songs=music_1,music_BOBS id=dir_91 album=none
Artist.list 400 keyword=a&genre=Pop genre=[2000]
Genre.list 400 keyword=[401]
Folder.list 400 sort_by=name id=dir_ id=dir_p_ id=dir_p_0 id=dir_p1 id=dir_0 id=dir_-1 id=1
  id=dir_1%20OR%20true id=dir_99999999999 id=../../etc
Folder.list 404 id=dir_99 id=dir_p_99
Playlist.create 403 library=shared&name=x
Playlist.create 404 name=x&songs=music_BOBS
Playlist.create 400 x name=../x name=.hidden name=12 name=a%0Ab name=x&songs=/etc/passwd
  name=x&songs=music_/etc/passwd name=x&songs=file:///etc/passwd
  name=x&songs=%5B%22http://r/%5Cn/etc/passwd%22%5D name=[241]
  name=x&songs=%5B%22remote_{%5C%22title%5C%22:%5C%22a%5C%5Cn/b%5C%22}%20http://r/%22%5D
  name=x&songs=http://r/%22/%3E%3Cmedia%20src=%22x
Playlist.get 400 x id=1 id=playlist_x_y/1 id=playlist_shared_normal/
  id=playlist_personal_normal/../../x
Playlist.get 404 id=playlist_shared_normal/1%20OR%20true id=playlist_shared_normal/-1
  id=playlist_personal_normal/..
bob:Playlist.get 404 id=HERS
Playlist.add 400 id=HERS
Playlist.remove 400 id=HERS id=HERS&position=x&length=1
Playlist.rename 400 id=HERS&name=a/b
bob:Playlist.remove_missing 400 id=SMART
Playlist.delete 403 id=SMART
Setting.set 400 x colour=red title=Four&GOOD
  GOOD&browse_personal_library=yes
Setting.set 403 GOOD&user=alice&permissions=usb GOOD&custom_key=1
admin:Setting.set 404 user=nobody&permissions=usb&GOOD user=../alice&permissions=
admin:Setting.set 400 user=alice&permissions=usb,everything permissions=usb custom_key=5
  user=alice&permissions=usb&value= user=alice&GOOD custom_key=1&title=[4097]
Sharing.get 400 x id=a&playlist_id=playlist_shared_normal/12
Sharing.get 404 id=aaaaaaaa id=%27%20OR%20%271%27=%271
Sharing.create 400 x playlist_id=SMART&date_expired=never
  playlist_id=SMART&date_available=2030-01-01
Sharing.create 404 playlist_id=playlist_shared_normal/4711 playlist_id=playlist_shared_normal/[9999]
Sharing.update 400 id=aaaaaaaa&date_expired=2020-02-30
Sharing.delete 404 id=aaaaaaaa
Sharing.share_song 400 x id=music_1%20OR%201=1
Sharing.share_song 404 id=music_BOBS
Pin.pin 400 type=album type=album&name=n&criteria={ type=album&name=n&criteria=DEEP
Pin.pin 2 name=n
Pin.pin 3 type=album&name=n&criteria=[]
Pin.pin 6 type=folder&name=n&criteria={%22folder%22:%22dir_99%22}
Pin.pin 7 type=playlist&name=n&criteria={%22playlist%22:%22playlist_personal_normal/99%22}
Pin.unpin 5 id=99
Pin.rename 400 id=99
Pin.reorder 400 ids=99&limit=0
Pin.reorder 1 ids=99
Player.info 404 renderer=2147483648 renderer=[5000]
Player.control 400 action=play action=play&value=-1 action=play&value=2147483648
  action=play&value=1,2 action=mode&value=2 action=add&value=/etc/passwd action=clear&value=1
Player.volume 400 action=set_group&value=1,x action=set_card
  action=set_card&value=101
Player.queue 400 action=add&songs= action=add&songs=/etc/passwd action=add&songs=http://h/x.mp3
  action=add&songs=music_1,/m/one.flac action=add&songs=music_1%20OR%20true
  action=add&songs=%5B%22music_1%22,null%5D
Player.queue 404 action=add&songs=music_99 action=add&songs=music_1,music_BOBS
Player.equalizer 404 action=send
Player.equalizer 400 action=send&value=0,0,0,0,0,0,0,0,0 action=send&value=0,0,0,0,0,0,0,0,0,nan
  action=send&value=0,0,0,0,0,0,0,0,0,24.1
Cover.get 400 id=music_1&size=63 id=music_1&size=1025 id=music_1&size=-64 id=music_1&size=64x64
  x album= id=dir_ id=dir_1%20OR%201=1 id=/etc/passwd url=file:///etc/passwd
  url=http://127.0.0.1/x.jpg album=x&id=music_1 url=http://8.8.8.8/x.jpg&id=music_1
Stream.stream 400 id=music_1&format=mp3&bitrate=100000
Stream.remote 400 url=file:///etc/passwd url=http://127.0.0.1/&format=mp3
MediaServer.browse 400 x url=http://10.0.0.1%0d%0a/ url=http://127.0.0.1/
Auth.login 405 name=alice&password=x
Auth.end 400 x id=0 id=all id=1%20OR%20true
Auth.end 404 id=99
User.change_password 400 x old=x new=12345678
User.change_password 403 old=x&new=12345678
User.add_key 400 for=[201] for=a%0Ab
User.remove_key 404 id=99
User.list 403 x
User.add 403 name=eve&password=12345678
User.change 403 name=bob&permissions=
User.remove 403 name=bob
admin:User.add 400 name=eve name=eve&password=1234567 name=root&password=12345678
  name=Tonvale&password=12345678 name=../eve&password=12345678 name=e:ve&password=12345678
  name=-e&password=12345678 name=[33]&password=12345678 name=eve&password=[257]
  name=eve&password=12345678%0A
admin:User.change 404 name=nobody&permissions=usb
admin:User.change 400 name=bob name=bob&password=short name=bob&administrator=perhaps
admin:User.remove 404 name=nobody name=root
admin:User.remove 403 name=admin
admin:User.change 403 name=admin&administrator=false
MediaServer.list 400 wait=1&address=127.0.0.1
)";

TEST_F(Contract, RefusesBadValuesAndChangesNothing) {
    const std::pair<const char *, std::string> kShort[] = {
        {"BOBS", std::to_string(bobs_)},
        {"HERS", "playlist_personal_normal/7"},
        {"SMART", "playlist_shared_smart/Rock%20%26%20Roll"},
        {"GOOD", "prefer_using_html5=false"},
        {"DEEP", std::string(100000, '[')}};
    const auto whole = [&](std::string query) {
        for (const auto &[name, text] : kShort) {
            query = std::regex_replace(query, std::regex(name), text);
        }
        std::smatch number;
        return std::regex_search(query, number, std::regex("\\[(\\d+)\\]"))
                   ? number.prefix().str() + std::string(std::stoul(number[1]), 'x')
                   : query;
    };
    const std::string before = State();
    std::istringstream lines(kRefusals + 1);
    std::string user, method;
    int code = 0;
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> queries = Words(line);
        if (!line.starts_with(' ')) {
            const std::size_t colon = queries[0].find(':');
            user = colon != line.npos ? queries[0].substr(0, colon) : "alice";
            method = queries[0].substr(colon + 1);
            code = std::stoi(queries[1]);
            queries.erase(queries.begin(), queries.begin() + 2);
        }
        for (const std::string &query : queries) {
            const Json::Value error = Asked(method, whole(query), user)["error"];
            EXPECT_EQ(error["code"], code) << method << " " << query;
            EXPECT_TRUE(code != 400 || error.isMember("parameter") ||
                        error["message"] != "a parameter is missing or bad")
                << method << " " << query;
            EXPECT_NE(error["message"], "") << method << " " << query;
        }
        ASSERT_EQ(State(), before) << line;
    }
    for (const char *query : {"api=VARN.Tonvale.Info&version=1", "api=VARN.Tonvale.Info&method=get",
                              "api=VARN.Tonvale.Info&version=2&method=get"}) {
        EXPECT_TRUE(IsRefused(GetCgi(query), 405)) << query;
    }
    EXPECT_TRUE(IsRefused(GetCgi(""), 102));
    const std::string get = "api=VARN.Tonvale.Song&version=1&method=get";
    EXPECT_TRUE(Contains(GetCgi(get + "&id=" + In("song")), "'song' is no song's identifier"))
        << "the message names no folder of this machine";
    EXPECT_TRUE(IsRefused(RunCgi({{"REQUEST_METHOD", "PUT"}, {"REMOTE_USER", "alice"}}), 405));
}

TEST_F(Contract, RefusesStrangersAndOtherSites) {
    const Variables elsewhere = {{"HTTP_SEC_FETCH_SITE", "cross-site"}};
    const Variables here = {{"HTTP_SEC_FETCH_SITE", "same-origin"}};
    // All others change something.
    const auto reading = Words(
        "all albums artists browse composers get get_song info keys list listen lyrics playlists "
        "preview remote rule search sessions song state stream zip");
    const std::string before = State();
    for (const tonvale_entry::Api *api : tonvale_entry::AllApis()) {
        for (const tonvale_entry::Method &row : api->methods) {
            if (api->isPublic || !row.needsLogin) {
                continue;
            }
            const std::string method =
                std::string(api->name.substr(13)) + "." + std::string(row.name);
            SCOPED_TRACE(method);
            // Cover.get asks elsewhere where it is given an address.
            const bool asksElsewhere = row.asksElsewhere || method == "Cover.get";
            const std::string query = asksElsewhere ? "url=ftp://x/&address=x" : "x";
            const bool changes = std::count(reading.begin(), reading.end(), row.name) == 0;
            const bool isForAdministrators =
                api->name.ends_with(".Index") || (api->name.ends_with(".Radio") && changes) ||
                (api->name.ends_with(".User") && !method.ends_with("key") &&
                 !method.ends_with("keys") && !method.ends_with("change_password"));
            const bool needsRight = api->name.ends_with(".Player") ||
                                    api->name.ends_with(".Sharing") || isForAdministrators;
            EXPECT_EQ(CodeOf(method, query, ""), 401);
            EXPECT_EQ(CodeOf(method, query, "bob") == 403, needsRight);
            EXPECT_EQ(CodeOf(method, query, "alice", elsewhere) == 403,
                      changes || asksElsewhere || isForAdministrators);
            if (changes) {
                EXPECT_EQ(CodeOf(method, query, "alice", {{"REQUEST_METHOD", "HEAD"}}), 405);
            } else if (asksElsewhere) {
                EXPECT_EQ(CodeOf(method, query, "alice", here), 400);
            }
        }
    }
    EXPECT_EQ(State(), before);
}

// A method that needs no root's rights cannot take them back. One that takes them for moments
// writes its list without them.
TEST_F(Cgi, GivesRootsRightsUpWhereItCan) {
    const bool isRoot = IsRoot();
    for (const auto &[api, isKept] :
         {std::pair("Album", false), {"Song", false}, {"Playlist", true}}) {
        const bool isTaken = isRoot && isKept;
        const bool holds = HoldsInChild([&] {
            setenv("REQUEST_METHOD", "GET", 1);
            setenv("REMOTE_USER", "alice", 1);
            const std::string query = "version=1&method=list&api=VARN.Tonvale." + std::string(api);
            setenv("QUERY_STRING", query.c_str(), 1);
            ASSERT_EQ(ResetCredentialsByName(varn::kPackageAccount), 0);
            auto request = tonvale_entry::Request::Read(tonvale_entry::Login::Take());
            const auto action = tonvale_entry::FindAction(request);
            EXPECT_EQ(seteuid(0) == 0, isTaken) << api;
            EXPECT_TRUE(!isTaken || action->Process());
            EXPECT_NE(seteuid(0), 0) << "the list was written with root's rights";
        });
        EXPECT_TRUE(holds) << api;
    }
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
    EXPECT_EQ(post(type, length, form + "&x=more"), info);
    EXPECT_TRUE(IsRefused(post("text/plain", length, form), 400));
    for (const std::string &bad : {std::to_string(form.size() + 1), std::string("104857600"),
                                   std::string("-1"), std::string("x")}) {
        EXPECT_TRUE(IsRefused(post(type, bad, form), 400)) << bad;
    }
    EXPECT_TRUE(IsRefused(post(type, length, form, "api=VARN.Tonvale.Info"), 400));
}

class CgiStream : public DatabaseTest {
  protected:
    static constexpr char kStream[] = "version=1&api=VARN.Tonvale.Stream&method=stream&id=";

    void SetUp() override {
        DatabaseTest::SetUp();
        WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
    }
    static std::string Header(const std::string &rest) {
        return GetCgi(kStream + rest, {{"REQUEST_METHOD", "HEAD"}});
    }
};

TEST_F(CgiStream, SendsOnlyFilesThatTheUserMayHear) {
    for (const auto &[id, name] : {std::pair(1, "O'B 100% #1?\xC3\xA9.FLAC"),
                                   {2, "gone\r\nX: y/a.mp3"},
                                   {3, ""},
                                   {4, "a\tb.mp3"}}) {
        Query(InsertSql({.id = id, .path = scratch() / name}));
    }
    Query(InsertSql({.id = 6, .userid = kBob, .path = scratch() / "a_b.mp3"}));
    for (const char *name : {"O'B 100% #1?\xC3\xA9.FLAC", "a\tb.mp3", "a_b.mp3"}) {
        Touch(scratch() / name, "sound");
    }
    const std::string sent = GetCgi(kStream + std::string("music_1"));
    EXPECT_TRUE(sent.starts_with("Status: 200 OK\r\nX-Accel-Buffering: no\r\n")) << sent;
    EXPECT_TRUE(sent.ends_with("Content-Type: audio/flac\r\nContent-Length: 5\r\n\r\nsound"))
        << sent;
    EXPECT_TRUE(GetCgi(kStream + std::string("music_4")).ends_with("\r\n\r\nsound"));
    for (const std::string &id : Words("music_2 music_3 music_v_1 music_p_6")) {
        EXPECT_TRUE(IsRefused(GetCgi(kStream + id), 404, "Status: 404 Not Found\r\n")) << id;
    }
}

// A cut has the type of the encoder's answer. A name may belong to another format.
TEST_F(CgiStream, CutsOnlyWhatItCanCut) {
    const std::string bad = "Status: 400 Bad Request\r\n";
    const std::string plain = "Status: 200 OK\r\n\r\n";
    const std::string mpeg = "Status: 200 OK\r\nContent-Type: audio/mpeg\r\n\r\n";
    const std::tuple<const char *, const char *, const char *, const std::string &> cuts[] = {
        {"a.FLAC", "flac", "flac", plain}, {"a.MP3", "mp3", "mp3", mpeg},
        {"a.mp3", "flac", "flac", bad},    {"a.mp3", "mp3", "mp2", bad},
        {"a.AIFF", "aiff", "pcm", bad},    {"a.wav", "aiff", "pcm", bad},
        {"a.wav", "flac", "flac", bad},    {"a.m4a", "mp4", "aac", plain},
        {"a.m4a", "mp4", "pcm", bad}};
    Query(InsertSql({.id = 3}));
    for (const auto &[name, container, codec, answer] : cuts) {
        Touch(scratch() / name, name);
        Query("UPDATE track SET path = '" + (scratch() / name).string() + "', container = '" +
              container + "', codec = '" + codec + "'");
        const std::string got = Header("music_3&position=1");
        EXPECT_TRUE(&answer == &bad ? IsRefused(got, 400, bad) : got == answer)
            << name << " " << container << " " << codec;
    }
}

// MP3 has a list of bit rates for each kind of sampling rate.
TEST_F(CgiStream, RefusesBitRatesThatMp3DoesNotHave) {
    Touch(scratch() / "a.flac");
    Query(InsertSql({.id = 1, .path = scratch() / "a.flac"}));
    const std::tuple<int, const char *, const char *> rates[] = {
        {44100, "32000", "24000"}, {0, "320000", "144000"},     {96000, "160000", "150000"},
        {28000, "224000", "8000"}, {22050, "144000", "192000"}, {8000, "64000", "80000"}};
    for (const auto &[frequency, permitted, refused] : rates) {
        Query("UPDATE track SET frequency = " + std::to_string(frequency));
        for (const char *rate : {permitted, refused}) {
            const std::string header = Header("music_1&format=mp3&bitrate=" + std::string(rate));
            EXPECT_EQ(header.starts_with("Status: 200"), rate == permitted)
                << frequency << " " << rate;
        }
    }
}

}  // namespace

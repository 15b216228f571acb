// The web API's lists of the library, and its ratings.
#include <algorithm>
#include <filesystem>

#include "tonvale/paths.h"
#include "varn/host.h"
#include "webapi/api.h"

namespace tonvale_test {

namespace {

const std::string kAwkward = "O'B \"100%_\" \\ \xC3\xA9";

class SongApi : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        const auto song = [](int id, unsigned userid, const std::string &title) {
            return TrackRow{.id = id,
                            .userid = userid,
                            .path = scratch() / (std::to_string(id) + ".mp3"),
                            .title = title};
        };
        TrackRow first = song(1, 0, "\xC3\xA9 one");
        first.album = kAwkward;
        first.artist = "A";
        first.genres = {"Rock", kAwkward};
        first.year = 2001;
        TrackRow second = song(2, 0, "F two");
        second.album_artist = "a";
        second.year = 1999;
        TrackRow third = song(3, 0, "E three");  // a track of the song 6
        third.is_virtual = true;
        TrackRow file = third;
        file.id = 6;
        file.is_virtual = false;
        file.has_virtual = true;
        third.composer = "rock";
        Query(InsertSql(first) + InsertSql(second) + InsertSql(third) + InsertSql(file) +
              InsertSql(song(4, kAlice, "mine")) + InsertSql(song(5, kBob, "his")));
    }
    // The identifiers that a method answers to a query, between blanks.
    static std::string Ids(const std::string &method, const std::string &query) {
        const Json::Value answer = Parsed(GetCgi(QueryOf("Song/" + method + "?" + query)));
        std::string ids;
        for (const std::string &id : Each(answer["data"]["songs"])) {
            ids += (ids.empty() ? "" : " ") + id;
        }
        return ids;
    }
    static std::string Stars() {
        return Value(
            "SELECT coalesce(string_agg(userid || '/' || track || ':' || star, ' ' "
            "ORDER BY userid, track), '') FROM rating_track");
    }
};

// The library's tests cover what filters and fields match.
TEST_F(SongApi, PassesOrdersFiltersAndSearchesOn) {
    const std::string awkward = Encoded(kAwkward);
    const std::tuple<const char *, std::string, const char *> cases[] = {
        {"list", "", "music_1 music_v_3 music_2 music_4"},
        {"list", "sort_direction=DESC", "music_4 music_2 music_v_3 music_1"},
        {"list", "sort_by=year&library=actual_shared&limit=2", "music_6 music_2"},
        {"list", "library=virtual", "music_v_3"},
        {"list", "library=personal", "music_4"},
        {"list", "artist=a", "music_1 music_2"},
        {"list", "artist=", "music_v_3 music_4"},
        {"list", "album_artist=&library=shared", "music_1 music_v_3"},
        {"list", "album=" + awkward + "&genre=" + awkward, "music_1"},
        {"list", "composer=rock", "music_v_3"},
        {"search", "keyword=ROCK", "music_1 music_v_3"},
        {"search", "keyword=rock&field=genre", "music_1"},
        {"search", "field=album&keyword=" + awkward, "music_1"},
        {"search", "keyword=his", ""},
        {"search", "keyword=e&field=title&sort_by=year&sort_direction=DESC",
         "music_1 music_v_3 music_4"}};
    for (const auto &[method, query, ids] : cases) {
        EXPECT_EQ(Ids(method, query), ids) << query;
    }
    EXPECT_EQ(Ask("Song/search?keyword=rock&limit=1")["total"].asInt(), 2);
    const Json::Value all = Ask("Search/all", {{"keyword", "R\u00D6ck"}, {"limit", "1"}});
    EXPECT_EQ(Told(all, "total.songs songs[1] composers[0].name composers[1]"), "2 - rock -");
    EXPECT_EQ(Each(Ask("Search/artists?keyword=a")["artists"], "name"), (Texts{"a", "A"}));
    const Json::Value page = Ask("Song/list?offset=3&limit=2");
    EXPECT_EQ(Told(page, "total songs[0].id songs[1]"), "4 music_4 -");
    EXPECT_EQ(Ask("Song/list?sort_by=random&limit=2")["songs"].size(), 2U);
}

TEST_F(SongApi, WritesLongListsWhole) {
    std::string sql;
    for (int id = 1001; id <= 1600; ++id) {  // more than are held at a time
        sql += InsertSql({.id = id, .path = "/m/" + std::to_string(id), .year = 3000 + id});
    }
    Query(sql + "INSERT INTO rating_track VALUES (1030, 1300, 4)");
    const Json::Value page =
        Ask("Song/list?sort_by=year&sort_direction=DESC&limit=5000&additional=song_rating");
    ASSERT_EQ(page["songs"].size(), 604U);
    EXPECT_EQ(page["total"].asInt(), 604);
    for (Json::ArrayIndex i = 0; i < 600; ++i) {
        const Json::Value &song = page["songs"][i];
        ASSERT_EQ(song["id"].asString(), "music_" + std::to_string(1600 - i));
        ASSERT_EQ(song["additional"]["song_rating"]["rating"].asInt(), i == 300 ? 4 : 0);
    }
    EXPECT_EQ(Each(Ask("Song/get?id=music_2,music_v_3,music_3,music_p_5,music_2")["songs"]),
              (Texts{"music_2", "music_v_3", "music_2"}));
}

TEST_F(SongApi, RatesAllSongsOrNone) {
    EXPECT_EQ(Ask("Song/rate?id=music_1,music_v_3,music_4&rating=5"),
              Json::Value(Json::objectValue));
    Ask("Song/rate", {{"id", "[\"music_1\"]"}, {"rating", "2"}}, "bob");
    EXPECT_EQ(Stars(), "1030/1:5 1030/3:5 1030/4:5 1031/1:2");
    EXPECT_EQ(CodeOf("Song/rate?id=music_1,music_5&rating=1"), 404);
    EXPECT_EQ(Stars(), "1030/1:5 1030/3:5 1030/4:5 1031/1:2") << "one song is bob's";

    // One row that the database refuses.
    Query("DELETE FROM rating_track");
    Query(
        "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
        "IF NEW.star = 1 AND NEW.track = 3 THEN RAISE 'no'; END IF; RETURN NEW; END $$; "
        "CREATE TRIGGER refuse BEFORE INSERT ON rating_track FOR EACH ROW "
        "EXECUTE FUNCTION refuse()");
    WriteFile(varn::path::kIndexFolders, scratch().string() + "\n");
    const Given all = {{"id", "music_1,music_v_3,music_4,music_6"}, {"rating", "1"}};
    EXPECT_EQ(CodeOf("Song/rate", all), 500);
    EXPECT_EQ(Stars(), "");
    EXPECT_FALSE(fs::exists(scratch() / "@eaDir"));
    Ask("Song/rate", {all[0], {"rating", "2"}});
    EXPECT_EQ(Stars(), "1030/1:2 1030/3:2 1030/4:2 1030/6:2");
    for (const char *record : {"1.mp3", "3.mp3", "3.mp3_0", "4.mp3"}) {
        EXPECT_TRUE(fs::exists(scratch() / "@eaDir" / record)) << record;
    }
}

TEST_F(SongApi, ChangesNothingForAnotherSite) {
    const std::string rate = QueryOf("Song/rate?id=music_1&rating=5");
    const auto isRefused = [&](Variables variables) {
        variables.emplace("HTTP_HOST", "nas:8480");
        Query("DELETE FROM rating_track");
        const bool refused = Contains(GetCgi(rate, variables), "{\"code\":403,");
        EXPECT_EQ(Stars().empty(), refused);
        return refused;
    };
    for (const std::string &good : Words("http://nas:8480 https://NAS:8480")) {
        EXPECT_FALSE(isRefused({{"HTTP_ORIGIN", good}})) << good;
    }
    for (const std::string &bad : Words("http://nas http://nas:84800 http://evil.example null")) {
        EXPECT_TRUE(isRefused({{"HTTP_ORIGIN", bad}})) << bad;
    }
    for (const std::string &site : Words("same-origin cross-site same-site none")) {
        EXPECT_EQ(isRefused({{"HTTP_SEC_FETCH_SITE", site}}), site != "same-origin") << site;
    }
    EXPECT_FALSE(isRefused({{"HTTP_USER_AGENT", "curl/8"}}));
    EXPECT_TRUE(isRefused({{"HTTP_USER_AGENT", "Mozilla/5.0"}}));
    // Of several fields the one that browsers cannot fake counts.
    EXPECT_FALSE(isRefused({}));
    EXPECT_TRUE(isRefused({{"HTTP_SEC_FETCH_SITE", "none"}, {"HTTP_ORIGIN", "http://nas:8480"}}));
    EXPECT_FALSE(
        isRefused({{"HTTP_ORIGIN", "http://nas:8480"}, {"HTTP_USER_AGENT", "Mozilla/5.0"}}));
}

class GroupApi : public ApiTest {
  protected:
    static constexpr char kZoe[] = "Zo\u00EB";
    static constexpr char kAbel[] = "\u00E1bel";

    void SetUp() override {
        ApiTest::SetUp();
        TrackRow abba = {.id = 1, .album = "Gold", .artist = "Abba", .composer = "B", .year = 1992};
        abba.genres = {"Pop", "Rock"};
        TrackRow guest = {.id = 2, .album = "Gold", .artist = "Guest", .year = 2001};
        guest.album_artist = kZoe;
        guest.genres = {"Rock"};
        Query(InsertSql(abba) + InsertSql(guest) +
              InsertSql({.id = 3, .userid = kAlice, .album = "Hers", .artist = kAbel}) +
              InsertSql({.id = 4, .userid = kBob, .album = "His", .artist = "Bob"}) +
              "INSERT INTO rating_track VALUES (1030, 2, 4), (1031, 1, 5)");
    }
};

TEST_F(GroupApi, ListsTheUsersAlbumsArtistsGenresAndComposers) {
    const std::tuple<std::string, const char *, Texts> cases[] = {
        {"Album/list", "albums", {"Gold", "Gold", "Hers"}},
        {"Album/list?library=personal", "albums", {"Hers"}},
        {"Album/list?keyword=ER", "albums", {"Hers"}},
        {"Artist/list?sort_by=star&sort_direction=DESC&limit=1", "artists", {kZoe}},
        {"Artist/list?keyword=&genre=Pop", "artists", {"Abba"}},
        {"Artist/list", "artists", {"Abba", kAbel, kZoe}},
        {"Genre/list?colour=red&album_artist=" + Encoded(kZoe), "genres", {"Rock"}},
        {"Composer/list?genre=Pop", "composers", {"B"}}};
    for (const auto &[asked, list, names] : cases) {
        EXPECT_EQ(Each(Ask(asked)[list], "name"), names) << asked;
    }
    WriteFile(varn::path::kSystemInfo, "codepage=\"12\"\n");  // which switches the collation off
    EXPECT_EQ(Each(Ask("Artist/list")["artists"], "name"), (Texts{"Abba", kZoe, kAbel}));
    const Json::Value albums = Ask("Album/list?sort_by=year&sort_direction=DESC&limit=1");
    EXPECT_EQ(albums["total"].asInt(), 3);
    const Json::Value &gold = albums["albums"][0];
    EXPECT_EQ(Told(gold, "year star album_artist"), "2001 4.0 " + std::string(kZoe))
        << "the user's own stars";
    EXPECT_EQ(Ask("Genre/list?offset=9")["total"].asInt(), 3);
}

using FolderApi = ApiTest;

TEST_F(FolderApi, PagesThroughFoldersAndThenSongs) {
    const fs::path music = scratch() / "a_b%";
    fs::create_directory(music);
    ASSERT_TRUE(varn::host::AddMusicFolders({music}));
    Query(FolderSql(1, music) + FolderSql(2, music / "Z") + FolderSql(3, music / "a'") +
          FolderSql(4, music / "Z/deep") + FolderSql(5, scratch() / "aXb%") +
          FolderSql(6, scratch() / "aXb%/no") + FolderSql(7, "/h/b", kBob) +
          InsertSql({.id = 1, .path = music / "2.mp3"}) +
          InsertSql({.id = 2, .path = music / "1.mp3"}) +
          InsertSql({.id = 3, .path = music / "Z/3.mp3"}) +
          InsertSql({.id = 4, .userid = kBob, .path = music / "his.mp3"}));
    const Json::Value roots = Ask("Folder/list");
    EXPECT_EQ(Told(roots, "folders[0].id folders[0].path folders[1] total"), "dir_1 /a_b% - 1");

    const Texts entries = {"dir_3", "dir_2", "music_2", "music_1"};
    for (std::size_t offset = 0; offset < 4; ++offset) {
        const Json::Value page = Ask(
            "Folder/list", {{"id", "dir_1"}, {"offset", std::to_string(offset)}, {"limit", "2"}});
        Texts shown = Each(page["folders"]);
        const Texts songs = Each(page["songs"]);
        shown.insert(shown.end(), songs.begin(), songs.end());
        const auto first = entries.begin() + static_cast<long>(offset);
        EXPECT_EQ(shown, Texts(first, first + std::min<long>(2, entries.end() - first)));
        EXPECT_EQ(page["total"].asInt(), 4);
    }
    EXPECT_EQ(Each(Ask("Folder/list?id=dir_4")["trail"]), (Texts{"dir_1", "dir_2", "dir_4"}));
    EXPECT_EQ(CodeOf("Folder/list?id=dir_7"), 404) << "bob's";
    EXPECT_EQ(Each(Ask("Folder/list?id=dir_7", {}, "bob")["folders"]), Texts());
    for (const char *user : {"alice", "bob"}) {
        EXPECT_EQ(CodeOf("Folder/list?id=dir_p_7&library=shared", {}, user), 404);
    }
    const Finished table = Tonvale({"folders", "--in", "1", "--user", "alice", "--limit", "3"});
    EXPECT_TRUE(table.out.ends_with("\n1-3 of 4 folders and songs\n")) << table.out << table.err;
}

TEST_F(FolderApi, ShowsAndPinsTheUsersOwnFolders) {
    const fs::path own = AudioFile::GetHomeMusicPath("alice");
    Query(FolderSql(8, own, kAlice) + FolderSql(9, own / "x", kAlice));
    for (const char *library : {"all", "personal"}) {
        const Json::Value all = Ask("Folder/list", {{"library", library}});
        EXPECT_EQ(Each(all["folders"]).back(), "dir_p_8") << library;
        Ask("Pin/pin",
            {{"type", "folder"}, {"name", library}, {"criteria", R"({"folder":"dir_p_9"})"}});
        const Json::Value pin = Ask("Pin/list")["pins"][0];
        EXPECT_EQ(pin["criteria"]["folder"], "dir_p_9");
        Ask("Folder/list", {{"id", "dir_p_9"}, {"library", library}});
        Ask("Pin/unpin", {{"id", pin["id"].asString()}});
    }
}

}  // namespace

}  // namespace tonvale_test

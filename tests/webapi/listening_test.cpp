// Plays, favourites, bookmarks, queues and stations, through the web API.
#include "service/listening/plays.h"
#include "service/people/people.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

class Listening : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        std::string sql;
        for (int id = 1; id <= 8; ++id) {
            TrackRow song{.id = id,
                          .userid = id == 6   ? kAlice
                                    : id == 7 ? kBob
                                              : 0U,
                          .path = scratch() / (std::to_string(id == 8 ? 5 : id) + ".mp3"),
                          .title = "t" + std::to_string(id)};
            song.album = id <= 3 ? "It's" : "Other";
            song.album_artist = id == 3 ? "B" : "";
            song.artist = id == 2 ? "ABBA" : "Abba";
            song.is_virtual = id == 5;
            song.has_virtual = id == 8;
            sql += InsertSql(song);
        }
        sql += "UPDATE artist_track SET artist_sort = 'abba'";
        Query(sql);
    }
    static Texts Names(const std::string &api, const std::string &list, const char *key,
                       const std::string &user = "alice") {
        const std::string asked = api + "/list?sort_direction=DESC&sort_by=" + key;
        return Each(Ask(asked, {}, user)[list], list == "songs" ? "id" : "name");
    }
    static Texts Queue(const std::string &user = "alice") {
        const Json::Value queue = Ask("Queue/get", {}, user);
        Texts texts = {queue["current"].asString() + "@" + queue["position"].asString()};
        for (const Json::Value &id : queue["songs"]) {
            texts.push_back(id.asString());
        }
        return texts;
    }
    static std::string Rows() {
        return Value(
            "SELECT (SELECT count(*) FROM song_play) || ' ' ||"
            " (SELECT count(*) FROM favourite_song) || ' ' ||"
            " (SELECT count(*) FROM favourite_album) || ' ' ||"
            " (SELECT count(*) FROM favourite_artist) || ' ' ||"
            " (SELECT count(*) FROM bookmark) || ' ' || (SELECT count(*) FROM play_queue)");
    }
};

TEST_F(Listening, CountsPlaysForTheirUserAlone) {
    Ask("Play/note?songs=music_1,music_3,music_1,music_p_6,music_99,music_7");
    Ask("Play/note?songs=music_v_5,music_3&times=1000,99999999999");
    Ask("Play/note?songs=music_7,music_2", {}, "bob");
    EXPECT_EQ(Names("Song", "songs", "plays").size(), 4U);
    EXPECT_EQ(Names("Song", "songs", "plays")[0], "music_3") << "played last of two";
    EXPECT_EQ(Names("Song", "songs", "plays").back(), "music_v_5");
    EXPECT_EQ(Names("Song", "songs", "plays", "bob"), (Texts{"music_2", "music_7"}));
    const Json::Value page =
        Ask("Song/list?sort_by=played&limit=2&offset=1&library=shared&additional=song_plays");
    EXPECT_EQ(Told(page, "total songs[0].additional.song_plays.count"), "3 2");
    EXPECT_EQ(Each(page["songs"]), (Texts{"music_1", "music_3"}));
    EXPECT_EQ(Value("SELECT count(*) FROM song_play WHERE last > now()"), "0");
    // Albums of one name are two, and an artist's two spellings are one.
    const Json::Value albums = Ask("Album/list?sort_by=plays&sort_direction=DESC")["albums"];
    EXPECT_EQ(Each(albums, "name"), (Texts{"It's", "It's", "Other"}));
    EXPECT_EQ(Each(albums, "album_artist"), (Texts{"B", "", ""}));
    EXPECT_EQ(Names("Artist", "artists", "plays"), (Texts{"Abba", "B"}));
    EXPECT_EQ(CodeOf("Genre/list?sort_by=plays"), 400);
}

TEST_F(Listening, KeepsFavouritesOfEachUser) {
    const char *const plain = "Song/list?sort_by=title&library=shared";
    const Json::Value before = Ask(plain);
    for (const std::string &given : Words("songs=music_2 songs=music_v_5,music_2 album=It%27s "
                                          "album=It%27s artist=abba artist=ABBA")) {
        Ask("Favourite/add?" + given);
    }
    EXPECT_EQ(Rows(), "0 2 1 1 0 0");
    EXPECT_EQ(Names("Song", "songs", "favourite"), (Texts{"music_v_5", "music_2"}));
    EXPECT_EQ(Names("Album", "albums", "favourite"), Texts{"It's"});
    EXPECT_EQ(Names("Artist", "artists", "favourite"), Texts{"Abba"});
    const auto told = [&](const std::string &user) {
        std::string flags;
        for (const auto &[api, list, additional] : {std::tuple("Song", "songs", "song_favourite"),
                                                    {"Album", "albums", "favourite"},
                                                    {"Artist", "artists", "favourite"}}) {
            const Json::Value data =
                Ask(std::string(api) + "/list?library=shared&additional=" + additional, {}, user);
            for (const Json::Value &object : data[list]) {
                const Json::Value &flag = object.isMember("additional")
                                              ? object["additional"]["song_favourite"]["favourite"]
                                              : object["favourite"];
                flags += flag.asBool() ? '1' : '0';
            }
            flags += ' ';
        }
        return flags;
    };
    EXPECT_EQ(told("alice"), "01001 100 10 ");
    EXPECT_EQ(told("bob"), "00000 000 00 ");
    EXPECT_EQ(Ask(plain), before) << "a list without favourites is unchanged";
    const std::string id = Ask("Playlist/create?name=mixed&songs=music_1,music_2")["id"].asString();
    const Json::Value entries =
        Ask("Playlist/get", {{"id", id}, {"additional", "song_favourite"}})["songs"];
    EXPECT_EQ(Told(entries,
                   "[0].additional.song_favourite.favourite "
                   "[1].additional.song_favourite.favourite [2]"),
              "false true -");
    EXPECT_EQ(Ask("Favourite/list")["artists"][0]["name"].asString(), "abba");
    Ask("Favourite/remove?artist=ABBA", {}, "bob");
    EXPECT_EQ(Rows(), "0 2 1 1 0 0");
    for (const std::string &given : Words("artist=ABBA album=It%27s songs=music_2,music_1")) {
        Ask("Favourite/remove?" + given);
    }
    EXPECT_EQ(Rows(), "0 1 0 0 0 0");
}

TEST_F(Listening, SharesAQueueBetweenAUsersClients) {
    EXPECT_EQ(Queue(), Texts{"0@0"});
    const std::string songs = "music_1,music_v_5,music_7,music_1,music_2";
    const std::string changed =
        Ask("Queue/set?current=3&position=4200&client=desk&seen=0", {{"songs", songs}})["changed"]
            .asString();
    EXPECT_EQ(Queue(), (Texts{"2@4200", "music_1", "music_v_5", "music_1", "music_2"}));
    EXPECT_EQ(Queue("bob"), Texts{"0@0"});
    // Of two clients that change the queue that they have read, the second one is refused.
    const Given move = {{"song", "music_2"}, {"current", "3"}, {"seen", changed}};
    Ask("Queue/move", move);
    EXPECT_EQ(CodeOf("Queue/move", move), 409);
    EXPECT_EQ(CodeOf("Queue/set", {{"songs", "music_3"}, {"seen", changed}}), 409);
    EXPECT_EQ(CodeOf("Queue/set?songs=music_3&seen=0"), 409);
    EXPECT_EQ(CodeOf("Queue/move?song=music_4"), 409);
    EXPECT_EQ(Queue()[0], "3@0");
    Query("DELETE FROM track WHERE id = 2");
    EXPECT_EQ(Queue()[0], "0@0") << "the current song, which was the last, is gone";
    Ask("Queue/move?song=music_1&current=2&position=7");
    EXPECT_EQ(Queue()[0], "2@7") << "the nearer one of two";
    std::string most = "music_1";
    for (int i = 1; i < 10000; ++i) {
        most += ",music_1";
    }
    Ask("Queue/set", {{"songs", most}, {"current", "9999"}});
    EXPECT_EQ(Ask("Queue/get")["current"].asInt(), 9999);
    EXPECT_EQ(CodeOf("Queue/set", {{"songs", most + ",music_1"}}), 400);
    EXPECT_EQ(Ask("Queue/get")["songs"].size(), 10000U);
    Ask("Queue/set?songs=");
    EXPECT_EQ(Queue(), Texts{"0@0"});
}

TEST_F(Listening, ForgetsSongsAndUsersThatAreGone) {
    for (const unsigned uid : {kAlice, kBob}) {
        const std::string user = uid == kAlice ? "alice" : "bob";
        Ask("Play/note?songs=music_1,music_2", {}, user);
        Ask("Favourite/add?songs=music_1,music_2", {}, user);
        Ask("Favourite/add?album=It%27s", {}, user);
        Ask("Favourite/add?artist=B", {}, user);
        Ask("Queue/set?songs=music_1,music_2&current=1", {}, user);
        Ask("Bookmark/set?song=music_1&position=1&comment=", {}, user);
        Ask("Bookmark/set?song=music_2&position=2&comment=two%0Alines", {}, user);
        Ask("Bookmark/set?song=music_2&position=3&comment=%27", {}, user);
        tonvale_service::NotePlaying(uid, 2, user);
    }
    EXPECT_EQ(Rows(), "4 4 2 2 4 2");
    Query("DELETE FROM track WHERE id = 1");
    EXPECT_EQ(Rows(), "2 2 2 2 2 2");
    const Json::Value bookmarks = Ask("Bookmark/list", {}, "bob")["bookmarks"];
    EXPECT_EQ(Told(bookmarks, "[0].comment [0].position [1]"), "' 3 -");
    tonvale_service::RemoveUser("alice", false);
    EXPECT_EQ(Rows(), "1 1 1 1 1 1");
    EXPECT_EQ(Queue("bob"), (Texts{"0@0", "music_2"}));
    EXPECT_EQ(tonvale_service::PlayingNow(kBob, 60).size(), 1U);
    EXPECT_EQ(Value("SELECT count(*) FROM now_playing"), "1");
}

TEST_F(Listening, LetsAdministratorsChangeRadioStations) {
    const Given jazz = {{"name", "Jazz \xE2\x99\xAB"}, {"stream", "https://r.example/a?b=c"}};
    const std::string id = Ask("Radio/add", jazz, "admin")["id"].asString();
    Ask("Radio/change",
        {{"id", id}, {"name", "Z"}, {"stream", "http://r"}, {"home_page", "http://h"}}, "admin");
    Ask("Radio/add?name=A&stream=http://r", {}, "admin");
    EXPECT_EQ(Each(Ask("Radio/list")["stations"], "name"), (Texts{"A", "Z"}));
    Ask("Radio/remove", {{"id", id}}, "admin");
    EXPECT_EQ(Each(Ask("Radio/list")["stations"], "home_page"), Texts{""});
}

}  // namespace

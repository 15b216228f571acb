// What clients change, play and look at below /rest/. rest_test.cpp tests the library's lists.
#include <fstream>
#include <regex>
#include <thread>

#include "ctrl/scripted_daemon.h"
#include "misc/pictures.h"
#include "service/listening/plays.h"
#include "service/people/settings.h"
#include "service/songs/song_marks.h"
#include "subsonic/ids.h"
#include "webapi/rest.h"

namespace {

using namespace tonvale_test;

class RestChanges : public Rest {
  protected:
    void SetUp() override {
        Rest::SetUp();
        tonvale_service::SetPermission("alice", RIGHT_ALL);
        fs::permissions(scratch(), fs::perms(0755));
        AddSong();
        std::string songs;
        for (const auto &[id, userid] : {std::pair(2, 0U), {3, 0U}, {4, kAlice}, {5, kBob}}) {
            const fs::path path = scratch() / (std::to_string(id) + ".mp3");
            Touch(path, "sound");
            TrackRow row = {.id = id, .userid = userid, .path = path, .title = "t"};
            row.album = "A";
            row.artist = row.album_artist = "B";
            songs += InsertSql(row);
        }
        Query(songs);
        Serve();
    }

    Texts Entries(const std::string &playlist) const {
        const Json::Value answer = AskRest("getPlaylist?id=" + Encoded(playlist));
        EXPECT_EQ(answer["playlist"]["songCount"].asUInt(), answer["playlist"]["entry"].size());
        return Each(answer["playlist"]["entry"]);
    }
    std::string Make(const std::string &parameters) const {
        return AskRest("createPlaylist?" + parameters)["playlist"]["id"].asString();
    }
    // Requests that must succeed, between blanks.
    void Do(const std::string &queries) const {
        for (const std::string &query : Words(queries)) {
            EXPECT_EQ(FaultOf(query), -1) << query;
        }
    }
    HttpAnswer Fetch(const std::string &query, const std::string &fields = "") const {
        return Get("/rest/" + query + "&" + By(), fields);
    }
};

// Codes, each before the requests that are refused with it. "@album" stands for the identifier of
// the songs' album. The song 5 is bob's.
constexpr char kRefusals[] = R"(
0 getAlbum?id=@album&id=@album getAlbumList?type=best getAlbumList2?type=newest&size=-1
  getAlbumList2?type=newest&offset=99999999999 search2?query=a&query=b
  setRating?id=music_1&rating=6 scrobble?id=music_1&id=music_2&time=1
  scrobble?id=music_1&submission=maybe savePlayQueue?id=music_1&current=music_2
  savePlayQueue?id=music_1&position=-1 createShare?id=music_1&expires=1000
  stream?id=music_1&maxBitRate=-1 stream?id=music_1&timeOffset=x stream?id=music_1&id=music_2
  getCoverArt?id=music_1&size=big jukeboxControl?action=dance
  jukeboxControl?action=setGain&gain=2 jukeboxControl?action=setGain&gain=nan ping?x=%FF
10 getAlbum getAlbum?id= getArtist getSong getMusicDirectory getAlbumList
  getAlbumList?type=byYear&fromYear=1990 getAlbumList2?type=byGenre getSongsByGenre getTopSongs
  getSimilarSongs getAlbumInfo search3 updatePlaylist createPlaylist deletePlaylist star
  setRating?id=music_1 setRating?rating=1 scrobble savePlayQueueByIndex?id=music_1
  savePlayQueueByIndex?id=music_1&currentIndex=1 savePlayQueueByIndex?currentIndex=0
  createBookmark?id=music_1 createBookmark?position=1 deleteBookmark createShare stream
  jukeboxControl jukeboxControl?action=skip jukeboxControl?action=add
50 getPlaylists?username=bob
70 nothing getAlbum?id=music_1 getArtist?id=@album getSong?id=music_99 getSong?id=music_1%27
  getSong?id=music_5 getArtistInfo?id=music_5 getMusicDirectory?id=dir_99
  getIndexes?musicFolderId=2 getSimilarSongs2?id=ar- updatePlaylist?playlistId=x
  star?id=music_1&id=music_5 star?id=dir_1 star?albumId=music_1 unstar?artistId=ar-0
  setRating?id=music_5&rating=1 scrobble?id=x scrobble?id=music_5 savePlayQueue?id=5
  createBookmark?id=music_5&position=1 deleteBookmark?id=music_2 createShare?id=music_5
  updateShare?id=00000000 stream?id=music_5 download?id=al-1 getCoverArt?id=music_5
  getCoverArt?id=ar-1 getLyricsBySongId?id=music_5 hls.m3u8?id=music_1
  getAvatar?username=alice jukeboxControl?action=add&id=music_5
-1 getArtistInfo?id=music_4 getPlaylists?username=
)";

TEST_F(RestChanges, RefusesBadRequests) {
    int code = 0;
    for (const std::string &word : Words(kRefusals)) {
        if (std::atoi(word.c_str()) != 0 || word == "0") {
            code = std::atoi(word.c_str());
            continue;
        }
        const std::string query =
            std::regex_replace(word, std::regex("@album"), tonvale_subsonic::AlbumId("A", "B"));
        EXPECT_EQ(FaultOf(query), code) << query;
    }
}

TEST_F(RestChanges, ChangesPlaylistsForTheirUserAlone) {
    const std::string id = Make("name=M%26M&songId=music_1&songId=music_2&songId=music_1");
    const std::string named = "?playlistId=" + Encoded(id);
    EXPECT_EQ(Entries(id), (Texts{"music_1", "music_2", "music_1"}));
    EXPECT_EQ(FaultOf("createPlaylist?name=M%26M"), 0);
    // Clients neither see nor count streams and lost songs, and keep them.
    const fs::path file = Value("SELECT path FROM personal_playlist");
    std::ofstream(file, std::ios::app) << "http://radio.example/\n/gone.mp3\n";
    Do("updatePlaylist" + named + "&songIdToAdd=music_3&songIdToAdd=music_4");
    EXPECT_EQ(Entries(id), (Texts{"music_1", "music_2", "music_1", "music_3", "music_4"}));
    Do("updatePlaylist" + named +
       "&songIndexToRemove=3&songIndexToRemove=0&name=N&comment=x&public=false");
    EXPECT_EQ(Entries(id), (Texts{"music_2", "music_1", "music_4"}));
    EXPECT_NE(ReadFile(Value("SELECT path FROM personal_playlist")).find("radio.example"),
              std::string::npos);
    const Json::Value list = AskRest("getPlaylists")["playlists"]["playlist"];
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(Told(list[0], "name owner songCount duration public"), "N alice 3 10 false");
    // A refused request changes nothing.
    Make("name=taken");
    const std::pair<std::string, int> refused[] = {
        {"updatePlaylist" + named + "&songIndexToRemove=3", 0},
        {"updatePlaylist" + named + "&songIndexToRemove=0&songIdToAdd=music_3&name=taken", 0},
        {"updatePlaylist" + named + "&songIdToAdd=music_2&songIdToAdd=music_5", 70},
        {"updatePlaylist" + named + "&songIdToAdd=http://radio.example/", 70},
        {"updatePlaylist" + named + "&public=true", 0},
        {"updatePlaylist" + named + "&name=a%2Fb", 0},
        {"createPlaylist" + named + "&name=taken&songId=music_3", 0},
        {"createPlaylist" + named + "&songId=music_99", 70}};
    for (const auto &[query, code] : refused) {
        EXPECT_EQ(FaultOf(query), code) << query;
    }
    for (const std::string query :
         {"getPlaylist?id=", "deletePlaylist?id=", "createPlaylist?songId=music_1&playlistId=",
          "updatePlaylist?name=x&playlistId="}) {
        EXPECT_EQ(FaultOf(query + Encoded(id), "bob"), 70) << query;
    }
    EXPECT_EQ(Entries(id), (Texts{"music_2", "music_1", "music_4"}));
    Do("createPlaylist" + named + "&songId=music_3");
    EXPECT_EQ(Entries(id), Texts{"music_3"});
    Do("deletePlaylist?id=" + Encoded(id));
    EXPECT_EQ(FaultOf("getPlaylist?id=" + Encoded(id)), 70);
}

TEST_F(RestChanges, PlaylistSumsFollowTheFileAndTheLibrary) {
    const std::string id = Make("name=M&songId=music_1&songId=music_2");
    const auto sum = [&] {
        return Told(AskRest("getPlaylists"),
                    "playlists.playlist[0].songCount "
                    "playlists.playlist[0].duration");
    };
    EXPECT_EQ(sum(), "2 10");
    const fs::path file = Value("SELECT path FROM personal_playlist");
    fs::last_write_time(file, fs::last_write_time(file) - std::chrono::minutes(1));
    EXPECT_EQ(sum(), "2 10");
    EXPECT_EQ(sum(), "2 10");
    Query("UPDATE track SET duration = 20 WHERE id = 2");
    EXPECT_EQ(sum(), "2 30");
    Do("updatePlaylist?songIndexToRemove=0&playlistId=" + Encoded(id));
    EXPECT_EQ(sum(), "1 20");
}

TEST_F(RestChanges, RefusesToChangeSmartPlaylists) {
    WriteFile(varn::path::kSmartPlaylists, "\"All\" { title is \"t\" }\n");
    const Json::Value list = AskRest("getPlaylists")["playlists"]["playlist"];
    ASSERT_EQ(list.size(), 1U) << list;
    const std::string id = list[0]["id"].asString();
    EXPECT_EQ(list[0]["public"], true);
    EXPECT_FALSE(Entries(id).empty());
    for (const std::string query : {"deletePlaylist?id=", "createPlaylist?playlistId=",
                                    "updatePlaylist?name=x&playlistId="}) {
        EXPECT_EQ(FaultOf(query + Encoded(id)), 50) << query;
    }
}

TEST_F(RestChanges, LosesNoneOfSeveralChangesAtOnce) {
    const std::string id = Make("name=many");
    std::vector<std::thread> clients;
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([&] {
            for (int turn = 0; turn < 3; ++turn) {
                Do("updatePlaylist?songIdToAdd=music_1&playlistId=" + Encoded(id));
            }
        });
    }
    for (std::thread &client : clients) {
        client.join();
    }
    EXPECT_EQ(Entries(id).size(), 12U);
}

TEST_F(RestChanges, RecordsStarsRatingsAndPlays) {
    const std::string album = tonvale_subsonic::AlbumId("A", "B");
    const std::string artist = tonvale_subsonic::ArtistId("b");
    Do("star?id=music_1&id=music_2&albumId=" + album + "&artistId=" + artist + " star?id=" + album +
       " unstar?id=music_2 setRating?rating=4&id=" + album +
       " setRating?id=music_1&rating=5 scrobble?id=music_3&submission=false "
       "scrobble?id=music_1&id=music_1&id=music_2"
       "&time=1000000000000&time=1100000000000&time=");
    const auto marks = tonvale_service::MarksOf(kAlice, {1, 2, 3});
    EXPECT_GT(marks.at(1).favouriteSince, 0);
    EXPECT_EQ(marks.at(2).favouriteSince, 0);
    EXPECT_EQ(std::pair(marks.at(1).stars, marks.at(2).stars), std::pair(5, 4));
    EXPECT_EQ(std::pair(marks.at(1).plays, marks.at(3).plays), std::pair(2, 0));
    EXPECT_EQ(marks.at(1).lastPlayed, 1100000000);
    const auto playing = tonvale_service::PlayingNow(kAlice, 60);
    ASSERT_EQ(playing.size(), 1U);
    EXPECT_EQ(playing[0].client, "test");
    std::string many = "star?id=" + album;
    for (int i = 0; i < 200; ++i) {
        many += "&albumId=" + album;
    }
    EXPECT_EQ(FaultOf(many), 0);
    EXPECT_EQ(FaultOf("setRating?id=music_1&rating=1", "bob"), -1) << "bob has no rights";
}

TEST_F(RestChanges, KeepsQueuesAndBookmarksOfEachUser) {
    EXPECT_FALSE(AskRest("getPlayQueue").isMember("playQueue"));
    Do("savePlayQueue?id=music_1&id=music_2&current=music_2&position=1500");
    Json::Value queue = AskRest("getPlayQueueByIndex")["playQueueByIndex"];
    EXPECT_EQ(Told(queue, "currentIndex position changedBy"), "1 1500 test");
    Do("savePlayQueueByIndex?id=music_1&id=music_1&currentIndex=1");
    queue = AskRest("getPlayQueue")["playQueue"];
    EXPECT_EQ(queue["current"], "music_1");
    EXPECT_EQ(Each(queue["entry"]), (Texts{"music_1", "music_1"}));
    Do("createBookmark?id=music_1&position=100&comment=%3Chere%3E "
       "createBookmark?id=music_1&position=200");
    const Json::Value bookmarks = AskRest("getBookmarks")["bookmarks"]["bookmark"];
    ASSERT_EQ(bookmarks.size(), 1U);
    EXPECT_EQ(Told(bookmarks[0], "position entry.id"), "200 music_1");
    EXPECT_EQ(FaultOf("deleteBookmark?id=music_1", "bob"), 70);
    EXPECT_FALSE(AskRest("getPlayQueue", "bob").isMember("playQueue"));
    EXPECT_EQ(AskRest("getPlayQueue")["playQueue"]["entry"].size(), 2U);
    Do("deleteBookmark?id=music_1 savePlayQueue?id=music_5");
    EXPECT_TRUE(AskRest("getPlayQueue")["playQueue"]["entry"].empty()) << "the song is bob's";
}

TEST_F(RestChanges, SharesSongsUntilTheLinkIsDeleted) {
    const std::string made = "createShare?id=music_1&id=music_2&description=For+you";
    const Json::Value share = AskRest(made + "&expires=4102444800000")["shares"]["share"][0];
    EXPECT_EQ(share["description"], "For you");
    EXPECT_GT(share["created"].asString(), "2026") << "the day of the request";
    EXPECT_EQ(share["entry"].size(), 2U);
    EXPECT_TRUE(share["expires"].asString().starts_with("2100-01-0")) << share;
    const std::string id = share["id"].asString();
    EXPECT_EQ(Get("/as/sharing/" + id, "").Status(), 200);
    // The name is taken; and those that no file has.
    const std::pair<std::string, std::string> names[] = {
        {"For+you", "For you (2)"},
        {"AC/DC%0A", "AC-DC-"},
        {"1999", "Shared 1999"},
        {std::string(223, 'n') + "%C3%BC" + std::string(80, 'n'), std::string(223, 'n')}};
    for (const auto &[given, name] : names) {
        const Json::Value more = AskRest("createShare?id=music_1&description=" + given);
        EXPECT_EQ(Told(more["shares"]["share"][0], "description"), name);
        Do("deleteShare?id=" + more["shares"]["share"][0]["id"].asString());
    }
    Do("updateShare?expires=0&id=" + id);
    const Json::Value list = AskRest("getShares")["shares"]["share"];
    ASSERT_EQ(list.size(), 1U);
    EXPECT_FALSE(list[0].isMember("expires"));
    EXPECT_EQ(FaultOf("updateShare?description=x&id=" + id), 0);
    EXPECT_EQ(FaultOf("deleteShare?id=" + id + "'"), 70);
    EXPECT_EQ(FaultOf("getShares", "bob"), 50);
    tonvale_service::SetPermission("bob", RIGHT_SHARING);
    EXPECT_EQ(FaultOf("deleteShare?id=" + id, "bob"), 70);
    EXPECT_EQ(FaultOf("updateShare?expires=0&id=" + id, "bob"), 70);
    EXPECT_TRUE(AskRest("getShares", "bob")["shares"]["share"].empty());
    Do("deleteShare?id=" + id);
    EXPECT_EQ(AskRest("getPlaylists")["playlists"]["playlist"].size(), 5U);
}

TEST_F(RestChanges, SendsSoundCoversAndLyricsAsAsked) {
    Query("UPDATE track SET bitrate = 900000 WHERE id = 1");
    const std::string file = ReadFile(scratch() / "O'B 100% #1 \xC3\xA9.flac");
    EXPECT_EQ(Fetch("stream?id=music_1").body, file);
    EXPECT_EQ(Fetch("stream?id=music_1&format=raw&maxBitRate=64").body, file);
    EXPECT_EQ(Fetch("stream?id=music_1&maxBitRate=1000").body, file);
    EXPECT_EQ(Fetch("download.view?id=music_1").body, file);
    const HttpAnswer part = Fetch("stream?id=music_1", "Range: bytes=10-19\r\n");
    EXPECT_EQ(part.Status(), 206);
    EXPECT_EQ(part.body, file.substr(10, 10));
    const struct {
        const char *query;
        const char *type;
        double seconds;
        int bytes;  // a second
    } cases[] = {{"&maxBitRate=65", "audio/mpeg", 10, 8000},
                 {"&format=mp3", "audio/mpeg", 10, 16000},
                 {"&format=opus&maxBitRate=1&timeOffset=4", "audio/mpeg", 6, 4000},
                 {"&format=wav&timeOffset=8&estimateContentLength=true", "audio/x-wav", 2, 176400}};
    for (const auto &[query, type, seconds, bytes] : cases) {
        const HttpAnswer answer = Fetch("stream?id=music_1" + std::string(query));
        EXPECT_TRUE(answer.Has("Content-Type: " + std::string(type))) << query << answer.header;
        EXPECT_TRUE(answer.Has("Content-Length: " + std::to_string(answer.body.size()))) << query;
        EXPECT_NEAR(static_cast<double>(answer.body.size()), seconds * bytes, bytes) << query;
    }
    Draw("300x300", scratch() / "cover.jpg");
    EXPECT_GT(Fetch("getCoverArt?id=music_1").body.size(), 1000U);
    const std::string album = tonvale_subsonic::AlbumId("A", "B");
    for (const std::string &id : {std::string("music_2"), album}) {
        const HttpAnswer small = Fetch("getCoverArt?size=1&id=" + id);
        EXPECT_TRUE(small.Has("Content-Type: image/jpeg")) << small.header;
        EXPECT_LT(small.body.size(), Fetch("getCoverArt?size=99999&id=" + id).body.size());
    }
    std::ofstream(scratch() / "O'B 100% #1 \xC3\xA9.lrc") << "[00:01]one\n[00:02]two";
    const Json::Value lyrics =
        AskRest("getLyricsBySongId?id=music_1")["lyricsList"]["structuredLyrics"];
    EXPECT_EQ(Told(lyrics, "[0].synced [0].line[1].start [1]"), "true 2000 -");
    EXPECT_EQ(AskRest("getLyrics?title=SONG")["lyrics"]["value"], "one\ntwo");
    EXPECT_EQ(AskRest("getLyrics?title=song&artist=none")["lyrics"]["value"], "");
}

TEST_F(RestChanges, LetsUsersWithTheRightUseServerAndPlayer) {
    const std::pair<const char *, int> cases[] = {
        {"getUser?username=bob", -1},
        {"getUser?username=alice", 50},
        {"getUser", 10},
        {"getUsers", 50},
        {"startScan", 50},
        {"createUser?username=x&password=x", 50},
        {"changePassword?username=bob&password=x", 50},
        {"getInternetRadioStations", -1},
        {"createInternetRadioStation?name=x&streamUrl=http://r.example/", 50},
        {"deleteInternetRadioStation?id=1", 50},
        {"jukeboxControl?action=status", 50},
        {"jukeboxControl?action=clear", 50},
        {"getPodcasts", -1},
        {"createPodcastChannel?url=x", 70}};
    for (const auto &[query, code] : cases) {
        EXPECT_EQ(FaultOf(query, "bob"), code) << query;
    }
    EXPECT_EQ(AskRest("getUser?username=alice")["user"]["jukeboxRole"], true);
    EXPECT_EQ(FaultOf("jukeboxControl?action=status"), 0) << "no player answers";
    ScriptedDaemon daemon(R"({"success": true, "state": "play", "index": 1, "volume": 50,
        "position": 7, "total": 2, "songs": [{"path": "/home/bob/x.mp3"},
        {"path": ")" + Value("SELECT path FROM track WHERE id = 1") +
                          R"("}]})");
    const Json::Value status = AskRest("jukeboxControl?action=skip&index=1")["jukeboxStatus"];
    EXPECT_EQ(Told(status, "gain currentIndex playing"), "0.5 1 true");
    const Json::Value queue = AskRest("jukeboxControl?action=get")["jukeboxPlaylist"];
    EXPECT_EQ(queue["position"], 7);
    EXPECT_EQ(Each(queue["entry"], "title"), (Texts{"x.mp3", "song"}));
    Do("jukeboxControl?action=add&id=music_1");
}

}  // namespace

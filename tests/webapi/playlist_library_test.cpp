// Pages of normal and smart playlists, with a personal library and without.
#include <gtest/gtest.h>
#include <json/value.h>
#include <unistd.h>

#include <fstream>

#include "support/fixture.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/packageconf.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using Tonvale::webapi::playlist::PlaylistLibrary;

constexpr char kPreferences[] = "/usr/varn/etc/preference/alice";

class Playlists : public DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        WriteFile(varn::path::kShares, "music=\"" + Music() + "\"\n");
        for (int id = 1; id <= 5; ++id) {
            Query(InsertSql({.id = id,
                             .path = Music() + "/" + std::to_string(id) + ".mp3",
                             .year = 2000 + id,
                             .track = id}));
        }
        WriteList(Music() + "/shared.m3u");
        WriteList(Own() + "/own.m3u");
        Query(
            "INSERT INTO rating_track VALUES (1030, 2, 5);"
            "INSERT INTO playlist (id, path, title) VALUES (11, '" +
            Music() +
            "/shared.m3u', 'The \"shared\" one');"
            "INSERT INTO personal_playlist (userid, id, path, title) VALUES (1030, 12, '" +
            Own() + "/own.m3u', 'Mine')");
        ClearLog();
    }

    static std::string Music() { return scratch().string() + "/music"; }
    static std::string Own() { return root().string() + "/volume1/homes/alice/music"; }
    static std::string Preferences() { return At(kPreferences); }

    // A stream, the songs 5, 4, 2 and 1, and a file that is not in the library.
    static void WriteList(const std::string &file) {
        fs::create_directories(fs::path(file).parent_path());
        std::string text = "#EXTM3U\r\nhttp://radio/x\r\n";
        for (const char *name : {"5", "4", "unknown", "2", "1"}) {
            text += Music() + "/" + name + ".mp3\r\n";
        }
        std::ofstream(file) << text;
    }
    static PlaylistLibrary Alice() {
        PlaylistLibrary library(kAlice, "alice", Preferences());
        library.addSongRating = true;
        return library;
    }
    // "id:stars" of each track.
    static std::string Summary(const Json::Value &tracks) {
        std::string all;
        for (const Json::Value &track : tracks) {
            all += (all.empty() ? "" : " ") + track["id"].asString() + ":" +
                   track["additional"]["song_rating"]["rating"].asString();
        }
        return all;
    }
};

TEST_F(Playlists, FindNormalOnesByTheirKeyAndLibrary) {
    WriteList(Preferences() + "/playlists/7 O'B.m3u");
    WriteList(Preferences() + "/__VARN_AUDIO_SHARED_SONGS__.m3u");
    const char *const sharedSongs = Tonvale::webapi::playlist::kSharedSongsId;
    struct Case {
        const char *personalLibraries, *key;
        int type, total;
    };
    for (const Case &c :
         {Case{"yes", "11", 1, 6}, Case{"no", "11", 1, 6}, Case{"yes", "12", 0, 6},
          Case{"yes", "12", 2, 6}, Case{"yes", "11xyz", 1, 6},  // leading digits count
          Case{"no", "7 O'B", 0, 6}, Case{"yes", "7 O'B", 0, -1}, Case{"no", "12", 0, -1},
          Case{"yes", "12", 1, -1}, Case{"yes", "", 1, -1}, Case{"yes", "4294967307", 1, -1},
          Case{"no", "../../other", 0, -1}, Case{"yes", sharedSongs, 0, 6},
          Case{"yes", sharedSongs, 1, -1}}) {
        VARNAudioConfSet("enable_personal_library", c.personalLibraries);
        Json::Value tracks(Json::arrayValue);
        EXPECT_EQ(Alice().GetTrackFromNormalPlaylist(c.key, c.type, 0, 1, tracks), c.total)
            << c.key;
        EXPECT_EQ(tracks.size(), c.total < 0 ? 0U : 1U) << c.key;
        EXPECT_EQ(geteuid(), getuid());
    }
    EXPECT_TRUE(Logged("audiolib/webapi_library:[0-9]+ Failed to get playlist path\\.$"));
    Json::Value page(Json::arrayValue);
    EXPECT_EQ(Alice().GetTrackFromNormalPlaylist("11", 1, 3, 2, page), 6);
    EXPECT_EQ(Summary(page), "music_" + Music() + "/unknown.mp3:0 music_2:5");
}

TEST_F(Playlists, PageThroughSmartOnes) {
    WriteFile(varn::path::kSmartPlaylists,
              "\"all\" { year > 2001 }\n\"none\" { year > 3000 }\n"
              "\"broken\" { year }\n");
    WriteFile(std::string(kPreferences) + "/playlists/smart.playlist",
              "\"mine\" { rating is 5 }\n");
    struct Case {
        const char *name;
        int type, offset, limit, total;
        const char *tracks;
    };
    for (const Case &c :
         {Case{"all", 1, 0, 2, 4, "music_2:5 music_3:0"}, Case{"all", 7, 3, 10, 4, "music_5:0"},
          Case{"all", 1, 9, 10, 4, ""}, Case{"none", 1, 0, 10, 0, ""},
          Case{"mine", 0, 0, 10, 1, "music_2:5"}, Case{"mine", 1, 0, 10, -1, ""},
          Case{"all", 0, 0, 10, -1, ""}, Case{"broken", 1, 0, 10, -1, ""}}) {
        ClearLog();
        Json::Value tracks(Json::arrayValue);
        EXPECT_EQ(
            Alice().GetTrackFromSmartPlaylist(c.name, c.type, "all", c.offset, c.limit, tracks),
            c.total)
            << c.name;
        EXPECT_EQ(Summary(tracks), c.tracks) << c.name;
        EXPECT_EQ(
            Logged("Failed to get smart playlist by the name \\[" + std::string(c.name) + "\\]$"),
            c.total < 0);
    }
    EXPECT_EQ(Alice().GetTotalFromSmartPlaylist("year > 2003", "shared"), 2);
    EXPECT_EQ(Alice().GetTotalFromSmartPlaylist("not SQL", "all"), -1);
    EXPECT_EQ(Alice().GetTotalFromSmartPlaylist("", "all"), -1) << "no rules are not every song";
    // Editing shared playlists takes a right.
    WriteFile(varn::path::kUsersFile, R"({"1030": {"playlist": true}, "1031": {"sharing": true}})");
    EXPECT_TRUE(Alice().GetSharedPlaylistPrivilege());
    EXPECT_FALSE(PlaylistLibrary(kBob, "bob", "").GetSharedPlaylistPrivilege());
    EXPECT_FALSE(PlaylistLibrary(kAlice, "", "").GetSharedPlaylistPrivilege());
}

// The tests of pins cover the files that are found.
TEST_F(Playlists, LogIdentifiersThatHaveNoFile) {
    WriteList(Preferences() + "/playlists/mine.m3u");
    WriteFile(std::string(kPreferences) + "/playlists/smart.playlist", "\"own\" { broken }\n");
    std::string name = "before";
    std::string path = "before";
    const auto find = [&](const std::string &id, bool byRecordNumber) {
        ClearLog();
        const int found = VARNAudioWebapiUtilsGetPlaylistNamePath(id, kAlice, Preferences(),
                                                                  byRecordNumber, name, path);
        BackToRoot();
        return found;
    };
    for (const auto &[id, log] :
         {std::pair("shared_normal/12", "Failed to get playlist\\.$"),
          {"personal_normal/mine", "Failed to get playlist\\.$"},
          {"shared_smart/own", "Failed to get iTunes's playlist\\. name=own$"},
          {"shared_smart", "Invalid plsylist id\\.$"}}) {
        EXPECT_EQ(find(std::string("playlist_") + id, true), 0) << id;
        EXPECT_TRUE(Logged(std::string("audiolib/webapi_utils:[0-9]+ ") + log)) << id;
    }
    EXPECT_EQ(find("playlist_personal_normal/gone", false), 0);
    EXPECT_TRUE(Logged("Failed to get playlist\\. name=.*/playlists/gone\\.m3u$"));
    EXPECT_EQ(name + path, "beforebefore");
    EXPECT_EQ(find("playlist_shared_normal/11 x", true), 1);
    EXPECT_EQ(name + path, "The \"shared\" one" + Music() + "/shared.m3u");
    EXPECT_EQ(find("playlist_personal_smart/own", false), 1);
    EXPECT_EQ(name + path, "own" + Preferences() + "/playlists/smart.playlist");
}

TEST_F(Playlists, LeaveTheProcessWithTheIdsThatCallersExpect) {
    if (!IsRoot()) {
        GTEST_SKIP() << "a process without rights runs as one account";
    }
    WriteList(Preferences() + "/playlists/mine.m3u");
    const auto isFound = [&](const char *id) {
        std::string name, path;
        return VARNAudioWebapiUtilsGetPlaylistNamePath(id, kAlice, Preferences(), false, name,
                                                       path) == 1;
    };
    EXPECT_TRUE(isFound("playlist_personal_normal/mine"));
    EXPECT_EQ(geteuid(), GetUserIdFromName(varn::kPackageAccount));
    EXPECT_FALSE(isFound("playlist_personal_normal/gone"));
    EXPECT_EQ(geteuid(), 0U) << "the early return does not switch back";
    fs::rename(root() / "etc/passwd", root() / "etc/away");
    ASSERT_EQ(seteuid(kAlice), 0);
    EXPECT_TRUE(isFound("playlist_personal_normal/mine"));
    EXPECT_EQ(geteuid(), kAlice) << "without the package's account";
    ASSERT_EQ(seteuid(0), 0);
    fs::rename(root() / "etc/away", root() / "etc/passwd");
}

}  // namespace

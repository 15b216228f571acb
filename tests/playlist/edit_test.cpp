// Adding, replacing and removing songs of playlists.
#include <tuple>

#include "playlist/playlist_test.h"

namespace {

using namespace tonvale_test;

class PlaylistEdit : public PlaylistTest {
  protected:
    // A list of songs by the letters of their names; a digit is track 1 to 9 of "cue.flac".
    Songs List(std::string_view names) {
        std::vector<VARN_MEDIA_INFO> records;
        for (const char name : names) {
            records.push_back(name >= '1' && name <= '9' ? Record(1, In("cue.flac"), name - '0')
                                                         : Record(1, In(std::string(1, name))));
        }
        return MakeSongs(records);
    }
    // A shared playlist with these songs. The library knows the tracks alone.
    std::string Make(std::string_view names, const std::string &name = "list.pls") {
        if (!tracksKnown_) {
            AddSong({.path = In("cue.flac"), .has_virtual = true});
            for (int track = 1; track <= 3; ++track) {
                AddSong({.path = In("cue.flac"), .track = track, .is_virtual = true});
            }
            tracksKnown_ = true;
        }
        EXPECT_EQ(Write(List(names).get(), In(name)), 0);
        return AddRow(In(name), name, "m");
    }
    static std::string Names(const std::string &name = "list.pls") {
        std::string names;
        const Songs songs = Read(In(name));
        for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
            const std::string_view path = song->info.path;
            names += song->info.virtual_track != 0 ? std::to_string(song->info.virtual_track)
                                                   : std::string(path.substr(path.rfind('/') + 1));
        }
        return names;
    }
    static int Done(int result) {
        BackToRoot();
        return result;
    }

  private:
    bool tracksKnown_ = false;
};

TEST_F(PlaylistEdit, SongsAreReplacedAndAppended) {
    using Case = std::tuple<std::string, int, int, std::string, const char *, std::string>;
    for (const auto &[before, start, length, names, duplicates, after] :
         {Case{"abc", 0, 0, "x", "", "xabc"}, Case{"abc", 1, 1, "xy", "", "axyc"},
          Case{"abc", 1, -1, "", "", "a"}, Case{"abc", 0, 99, "2", "", "2"},
          Case{"", 0, 0, "a", "", "a"}, Case{"a1b", 2, 0, "a1", "", "a1a1b"},
          Case{"abc", 4, 0, "x", "", ""}, Case{"abc", -1, 0, "x", "", ""},
          Case{"abc", 3, 0, "bxa", "true", "abcx"}, Case{"abc", 3, 0, "bxa", nullptr, "abcx"},
          Case{"abc", 3, 0, "bxa", "false", ""}, Case{"abc", 3, 0, "xy", "false", "abcxy"},
          Case{"abc", 0, -1, "cab", "false", "cab"},  // what goes is no duplicate
          Case{"abc", 1, 1, "bc", "true", "abc"}, Case{"a12", 3, 0, "123", "true", "a123"},
          Case{"ab", 2, 0, "aa", "true", "aba"}}) {
        const std::string id = Make(before);
        const Songs added = List(names);
        const bool plain = duplicates != nullptr && *duplicates == '\0';
        const int result = plain ? VARNPlaylistUpdateSongs("shared", kAlice, id.c_str(), start,
                                                           length, added.get())
                                 : VARNPlaylistUpdateSongsList("shared", kAlice, id.c_str(), start,
                                                               length, added.get(), duplicates);
        EXPECT_EQ(Done(result), after.empty() ? -1 : 0);
        EXPECT_EQ(Names(), after.empty() ? before : after) << names;
        EXPECT_EQ(Shown(added), Shown(List(names))) << "the caller's list stays";
    }
    EXPECT_TRUE(
        Logged("audiolib/playlist:[0-9]+ Bad parameters\\. Start\\[4\\] > TotalRow\\[3\\]"));
    const std::string id = Make("ab");
    EXPECT_EQ(Done(VARNPlaylistAppendSongs("shared", kAlice, id.c_str(), List("a1").get())), 0);
    EXPECT_EQ(Names(), "aba1");
}

TEST_F(PlaylistEdit, SelectedSongsAreRemoved) {
    for (const auto &[selection, after] : {std::pair("0", "b2c"),
                                           {"3,0", "b2"},
                                           {"1,,2,x", "ac"},
                                           {"0,1,2,3", ""},
                                           {"01, 1,-1,4,1e0", "ab2c"},
                                           {"2,2,2", "abc"}}) {
        const std::string id = Make("ab2c");
        EXPECT_EQ(Done(VARNPlaylistRemoveSongs("shared", kAlice, id.c_str(), selection)), 0);
        EXPECT_EQ(Names(), after) << selection;
    }
}

TEST_F(PlaylistEdit, MissingSongsAreRemoved) {
    AddSong({.path = In("known")});
    AddSong({.userid = kBob, .path = In("bobs")});
    const auto clean = [&](const std::string &name) {
        const std::string id = AddRow(In(name), name, "m");
        return Done(VARNPlaylistRemoveMissing("shared", kAlice, id.c_str()));
    };
    Touch(In("l.m3u"), "known\nunknown\nbobs\nhttp://r/x\n/volumeUSB1/usbshare/x\ncue.flac_9\n");
    EXPECT_EQ(clean("l.m3u"), 0);
    EXPECT_EQ(ReadFile(In("l.m3u")),
              "#EXTM3U\r\nknown\r\nhttp://r/x\r\n/volumeUSB1/usbshare/x\r\n");
    Touch(In("empty.m3u"));
    EXPECT_EQ(clean("empty.m3u"), -1);
    EXPECT_TRUE(Logged("Parse playlist \\(2, .*empty.m3u\\) return NULL\\."));
    EXPECT_EQ(clean("gone.m3u"), -1);
    EXPECT_TRUE(Logged("Playlist\\(3, .*gone.m3u\\) does not exist\\."));
}

// The library has the songs below a link by the link's path. Lists there must find them by it.
TEST_F(PlaylistEdit, ListsBehindLinksKeepTheirSongs) {
    const fs::path away = scratch() / "away";
    const fs::path home = root() / "volume1/homes/alice";
    fs::remove_all(home / "music");
    fs::create_directory_symlink(away / "disk", music() / "linked");
    fs::create_directory_symlink(away / "hers", home / "music");
    AddSong({.path = In("up.mp3")});
    for (const std::string &place : {In("linked"), (home / "music").string()}) {
        const bool isHers = place != In("linked");
        const uid_t owner = isHers ? kAlice : 0;
        const std::string real = fs::path(isHers ? away / "hers" : away / "disk").string();
        const std::string path = place + "/lists/l.m3u";
        fs::create_directories(real);
        Touch(real + "/a.mp3");
        Touch(real + "/lists/b.mp3");
        AddSong({.userid = owner, .path = place + "/a.mp3"});
        AddSong({.userid = owner, .path = place + "/lists/b.mp3"});
        const std::string songs = "../a.mp3\r\nb.mp3\r\n";
        Touch(path, songs + real + "/a.mp3\n" + (isHers ? "" : "../../up.mp3\n../../../music/") +
                        (isHers ? "" : "up.mp3\n") + "gone.mp3\n");
        const std::string id = AddRow(path, "l", "lists", owner);
        const Texts shown = Shown(Read(real + "/lists/l.m3u"));
        EXPECT_EQ(Shown(Read(path)), shown);
        for (const std::string &entry : shown) {
            EXPECT_EQ(entry.starts_with("0 "), entry == "0 " + place + "/lists/gone.mp3") << entry;
        }
        EXPECT_EQ(
            Done(VARNPlaylistRemoveMissing(isHers ? "personal" : "shared", kAlice, id.c_str())), 0);
        EXPECT_EQ(ReadFile(path), "#EXTM3U\r\n" + songs + "../a.mp3\r\n" +
                                      (isHers ? "" : "../../up.mp3\r\n../../up.mp3\r\n"));
    }
}

TEST_F(PlaylistEdit, AUsersOwnFileIsEdited) {
    Make("ab2", "own.m3u");
    const std::string path = In("own.m3u");
    EXPECT_EQ(Done(VARNPersonalPlaylistAppendSongs(kAlice, path.c_str(), List("a2x").get(), 1)), 0);
    EXPECT_EQ(Names("own.m3u"), "ab2x");
    EXPECT_EQ(Done(VARNPersonalPlaylistAppendSongs(kAlice, path.c_str(), List("a").get(), 0)), 0);
    EXPECT_EQ(Names("own.m3u"), "ab2xa");
    EXPECT_EQ(Done(VARNPersonalPlaylistUpdateSongs(kAlice, path.c_str(), 0, 2, List("b").get())),
              0);
    EXPECT_EQ(Names("own.m3u"), "b2xa");
    for (const std::string name : {"cue.flac_2", "b", "cue.flac", "not there"}) {
        EXPECT_EQ(
            Done(VARNPersonalPlaylistRemoveSongByPath(kAlice, path.c_str(), In(name).c_str())), 0);
    }
    EXPECT_EQ(Names("own.m3u"), "xa");
    EXPECT_EQ(Done(VARNPersonalPlaylistRemoveMissing(kAlice, path.c_str())), 0);
    EXPECT_EQ(Names("own.m3u"), "");
    const std::string gone = In("gone.m3u");
    EXPECT_EQ(Done(VARNPersonalPlaylistUpdateSongs(kAlice, gone.c_str(), 1, 0, List("a").get())),
              -1);
    EXPECT_EQ(Done(VARNPersonalPlaylistRemoveSongByPath(kAlice, gone.c_str(), "/a")), -1);
    EXPECT_FALSE(fs::exists(gone));
    EXPECT_EQ(Done(VARNPersonalPlaylistAppendSongs(kAlice, gone.c_str(), List("a").get(), 0)), 0);
    EXPECT_EQ(Names("gone.m3u"), "a");
}

// Of a format that is not written, nothing is left.
TEST_F(PlaylistEdit, AListThatCannotBeReadIsNotEmptied) {
    const std::string m3u8 = AddList("x.m3u8", "a\r\n");
    EXPECT_EQ(Done(VARNPlaylistAppendSongs("shared", kAlice, m3u8.c_str(), List("b").get())), 0);
    EXPECT_EQ(ReadFile(In("x.m3u8")), "");
    const std::string id = Make("ab");
    Query("ALTER TABLE track RENAME TO elsewhere");
    EXPECT_EQ(Done(VARNPlaylistAppendSongs("shared", kAlice, id.c_str(), List("c").get())), -1);
    EXPECT_EQ(Done(VARNPlaylistRemoveMissing("shared", kAlice, id.c_str())), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Failed to get playlist by db query\\."));
    Query("ALTER TABLE elsewhere RENAME TO track");
    EXPECT_EQ(Names(), "ab");
}

}  // namespace

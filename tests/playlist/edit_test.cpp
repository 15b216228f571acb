// Adding, replacing and removing songs of playlists.
#include "playlist/playlist_test.h"

namespace {

using tonvale_test::Songs;
using tonvale_test::Texts;

class PlaylistEdit : public tonvale_test::PlaylistTest {
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
    // A shared playlist with these songs, none of which the library knows but the tracks.
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

TEST_F(PlaylistEdit, ReplacingAndAppending) {
    struct Case {
        std::string before;
        int start;
        int length;
        std::string added;
        std::string after;
    };
    for (const Case &edit :
         {Case{"abc", 0, 0, "x", "xabc"}, Case{"abc", 1, 1, "xy", "axyc"},
          Case{"abc", 3, 0, "x", "abcx"}, Case{"abc", 1, -1, "", "a"}, Case{"abc", 0, 99, "2", "2"},
          Case{"", 0, 0, "a", "a"}, Case{"a1b", 2, 0, "a1", "a1a1b"}, Case{"abc", 4, 0, "x", ""},
          Case{"abc", -1, 0, "x", ""}}) {
        const std::string id = Make(edit.before);
        const int result = VARNPlaylistUpdateSongs("shared", kAlice, id.c_str(), edit.start,
                                                   edit.length, List(edit.added).get());
        BackToRoot();
        EXPECT_EQ(result, edit.after.empty() ? -1 : 0);
        EXPECT_EQ(Names(), edit.after.empty() ? edit.before : edit.after) << edit.start;
    }
    EXPECT_TRUE(
        Logged("audiolib/playlist:[0-9]+ Bad parameters\\. Start\\[4\\] > TotalRow\\[3\\]"));
    const std::string id = Make("ab");
    EXPECT_EQ(Done(VARNPlaylistAppendSongs("shared", kAlice, id.c_str(), List("a1").get())), 0);
    EXPECT_EQ(Names(), "aba1");
}

TEST_F(PlaylistEdit, DuplicatesAreLeftOutOrRefused) {
    struct Case {
        std::string before;
        int start;
        int length;
        std::string added;
        const char *option;
        std::string after;  // "": refused
    };
    for (const Case &edit :
         {Case{"abc", 3, 0, "bxa", "true", "abcx"}, Case{"abc", 3, 0, "bxa", nullptr, "abcx"},
          Case{"abc", 3, 0, "bxa", "false", ""}, Case{"abc", 3, 0, "xy", "false", "abcxy"},
          Case{"abc", 0, -1, "cab", "false", "cab"},  // what goes is no duplicate
          Case{"abc", 1, 1, "bc", "true", "abc"}, Case{"a12", 3, 0, "123", "true", "a123"},
          Case{"ab", 2, 0, "aa", "true", "aba"}}) {
        const std::string id = Make(edit.before);
        const Songs added = List(edit.added);
        const int result = VARNPlaylistUpdateSongsList("shared", kAlice, id.c_str(), edit.start,
                                                       edit.length, added.get(), edit.option);
        BackToRoot();
        EXPECT_EQ(result, edit.after.empty() ? -1 : 0);
        EXPECT_EQ(Names(), edit.after.empty() ? edit.before : edit.after) << edit.added;
        EXPECT_EQ(Shown(added), Shown(List(edit.added))) << "the caller's list stays";
    }
}

TEST_F(PlaylistEdit, SelectedSongs) {
    struct Case {
        std::string selection;
        std::string after;
    };
    for (const Case &edit :
         {Case{"0", "b2c"}, Case{"3,0", "b2"}, Case{"1,,2,x", "ac"}, Case{"0,1,2,3", ""},
          Case{"01, 1,-1,4,1e0", "ab2c"}, Case{"2,2,2", "abc"}}) {
        const std::string id = Make("ab2c");
        EXPECT_EQ(
            Done(VARNPlaylistRemoveSongs("shared", kAlice, id.c_str(), edit.selection.c_str())), 0);
        EXPECT_EQ(Names(), edit.after) << edit.selection;
    }
    ClearLog();
    for (const char *selection : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(Done(VARNPlaylistRemoveSongs("shared", kAlice, "1", selection)), -1);
        EXPECT_TRUE(Logged("audiolib/playlist \\([0-9]+\\) There is no selected item\\."));
    }
    EXPECT_EQ(Done(VARNPlaylistRemoveSongs("shared", kAlice, "no id", "1")), -1);
    EXPECT_TRUE(Logged("audiolib/playlist \\([0-9]+\\) Failed to get playlist path\\."));
    const std::string gone = AddRow(In("gone.m3u"), "gone", "m");
    EXPECT_EQ(Done(VARNPlaylistRemoveSongs("shared", kAlice, gone.c_str(), "1")), -1);
    EXPECT_TRUE(Logged("audiolib/playlist \\([0-9]+\\) Playlist\\(" + gone +
                       ", .*gone.m3u\\) does not exist\\."));
}

TEST_F(PlaylistEdit, MissingSongs) {
    AddSong({.path = In("known")});
    std::vector<VARN_MEDIA_INFO> records = {
        Record(1, In("known")), Record(0, In("unknown")), Record(0, "http://r/x"),
        Record(0, "/volumeUSB1/usbshare/x"), Record(0, In("cue.flac_9"))};
    ASSERT_EQ(Write(MakeSongs(records).get(), In("l.m3u")), 0);
    const std::string id = AddRow(In("l.m3u"), "l", "m");
    EXPECT_EQ(Done(VARNPlaylistRemoveMissing("shared", kAlice, id.c_str())), 0);
    EXPECT_EQ(ReadFile(In("l.m3u")),
              "#EXTM3U\r\nknown\r\nhttp://r/x\r\n/volumeUSB1/usbshare/x\r\n");
    Touch(In("empty.m3u"));
    const std::string empty = AddRow(In("empty.m3u"), "e", "m");
    EXPECT_EQ(Done(VARNPlaylistRemoveMissing("shared", kAlice, empty.c_str())), -1);
    EXPECT_TRUE(Logged("Parse playlist \\(" + empty + ", .*empty.m3u\\) return NULL\\."));
    const std::string gone = AddRow(In("gone.m3u"), "g", "m");
    EXPECT_EQ(Done(VARNPlaylistRemoveMissing("shared", kAlice, gone.c_str())), -1);
    EXPECT_TRUE(Logged("Playlist\\(" + gone + ", .*gone.m3u\\) does not exist\\."));
    EXPECT_EQ(Done(VARNPlaylistRemoveMissing("shared", 4294967295U, "1")), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Bad parameter\\."));
}

// What somebody does not browse is not missing.
TEST_F(PlaylistEdit, HiddenSongsAreNotMissing) {
    AddSong({.path = In("shared.mp3")});
    AddSong({.userid = kAlice, .path = In("hers.mp3")});
    AddSong({.userid = kBob, .path = In("bobs.mp3")});
    AddSong({.path = In("it's.flac"), .has_virtual = true});
    AddSong({.path = In("it's.flac"), .track = 3, .is_virtual = true});
    Touch(In("not indexed.mp3"));
    const std::string all = "shared.mp3\nit's.flac\nhers.mp3\nbobs.mp3\nit's.flac_3\n";
    const std::string kept =
        "#EXTM3U\r\nshared.mp3\r\nit's.flac\r\nhers.mp3\r\nbobs.mp3\r\n"
        "it's.flac_3\r\n";
    const std::string path = In("l.m3u");
    const std::string id = AddRow(path, "l", "m");
    for (const char *settings :
         {R"("audio_show_virtual_library": true)", R"("audio_show_virtual_library": false)",
          R"("browse_personal_library": "personal")"}) {
        SCOPED_TRACE(settings);
        WriteFile(varn::path::kUsersFile, "{\"1030\": {" + std::string(settings) + "}}");
        Touch(path, all + "it's.flac_4\ngone.mp3\nnot indexed.mp3\n");
        EXPECT_EQ(Done(VARNPlaylistRemoveMissing("shared", kAlice, id.c_str())), 0);
        EXPECT_EQ(ReadFile(path), kept);
        Touch(path, all + "gone.mp3\n");
        EXPECT_EQ(Done(VARNPersonalPlaylistRemoveMissing(kAlice, path.c_str())), 0);
        EXPECT_EQ(ReadFile(path), kept);
    }
}

// The indexer knows what is behind a link by the link's path, and so do the lists there.
TEST_F(PlaylistEdit, ListsBehindLinksKeepTheirSongs) {
    namespace fs = std::filesystem;
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

TEST_F(PlaylistEdit, AUsersOwnFile) {
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
    EXPECT_EQ(Done(VARNPersonalPlaylistAppendSongs(kAlice, gone.c_str(), List("a").get(), 0)), -1);
    EXPECT_FALSE(std::filesystem::exists(gone)) << "appending makes no playlist";
}

// What cannot be read or would not come back must not be emptied.
TEST_F(PlaylistEdit, NothingIsEmptiedByAccident) {
    Make("a");
    Touch(In("x.m3u8"), "a\r\n");
    const std::string m3u8 = AddRow(In("x.m3u8"), "x", "m");
    EXPECT_EQ(Done(VARNPlaylistAppendSongs("shared", kAlice, m3u8.c_str(), List("b").get())), -1);
    EXPECT_EQ(Done(VARNPlaylistRemoveSongs("shared", kAlice, m3u8.c_str(), "0")), -1);
    EXPECT_EQ(ReadFile(In("x.m3u8")), "a\r\n");
    const std::string id = Make("ab");
    Query("ALTER TABLE track RENAME TO elsewhere");
    EXPECT_EQ(Done(VARNPlaylistAppendSongs("shared", kAlice, id.c_str(), List("c").get())), -1);
    EXPECT_EQ(Done(VARNPlaylistRemoveMissing("shared", kAlice, id.c_str())), -1);
    Query("ALTER TABLE elsewhere RENAME TO track");
    EXPECT_EQ(Names(), "ab");
}

}  // namespace

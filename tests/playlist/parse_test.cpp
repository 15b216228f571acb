// From a playlist's file to the records of its songs.
#include <array>
#include <cstring>

#include "platform/child.h"
#include "playlist/playlist_test.h"

namespace {

using tonvale_test::HoldsInChild;
using tonvale_test::Songs;
using tonvale_test::Texts;

class PlaylistParse : public tonvale_test::PlaylistTest {
  protected:
    std::string List(std::string_view text, const std::string &name = "list.m3u") {
        Touch(In(name), text);
        return In(name);
    }
};

TEST_F(PlaylistParse, EveryEntryKeepsItsPlace) {
    const std::string a = std::to_string(AddSong({.path = In("a.mp3"), .title = "A"}));
    AddSong({.path = In("cue.flac"), .has_virtual = true});
    const std::string three = std::to_string(
        AddSong({.path = In("cue.flac"), .title = "Three", .track = 3, .is_virtual = true}));
    int count = -1;
    const Songs songs = Read(List("#EXTM3U\r\n"
                                  "a.mp3\r\n"
                                  "gone.mp3\r\n"
                                  "cue.flac_3\r\n"
                                  "cue.flac_4\r\n"
                                  "#EXTINF:7,Radio\r\n#EXTINFGENRE:Jazz\r\n#EXTINFYEAR:1999\r\n"
                                  "http://radio.example/x\r\n"
                                  "https://radio.example/live/stream\r\n"
                                  "a.mp3\r\n"),
                             &count);
    EXPECT_EQ(Shown(songs), (Texts{a + " " + In("a.mp3"), "0 " + In("gone.mp3"),
                                   three + " " + In("cue.flac") + "_3", "0 " + In("cue.flac_4"),
                                   "0 http://radio.example/x",
                                   "0 https://radio.example/live/stream", a + " " + In("a.mp3")}));
    EXPECT_EQ(count, 7);
    const PLAYLIST_REC *gone = songs->next;
    EXPECT_STREQ(gone->info.title, "");
    EXPECT_STREQ(gone->next->info.title, "Three");
    const PLAYLIST_REC *radio = gone->next->next->next;
    EXPECT_STREQ(radio->info.title, "Radio");
    EXPECT_STREQ(radio->info.genre, "Jazz");
    EXPECT_EQ(radio->info.year, 1999);
    EXPECT_EQ(static_cast<int>(radio->info.duration), 7);
    EXPECT_STREQ(radio->next->info.title, "") << "it has an entry without tags";
    EXPECT_TRUE(Log().empty());
}

TEST_F(PlaylistParse, Ranges) {
    for (const char *name : {"a.mp3", "b.mp3", "c.mp3", "d.mp3"}) {
        AddSong({.path = In(name)});
    }
    const std::string list = List("a.mp3\nb.mp3\nhttp://r/1\nc.mp3\nd.mp3\n");
    struct Case {
        int offset;
        int limit;
        std::string shown;
    };
    for (const Case &range :
         {Case{0, 0, "ab1cd"}, Case{1, 2, "b1"}, Case{2, 0, "1cd"}, Case{4, 9, "d"},
          Case{4, 2147483647, "d"}, Case{5, 0, ""}, Case{9, 1, ""}, Case{0, -1, ""},
          Case{2, -5, ""}, Case{-2, 3, "a"}, Case{-2, 0, "ab1cd"}}) {
        int count = -1;
        const Songs songs = Read(list, &count, range.offset, range.limit);
        std::string shown;
        for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
            const std::string_view path = song->info.path;
            shown += path.ends_with(".mp3") ? path[path.size() - 5] : path.back();
        }
        EXPECT_EQ(shown, range.shown) << range.offset << " " << range.limit;
        EXPECT_EQ(count, 5);
    }
}

// A path that is hostile to a statement, to a pattern or to a list.
TEST_F(PlaylistParse, HostileNames) {
    Texts expected;
    std::string text;
    for (const std::string name :
         {"it's.mp3", "100%.mp3", "under_score.mp3", "back\\slash.mp3", "quote\".mp3", "%41.mp3",
          "a_12.mp3", "song_7", "Dvořák.mp3", "genre.mp3", " blank.mp3", "R&B;x.mp3", "#1.mp3"}) {
        expected.push_back(std::to_string(AddSong({.path = In(name)})) + " " + In(name));
        text += name + "\r\n";
    }
    EXPECT_EQ(Shown(Read(List(text))), expected);
    for (const std::string &entry : expected) {
        const std::string path = entry.substr(entry.find(' ') + 1);
        EXPECT_EQ(VARNPlaylistCheckSong(kAlice, In("list.m3u").c_str(), path.c_str()), 0) << path;
        VARN_MEDIA_INFO record = {};
        EXPECT_EQ(VARNPlaylistGetOneByPath(kAlice, path.c_str(), &record), 0) << path;
        EXPECT_EQ(record.path, path);
    }
}

TEST_F(PlaylistParse, OnlyTheUsersOwnLibraryIsLookedIn) {
    AddSong({.userid = kBob, .path = In("bobs.mp3")});
    const int hers = AddSong({.userid = kAlice, .path = In("hers.mp3")});
    AddSong({.path = In("split.flac"), .has_virtual = true});
    const std::string list = List("bobs.mp3\nhers.mp3\nsplit.flac\n");
    EXPECT_EQ(Shown(Read(list)),
              (Texts{"0 " + In("bobs.mp3"), std::to_string(hers) + " " + In("hers.mp3"),
                     "0 " + In("split.flac")}));
    const Songs files(
        VARNPlaylistParseByPath(kAlice, list.c_str(), nullptr, nullptr, 2, 1, "*", 1));
    EXPECT_EQ(Shown(files), (Texts{std::to_string(hers + 1) + " " + In("split.flac")}));
    EXPECT_EQ(VARNAudioWebapiUtilsGetBrowseLibraryByUid(kAlice), "all");
    EXPECT_EQ(VARNAudioWebapiUtilsGetBrowseLibraryByUid(4242), "shared");
}

// Few names and many go into the statements in different forms.
TEST_F(PlaylistParse, ManySongsAndTracks) {
    constexpr int kSongs = 2500;
    Query("INSERT INTO track (id, path, is_virtual, track) SELECT n, '" + music().string() +
          "/' || n || '.mp3', false, 0 FROM generate_series(1, 2500) n");
    Query("INSERT INTO track (id, path, has_virtual) VALUES (9000, '" + In("cue.flac") +
          "', true)");
    Query("INSERT INTO track (id, path, is_virtual, track) SELECT 9000 + n, '" + In("cue.flac") +
          "', true, n FROM generate_series(1, 150) n");
    std::string text;
    for (int i = kSongs; i > 0; --i) {
        text += std::to_string(i) + ".mp3\n";
        text += i <= 150 ? "cue.flac_" + std::to_string(i) + "\n" : "";
    }
    const Songs songs = Read(List(text));
    unsigned wanted = kSongs;
    for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
        ASSERT_EQ(song->info.id, wanted);
        wanted = wanted > 9000 ? wanted - 9001 : wanted <= 150 ? wanted + 9000 : wanted - 1;
    }
    EXPECT_EQ(wanted, 0U);
}

TEST_F(PlaylistParse, RatingsComeBeside) {
    const int id = AddSong({.path = In("a.mp3")});
    Query("INSERT INTO rating_track (userid, track, star) VALUES (1030, 1, 5)");
    Query("INSERT INTO replaygain_track VALUES (1, -6.5, 0.9, NULL, 1)");
    AddSong({.path = In("b.mp3")});
    PVLIBSZHASH hash = VLIBCSzHashAlloc(0);
    const Songs songs(VARNPlaylistParseByPath(kAlice, List("a.mp3\nb.mp3\nc.mp3").c_str(), &hash,
                                              nullptr, 0, 0, "*", 0));
    ASSERT_EQ(VARNPlaylistRecCount(songs.get()), 3);
    std::string rating;
    _REPLAYGAIN_METADATA_ *gain = nullptr;
    ASSERT_EQ(GetSongHashValue(&hash, songs.get(), rating, &gain), 0) << id;
    EXPECT_EQ(rating, "5");
    ASSERT_NE(gain, nullptr);
    EXPECT_FLOAT_EQ(gain->track_gain, -6.5F);
    EXPECT_FLOAT_EQ(gain->track_peak, 0.9F);
    EXPECT_FLOAT_EQ(gain->album_gain, 0);
    EXPECT_FLOAT_EQ(gain->album_peak, 1);
    EXPECT_EQ(GetSongHashValue(&hash, songs->next, rating, &gain), 0);
    EXPECT_EQ(rating, "0");
    EXPECT_EQ(gain, nullptr) << "released for a song without";
    EXPECT_EQ(GetSongHashValue(&hash, songs->next->next, rating, &gain), -1);
    EXPECT_EQ(rating, "");
    VLIBCSzHashFree(hash);
}

TEST_F(PlaylistParse, Membership) {
    AddSong({.path = In("cue.flac"), .has_virtual = true});
    AddSong({.path = In("cue.flac"), .track = 3, .is_virtual = true});
    const std::string list = List("a.mp3\ncue.flac_3\ncue.flac_4\n");
    struct Case {
        std::string song;
        int result;
    };
    for (const Case &song : {Case{In("a.mp3"), 0}, Case{In("A.mp3"), -1}, Case{In("b.mp3"), -1},
                             Case{In("cue.flac"), -1}, Case{In("cue.flac_3"), 0},
                             Case{In("cue.flac_4"), -1}, Case{"", -1}}) {
        EXPECT_EQ(VARNPlaylistCheckSong(kAlice, list.c_str(), song.song.c_str()), song.result)
            << song.song;
    }
    EXPECT_TRUE(Log().empty());
    std::filesystem::create_symlink(list, In("link.pls"));
    EXPECT_EQ(VARNPlaylistCheckSong(kAlice, In("link.pls").c_str(), In("a.mp3").c_str()), 0);
    EXPECT_EQ(VARNPlaylistCheckSong(kAlice, In("none.m3u").c_str(), "/a"), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Failed to get playlist path\\."));
    EXPECT_TRUE(!IsRoot() || HoldsInChild([&] {
        ASSERT_EQ(ResetCredentialsByName("alice"), 0);
        tonvale_test::DropSetUidRight();
        EXPECT_EQ(VARNPlaylistCheckSong(kAlice, In("none.m3u").c_str(), "/a"), -1);
    })) << "a way back that is barred does not end the caller";
    EXPECT_TRUE(!IsRoot() || Logged("audiolib/playlist:[0-9]+ ERROR: ~IF_RUN_AS\\(1030, 100\\)"));
    EXPECT_EQ(VARNPlaylistCheckSong(kAlice, nullptr, "/a"), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Bad parameter\\."));
}

TEST_F(PlaylistParse, FirstSong) {
    AddSong({.path = In("cue.flac"), .has_virtual = true});
    const int track = AddSong({.path = In("cue.flac"), .track = 3, .is_virtual = true});
    const std::string own = (root() / "volume1/homes/alice/music/own.mp3").string();
    std::array<char, 4096> out{};
    VARN_MEDIA_INFO record = {};
    const auto first = [&](const std::string &list) {
        record = {};
        out.fill('x');
        return VARNPlaylistGetFirstSong(list.c_str(), kAlice, &record, out.data(), out.size());
    };
    EXPECT_EQ(first(List("cue.flac_3\na.mp3\n")), 0);
    EXPECT_EQ(out.data(), In("cue.flac_3"));
    EXPECT_EQ(record.id, static_cast<unsigned>(track));
    EXPECT_EQ(first(List("unknown.mp3\n")), -1) << "the look-up fails";
    EXPECT_EQ(first(List(own + "\n")), 0) << "a song of a home is not looked up";
    EXPECT_EQ(out.data(), own);
    EXPECT_EQ(first(List("http://r/s\n")), 0);
    EXPECT_STREQ(out.data(), "http://r/s");
    EXPECT_EQ(first(List("#EXTM3U\n")), -1);
    EXPECT_TRUE(Logged("Parse playlist: .*list.m3u return NULL\\."));
    EXPECT_EQ(VARNPlaylistGetOneByPath(4242, "/a.mp3", &record), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Fail to get user by id \\[4242\\]\\."));
}

// The path of a file that is split is that of all its tracks, of which the first row is read.
TEST_F(PlaylistParse, ASplitFileIsFoundByItsTracks) {
    const int file = AddSong({.path = In("cue.flac"), .has_virtual = true});
    const int track = AddSong({.path = In("cue.flac"), .track = 1, .is_virtual = true});
    VARN_MEDIA_INFO record = {};
    const std::string list = List("cue.flac\n");
    for (const char *name : {"cue.flac", "cue.flac_1"}) {
        record = Record(77, "as it was");
        EXPECT_EQ(VARNPlaylistGetOneByPath(kAlice, In(name).c_str(), &record), 0) << name;
        EXPECT_EQ(record.id, static_cast<unsigned>(track)) << name;
    }
    EXPECT_EQ(VARNPlaylistGetFirstSong(list.c_str(), kAlice, &record, nullptr, 0), 0);
    EXPECT_EQ(record.id, static_cast<unsigned>(track));

    WriteFile(varn::path::kUsersFile, R"({"1030": {"audio_show_virtual_library": false}})");
    EXPECT_EQ(VARNPlaylistGetOneByPath(kAlice, In("cue.flac").c_str(), &record), 0);
    EXPECT_EQ(record.id, static_cast<unsigned>(file)) << "whoever hides tracks sees the file";
    EXPECT_EQ(VARNPlaylistGetFirstSong(list.c_str(), kAlice, &record, nullptr, 0), 0);
    EXPECT_EQ(record.id, static_cast<unsigned>(file));
    EXPECT_EQ(VARNPlaylistGetOneByPath(kAlice, In("cue.flac_1").c_str(), &record), -1);
}

TEST_F(PlaylistParse, WhatIsNoPlaylist) {
    std::filesystem::create_directory(In("folder.m3u"));
    ASSERT_EQ(mkfifo(In("fifo.m3u").c_str(), 0666), 0);
    std::filesystem::create_symlink(In("loop.m3u"), In("loop.m3u"));
    Touch(In("list.txt"), "a.mp3\n");
    for (const std::string name :
         {"folder.m3u", "fifo.m3u", "loop.m3u", "gone.m3u", "list.txt", ""}) {
        ClearLog();
        int count = -7;
        EXPECT_EQ(Read(In(name), &count), nullptr) << name;
        EXPECT_EQ(count, -7) << name;
        EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Failed to get candidate list by playlist\\."));
    }
    int count = -7;
    EXPECT_EQ(Read(List(""), &count), nullptr);
    EXPECT_EQ(count, 0) << "an empty one is one";
}

TEST_F(PlaylistParse, AMillionEntriesAndALineOfTenMegabytes) {
    const int id = AddSong({.path = In("a.mp3")});
    std::string text;
    for (int i = 0; i < 1000000; ++i) {
        text += i == 999998 ? "a.mp3\n" : "song " + std::to_string(i) + ".mp3\n";
    }
    const std::string list = List(text);
    int count = -1;
    EXPECT_EQ(Shown(Read(list, &count, 999998, 2)),
              (Texts{std::to_string(id) + " " + In("a.mp3"), "0 " + In("song 999999.mp3")}));
    EXPECT_EQ(count, 1000000);
    EXPECT_EQ(VARNPlaylistCheckSong(kAlice, list.c_str(), In("a.mp3").c_str()), 0);
    const std::string line(10 << 20, '%');
    const Songs songs = Read(List(line + "\na.mp3\n"), &count);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(std::strlen(songs->info.path), 4095U);
    EXPECT_EQ(songs->next->info.id, static_cast<unsigned>(id));
}

TEST_F(PlaylistParse, WithoutADatabaseNothingIsHalfRead) {
    const std::string list = List("a.mp3\n");
    Query("ALTER TABLE track RENAME TO elsewhere");
    int count = -7;
    EXPECT_EQ(Read(list, &count), nullptr);
    EXPECT_EQ(count, -7);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Failed to get playlist by db query\\."));
    Query("ALTER TABLE elsewhere RENAME TO track");
}

TEST(PlaylistPaths, OneStepUpIsTaken) {
    struct Case {
        const char *path;
        const char *result;
    };
    std::array<char, 64> out{};
    for (const Case &step :
         {Case{"a/b/../x", "a/x"}, Case{"a/b/../../x", "a/../x"}, Case{"/a/../x", "/x"},
          Case{"/../x", "/x"}, Case{"a/../x", "/x"}, Case{"/a/b", "/a/b"}, Case{"", ""},
          Case{"/a/b/..", "/a"}, Case{"/a/b/..c", "/ac"}}) {
        EXPECT_EQ(VARNPathRelativeToABS(step.path, out.data(), static_cast<int>(out.size())), 0);
        EXPECT_STREQ(out.data(), step.result) << step.path;
    }
    EXPECT_EQ(VARNPathRelativeToABS("/abc", out.data(), 3), 0);
    EXPECT_STREQ(out.data(), "/a");
    EXPECT_EQ(VARNPathRelativeToABS("/abc", out.data(), 0), -1);
    EXPECT_EQ(VARNPathRelativeToABS(nullptr, out.data(), 3), -1);
}

class PlaylistDuplicates : public tonvale_test::PlaylistTest {
  protected:
    static VARN_MEDIA_INFO Song(const std::string &name) {
        std::array<char, 64> file{};
        int track = 0;
        return IsVirtualPath(name.c_str(), file.data(), file.size(), &track)
                   ? Record(1, file.data(), track)
                   : Record(1, name);
    }
    static Songs List(const Texts &names) {
        std::vector<VARN_MEDIA_INFO> records;
        for (const std::string &name : names) {
            records.push_back(Song(name));
        }
        return MakeSongs(records);
    }
};

TEST_F(PlaylistDuplicates, OneOfTheSecondListGoesForEachOfTheFirst) {
    struct Case {
        Texts first;
        Texts second;
        Texts left;
    };
    for (const Case &lists :
         {Case{{"/a.x"}, {"/a.x", "/b.x", "/a.x"}, {"/b.x", "/a.x"}},
          Case{{"/a.x", "/a.x"}, {"/a.x", "/b.x", "/a.x"}, {"/b.x"}},
          Case{{"/c.f_2"}, {"/c.f_1", "/c.f_2", "/c.f_3"}, {"/c.f_1", "/c.f_3"}},
          Case{{"/c.f_2"}, {"/c.f", "/c.f_2"}, {"/c.f_2"}},  // a whole file is any of its tracks
          Case{{"/c.f_2"}, {"/c.f_2", "/c.f"}, {"/c.f"}},
          Case{{"/c.f"}, {"/c.f_2", "/c.f"}, {"/c.f_2"}}, Case{{"/A.x"}, {"/a.x"}, {"/a.x"}},
          Case{{"/a.x", "/b.x"}, {"/b.x", "/a.x"}, {}}, Case{{}, {"/a.x"}, {"/a.x"}}}) {
        const Songs first = List(lists.first);
        PLAYLIST_REC *second = List(lists.second).release();
        EXPECT_EQ(VARNPlaylistRemoveDuplicateSongs(first.get(), &second, 0, 0), 0);
        EXPECT_EQ(Shown(Songs(second)), Shown(List(lists.left)));
        second = List(lists.second).release();
        const bool same = lists.left.size() == lists.second.size();
        EXPECT_EQ(VARNPlaylistRemoveDuplicateSongs(first.get(), &second, 1, 0), same ? 0 : -1);
        EXPECT_EQ(Shown(Songs(second)), Shown(List(lists.second))) << "refused, not removed";
    }
}

}  // namespace

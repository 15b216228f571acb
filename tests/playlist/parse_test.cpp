// From a playlist's file to the records of its songs.
#include <array>
#include <cstring>
#include <tuple>

#include "platform/child.h"
#include "playlist/playlist_test.h"

namespace {

using namespace tonvale_test;

class PlaylistParse : public PlaylistTest {
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

TEST_F(PlaylistParse, ARangeOfTheEntriesIsRead) {
    for (const char *name : {"a.mp3", "b.mp3", "c.mp3", "d.mp3"}) {
        AddSong({.path = In(name)});
    }
    const std::string list = List("a.mp3\nb.mp3\nhttp://r/1\nc.mp3\nd.mp3\n");
    using Case = std::tuple<int, int, std::string>;
    for (const auto &[offset, limit, expected] :
         {Case{0, 0, "ab1cd"}, Case{1, 2, "b1"}, Case{2, 0, "1cd"}, Case{4, 9, "d"},
          Case{4, 2147483647, "d"}, Case{5, 0, ""}, Case{9, 1, ""}, Case{0, -1, ""},
          Case{2, -5, ""}, Case{-2, 3, "a"}, Case{-2, 0, "ab1cd"}}) {
        int count = -1;
        const Songs songs = Read(list, &count, offset, limit);
        std::string shown;
        for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
            const std::string_view path = song->info.path;
            shown += path.ends_with(".mp3") ? path[path.size() - 5] : path.back();
        }
        EXPECT_EQ(shown, expected) << offset << " " << limit;
        EXPECT_EQ(count, 5);
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

// The statements for few names and for many differ.
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

TEST_F(PlaylistParse, RatingsComeWithTheSongs) {
    AddSong({.path = In("a.mp3")});
    AddSong({.path = In("b.mp3")});
    Query("INSERT INTO rating_track (userid, track, star) VALUES (1030, 1, 5)");
    PVLIBSZHASH hash = VLIBCSzHashAlloc(0);
    const Songs songs(VARNPlaylistParseByPath(kAlice, List("a.mp3\nb.mp3\nc.mp3").c_str(), &hash,
                                              nullptr, 0, 0, "*", 0));
    std::string ratings;
    for (PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
        std::string rating;
        EXPECT_EQ(GetSongHashValue(&hash, song, rating, nullptr), song->info.id > 0 ? 0 : -1);
        ratings += rating + ",";
    }
    EXPECT_EQ(ratings, "5,0,,");
    VLIBCSzHashFree(hash);
}

TEST_F(PlaylistParse, ASongIsInAListOnlyByItsOwnPath) {
    AddSong({.path = In("cue.flac"), .has_virtual = true});
    AddSong({.path = In("cue.flac"), .track = 3, .is_virtual = true});
    const std::string list = List("a.mp3\ncue.flac_3\ncue.flac_4\n");
    const auto check = [](const std::string &path, const std::string &song) {
        return VARNPlaylistCheckSong(kAlice, path.c_str(), song.c_str());
    };
    for (const char *there : {"a.mp3", "cue.flac_3"}) {
        EXPECT_EQ(check(list, In(there)), 0) << there;
    }
    for (const std::string &other :
         {In("A.mp3"), In("b.mp3"), In("cue.flac"), In("cue.flac_4"), std::string()}) {
        EXPECT_EQ(check(list, other), -1) << other;
    }
    EXPECT_TRUE(Log().empty());
    fs::create_symlink(list, In("link.pls"));
    EXPECT_EQ(check(In("link.pls"), In("a.mp3")), 0);
    EXPECT_EQ(check(In("none.m3u"), "/a"), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Failed to get playlist path\\."));
    EXPECT_TRUE(!IsRoot() || HoldsInChild([&] {
        ASSERT_EQ(ResetCredentialsByName("alice"), 0);
        DropSetUidRight();
        EXPECT_EQ(check(In("none.m3u"), "/a"), -1);
    })) << "the caller goes on when its own rights do not come back";
    EXPECT_TRUE(!IsRoot() || Logged("audiolib/playlist:[0-9]+ ERROR: ~IF_RUN_AS\\(1030, 100\\)"));
}

TEST_F(PlaylistParse, OneStepUpIsResolved) {
    std::array<char, 16> out{};
    for (const auto &[path, expected] : {std::pair("/a/b/../../c", "/a/../c"),
                                         {"/../c", "/c"},
                                         {"a/../c", "a/c"},
                                         {"a.mp3", "a.mp3"}}) {
        EXPECT_EQ(VARNPathRelativeToABS(path, out.data(), out.size()), 0);
        EXPECT_STREQ(out.data(), expected);
    }
}

TEST_F(PlaylistParse, TheFirstSongIsFound) {
    const int file = AddSong({.path = In("cue.flac"), .has_virtual = true});
    AddSong({.path = In("cue.flac"), .track = 3, .is_virtual = true});
    const int track = AddSong({.path = In("cue.flac"), .track = 1, .is_virtual = true});
    const std::string own = (root() / "volume1/homes/alice/music/own.mp3").string();
    std::array<char, 4096> out{};
    VARN_MEDIA_INFO record = {};
    const auto first = [&](const std::string &list) {
        record = {};
        out.fill('x');
        const int result =
            VARNPlaylistGetFirstSong(List(list).c_str(), kAlice, &record, out.data(), out.size());
        return result == 0 ? std::to_string(record.id) + " " + out.data() : "none";
    };
    const auto byPath = [&](const std::string &name) {
        record = Record(77, "as it was");
        const int result = VARNPlaylistGetOneByPath(kAlice, In(name).c_str(), &record);
        return result == 0 ? static_cast<int>(record.id) : -1;
    };
    EXPECT_EQ(first("cue.flac_3\na.mp3\n"), std::to_string(file + 1) + " " + In("cue.flac_3"));
    EXPECT_EQ(first("unknown.mp3\n"), "none") << "the look-up fails";
    EXPECT_EQ(first(own + "\n"), "0 " + own) << "a song of a home is not looked up";
    EXPECT_EQ(first("http://r/s\n"), "0 http://r/s");
    EXPECT_EQ(first("#EXTM3U\n"), "none");
    EXPECT_TRUE(Logged("Parse playlist: .*list.m3u return NULL\\."));
    EXPECT_EQ(VARNPlaylistGetOneByPath(4242, "/a.mp3", &record), -1);
    EXPECT_TRUE(Logged("audiolib/playlist:[0-9]+ Fail to get user by id \\[4242\\]\\."));
    // All tracks of a file have its path. The first of them is read.
    EXPECT_EQ(byPath("cue.flac"), track);
    EXPECT_EQ(byPath("cue.flac_1"), track);
    EXPECT_TRUE(first("cue.flac\n").starts_with(std::to_string(track)));
    WriteFile(varn::path::kUsersFile, R"({"1030": {"audio_show_virtual_library": false}})");
    EXPECT_EQ(byPath("cue.flac"), file) << "without tracks the file is shown";
    EXPECT_TRUE(first("cue.flac\n").starts_with(std::to_string(file)));
    EXPECT_EQ(byPath("cue.flac_1"), -1);
}

TEST_F(PlaylistParse, WhatIsNoPlaylistIsRefused) {
    fs::create_directory(In("folder.m3u"));
    ASSERT_EQ(mkfifo(In("fifo.m3u").c_str(), 0666), 0);
    fs::create_symlink(In("loop.m3u"), In("loop.m3u"));
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
    EXPECT_EQ(count, 0) << "an empty list is a list";
}

TEST_F(PlaylistParse, EntriesLinesAndBytesAreBounded) {
    const int id = AddSong({.path = In("a.mp3")});
    std::string text = "song 0.mp3";
    for (int i = 1; i < 199999; ++i) {
        text += "\nsong " + std::to_string(i) + ".mp3";
    }
    const std::string list = List(text + "\na.mp3");
    int count = -1;
    EXPECT_EQ(Shown(Read(list, &count, 199998, 2)),
              (Texts{"0 " + In("song 199998.mp3"), std::to_string(id) + " " + In("a.mp3")}));
    EXPECT_EQ(count, 200000);
    EXPECT_EQ(VARNPlaylistCheckSong(kAlice, list.c_str(), In("a.mp3").c_str()), 0);
    EXPECT_EQ(std::strlen(Read(List(std::string(10 << 20, '%')), nullptr, 0, 1)->info.path), 4095U);
    for (const std::string &tooMuch : {text + "\na.mp3\nb.mp3", std::string((16 << 20) + 1, ' '),
                                       "a.mp3" + std::string(1'600'001, '\n')}) {
        EXPECT_EQ(Read(List(tooMuch), nullptr), nullptr);
    }
}

class PlaylistDuplicates : public PlaylistTest {
  protected:
    static Songs List(const Texts &names) {
        std::vector<VARN_MEDIA_INFO> records;
        for (const std::string &name : names) {
            std::array<char, 64> file{};
            int track = 0;
            const bool isTrack = IsVirtualPath(name.c_str(), file.data(), file.size(), &track);
            records.push_back(Record(1, isTrack ? file.data() : name, track));
        }
        return MakeSongs(records);
    }
};

TEST_F(PlaylistDuplicates, OneOfTheSecondListGoesForEachOfTheFirst) {
    using Case = std::tuple<Texts, Texts, Texts>;
    for (const auto &[one, other, left] :
         {Case{{"/a.x"}, {"/a.x", "/b.x", "/a.x"}, {"/b.x", "/a.x"}},
          Case{{"/a.x", "/a.x"}, {"/a.x", "/b.x", "/a.x"}, {"/b.x"}},
          Case{{"/c.f_2"}, {"/c.f_1", "/c.f_2", "/c.f_3"}, {"/c.f_1", "/c.f_3"}},
          Case{{"/c.f_2"}, {"/c.f", "/c.f_2"}, {"/c.f_2"}},  // a whole file is any of its tracks
          Case{{"/c.f_2"}, {"/c.f_2", "/c.f"}, {"/c.f"}},
          Case{{"/c.f"}, {"/c.f_2", "/c.f"}, {"/c.f_2"}}, Case{{"/A.x"}, {"/a.x"}, {"/a.x"}},
          Case{{"/a.x", "/b.x"}, {"/b.x", "/a.x"}, {}}, Case{{}, {"/a.x"}, {"/a.x"}}}) {
        const Songs first = List(one);
        PLAYLIST_REC *second = List(other).release();
        EXPECT_EQ(VARNPlaylistRemoveDuplicateSongs(first.get(), &second, 0, 0), 0);
        EXPECT_EQ(Shown(Songs(second)), Shown(List(left)));
        second = List(other).release();
        const bool same = left.size() == other.size();
        EXPECT_EQ(VARNPlaylistRemoveDuplicateSongs(first.get(), &second, 1, 0), same ? 0 : -1);
        EXPECT_EQ(Shown(Songs(second)), Shown(List(other))) << "refused, not removed";
    }
}

}  // namespace

// What a scan makes of homes, folders and lists, of a kill and of readers.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "varnindex/scan_fixture.h"

namespace {

using namespace tonvale_test;

// It is there, but not among those that are listed.
TEST_F(ScanTest, AnAccountThatIsNotListedKeepsItsSongs) {
    Put("shared.mp3");
    fs::copy_file(Samples() / "tone.flac", Home("alice") / "music/a.flac");
    EnableHomes(true);
    Index();
    const std::string accounts = ReadFile(At(varn::path::kPasswd));
    std::string changed = accounts;
    const std::size_t home = changed.find("/homes/alice");
    ASSERT_NE(home, changed.npos) << accounts;
    WriteFile(varn::path::kPasswd, changed.replace(home, 6, "/other"));
    Expect(Index(), "!unchanged 1");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE userid = 1030"), "1");
    WriteFile(varn::path::kPasswd, accounts);
}

// The watcher was told of the change while the home was indexed.
TEST_F(ScanTest, APathThatIsNotIndexedAnyMoreIsPassedOver) {
    const fs::path song = Home("alice") / "music/a.mp3";
    fs::copy_file(Samples() / "plain.mp3", song);
    Put("shared.mp3");
    EnableHomes(true);
    Index();
    const Rows before = Everything();
    EnableHomes(false);
    fs::copy_file(song, Home("alice") / "music/new.mp3");
    EXPECT_TRUE(ScanInProcess({}, {song.parent_path().string(), song.string()}));
    EXPECT_EQ(Everything(), before);
}

TEST_F(ScanTest, AHomeInsideASharedFolderStaysItsUsers) {
    fs::copy_file(Samples() / "plain.mp3", Home("alice") / "music/a.mp3");
    fs::copy_file(Samples() / "plain.mp3", Home("alice") / "b.mp3");
    Register({root() / "volume1"});
    EnableHomes(true);
    Index();
    EXPECT_EQ(Query("SELECT userid, title FROM track ORDER BY title"),
              (Rows{{"1030", "a"}, {"0", "b"}}));
    EXPECT_EQ(Query("SELECT title FROM directory ORDER BY title"),
              (Rows{{"alice"}, {"homes"}, {"volume1"}}));
    EXPECT_EQ(Query("SELECT title FROM personal_directory"), (Rows{{"music"}}));
    // The same when its account is found by its name alone.
    const std::string accounts = ReadFile(At(varn::path::kPasswd));
    const std::string home = Home("alice").string() + ":";
    std::string changed = accounts;
    ASSERT_NE(changed.find(home), changed.npos) << accounts;
    changed.replace(changed.find(home), home.size(), (scratch() / "elsewhere").string() + ":");
    fs::create_directory_symlink(Home("alice"), scratch() / "elsewhere");
    WriteFile(varn::path::kPasswd, changed);
    fs::copy_file(Samples() / "tone.flac", Home("alice") / "music/unlisted.flac");
    Expect(Index(), "added 1, unchanged 2");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE userid = 1030"), "2");
}

// Whatever the moment, what a killed scan leaves is a whole library, and the next scan makes of it
// what it would have been without the accident.
TEST_F(ScanTest, AKilledScanIsMadeUpForByTheNext) {
    constexpr int kSongs = 1200;
    const auto name = [](int i) {
        return "d" + std::to_string(i % 9) + "/" + std::to_string(i) + ".mp3";
    };
    for (int i = 0; i < kSongs; ++i) {
        PutTagged(name(i), "Song " + std::to_string(i), i % 2 == 0 ? "Rock;Pop" : "");
    }
    Put("disc/album.flac", "tone.flac");
    Write("disc/album.cue", Sheet("album.flac"));
    Put("other disc/album.ogg", "tone.ogg");
    Write("other disc/album.cue", Sheet("album.ogg"));
    // Songs with audio of their own, to be renamed over each other and to be deleted behind a copy.
    const auto own = [](const std::string &folder, int i) {
        return Music() / folder / (std::to_string(i) + ".mp3");
    };
    for (int i = 0; i < 500; ++i) {
        PutTagged("swap/" + std::to_string(i) + ".mp3", "Own " + std::to_string(i));
        std::ofstream(own("swap", i), std::ios::app) << i;
    }
    fs::create_directory(Music() / "late");
    for (int i = 0; i < 100; ++i) {
        fs::rename(own("swap", i), own("late", i));
    }
    Index();
    Rate("is_virtual OR title LIKE '%7'", 4);
    fs::copy(Music() / "late", Music() / "late copy");
    Index();
    ForEveryTable("CREATE TABLE saved_%1$s AS SELECT %2$s FROM %1$s");
    fs::rename(Music() / "d1", Music() / "moved");
    fs::rename(Music() / "disc", Music() / "disc moved");
    fs::rename(Music() / "other disc", Music() / "disc");
    fs::remove_all(Music() / "late");
    for (int i = 100; i < 500; i += 2) {
        fs::rename(own("swap", i), Music() / "swap/other");
        fs::rename(own("swap", i + 1), own("swap", i));
        fs::rename(Music() / "swap/other", own("swap", i + 1));
    }
    for (int i = 100; i < 500; i += 10) {  // over another, whose row goes later
        fs::rename(own("swap", i), own("swap", i + 2));
    }
    for (int i = 0; i + 2 < kSongs; i += 18) {
        fs::remove(Music() / name(i));
        PutTagged(name(i + 2), "Changed " + std::to_string(i), "Jazz");
        PutTagged("new/" + name(i), "New " + std::to_string(i));
    }
    const auto start = std::chrono::steady_clock::now();
    Index();
    const auto whole = std::chrono::steady_clock::now() - start;
    const Rows expected = Content();
    EXPECT_EQ(Value("SELECT count(*) FROM rating_track"),
              Value("SELECT count(*) FROM saved_rating_track"));
    for (int i = 0; i < 16; ++i) {
        ForEveryTable("DELETE FROM %1$s");
        ForEveryTable("INSERT INTO %1$s (%2$s) SELECT %2$s FROM saved_%1$s");
        Command indexer({}, "", "varnindex");
        std::this_thread::sleep_for(whole * i / 16);
        indexer.Signal(SIGKILL);
        // The server finds out a moment later that its client was killed, and holds the lock.
        EXPECT_TRUE(Eventually([] { return varnindex::Database().TakeIndexLock(); }));
        EXPECT_EQ(Value("SELECT count(*) FROM track LEFT JOIN album_track a ON a.track = id"
                        " WHERE a.track IS NULL"),
                  "0");
        const Finished next = Index();
        EXPECT_EQ(next.status, 0) << next.err;
        const Rows content = Content();
        ASSERT_EQ(content.size(), expected.size()) << "killed at " << i << "/16";
        for (std::size_t row = 0; row < content.size(); ++row) {
            ASSERT_EQ(content[row], expected[row]) << "killed at " << i << "/16";
        }
    }
}

}  // namespace

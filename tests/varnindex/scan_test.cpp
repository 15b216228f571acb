// Whole scans: homes, and scans that are killed.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "support/eventually.h"
#include "varnindex/scan_fixture.h"

namespace {

using namespace tonvale_test;

class HomesTest : public ScanTest {
  protected:
    void SetUp() override {
        ScanTest::SetUp();
        EnableHomes(true);
        fs::copy_file(Samples() / "plain.mp3", Home("alice") / "music/a.mp3");
    }
    // Changes alice's home in the list of accounts alone.
    static void SetHome(const fs::path &home) {
        std::string accounts = ReadFile(At(varn::path::kPasswd));
        const std::size_t at = accounts.find(Home("alice").string() + ":");
        ASSERT_NE(at, accounts.npos) << accounts;
        WriteFile(varn::path::kPasswd,
                  accounts.replace(at, Home("alice").string().size(), home.string()));
    }
};

TEST_F(HomesTest, SongsStayWhenTheHomeOfTheirAccountIsNoneOfTheHomes) {
    Put("shared.mp3");
    Index();
    SetHome("/other/alice");
    Expect(Index(), "!unchanged 1");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE userid = 1030"), "1");
}

// The watcher was told of the change while the home was indexed.
TEST_F(HomesTest, APathThatIsNotIndexedAnyMoreIsPassedOver) {
    Put("shared.mp3");
    Index();
    const Rows before = Everything();
    EnableHomes(false);
    const fs::path music = Home("alice") / "music";
    fs::copy_file(music / "a.mp3", music / "new.mp3");
    EXPECT_TRUE(ScanInProcess({}, {music.string(), (music / "a.mp3").string()}));
    EXPECT_EQ(Everything(), before);
}

TEST_F(HomesTest, AHomeInsideASharedFolderBelongsToItsUser) {
    fs::copy_file(Samples() / "plain.mp3", Home("alice") / "b.mp3");
    Register({root() / "volume1"});
    Index();
    EXPECT_EQ(Query("SELECT userid, title FROM track ORDER BY title"),
              (Rows{{"1030", "a"}, {"0", "b"}}));
    EXPECT_EQ(Query("SELECT title FROM directory ORDER BY title"),
              (Rows{{"alice"}, {"homes"}, {"volume1"}}));
    EXPECT_EQ(Query("SELECT title FROM personal_directory"), (Rows{{"music"}}));
    // The same when its account is found by its name alone.
    fs::create_directory_symlink(Home("alice"), scratch() / "elsewhere");
    SetHome(scratch() / "elsewhere");
    fs::copy_file(Samples() / "tone.flac", Home("alice") / "music/unlisted.flac");
    Expect(Index(), "added 1, unchanged 2");
    EXPECT_EQ(Value("SELECT count(*) FROM track WHERE userid = 1030"), "2");
}

// A stored library, whose folders then change in every way.
class KilledScanTest : public ScanTest {
  protected:
    static constexpr int kSongs = 1200;

    static std::string Name(int i) {
        return "d" + std::to_string(i % 9) + "/" + std::to_string(i) + ".mp3";
    }
    // A song with audio of its own, to be renamed over others or to be deleted after it was copied.
    static fs::path Own(const std::string &folder, int i) {
        return Music() / folder / (std::to_string(i) + ".mp3");
    }

    void SetUp() override {
        ScanTest::SetUp();
        for (int i = 0; i < kSongs; ++i) {
            PutTagged(Name(i), "Song " + std::to_string(i), i % 2 == 0 ? "Rock;Pop" : "");
        }
        Put("disc/album.flac", "tone.flac");
        Write("disc/album.cue", Sheet("album.flac"));
        Put("other disc/album.ogg", "tone.ogg");
        Write("other disc/album.cue", Sheet("album.ogg"));
        for (int i = 0; i < 500; ++i) {
            const std::string folder = i < 100 ? "late" : "swap";
            PutTagged(folder + "/" + std::to_string(i) + ".mp3", "Own " + std::to_string(i));
            std::ofstream(Own(folder, i), std::ios::app) << i;
        }
        Index();
        Rate("is_virtual OR title LIKE '%7'", 4);
        fs::copy(Music() / "late", Music() / "late copy");
        Index();
        ForEveryTable("CREATE TABLE saved_%1$s AS SELECT %2$s FROM %1$s");
    }

    static void ChangeFolders() {
        fs::rename(Music() / "d1", Music() / "moved");
        fs::rename(Music() / "disc", Music() / "disc moved");
        fs::rename(Music() / "other disc", Music() / "disc");
        fs::remove_all(Music() / "late");
        for (int i = 100; i < 500; i += 2) {
            fs::rename(Own("swap", i), Music() / "swap/other");
            fs::rename(Own("swap", i + 1), Own("swap", i));
            fs::rename(Music() / "swap/other", Own("swap", i + 1));
        }
        for (int i = 100; i < 500; i += 10) {  // over another, whose row goes later
            fs::rename(Own("swap", i), Own("swap", i + 2));
        }
        for (int i = 0; i + 2 < kSongs; i += 18) {
            fs::remove(Music() / Name(i));
            PutTagged(Name(i + 2), "Changed " + std::to_string(i), "Jazz");
            PutTagged("new/" + Name(i), "New " + std::to_string(i));
        }
    }

    // Puts the rows back, scans for a time and kills the scan.
    static void ScanAndKill(std::chrono::steady_clock::duration after) {
        ForEveryTable("DELETE FROM %1$s");
        ForEveryTable("INSERT INTO %1$s (%2$s) SELECT %2$s FROM saved_%1$s");
        Command indexer({}, "", "varnindex");
        std::this_thread::sleep_for(after);
        indexer.Signal(SIGKILL);
        // The server finds out a moment later that its client was killed, and holds the lock.
        EXPECT_TRUE(Eventually([] { return varnindex::Database().TakeIndexLock(); }));
    }
};

TEST_F(KilledScanTest, LeavesAWholeLibraryWhichTheNextScanCompletes) {
    ChangeFolders();
    const auto start = std::chrono::steady_clock::now();
    Index();
    const auto whole = std::chrono::steady_clock::now() - start;
    const Rows expected = Content();
    EXPECT_EQ(Value("SELECT count(*) FROM rating_track"),
              Value("SELECT count(*) FROM saved_rating_track"));
    for (int i = 0; i < 10; ++i) {
        SCOPED_TRACE("killed at " + std::to_string(i) + "/10");
        ScanAndKill(whole * i / 10);
        EXPECT_EQ(Value("SELECT count(*) FROM track LEFT JOIN album_track a ON a.track = id"
                        " WHERE a.track IS NULL"),
                  "0");
        const Finished next = Index();
        EXPECT_EQ(next.status, 0) << next.err;
        const Rows content = Content();
        ASSERT_EQ(content.size(), expected.size());
        for (std::size_t row = 0; row < content.size(); ++row) {
            ASSERT_EQ(content[row], expected[row]);
        }
    }
}

}  // namespace

// The watching indexer and the library.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

#include "platform/child.h"
#include "support/eventually.h"
#include "support/fixture.h"
#include "varn/notify.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"
#include "varnindex/samples.h"
#include "varnindex/write/remove.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::Eventually;
using tonvale_test::Samples;

class LibraryWatchTest : public tonvale_test::DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        Samples();
        fs::create_directories(Music());
        WriteFile(varn::path::kIndexFolders, Music().string() + "\n");
        Put("first.mp3", "tone.mp3");
    }
    void TearDown() override {
        if (indexer_ > 0) {
            kill(indexer_, SIGKILL);
            waitpid(indexer_, nullptr, 0);
        }
        DatabaseTest::TearDown();
    }

    static fs::path Music() { return scratch() / "music"; }

    static void Put(const fs::path &name, const std::string &sample) {
        fs::copy_file(Samples() / sample, Music() / name, fs::copy_options::overwrite_existing);
    }

    static fs::path LogFile() { return scratch() / "log.txt"; }

    void Start(const char *option = "--watch") {
        const fs::path log = LogFile();
        indexer_ = fork();
        if (indexer_ == 0) {
            const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            dup2(fd, STDOUT_FILENO);
            dup2(fd, STDERR_FILENO);
            execl(TONVALE_PROGRAM_DIR "/varnindex", "varnindex", "--watch", option, nullptr);
            _exit(127);
        }
        ASSERT_TRUE(Eventually([] { return fs::exists(At(varn::path::kNotifySocket)); }))
            << ReadFile(log);
    }

    // True when it ended well.
    bool Stop() {
        kill(indexer_, SIGTERM);
        return tonvale_test::EndedWell(std::exchange(indexer_, 0));
    }

    // The name, title and id of every song.
    static std::string Songs() {
        return Value(
            "SELECT string_agg(regexp_replace(path, '^.*/', '') || '=' || title, ','"
            " ORDER BY path) FROM track");
    }
    static testing::AssertionResult Becomes(const std::string &songs) {
        return Eventually([&] { return Songs() == songs; })
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << Songs() << "\n"
                                                 << ReadFile(scratch() / "log.txt");
    }

    pid_t indexer_ = 0;
};

TEST_F(LibraryWatchTest, TheLibraryFollowsTheFolders) {
    Start();
    EXPECT_TRUE(Becomes("first.mp3=The Tóne"));
    Put("second.mp3", "plain.mp3");
    EXPECT_TRUE(Becomes("first.mp3=The Tóne,second.mp3=second"));
    Put("second.mp3", "tone.mp3");
    EXPECT_TRUE(Becomes("first.mp3=The Tóne,second.mp3=The Tóne"));
    fs::remove(Music() / "second.mp3");
    EXPECT_TRUE(Becomes("first.mp3=The Tóne"));
    const std::string id = Value("SELECT id FROM track");
    fs::create_directory(Music() / "album");
    fs::rename(Music() / "first.mp3", Music() / "album" / "moved.mp3");
    EXPECT_TRUE(Becomes("moved.mp3=The Tóne"));
    EXPECT_EQ(Value("SELECT id FROM track"), id);
    fs::create_directories(scratch() / "outside" / "deep");
    fs::copy_file(Samples() / "plain.mp3", scratch() / "outside" / "deep" / "came.mp3");
    fs::rename(scratch() / "outside", Music() / "inside");
    EXPECT_TRUE(Becomes("moved.mp3=The Tóne,came.mp3=came"));
    Query("INSERT INTO playlist (id, path) VALUES (77, '/gone/a.m3u')");
    EXPECT_EQ(VLIBVRNotify("77", nullptr, VLIB_NOTIFY_DELETED), 0);
    EXPECT_TRUE(
        Eventually([] { return Value("SELECT count(*) FROM playlist WHERE id = 77") == "0"; }));
    EXPECT_TRUE(Stop());
    EXPECT_FALSE(fs::exists(At(varn::path::kNotifySocket)));
    const std::string log = ReadFile(LogFile());
    EXPECT_TRUE(log.starts_with("added 1, changed 0,")) << log;
    EXPECT_NE(log.find("\nadded 0, changed 0, moved 0, removed 1, unchanged 1,"), log.npos) << log;
}

// A stop in the middle of a scan leaves the rest to the next start.
TEST_F(LibraryWatchTest, ALongScanStopsAtOnceAndIsMadeUpFor) {
    constexpr int kSongs = 20'000;
    for (int i = 1; i < kSongs; ++i) {
        const fs::path folder = Music() / std::to_string(i % 100);
        fs::create_directories(folder);
        fs::create_hard_link(Music() / "first.mp3", folder / (std::to_string(i) + ".mp3"));
    }
    const auto songs = [] { return std::stoi(Value("SELECT count(*) FROM track")); };
    Start();
    ASSERT_TRUE(Eventually([&] { return songs() > 0; }));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(Stop()) << ReadFile(LogFile());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_LT(songs(), kSongs);
    EXPECT_FALSE(fs::exists(At(varn::path::kNotifySocket)));
    Start();
    EXPECT_TRUE(Eventually([&] { return songs() == kSongs; })) << ReadFile(LogFile());
}

// A configuration that is lost, or written anew in more than one step.
TEST_F(LibraryWatchTest, WhatChangesWhileNothingIsIndexedIsNotForgotten) {
    ASSERT_EQ(VARNAudioConfSet("enable_personal_library", "no"), 0);
    Start();
    ASSERT_TRUE(Becomes("first.mp3=The Tóne"));
    WriteFile(varn::path::kIndexFolders, "");
    Put("second.mp3", "plain.mp3");
    EXPECT_TRUE(Eventually(
        [] { return ReadFile(LogFile()).find("no folder is indexed") != std::string::npos; }));
    EXPECT_EQ(Songs(), "first.mp3=The Tóne");
    WriteFile(varn::path::kIndexFolders, Music().string() + "\n");
    EXPECT_TRUE(Becomes("first.mp3=The Tóne,second.mp3=second"));
    EXPECT_TRUE(Stop());
}

// Tried again when the database is back, hours later for example: a disk may be away by then.
TEST_F(LibraryWatchTest, AScanThatWasToPurgeIsMadeUpForWithout) {
    Put("second.mp3", "plain.mp3");
    Start();
    ASSERT_TRUE(Becomes("first.mp3=The Tóne,second.mp3=second"));
    EXPECT_TRUE(Stop());
    Query("ALTER TABLE playlist RENAME TO away");
    fs::remove(Music() / "second.mp3");
    Start("--purge");
    EXPECT_TRUE(Eventually(
        [] { return ReadFile(LogFile()).find("the database refuses") != std::string::npos; }));
    fs::rename(Music() / "first.mp3", scratch() / "first.mp3");
    Query("ALTER TABLE away RENAME TO playlist");
    EXPECT_TRUE(Eventually([] {
        return ReadFile(LogFile()).find("songs and lists stay in the library") != std::string::npos;
    }));
    EXPECT_EQ(Songs(), "first.mp3=The Tóne,second.mp3=second");
    EXPECT_TRUE(Stop());
}

TEST_F(LibraryWatchTest, APlaylistRowIsRemovedByItsId) {
    Query("INSERT INTO playlist (id, path) VALUES (5, '/a.m3u'), (50, '/b.m3u')");
    Query("INSERT INTO personal_playlist (userid, id, path) VALUES (1030, 7, '/c.m3u')");
    const auto left = [] {
        return Value(
            "SELECT string_agg(id::text, ',' ORDER BY id) FROM (SELECT id FROM playlist"
            " UNION ALL SELECT id FROM personal_playlist) AS rows");
    };
    for (const char *bad : {"", "-5", "+5", "5 ", " 5", "0", "5x", "0x5", "5 OR true", "6",
                            "4294967301", "99999999999999999999"}) {
        EXPECT_EQ(varnindex::RemovePlaylistRow(bad), 1) << bad;
    }
    EXPECT_EQ(left(), "5,7,50");
    EXPECT_TRUE(Logged("no playlist with the id 6"));
    EXPECT_EQ(varnindex::RemovePlaylistRow("5"), 0);
    EXPECT_EQ(varnindex::RemovePlaylistRow("007"), 0);
    EXPECT_EQ(left(), "50");
    EXPECT_EQ(varnindex::RemovePlaylistRow("5"), 1);
}

}  // namespace

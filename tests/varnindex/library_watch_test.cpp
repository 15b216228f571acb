// The watching indexer and the library.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include "support/eventually.h"
#include "varn/notify.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"
#include "varnindex/index_fixture.h"
#include "varnindex/write/remove.h"

namespace {

using namespace tonvale_test;

class LibraryWatchTest : public IndexTest {
  protected:
    void SetUp() override {
        IndexTest::SetUp();
        Put("first.mp3");
    }
    void TearDown() override {
        if (indexer_) {
            indexer_->Signal(SIGKILL);
            indexer_.reset();
        }
        IndexTest::TearDown();
    }

    void Start(const char *option = "--watch") {
        indexer_ = std::make_unique<Command>(Words{"--watch", option}, "", "varnindex");
        ASSERT_TRUE(Eventually([] { return fs::exists(At(varn::path::kNotifySocket)); }))
            << indexer_->Complaints();
    }
    // What it has printed; fails unless it ended well.
    std::string Stop() {
        const Finished finished = indexer_->Signal(SIGTERM);
        indexer_.reset();
        EXPECT_EQ(finished.status, 0) << finished.err;
        return finished.out;
    }
    bool Complains(const std::string &part) const {
        return Eventually([&] { return Contains(indexer_->Complaints(), part); });
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
                   : testing::AssertionFailure() << Songs();
    }

    std::unique_ptr<Command> indexer_;
};

TEST_F(LibraryWatchTest, TheLibraryFollowsTheFolders) {
    Start();
    EXPECT_TRUE(Becomes("first.mp3=The Tóne"));
    Put("second.mp3", "plain.mp3");
    EXPECT_TRUE(Becomes("first.mp3=The Tóne,second.mp3=second"));
    fs::remove(Music() / "second.mp3");
    EXPECT_TRUE(Becomes("first.mp3=The Tóne"));
    const std::string id = Value("SELECT id FROM track");
    fs::create_directory(Music() / "album");
    fs::rename(Music() / "first.mp3", Music() / "album" / "moved.mp3");
    EXPECT_TRUE(Becomes("moved.mp3=The Tóne"));
    EXPECT_EQ(Value("SELECT id FROM track"), id);
    Query("INSERT INTO playlist (id, path) VALUES (77, '/gone/a.m3u')");
    EXPECT_EQ(VLIBVRNotify("77", nullptr, VLIB_NOTIFY_DELETED), 0);
    EXPECT_TRUE(
        Eventually([] { return Value("SELECT count(*) FROM playlist WHERE id = 77") == "0"; }));
    const std::string log = Stop();
    EXPECT_FALSE(fs::exists(At(varn::path::kNotifySocket)));
    EXPECT_TRUE(log.starts_with("added 1, changed 0,")) << log;
    EXPECT_NE(log.find("\nadded 0, changed 0, moved 0, removed 1, unchanged 1,"), log.npos) << log;
}

// A stop in the middle of a scan leaves the rest to the next start.
TEST_F(LibraryWatchTest, ALongScanStopsAtOnceAndIsMadeUpFor) {
    constexpr int kSongs = 8'000;
    for (int i = 1; i < kSongs; ++i) {
        const fs::path folder = Music() / std::to_string(i % 100);
        fs::create_directories(folder);
        fs::create_hard_link(Music() / "first.mp3", folder / (std::to_string(i) + ".mp3"));
    }
    const auto songs = [] { return std::stoi(Value("SELECT count(*) FROM track")); };
    Start();
    ASSERT_TRUE(Eventually([&] { return songs() > 0; }));
    Stop();
    EXPECT_LT(songs(), kSongs);
    EXPECT_FALSE(fs::exists(At(varn::path::kNotifySocket)));
    Start();
    EXPECT_TRUE(Eventually([&] { return songs() == kSongs; }));
}

// A configuration that is lost, or written anew in more than one step.
TEST_F(LibraryWatchTest, WhatChangesWhileNothingIsIndexedIsNotForgotten) {
    ASSERT_EQ(VARNAudioConfSet("enable_personal_library", "no"), 0);
    Start();
    ASSERT_TRUE(Becomes("first.mp3=The Tóne"));
    WriteFile(varn::path::kIndexFolders, "");
    Put("second.mp3", "plain.mp3");
    EXPECT_TRUE(Complains("no folder is indexed"));
    EXPECT_EQ(Songs(), "first.mp3=The Tóne");
    WriteFile(varn::path::kIndexFolders, Music().string() + "\n");
    EXPECT_TRUE(Becomes("first.mp3=The Tóne,second.mp3=second"));
    Stop();
}

// Tried again when the database is back, hours later for example: a disk may be away by then.
TEST_F(LibraryWatchTest, AScanThatWasToPurgeIsMadeUpForWithout) {
    Put("second.mp3", "plain.mp3");
    Start();
    ASSERT_TRUE(Becomes("first.mp3=The Tóne,second.mp3=second"));
    Stop();
    Query("ALTER TABLE playlist RENAME TO away");
    fs::remove(Music() / "second.mp3");
    Start("--purge");
    EXPECT_TRUE(Complains("the database refuses"));
    fs::rename(Music() / "first.mp3", scratch() / "first.mp3");
    Query("ALTER TABLE away RENAME TO playlist");
    EXPECT_TRUE(Complains("songs and lists stay in the library"));
    EXPECT_EQ(Songs(), "first.mp3=The Tóne,second.mp3=second");
    Stop();
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
        EXPECT_NE(Index({"-d", bad}).status, 0) << bad;
    }
    EXPECT_EQ(left(), "5,7,50");
    EXPECT_NE(Index({"-d", "6"}).err.find("no playlist with the id 6"), std::string::npos);
    EXPECT_EQ(Index({"-d", "5"}).status, 0);
    EXPECT_EQ(Index({"-d", "007"}).status, 0);
    EXPECT_EQ(left(), "50");
    EXPECT_EQ(Index({"-d", "5"}).status, 1);
}

}  // namespace

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
    // Ends it and returns what it printed. The test fails unless it ended well.
    std::string Stop() {
        const Finished finished = indexer_->Signal(SIGTERM);
        indexer_.reset();
        EXPECT_EQ(finished.status, 0) << finished.err;
        return finished.out;
    }
    bool Complains(const std::string &part) const {
        return Eventually([&] { return Contains(indexer_->Complaints(), part); });
    }

    // "NAME=TITLE" of every song.
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

TEST_F(LibraryWatchTest, AScanThatWasStoppedIsFinishedAfterTheNextStart) {
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

// Another program may write the configuration anew in more than one step.
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

// The database may come back hours later, and a disk may be away by then.
TEST_F(LibraryWatchTest, AScanThatIsTriedAgainDoesNotPurge) {
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

}  // namespace

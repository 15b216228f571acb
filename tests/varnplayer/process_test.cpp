// varnplayer as a process: starting, ending, and what becomes of the music player daemon.
#include <sys/stat.h>

#include <cerrno>
#include <functional>

#include "programs/command.h"
#include "varnplayer/player_fixture.h"

namespace {

using namespace tonvale_test;

constexpr auto kFailed = 1 << 8;  // a wait status

bool IsGone(pid_t pid) {
    return Eventually([&] { return kill(pid, 0) != 0 && errno == ESRCH; });
}

class ProcessTest : public PlayerTest {
  protected:
    static uid_t OwnerOf(const fs::path &path) {
        struct stat info {};
        EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
        return info.st_uid;
    }
    static void GiveToPackage(const fs::path &path) {
        struct stat owner {};
        EXPECT_EQ(stat(At("/var/run/Tonvale").c_str(), &owner), 0);
        EXPECT_EQ(chown(path.c_str(), owner.st_uid, owner.st_gid), 0);
    }
};

TEST_F(ProcessTest, ThereIsOneOnASystem) {
    PlayerProcess second({"--output=null"}, scratch() / "second.log");
    EXPECT_EQ(second.Wait(), kFailed);
    EXPECT_TRUE(Contains(second.Log(), "another varnplayer runs on this system")) << second.Log();
    EXPECT_TRUE(fs::exists(At(varn::path::kPlayerSocket)));
    EXPECT_TRUE(fs::exists(At("/var/run/Tonvale/player/mpd.sock")));
    EXPECT_TRUE(Info()["success"].asBool());
    // Nor does it take away what somebody else put in its socket's place.
    const fs::path socket = At(varn::path::kPlayerSocket);
    fs::remove(socket);
    std::ofstream(socket) << "another's";
    EXPECT_EQ(player_->Signal(SIGINT), 0) << player_->Log();
    player_.reset();
    EXPECT_EQ(ReadFile(socket), "another's");
    fs::remove(socket);
    Start({"--output=null"});
}

TEST_F(ProcessTest, AStoppedMusicPlayerDaemonIsEnded) {
    const pid_t engine = player_->Engine();
    ASSERT_GT(engine, 0);
    kill(engine, SIGSTOP);
    EXPECT_EQ(player_->Signal(SIGTERM), 0) << player_->Log();
    player_.reset();
    EXPECT_TRUE(IsGone(engine));
}

TEST_F(ProcessTest, NeitherOutlivesTheOther) {
    kill(player_->Engine(), SIGKILL);
    EXPECT_EQ(player_->Wait(), kFailed);
    EXPECT_TRUE(Contains(player_->Log(), "the music player daemon ended")) << player_->Log();
    EXPECT_FALSE(fs::exists(At(varn::path::kPlayerSocket)));

    Start({"--output=null"});
    const pid_t engine = player_->Engine();
    EXPECT_EQ(player_->Signal(SIGKILL), SIGKILL);
    EXPECT_TRUE(IsGone(engine));
    // What a killed one left behind is in nobody's way.
    Start({"--output=null"});
}

TEST_F(ProcessTest, WhatCannotStartSaysSoAtOnce) {
    EXPECT_EQ(player_->Signal(SIGTERM), 0);
    player_.reset();
    const fs::path folder = At("/var/run/Tonvale/player");
    const auto run = [&](const std::string &output) {
        PlayerProcess process({"--output=" + output}, LogFile());
        EXPECT_EQ(process.Wait(), kFailed) << output;
        EXPECT_FALSE(fs::exists(At(varn::path::kPlayerSocket)));
        return process.Log();
    };
    EXPECT_TRUE(Contains(run("nosuch"), "did not come up")) << ReadFile(LogFile());
    EXPECT_TRUE(Contains(run("null\"\n"), "is no type of output")) << ReadFile(LogFile());
    fs::remove_all(folder);
    fs::create_directory_symlink(scratch(), folder);
    EXPECT_TRUE(Contains(run("null"), "is not a folder of this account"));
    fs::remove(folder);
    if (IsRoot()) {
        fs::create_directory(folder);
        EXPECT_EQ(chown(folder.c_str(), kAlice, kAlice), 0);
        EXPECT_TRUE(Contains(run("null"), "is not a folder of this account"));
        fs::remove(folder);
    }
    // One of its own that others could enter is closed to them.
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::all);
    GiveToPackage(folder);
    Start({"--output=null"});
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
}

// Whoever may write to the folder does not get another's file by it, nor keep a start waiting.
TEST_F(ProcessTest, TheLockIsNobodyElsesFile) {
    EXPECT_EQ(player_->Signal(SIGTERM), 0);
    player_.reset();
    const fs::path lock = At("/var/run/Tonvale/player.lock");
    const fs::path other = root() / "another's";
    std::ofstream(other) << "text";
    const uid_t owner = OwnerOf(other);
    const std::pair<const char *, std::function<void()>> kCases[] = {
        {"a second name", [&] { fs::create_hard_link(other, lock); }},
        {"a link", [&] { fs::create_symlink(other, lock); }},
        {"a pipe", [&] { ASSERT_EQ(mkfifo(lock.c_str(), 0666), 0); }}};
    for (const auto &[what, make] : kCases) {
        fs::remove(lock);
        make();
        PlayerProcess process({"--output=null"}, LogFile());
        EXPECT_EQ(process.Wait(), kFailed) << what;
        EXPECT_EQ(OwnerOf(other), owner) << what;
    }
    fs::remove(lock);
    Start({"--output=null"});
    EXPECT_EQ(OwnerOf(lock), OwnerOf(At("/var/run/Tonvale")));
    EXPECT_EQ(OwnerOf(At(varn::path::kPlayerSocket)), OwnerOf(lock));
}

}  // namespace

// How varnplayer and its music player daemon start and end.
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <functional>

#include "programs/command.h"
#include "varnplayer/player_fixture.h"

namespace {

using namespace tonvale_test;

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
    const Finished second = PlayerProcess({"--output=null"}).Wait();
    EXPECT_EQ(second.status, 1);
    ExpectSaid(second, "another varnplayer runs on this system");
    EXPECT_TRUE(fs::exists(At(varn::path::kPlayerSocket)));
    EXPECT_TRUE(fs::exists(At("/var/run/Tonvale/player/mpd.sock")));
    EXPECT_TRUE(Info()["success"].asBool());
    // At its end it leaves a file alone that took its socket's place.
    const fs::path socket = At(varn::path::kPlayerSocket);
    fs::remove(socket);
    std::ofstream(socket) << "another's";
    End(SIGINT);
    EXPECT_EQ(ReadFile(socket), "another's");
    fs::remove(socket);
    Start({"--output=null"});
}

TEST_F(ProcessTest, AStoppedMusicPlayerDaemonIsEnded) {
    const pid_t engine = player_->Engine();
    ASSERT_GT(engine, 0);
    kill(engine, SIGSTOP);
    End();
    EXPECT_TRUE(IsGone(engine));
}

TEST_F(ProcessTest, TheTwoDaemonsEndTogether) {
    kill(player_->Engine(), SIGKILL);
    const Finished ended = player_->Wait();
    EXPECT_EQ(ended.status, 1);
    ExpectSaid(ended, "the music player daemon ended");
    EXPECT_FALSE(fs::exists(At(varn::path::kPlayerSocket)));

    Start({"--output=null"});
    const pid_t engine = player_->Engine();
    player_->Signal(SIGKILL);
    EXPECT_TRUE(IsGone(engine));
    // What a killed one leaves does not stop the next.
    Start({"--output=null"});
}

TEST_F(ProcessTest, ADaemonThatCannotStartSaysWhy) {
    End();
    const fs::path folder = At("/var/run/Tonvale/player");
    const auto run = [&](const std::string &output) {
        const Finished finished = PlayerProcess({"--output=" + output}).Wait();
        EXPECT_EQ(finished.status, 1) << output;
        EXPECT_FALSE(fs::exists(At(varn::path::kPlayerSocket)));
        return finished.err;
    };
    EXPECT_TRUE(Contains(run("nosuch"), "did not come up"));
    EXPECT_TRUE(Contains(run("null\"\n"), "is no type of output"));
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
    // It closes a folder of its own that others may enter.
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::all);
    GiveToPackage(folder);
    Start({"--output=null"});
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
}

// An account that may write to the folder must not get another file by it, or delay the start.
TEST_F(ProcessTest, ALockThatLeadsToAnotherFileIsRefused) {
    End();
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
        EXPECT_EQ(PlayerProcess({"--output=null"}).Wait().status, 1) << what;
        EXPECT_EQ(OwnerOf(other), owner) << what;
    }
    fs::remove(lock);
    Start({"--output=null"});
    EXPECT_EQ(OwnerOf(lock), OwnerOf(At("/var/run/Tonvale")));
    EXPECT_EQ(OwnerOf(At(varn::path::kPlayerSocket)), OwnerOf(lock));
}

}  // namespace

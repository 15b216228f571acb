#include "varnindex/watch/watch.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

#include "platform/child.h"
#include "support/eventually.h"
#include "support/fixture.h"
#include "varn/notify.h"
#include "varn/systempath.h"
#include "varnindex/database.h"
#include "varnindex/watch/tree_watch.h"

namespace {

using namespace tonvale_test;
using Words = std::vector<std::string>;

// A watcher in a process of its own, whose jobs write down what they are asked for.
class WatchTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        fs::create_directories(Music());
        SetFolders({Music()});
    }
    void TearDown() override {
        if (watcher_ > 0) {
            EXPECT_TRUE(Stop()) << testing::PrintToString(Log());
        }
        SystemTest::TearDown();
    }

    static fs::path Music() { return scratch() / "music"; }
    static fs::path Socket() { return At(varn::path::kNotifySocket); }
    static fs::path Spool() { return At(varn::path::kNotifySpool); }
    static fs::path Asked() { return scratch() / "asked"; }

    static void SetFolders(const std::vector<fs::path> &folders) {
        std::string text;
        for (const fs::path &folder : folders) {
            text += folder.string() + "\n";
        }
        WriteFile(varn::path::kIndexFolders, text);
    }

    static varnindex::WatchJobs Jobs() {
        const auto note = [](const std::string &line) {
            // The test makes jobs fail: by the database, the list of folders, another indexer.
            if (fs::exists(scratch() / "database away")) {
                throw varnindex::DatabaseError("gone for a while");
            }
            if (fs::exists(scratch() / "list unreadable")) {
                throw std::system_error(EIO, std::generic_category(), "the list of folders");
            }
            std::ofstream(Asked(), std::ios::app) << line << "\n";
            return fs::exists(scratch() / "indexer busy") ? varnindex::JobResult::kIndexerBusy
                                                          : varnindex::JobResult::kDone;
        };
        varnindex::WatchJobs jobs;
        jobs.folders = [] { return Lines(At(varn::path::kIndexFolders)); };
        jobs.indexAll = [note] { return note("everything"); };
        jobs.indexPaths = [note](const Words &paths) {
            std::string line;
            for (const std::string &path : paths) {
                line += path + "|";
            }
            return note(line);
        };
        return jobs;
    }

    static Words Lines(const fs::path &path) {
        Words lines;
        std::istringstream text(ReadFile(path));
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    // Returns after the watcher's first scan.
    void Start() {
        watcher_ = StartInChild([] { EXPECT_EQ(varnindex::Watch(Jobs()), 0); });
        ASSERT_TRUE(Eventually([] { return WasAsked("everything"); }));
        fs::remove(Asked());
    }

    // True when it ended well.
    bool Stop(int signal = SIGTERM) {
        kill(watcher_, signal);
        return EndedWell(std::exchange(watcher_, 0));
    }

    // True when the watcher asked for a path, or for everything.
    static bool WasAsked(const std::string &path) {
        for (const std::string &line : Lines(Asked())) {
            if (line == path || ("|" + line).find("|" + path + "|") != std::string::npos) {
                return true;
            }
        }
        return false;
    }
    static testing::AssertionResult Asks(const fs::path &path) {
        const bool asked = Eventually([&] { return WasAsked(path); });
        return asked ? testing::AssertionSuccess()
                     : testing::AssertionFailure() << path << " not in " << ReadFile(Asked());
    }

    // A file that is written is asked for.
    static void Sees(const fs::path &path) {
        Touch(path, "x");
        EXPECT_TRUE(Asks(path));
    }

    pid_t watcher_ = 0;
};

TEST_F(WatchTest, EveryKindOfChangeIsSeen) {
    Touch(Music() / "old" / "kept.mp3");
    Touch(Music() / "old" / "gone.mp3");
    fs::create_directories(scratch() / "outside" / "deep");
    Touch(scratch() / "outside" / "deep" / "in.flac");
    Start();
    const fs::path old = Music() / "old";
    fs::remove(old / "gone.mp3");
    fs::create_hard_link(old / "kept.mp3", old / "linked.mp3");
    fs::rename(scratch() / "outside", Music() / "inside");
    fs::create_directories(Music() / "a" / "b" / "c");
    fs::create_directory_symlink(scratch() / "linked", Music() / "link");
    fs::create_directories(scratch() / "linked");
    fs::rename(Music() / "link", Music() / "link2");
    Touch(old / "new.mp3", "x");
    Sees(old / "kept.mp3");
    for (const char *name :
         {"old/new.mp3", "old/gone.mp3", "old/linked.mp3", "inside", "a", "link2"}) {
        EXPECT_TRUE(Asks(Music() / name));
    }
    Touch(Music() / "inside" / "deep" / "later.m3u", "x");
    Touch(Music() / "a" / "b" / "c" / "deep.cue", "x");
    Touch(scratch() / "linked" / "through.mp3");
    for (const char *name : {"inside/deep/later.m3u", "a/b/c/deep.cue", "link2/through.mp3"}) {
        EXPECT_TRUE(Asks(Music() / name));
    }
    fs::remove(Music() / "link2");
    fs::remove_all(Music() / "inside");
    EXPECT_TRUE(Asks(Music() / "inside"));
}

// This includes what the indexer writes itself.
TEST_F(WatchTest, FilesWhoseNamesTheLibraryPassesOverAreNotAskedFor) {
    Start();
    Touch(Music() / "@eaDir" / "song.mp3" / "APIC.jpg");
    Touch(Music() / ".hidden.mp3");
    Touch(Music() / "$Recycle.Bin" / "song.mp3");
    Touch(Music() / "notes.txt");
    Sees(Music() / "last.mp3");
    EXPECT_EQ(Lines(Asked()), Words{(Music() / "last.mp3").string() + "|"});
}

TEST_F(WatchTest, NoticesAreWorkedOffOnce) {
    const auto notify = [](const fs::path &path, int code, const char *old = nullptr) {
        EXPECT_EQ(VLIBVRNotify(path.c_str(), old, code), 0);
    };
    const std::string hostile = Music() / "two\\n tab\t.mp3";
    notify(hostile, VLIB_NOTIFY_CREATED);
    notify("/elsewhere/not ours.mp3", VLIB_NOTIFY_CREATED);
    ASSERT_TRUE(fs::exists(Spool()));
    watcher_ = StartInChild([] { EXPECT_EQ(varnindex::Watch(Jobs()), 0); });
    ASSERT_TRUE(Asks("everything"));
    std::ofstream(Spool(), std::ios::app)
        << "64\t" << (Music() / "two\\\\n tab\\t.mp3").string() << "\t\n";
    EXPECT_TRUE(Asks(hostile));
    EXPECT_EQ(fs::file_size(Spool()), 0U);
    notify(Music() / "sent.m3u", VLIB_NOTIFY_CHANGED);
    notify(Music() / "b.m3u", VLIB_NOTIFY_MOVED, (Music() / "a.m3u").c_str());
    // What a sender writes when the watcher is too busy.
    std::ofstream(Spool(), std::ios::app) << "2\t" << (Music() / "late.m3u").string() << "\t\n";
    for (const char *name : {"sent.m3u", "a.m3u", "b.m3u", "late.m3u"}) {
        EXPECT_TRUE(Asks(Music() / name));
    }
    EXPECT_FALSE(WasAsked("/elsewhere/not ours.mp3"));
    fs::remove(Asked());
    std::ofstream(Spool(), std::ios::app) << "*\n";
    EXPECT_TRUE(Asks("everything"));
}

TEST_F(WatchTest, WhatCannotBeDoneIsTriedAgain) {
    Start();
    std::ofstream(scratch() / "database away") << "";
    Touch(Music() / "a.mp3");
    EXPECT_TRUE(Eventually([&] { return Logged("gone for a while"); }));
    fs::remove(scratch() / "database away");
    EXPECT_TRUE(Asks(Music() / "a.mp3"));
    EXPECT_TRUE(Eventually([&] { return Logged("indexing goes on"); }));
    std::ofstream(scratch() / "list unreadable") << "";
    Touch(Music() / "c.mp3");
    EXPECT_TRUE(Eventually([&] { return Logged("the list of folders: Input/output error"); }));
    fs::remove(scratch() / "list unreadable");
    EXPECT_TRUE(Asks(Music() / "c.mp3"));
    fs::remove(Asked());
    std::ofstream(scratch() / "indexer busy") << "";
    Touch(Music() / "b.mp3");
    EXPECT_TRUE(Eventually([&] { return Lines(Asked()).size() >= 2; })) << "tried again";
    fs::remove(scratch() / "indexer busy");
    EXPECT_TRUE(Asks(Music() / "b.mp3"));
    const std::string log = testing::PrintToString(Log());
    EXPECT_EQ(log.find("gone for a while"), log.rfind("gone for a while")) << "told twice";
}

TEST_F(WatchTest, AChangedConfigurationIsFollowed) {
    fs::create_directories(scratch() / "more");
    Start();
    SetFolders({Music(), scratch() / "more"});
    EXPECT_TRUE(Asks("everything"));
    Sees(scratch() / "more" / "song.mp3");
    SetFolders({scratch() / "more"});
    EXPECT_TRUE(Eventually([] {
        const Words lines = Lines(Asked());
        return std::count(lines.begin(), lines.end(), "everything") == 2;
    }));
    fs::remove(Asked());
    Touch(Music() / "left.mp3");
    Sees(scratch() / "more" / "last.mp3");
    EXPECT_FALSE(WasAsked((Music() / "left.mp3").string()));
}

// The limit is that of a user namespace of the test's own.
TEST_F(WatchTest, FoldersBeyondTheLimitOfTheSystemAreNamed) {
    for (const char *name : {"a", "b", "c"}) {
        fs::create_directories(Music() / name);
    }
    const auto withLimit = [] {
        if (unshare(CLONE_NEWUSER) != 0) {
            return;
        }
        const auto setLimit = [](const char *limit) {
            std::ofstream file("/proc/sys/user/max_inotify_watches");
            return static_cast<bool>(file << limit << std::flush);
        };
        if (!setLimit("2")) {
            return;
        }
        std::ofstream(scratch() / "limited") << "";
        varnindex::TreeWatch tree;
        EXPECT_EQ(tree.SetRoots({Music()}), Words{Music()});
        const std::set<std::string> expected = {Music() / "a", Music() / "b", Music() / "c"};
        EXPECT_EQ(tree.Unwatched().size(), 2U);
        EXPECT_TRUE(std::includes(expected.begin(), expected.end(), tree.Unwatched().begin(),
                                  tree.Unwatched().end()));
        EXPECT_TRUE(setLimit("100"));
        tree.RetryUnwatched();
        EXPECT_TRUE(tree.Unwatched().empty());
        std::set<std::string> changed;
        for (const std::string &folder : expected) {
            Touch(folder + "/song.mp3");
            changed.clear();
            tree.Read(changed);
            EXPECT_EQ(changed, std::set{folder + "/song.mp3"});
        }
    };
    EXPECT_TRUE(HoldsInChild(withLimit));
    if (!fs::exists(scratch() / "limited")) {
        GTEST_SKIP() << "the limit cannot be set here";
    }
}

// Gives the process mounts of its own, which needs root's rights.
bool HasOwnMounts() {
    return unshare(CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

TEST_F(WatchTest, ADiskThatComesAndGoesInsideAWatchedFolderIsWatched) {
    const fs::path disk = Music() / "a" / "disk";
    fs::create_directories(disk);
    const auto withDisk = [&] {
        if (!HasOwnMounts()) {
            return;
        }
        std::ofstream(scratch() / "mounted") << "";
        const pid_t watcher = StartInChild([] { EXPECT_EQ(varnindex::Watch(Jobs()), 0); });
        EXPECT_TRUE(Asks("everything"));
        for (int i = 0; i < 2; ++i) {
            fs::remove(Asked());
            EXPECT_EQ(mount("none", disk.c_str(), "tmpfs", 0, nullptr), 0);
            EXPECT_TRUE(Asks(disk));
            Touch(disk / "deep" / "1.mp3");
            EXPECT_TRUE(Asks(disk / "deep"));
            Sees(disk / "deep" / "2.mp3");
            fs::remove(Asked());
            EXPECT_EQ(umount(disk.c_str()), 0);
            EXPECT_TRUE(Asks(disk));
            Sees(disk / "below.mp3");
        }
        kill(watcher, SIGTERM);
        EXPECT_TRUE(EndedWell(watcher));
    };
    EXPECT_TRUE(HoldsInChild(withDisk));
    if (!fs::exists(scratch() / "mounted")) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
}

TEST_F(WatchTest, AfterLostEventsTheWholeTreeIsReadAgain) {
    std::ifstream text("/proc/sys/fs/inotify/max_queued_events");
    unsigned queue = 0;
    text >> queue;
    ASSERT_TRUE(queue > 0 && queue <= 100'000);
    varnindex::TreeWatch tree;
    tree.SetRoots({Music()});
    for (unsigned i = 0; i <= queue; ++i) {
        // Two different events in turn, which the system does not merge.
        std::ofstream(Music() / (i % 2 == 0 ? "even.txt" : "odd.txt")) << "";
    }
    fs::create_directories(Music() / "missed");
    std::set<std::string> changed;
    tree.Read(changed);
    EXPECT_TRUE(changed.contains(Music()));
    changed.clear();
    Touch(Music() / "missed" / "song.mp3");
    tree.Read(changed);
    EXPECT_EQ(changed, std::set{(Music() / "missed" / "song.mp3").string()});
}

TEST_F(WatchTest, OneWatcherRunsAtATimeAndAKilledOneStopsNoOther) {
    Start();
    EXPECT_TRUE(HoldsInChild([] { EXPECT_EQ(varnindex::Watch(Jobs()), 1); }));
    EXPECT_TRUE(Logged("another process watches"));
    EXPECT_TRUE(fs::exists(Socket()));
    EXPECT_TRUE(Stop(SIGINT));
    EXPECT_FALSE(fs::exists(Socket()));
    // A crash leaves the socket's file, which does not stop the next one.
    Start();
    kill(watcher_, SIGKILL);
    EXPECT_FALSE(EndedWell(std::exchange(watcher_, 0)));
    EXPECT_TRUE(fs::exists(Socket()));
    Start();
    EXPECT_EQ(VLIBVRNotify((Music() / "sent.m3u").c_str(), nullptr, VLIB_NOTIFY_CHANGED), 0);
    EXPECT_TRUE(Asks(Music() / "sent.m3u"));
}

}  // namespace

#include "varn/notify.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <fstream>
#include <iterator>
#include <sstream>
#include <tuple>

#include "linux/files.h"
#include "platform/child.h"
#include "support/fixture.h"
#include "support/sockets.h"
#include "varn/base.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using varn::notify::Notice;
using varn::notify::ParseLine;

// Paths that break a careless file of lines.
std::vector<std::string> HostilePaths() {
    return {"/music/a b.mp3",
            "/music/two\nlines\r\n",
            "/music/tab\there\\n\\",
            "/music/\xFF\xFE not utf-8",
            "/*",
            "/" + std::string(PATH_MAX - 2, 'p'),
            "/" + std::string(PATH_MAX - 2, '\n')};
}

class NotifyTest : public SystemTest {
  protected:
    static fs::path Spool() { return At(varn::path::kNotifySpool); }

    // What the spool holds; a line that is no notice fails the test.
    static std::vector<Notice> Spooled() {
        std::vector<Notice> notices;
        std::istringstream text(ReadFile(Spool()));
        for (std::string line; std::getline(text, line);) {
            const auto notice = ParseLine(line);
            EXPECT_TRUE(notice) << line;
            notices.push_back(notice.value_or(Notice()));
        }
        return notices;
    }

    static varn::UniqueFd Listen() {
        varn::UniqueFd listener(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const std::string path = At(varn::path::kNotifySocket);
        unlink(path.c_str());
        EXPECT_TRUE(Bind(listener.Get(), LocalAddress(path)));
        return listener;
    }

    static std::vector<Notice> Received(const varn::UniqueFd &listener) {
        std::vector<Notice> notices;
        std::array<char, varn::notify::kMaxLine> line;
        for (ssize_t got = 0; (got = recv(listener.Get(), line.data(), line.size(), 0)) >= 0;) {
            const auto notice = ParseLine({line.data(), static_cast<std::size_t>(got)});
            EXPECT_TRUE(notice);
            notices.push_back(notice.value_or(Notice()));
        }
        return notices;
    }

    void TearDown() override {
        fs::remove(At(varn::path::kNotifySocket));
        SystemTest::TearDown();
    }
};

TEST_F(NotifyTest, HostilePathsArriveAsTheyWereSent) {
    const auto text = [](const Notice &notice) {
        return std::to_string(notice.code) + " " + notice.pathOrId + " " + notice.oldPath;
    };
    for (const bool listened : {false, true}) {
        const varn::UniqueFd listener = listened ? Listen() : varn::UniqueFd();
        std::vector<std::string> sent;
        std::vector<Notice> arrived;
        const auto send = [&](const std::string &path, const std::string &old, int code) {
            EXPECT_EQ(VLIBVRNotify(path.c_str(), old.empty() ? nullptr : old.c_str(), code), 0);
            sent.push_back(text({.code = code, .pathOrId = path, .oldPath = old}));
            for (const Notice &notice : listened ? Received(listener) : std::vector<Notice>()) {
                arrived.push_back(notice);
            }
        };
        for (const std::string &path : HostilePaths()) {
            send(path, "", VLIB_NOTIFY_CREATED);
            send(path, path, VLIB_NOTIFY_MOVED);
        }
        send("4711", "", VLIB_NOTIFY_DELETED);
        arrived = listened ? arrived : Spooled();
        std::vector<std::string> texts;
        std::transform(arrived.begin(), arrived.end(), std::back_inserter(texts), text);
        EXPECT_EQ(texts, sent);
        EXPECT_EQ(fs::remove(Spool()), !listened);
    }
}

TEST_F(NotifyTest, InvalidNoticesAreRefused) {
    using Case = std::tuple<std::string, std::string, int>;
    const std::string tooLong = "/" + std::string(PATH_MAX - 1, 'p');
    for (const auto &[path, oldPath, code] :
         {Case{"", "", 2}, Case{"relative", "", 64}, Case{"/a/../b", "", 2}, Case{tooLong, "", 2},
          Case{"/a", "/b", 64}, Case{"/a", "", 256}, Case{"/a", "b", 256}, Case{"/a", tooLong, 256},
          Case{"/a", "", 128}, Case{"", "", 128}, Case{"-1", "", 128}, Case{"1 ", "", 128},
          Case{"99999999999", "", 128}, Case{"/a", "", 0}, Case{"/a", "", 66}}) {
        EXPECT_EQ(VLIBVRNotify(path.c_str(), oldPath.c_str(), code), -1) << path;
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETER);
    }
    EXPECT_EQ(VLIBVRNotify(nullptr, nullptr, VLIB_NOTIFY_CHANGED), -1);
    EXPECT_FALSE(fs::exists(Spool()));
    for (const char *line : {"", "64", "64\t/a", "64\t/a\t\t", "x\t/a\t", "64\t/a\\\t",
                             "64\t/a\\x\t", "64\trelative\t", " 64\t/a\t", "64 \t/a\t", "**"}) {
        EXPECT_FALSE(ParseLine(line)) << line;
    }
}

// A slow listener loses no notice and holds no sender up.
TEST_F(NotifyTest, NoticesThatTheListenerDoesNotTakeAreSpooled) {
    constexpr int kMost = 5000;
    varn::UniqueFd listener = Listen();
    int sent = 0;
    while (!fs::exists(Spool()) && sent < kMost) {
        ASSERT_EQ(VLIBVRNotify(("/music/" + std::to_string(sent)).c_str(), nullptr, 2), 0);
        ++sent;
    }
    ASSERT_LT(sent, kMost);
    EXPECT_EQ(Received(listener).size() + Spooled().size(), static_cast<std::size_t>(sent));
    listener.Reset();  // the file of its socket stays, as after a crash
    ASSERT_EQ(VLIBVRNotify("/music/late", nullptr, 2), 0);
    EXPECT_EQ(Spooled().back().pathOrId, "/music/late");
}

TEST_F(NotifyTest, AFullSpoolAsksForAFullScan) {
    ASSERT_EQ(VLIBVRNotify("/music/first", nullptr, 2), 0);
    fs::resize_file(Spool(), (4U << 20) - 5);
    ASSERT_EQ(VLIBVRNotify("/music/too much", nullptr, 2), 0);
    ASSERT_EQ(VLIBVRNotify("/music/after", nullptr, 2), 0);
    const auto notices = Spooled();
    ASSERT_EQ(notices.size(), 2U);
    EXPECT_TRUE(notices[0].everything);
    EXPECT_EQ(notices[1].pathOrId, "/music/after");
}

TEST_F(NotifyTest, OnlyAPlainFileOfItsOwnIsWritten) {
    const fs::path victim = scratch() / "victim";
    std::ofstream(victim) << "precious\n";
    const auto expectRefused = [&](const char *what) {
        EXPECT_EQ(VLIBVRNotify("/music/a", nullptr, 2), -1) << what;
        EXPECT_NE(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETER);
        EXPECT_EQ(ReadFile(victim), "precious\n");
        fs::remove(Spool());
    };
    fs::create_symlink(victim, Spool());
    expectRefused("a symbolic link");
    fs::create_hard_link(victim, Spool());
    expectRefused("a hard link");
    ASSERT_EQ(mkfifo(Spool().c_str(), 0600), 0);
    expectRefused("a FIFO");
    fs::create_directory(Spool());
    expectRefused("a folder");
    fs::remove_all(Spool().parent_path());
    EXPECT_EQ(VLIBVRNotify("/music/a", nullptr, 2), -1);
}

TEST_F(NotifyTest, ALockThatIsNeverReleasedIsNotWaitedFor) {
    ASSERT_EQ(VLIBVRNotify("/music/a", nullptr, 2), 0);
    const varn::UniqueFd holder(open(Spool().c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(holder.Get(), LOCK_EX), 0);
    EXPECT_EQ(VLIBVRNotify("/music/b", nullptr, 2), -1);
    EXPECT_EQ(Spooled().size(), 1U);
}

TEST_F(NotifyTest, RootAndThePackageShareTheSpool) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root";
    }
    const auto asPackage = [] {
        ASSERT_EQ(ResetCredentialsByName("Tonvale", false), 0);
        EXPECT_EQ(VLIBVRNotify("/music/package", nullptr, 2), 0);
    };
    ASSERT_EQ(VLIBVRNotify("/music/root", nullptr, 2), 0);
    EXPECT_TRUE(HoldsInChild(asPackage));
    fs::remove(Spool());
    EXPECT_TRUE(HoldsInChild(asPackage));
    EXPECT_EQ(VLIBVRNotify("/music/root", nullptr, 2), 0);
    EXPECT_EQ(Spooled().size(), 2U);
}

}  // namespace

// Songs and covers in a folder that the package's account cannot read.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "platform/child.h"
#include "support/fixture.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace tonvale_test {

class CoverTest : public SystemTest {
  protected:
    using Path = fs::path;

    void SetUp() override {
        SystemTest::SetUp();
        isRoot_ = IsRoot();
        fs::create_directory(Music());
        fs::permissions(Music(), fs::perms(0700));
    }

    static Path Music() { return scratch() / "music"; }

    static Path Put(const Path &path, std::string_view text = "x") {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    static Path EaDir(const Path &song) { return song.parent_path() / "@eaDir" / song.filename(); }

    // Names of pictures that are a link, a folder, a pipe and nothing.
    static std::vector<Path> NoFiles() {
        fs::create_symlink(Put(scratch() / "private.jpg"), Music() / "link.jpg");
        fs::create_directory(Music() / "folder.jpg");
        EXPECT_EQ(mkfifo((Music() / "fifo.jpg").c_str(), 0600), 0);
        return {Music() / "link.jpg", Music() / "folder.jpg", Music() / "fifo.jpg",
                Music() / "missing.jpg"};
    }

    // A modification time, in seconds and nanoseconds since 2001.
    static void SetTime(const Path &path, long seconds, long nanoseconds = 0) {
        const timespec time = {1'000'000'000 + seconds, nanoseconds};
        const timespec times[] = {time, time};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
    }

    // Runs a call as the package's account. It must keep the identity, the groups and the working
    // folder.
    template <typename Call>
    auto AsPackage(const Call &call) const {
        EXPECT_EQ(ResetCredentialsByName(varn::kPackageAccount), 0);
        const auto state = [] {
            return std::tuple(CurrentIds(), CurrentGroups(), fs::current_path());
        };
        const auto before = state();
        auto result = call();
        EXPECT_EQ(state(), before);
        EXPECT_EQ(ResetCredentialsByName("root"), 0);
        EXPECT_EQ(geteuid() == 0, isRoot_);
        return result;
    }

    // Runs a call that fills a buffer with a path. Returns "none" after a failure, which must leave
    // the buffer alone.
    template <typename Call>
    std::string PathOf(const Call &call) const {
        std::array<char, 4096> buffer = {'?'};
        const int result =
            AsPackage([&] { return call(buffer.data(), static_cast<int>(buffer.size())); });
        if (result == 0) {
            return buffer.data();
        }
        EXPECT_EQ(result, -1);
        EXPECT_STREQ(buffer.data(), "?");
        return "none";
    }

    bool isRoot_ = false;
};

}  // namespace tonvale_test

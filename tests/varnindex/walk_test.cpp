#include "varnindex/observe/walk.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "support/fixture.h"

namespace {

using namespace tonvale_test;
using namespace varnindex;
using Kind = Found::Kind;
using Names = std::vector<std::string>;

bool IsMp3(std::string_view name) {
    return name.ends_with(".mp3");
}

class WalkTest : public SystemTest {
  protected:
    // Makes files below the scratch folder, with their folders.
    static void Make(const Names &files) {
        for (const std::string &file : files) {
            const fs::path path = scratch() / file;
            fs::create_directories(path.parent_path());
            std::ofstream(path) << file;
        }
    }

    // The finds of one kind, as paths below the scratch folder.
    static Names Finds(const Names &folders, Kind kind) {
        Names roots;
        for (const std::string &folder : folders) {
            roots.push_back((scratch() / folder).string());
        }
        LinkedFolders library(OrderedFolders(roots));
        Walk walk(OrderedFolders(roots), IsMp3, library);
        return Finds(walk, kind);
    }
    static Names Finds(Walk &walk, Kind kind) {
        Names names;
        while (const auto found = walk.Next()) {
            if (found->kind == kind) {
                names.push_back(found->path.substr(scratch().string().size() + 1));
            }
        }
        return names;
    }
};

TEST_F(WalkTest, PathsComeInByteOrder) {
    // A walk that sorts names alone gets the neighbours of "/" in byte order wrong.
    const Names files = {"m/a b/x.mp3",  "m/a!.mp3",  "m/a-b/x.mp3", "m/a.mp3",   "m/a/x.mp3",
                         "m/a/x/y.mp3",  "m/a0.mp3",  "m/é.mp3",     "m/Z/1.mp3", "m/b\\c.mp3",
                         "m/a.mp3x.mp3", "m-2/1.mp3", "m.d/1.mp3"};
    Make(files);
    Names expected = files;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(Finds({"m", "m.d", "m-2"}, Kind::kFile), expected);
}

TEST_F(WalkTest, FoldersOfAListAreTakenOnce) {
    EXPECT_EQ(OrderedFolders({"/m/b/", "/m//a/../b/c", "/m/b", "/m-2", "/m/bc"}),
              (Names{"/m-2", "/m/b", "/m/bc"}));
    EXPECT_EQ(OrderedFolders({"/m", "/"}), (Names{"/"}));
    EXPECT_EQ(OrderedFolders({"x"}), (Names{(fs::current_path() / "x").string()}));
}

// A walk of a part comes to the same folders as a walk of everything.
TEST_F(WalkTest, OnlyLinksThatLeadOutOfTheLibraryAreFollowed) {
    Make({"m/own/1.mp3", "m/own/.hidden/2.mp3", "n/3.mp3", "disk/4.mp3", "disk/sub/5.mp3",
          "disk/sub/.git/6.mp3", "far/7.mp3", "further/8.mp3"});
    const std::vector<std::pair<std::string, std::string>> links = {
        {"m/a-same", "m/own"},    {"m/b-other-root", "n"}, {"m/c-hidden", "m/own/.hidden"},
        {"m/d-sub", "disk/sub"},  {"m/e-disk", "disk"},    {"m/h-above", "."},
        {"disk/i-back", "m"},     {"disk/k-far", "far"},   {"disk/sub/j-loop", "disk/sub"},
        {"far/l-more", "further"}};
    for (const auto &[link, target] : links) {
        fs::create_directory_symlink(scratch() / target, scratch() / link);
    }
    const Names all = {
        "m/c-hidden/2.mp3",   "m/d-sub/5.mp3", "m/e-disk/4.mp3", "m/e-disk/k-far/7.mp3",
        "m/e-disk/sub/5.mp3", "m/own/1.mp3",   "n/3.mp3"};
    EXPECT_EQ(Finds({"m", "n"}, Kind::kFile), all);
    LinkedFolders library({(scratch() / "m").string(), (scratch() / "n").string()});
    for (const std::string part :
         {"m/own", "m/own/.hidden", "m/a-same", "m/b-other-root", "m/c-hidden", "m/d-sub",
          "m/d-sub/.git", "m/d-sub/j-loop", "m/e-disk", "m/e-disk/sub", "m/e-disk/i-back/own",
          "m/e-disk/k-far", "m/e-disk/k-far/l-more", "m/h-above/m", "m/h-above/disk/sub", "m/.none",
          "n"}) {
        Names expected;
        std::copy_if(all.begin(), all.end(), std::back_inserter(expected),
                     [&](const std::string &path) { return path.starts_with(part + "/"); });
        Walk walk({(scratch() / part).string()}, IsMp3, library);
        EXPECT_EQ(Finds(walk, Kind::kFile), expected) << part;
    }
}

TEST_F(WalkTest, LinksOutOfAHomeReachOnlyWhatItsOwnerOwns) {
    Make({"home/music/real.mp3", "home/music/sub/real.mp3", "out/folder/in.mp3", "out/mine.mp3"});
    fs::create_symlink("real.mp3", scratch() / "home/music/a.mp3");
    fs::create_symlink(scratch() / "out/mine.mp3", scratch() / "home/music/b.mp3");
    fs::create_directory_symlink(scratch() / "out/folder", scratch() / "home/music/c");
    fs::create_directory_symlink(scratch() / "out", scratch() / "home/music/sub/d");
    fs::create_directory_symlink(scratch() / "home/music", scratch() / "linked");
    const unsigned self = geteuid() != 0 ? geteuid() : 1030;
    for (const char *path : {"out", "out/mine.mp3", "out/folder", "out/folder/in.mp3"}) {
        ASSERT_EQ(chown((scratch() / path).c_str(), self, -1), 0);
    }
    const auto finds = [](const std::string &home, unsigned owner) {
        const Folders folders({}, {{(scratch() / home).string(), owner}}, {});
        LinkedFolders library(folders);
        Walk walk(folders.Roots(), IsMp3, library);
        std::string text;
        while (const auto found = walk.Next()) {
            text += (found->kind == Found::Kind::kRefused ? " !" : " ") +
                    found->path.substr((scratch() / home).string().size() + 1);
        }
        return text;
    };
    EXPECT_EQ(finds("home/music", self),
              " a.mp3 b.mp3 c/in.mp3 real.mp3 sub/d/folder/in.mp3 sub/d/mine.mp3 sub/real.mp3");
    EXPECT_EQ(finds("home/music", 4711), " a.mp3 !b.mp3 !c/ real.mp3 !sub/d/ sub/real.mp3");
    EXPECT_EQ(finds("linked", 4711), " !");
    // The folder has become a link since the one above it was read.
    const Folders folders({}, {{(scratch() / "home/music").string(), 4711}}, {});
    LinkedFolders library(folders);
    static int questions;
    questions = 0;
    Walk walk(folders.Roots(), IsMp3, library, [] {
        const fs::path folder = scratch() / "home/music/sub";
        if (++questions == 2) {
            fs::rename(folder, scratch() / "away");
            fs::create_directory_symlink(scratch() / "out/folder", folder);
        }
        return false;
    });
    while (const auto found = walk.Next()) {
        EXPECT_EQ(found->path.find("in.mp3"), std::string::npos);
    }
}

TEST_F(WalkTest, OnlyVisibleRegularFilesAreFound) {
    Make({"m/ok.mp3", "m/.hidden.mp3", "m/.git/1.mp3", "m/@eaDir/1.mp3", "m/lost+found/1.mp3",
          "m/notes.txt", "m/folder.mp3/notes.txt"});
    ASSERT_EQ(mkfifo((scratch() / "m/pipe.mp3").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", scratch() / "m/zero.mp3");
    fs::create_symlink("pipe.mp3", scratch() / "m/to-pipe.mp3");
    EXPECT_EQ(Finds({"m"}, Kind::kFile), Names{"m/ok.mp3"});
}

TEST_F(WalkTest, WhatCannotBeSeenIsReported) {
    Make({"plain-file", "deep/1.mp3", "hidden-only/.x.mp3"});
    fs::create_directory(scratch() / "empty");
    fs::create_symlink("nowhere.mp3", scratch() / "deep/lost.mp3");
    fs::create_symlink("loop", scratch() / "deep/loop");
    EXPECT_EQ(Finds({"missing", "plain-file"}, Kind::kBlocked), (Names{"missing/", "plain-file/"}));
    EXPECT_EQ(Finds({"empty", "hidden-only"}, Kind::kEmpty), (Names{"empty/", "hidden-only/"}));
    EXPECT_EQ(Finds({"deep"}, Kind::kAbsent),
              (Names{"deep/loop", "deep/loop/", "deep/lost.mp3", "deep/lost.mp3/"}));
    EXPECT_EQ(Finds({"deep"}, Kind::kFile), Names{"deep/1.mp3"});
}

TEST_F(WalkTest, AFolderWithoutPermissionIsBlockedAndTheRestIsWalked) {
    Make({"m/a/1.mp3", "m/b/2.mp3", "m/c/3.mp3"});
    fs::permissions(scratch() / "m/b", fs::perms::none);
    // Permissions stop everybody but root.
    const bool switched = IsRoot() && seteuid(kAlice) == 0;
    EXPECT_EQ(Finds({"m"}, Kind::kBlocked), Names{"m/b/"});
    EXPECT_EQ(Finds({"m"}, Kind::kFile), (Names{"m/a/1.mp3", "m/c/3.mp3"}));
    EXPECT_TRUE(!switched || seteuid(0) == 0);
    fs::permissions(scratch() / "m/b", fs::perms::owner_all);
}

TEST_F(WalkTest, AWalkThatFindsNothingCanBeStopped) {
    for (int i = 0; i < 20; ++i) {
        fs::create_directories(scratch() / "m" / std::to_string(i));
    }
    static int questions;
    questions = 0;
    const auto isStopped = [] { return ++questions > 10; };
    const auto nothing = [](std::string_view /*name*/) { return false; };
    LinkedFolders library({(scratch() / "m").string()});
    Walk walk({(scratch() / "m").string()}, nothing, library, isStopped);
    EXPECT_THROW(while (walk.Next()){}, Stopped);
}

}  // namespace

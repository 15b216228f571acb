// Several roots with one server.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "varn/host.h"
#include "varn/packageconf.h"
#include "varnindex/index_fixture.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::Finished;
using tonvale_test::Samples;

// The fixture's root, whose cluster is the server of both, and another one beside it. The two have
// a folder each below the music folder.
class RootsTest : public tonvale_test::IndexTest {
  protected:
    void SetUp() override {
        IndexTest::SetUp();
        EnableHomes(false);
        ASSERT_TRUE(varn::host::ChooseDatabase(varn::host::DatabaseKind::kExternal));
        for (const char *folder : {"etc", "etc.defaults", "usr", "var/packages"}) {
            fs::create_directories((Other() / folder).parent_path());
            fs::copy(root() / folder, Other() / folder,
                     fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        }
        Put("mine/1.mp3");
        Put("theirs/2.mp3");
        Write("mine/list.m3u");
        Write("theirs/list.m3u");
        Register({Music() / "mine"});
        RegisterOther({Music() / "theirs"});
    }

    static fs::path Other() { return scratch() / "other"; }
    static fs::path AliceMusic() { return root() / "volume1/homes/alice/music"; }

    static void EnableHomes(bool on) {
        ASSERT_EQ(VARNAudioConfSet("enable_personal_library", on ? "yes" : "no"), 0);
    }

    static void Write(const std::string &name) { std::ofstream(Music() / name) << "#EXTM3U\n"; }

    static void RegisterOther(const std::vector<fs::path> &folders) {
        std::ofstream file(Other().string() + std::string(varn::path::kIndexFolders));
        for (const fs::path &folder : folders) {
            file << folder.string() << '\n';
        }
    }

    static Finished IndexOther(const Words &arguments = {}) {
        return Index(arguments, {"TONVALE_ROOT=" + Other().string(),
                                 "PGHOST=" + At(varn::path::kDatabaseSocketDir).string()});
    }

    static std::string Summary(int added, int removed, int unchanged) {
        return "added " + std::to_string(added) + ", changed 0, moved 0, removed " +
               std::to_string(removed) + ", unchanged " + std::to_string(unchanged) + ", failed 0";
    }

    static std::string Places() {
        return Value(
            "SELECT (SELECT count(*) FROM directory) || ' ' || (SELECT count(*) FROM playlist)"
            " || ' ' || (SELECT count(*) FROM personal_directory)");
    }
};

TEST_F(RootsTest, EachRemovesItsOwnRowsAlone) {
    fs::copy_file(Samples() / "tone.m4a", AliceMusic() / "a.m4a");
    EnableHomes(true);
    Expect(Index(), 0, Summary(2, 0, 0));
    Expect(IndexOther(), 0, Summary(1, 0, 0));
    EXPECT_EQ(Places(), "2 2 1");
    Expect(Index(), 0, Summary(0, 0, 2));
    // The second of these writes nothing, so that the third knows what the first has known.
    Put("new/3.mp3", "plain.mp3");
    RegisterOther({Music() / "new"});
    Expect(IndexOther({"--dry-run"}), 0, Summary(1, 1, 0));
    Expect(IndexOther(), 0, Summary(1, 1, 0));
    EXPECT_EQ(Places(), "2 1 1");
    fs::remove(Music() / "mine/1.mp3");
    Put("mine/other.flac", "tone.flac");
    Expect(Index(), 0, Summary(1, 1, 1));
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "3");
    // Without the list nobody knows whose a row is, and it stays.
    EnableHomes(false);
    fs::remove(At(varn::path::kIndexedList));
    Expect(Index({"--purge"}), 0, Summary(0, 0, 1));
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "3");
}

// What another root was killed before it had done: its files may not be there for this one.
TEST_F(RootsTest, EachSettlesItsOwnRecordsAlone) {
    const auto due = [] { return Value("SELECT count(*) FROM outbox"); };
    Query("INSERT INTO outbox (song, number, path) SELECT 0, -1, path FROM unnest(ARRAY['" +
          (Music() / "theirs/gone.mp3").string() + "', '" + (Music() / "mine/gone.mp3").string() +
          "']) path");
    Index();
    EXPECT_EQ(due(), "1");
    Index({(Music() / "mine/1.mp3").string()});
    EXPECT_EQ(due(), "1");
    IndexOther();
    EXPECT_EQ(due(), "0");
}

TEST_F(RootsTest, AFolderIsRememberedAsLongAsItsRowsAreHeldBack) {
    fs::copy_file(Samples() / "tone.flac", AliceMusic() / "a.flac");
    EnableHomes(true);
    Index();
    IndexOther();
    fs::rename(AliceMusic().parent_path(), scratch() / "alice");
    for (int i = 0; i < 2; ++i) {
        Expect(Index(), 1, Summary(0, 0, 1));
    }
    EnableHomes(false);
    Expect(Index(), 0, Summary(0, 1, 1));
    EXPECT_EQ(ReadFile(At(varn::path::kIndexedList)), (Music() / "mine").string() + "\n");
    EXPECT_EQ(Places(), "2 2 0");
}

TEST_F(RootsTest, RowsOfNoWholeScanAreRememberedToo) {
    IndexOther();
    Put("short/3.mp3", "plain.mp3");
    Register({Music() / "mine", Music() / "short"});
    Expect(Index({(Music() / "short").string()}), 0, Summary(1, 0, 0));
    Register({Music() / "mine"});
    Expect(Index(), 0, Summary(1, 1, 0));
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "2");
}

TEST_F(RootsTest, AListThatCannotBeReadLosesNothing) {
    Index();
    const fs::path list = At(varn::path::kIndexedList);
    fs::remove(list);
    fs::create_directory(list);
    const Finished unreadable = Index();
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_NE(unreadable.err.find(list.string()), unreadable.err.npos) << unreadable.err;
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "1");
    fs::remove(list);
}

// A root with a server of its own owns every row.
TEST_F(RootsTest, AServerOfOnesOwnIsCleanedAsAWhole) {
    Index();
    IndexOther();
    ASSERT_TRUE(varn::host::ChooseDatabase(varn::host::DatabaseKind::kPrivate));
    Expect(Index(), 0, Summary(0, 1, 1));
    EXPECT_EQ(Places(), "1 1 0");
}

}  // namespace

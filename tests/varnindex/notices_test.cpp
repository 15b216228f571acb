#include "varnindex/watch/notices.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "support/fixture.h"
#include "varn/systempath.h"
#include "varnindex/index_fixture.h"

namespace {

using namespace tonvale_test;

class SpooledNoticesTest : public SystemTest {
  protected:
    static fs::path Spool() { return At(varn::path::kNotifySpool); }
};

TEST_F(SpooledNoticesTest, ADamagedSpoolAsksForEverything) {
    for (const std::string text : {"64\t/music/cut", "garbage\n2\t/music/a\t\n", "*\n"}) {
        std::ofstream(Spool()) << text;
        EXPECT_TRUE(varnindex::TakeSpooledNotices().front().everything) << text;
    }
    // A file that is not the spool is left alone.
    fs::remove(Spool());
    std::ofstream(scratch() / "victim") << "2\t/music/a\t\n";
    fs::create_symlink(scratch() / "victim", Spool());
    EXPECT_THROW(varnindex::TakeSpooledNotices(), std::system_error);
    EXPECT_EQ(ReadFile(scratch() / "victim"), "2\t/music/a\t\n");
    EXPECT_TRUE(fs::remove(Spool()));
}

using NoticesIndexTest = IndexTest;

TEST_F(NoticesIndexTest, ASpoolThatCannotBeReadStopsNoScan) {
    Put("a.mp3");
    fs::create_directories(At(varn::path::kNotifySpool));
    const auto run = Index();
    Expect(run, "added 1");
    ExpectSaid(run, "remove it");
}

TEST_F(NoticesIndexTest, APlaylistRowIsRemovedByItsIdAndNoOtherCommand) {
    Put("a.mp3");
    Query("INSERT INTO playlist (id, path) VALUES (5, '/a.m3u'), (50, '/b.m3u')");
    Query("INSERT INTO personal_playlist (userid, id, path) VALUES (1030, 7, '/c.m3u')");
    const auto left = [] {
        return Value(
            "SELECT string_agg(id::text, ',' ORDER BY id) FROM (SELECT id FROM playlist"
            " UNION ALL SELECT id FROM personal_playlist UNION ALL SELECT -id FROM track) AS rows");
    };
    for (const char *bad : {"", "-5", "+5", "5 ", " 5", "0", "5x", "0x5", "5 OR true", "6",
                            "4294967301", "99999999999999999999"}) {
        EXPECT_NE(Index({"-d", bad}).status, 0) << bad;
    }
    ExpectSaid(Index({"-d", "6"}), "no playlist with the id 6");
    EXPECT_EQ(Index({"--dry-run", "-d", "7"}).status, 2);
    EXPECT_NE(Index({"inspect", ""}).status, 0);
    EXPECT_EQ(left(), "5,7,50");
    EXPECT_EQ(Index({"-d", "5"}).status, 0);
    EXPECT_EQ(Index({"-d", "007"}).status, 0);
    EXPECT_EQ(left(), "50");
    EXPECT_EQ(Index({"-d", "5"}).status, 1);
}

}  // namespace

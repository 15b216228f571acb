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

TEST_F(SpooledNoticesTest, ADamagedLineAsksForEverything) {
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

TEST_F(NoticesIndexTest, ASpoolThatCannotBeReadStopsNobody) {
    Put("a.mp3");
    const fs::path spool = At(varn::path::kNotifySpool);
    fs::create_directories(spool);
    const auto run = Index();
    Expect(run, "added 1");
    EXPECT_NE(run.err.find("remove it"), std::string::npos) << run.err;
    fs::remove(spool);
}

TEST_F(NoticesIndexTest, AnEmptyOrMixedCommandDoesNothing) {
    Query("INSERT INTO playlist (id, path) VALUES (7, '/nowhere/a.m3u')");
    Put("a.mp3");
    EXPECT_EQ(Index({"--dry-run", "-d", "7"}).status, 2);
    EXPECT_NE(Index({"-d", ""}).status, 0);
    EXPECT_NE(Index({"inspect", ""}).status, 0);
    EXPECT_EQ(Value("SELECT (SELECT count(*) FROM playlist) - (SELECT count(*) FROM track)"), "1");
}

}  // namespace

// Files that change between the walk and the reading.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "varnindex/scan_fixture.h"

namespace {

using namespace tonvale_test;

class UnreadableTest : public ScanTest {
  protected:
    // A scan that calls `happens` after it has seen the folder "a" of `music`, and before it reads
    // any file.
    static void ScanWith(const fs::path &music, void (*happens)()) {
        fs::create_directories(music / "z");
        for (int i = 0; i < 50; ++i) {
            const fs::path path = music / "z" / (std::to_string(i) + ".ogg");
            fs::copy_file(Samples() / "tone.ogg", path, fs::copy_options::skip_existing);
        }
        static int questions;
        static void (*then)();
        questions = 0;
        then = happens;
        varnindex::ScanOptions options;
        options.isStopped = [] {
            if (++questions == 40) {
                then();
            }
            return false;
        };
        EXPECT_TRUE(ScanInProcess(options));
    }
};

// It was renamed, to a new name or over another song, and is out of reach during the scan.
TEST_F(UnreadableTest, ASongThatCannotBeReadAtItsNewPathKeepsItsRow) {
    for (const char *name : {"a/1.mp3", "a/2.mp3"}) {
        // Each has another size: they may have the same time.
        std::ofstream(PutTagged(name, name), std::ios::app) << std::string(name[2] * 10U, 'x');
    }
    Index();
    Rate("true", 5);
    const std::string id = Value("SELECT id FROM track WHERE title = 'a/1.mp3'");
    const auto move = [&](const char *from, const char *to, int removed) {
        fs::rename(Music() / "a" / from, Music() / "a" / to);
        ScanWith(Music(), [] {
            fs::rename(Music() / "a", scratch() / "away");
            fs::create_directory(Music() / "a");
        });
        fs::remove(Music() / "a");
        fs::rename(scratch() / "away", Music() / "a");
        EXPECT_EQ(Value("SELECT count(*) FROM track JOIN directory d ON track.path ="
                        " d.path || '/" +
                        std::string(from) + "' AND track.id = " + id),
                  "1");
        EXPECT_EQ(Index({"--dry-run"}).out.find("moved 1, removed " + std::to_string(removed)),
                  std::string("added 0, changed 0, ").size());
    };
    move("1.mp3", "3.mp3", 0);
    Index();
    move("3.mp3", "2.mp3", 1);
    ScanWith(Music(), [] { fs::rename(Music() / "a/2.mp3", scratch() / "2.mp3"); });
    Index({"--purge"});
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "50");
}

// It is away when the scan looks at its folder, and there before its row goes.
TEST_F(UnreadableTest, AFileThatComesBackDuringTheScanKeepsItsRow) {
    PutTagged("a/1.mp3", "Edited");
    Write("a/list.m3u", "1.mp3\n");
    ScanWith(Music(), [] {});
    const Rows before = Everything();
    const std::string list = Value("SELECT id FROM playlist");
    fs::rename(Music() / "a/1.mp3", scratch() / "1.mp3");
    fs::rename(Music() / "a/list.m3u", scratch() / "list.m3u");
    Put("a/2.mp3", "plain.mp3");
    ScanWith(Music(), [] {
        fs::rename(scratch() / "1.mp3", Music() / "a/1.mp3");
        fs::rename(scratch() / "list.m3u", Music() / "a/list.m3u");
    });
    EXPECT_EQ(Value("SELECT id FROM playlist"), list);
    fs::remove(Music() / "a/2.mp3");
    Expect(Index(), "removed 1, unchanged 51");
    EXPECT_EQ(Everything(), before);
}

// Such a link must not bring the files of others into a home.
TEST_F(UnreadableTest, AFileThatBecomesALinkAfterTheWalkIsNotRead) {
    EnableHomes(true);
    const fs::path folder = Home("alice") / "music/a";
    fs::create_directory(folder);
    for (const char *name : {"1.mp3", "2.flac", "3.mp3"}) {
        fs::copy_file(Samples() / ("tone" + fs::path(name).extension().string()), folder / name);
    }
    std::ofstream(folder / "2.cue") << "no sheet";
    fs::rename(PutTagged("x.mp3", "Secret"), scratch() / "secret.mp3");
    fs::rename(PutTagged("x.mp3", "Own"), scratch() / "own.mp3");
    Write("../secret.cue", Sheet("2.flac", "Secret"));
    if (IsRoot()) {
        ASSERT_EQ(chown((scratch() / "own.mp3").c_str(), 1030, -1), 0);
    }
    ScanWith(Home("alice") / "music", [] {
        const fs::path own = Home("alice") / "music/a";
        for (const auto &[name, other] :
             {std::pair("1.mp3", "secret.mp3"), {"2.cue", "secret.cue"}, {"3.mp3", "own.mp3"}}) {
            fs::remove(own / name);
            fs::create_symlink(scratch() / other, own / name);
        }
    });
    EXPECT_EQ(Query("SELECT title FROM track WHERE path LIKE '%/a/%' ORDER BY path"),
              (IsRoot() ? Rows{{"The T\xC3\xB3ne"}, {"Own"}} : Rows{{"The T\xC3\xB3ne"}}));
}

}  // namespace

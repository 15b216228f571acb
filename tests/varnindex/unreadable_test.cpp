// Files that cannot be read are read once, and those that are others by then not at all.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "varnindex/scan_fixture.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::Ended;
using tonvale_test::Samples;

class UnreadableTest : public tonvale_test::ScanTest {
  protected:
    static bool Says(const Ended &run, const std::string &text) {
        return run.err.find(text) != run.err.npos;
    }

    static std::string Summary(int added, int changed, int unchanged, int failed) {
        return "added " + std::to_string(added) + ", changed " + std::to_string(changed) +
               ", moved 0, removed 0, unchanged " + std::to_string(unchanged) + ", failed " +
               std::to_string(failed);
    }

    static std::string Remembered() { return Value("SELECT count(*) FROM unreadable_file"); }

    // Puts the song in the file's place so that neither its size nor its time tells.
    static void MendUnnoticed(const fs::path &path, const std::string &song) {
        const auto time = fs::last_write_time(path);
        std::ofstream(path, std::ios::binary) << song;
        fs::last_write_time(path, time);
    }

    // A scan in whose middle something happens: behind the look at the folder "a" of `music`, and
    // before any file is read.
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

TEST_F(UnreadableTest, TheyAreReadAgainWhenTheyChangeOrAreAskedFor) {
    const std::string song = ReadFile(Put("good.mp3"));
    const std::string junk(song.size(), '-');
    const fs::path one = Music() / "1\t\\'.mp3";
    const fs::path two = Music() / "2.mp3";
    std::ofstream(one) << junk;
    std::ofstream(two) << junk;
    const Ended first = Index();
    Expect(first, 0, Summary(1, 0, 0, 2));
    EXPECT_TRUE(Says(first, "2.mp3: its contents are no audio")) << first.err;
    EXPECT_EQ(Remembered(), "2");

    MendUnnoticed(one, song);
    const Ended again = Index();
    Expect(again, 0, Summary(0, 0, 1, 2));
    EXPECT_TRUE(Says(again, "2 files could not be read, as before; --full")) << again.err;
    EXPECT_FALSE(Says(again, "damaged")) << again.err;
    Expect(Index({"--full", "--dry-run"}), 0, Summary(1, 1, 0, 1));
    EXPECT_EQ(Remembered(), "2");
    Expect(Index({"--full"}), 0, Summary(1, 1, 0, 1));
    EXPECT_EQ(Remembered(), "1");

    // A song of the library that is damaged keeps its row and its folder.
    std::ofstream(Music() / "good.mp3") << "half";
    std::ofstream(two) << "changed";
    const Ended changed = Index();
    Expect(changed, 0, Summary(0, 0, 1, 2));
    EXPECT_TRUE(Says(changed, "2.mp3: its contents are no")) << changed.err;
    Expect(Index(), 0, Summary(0, 0, 1, 2));
    EXPECT_EQ(Value("SELECT count(*) FROM track"), "2");
    std::ofstream(two, std::ios::binary) << song;
    std::ofstream(Music() / "good.mp3", std::ios::binary) << song;
    Expect(Index(), 0, Summary(1, 1, 1, 0));
    EXPECT_EQ(Remembered(), "0");
}

// A file that nobody may open is not damaged, and its time does not tell when somebody may.
TEST_F(UnreadableTest, AFileThatCannotBeOpenedIsTriedEachTime) {
    if (IsRoot()) {
        GTEST_SKIP() << "root may open every file";
    }
    const fs::path path = Put("1.mp3");
    chmod(path.c_str(), 0);
    Expect(Index(), 0, Summary(0, 0, 0, 1));
    EXPECT_EQ(Remembered(), "0");
    chmod(path.c_str(), 0600);
    Expect(Index(), 0, Summary(1, 0, 0, 0));
}

// Renamed, to a new name or over another song, and out of reach just then.
TEST_F(UnreadableTest, ASongThatCannotBeReadAtItsNewPathKeepsItsRow) {
    for (const char *name : {"a/1.mp3", "a/2.mp3"}) {
        // Of a size of its own: files may be of one time.
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

// Nothing of others gets into a home by a link that is put in a file's place behind the walk.
TEST_F(UnreadableTest, AFileThatBecomesALinkBehindTheWalkIsNotRead) {
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

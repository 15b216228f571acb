// Lists of single shared songs follow their songs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "varn/sql.h"
#include "varnindex/scan_fixture.h"

namespace {

using namespace tonvale_test;

class SharedListsTest : public ScanTest {
  protected:
    // The list of a user's single shared songs, which any program may write.
    static fs::path PutSharedList(const std::string &user, int uid, const std::string &text) {
        const fs::path folder = At(varn::path::kPreferences) / user;
        fs::create_directories(folder);
        const fs::path list = folder / "__VARN_AUDIO_SHARED_SONGS__.m3u";
        std::ofstream(list, std::ios::binary) << text;
        fs::permissions(list, fs::perms::all);
        Share(uid, list.string());
        return list;
    }

    static void Share(int uid, const std::string &path) {
        Query(
            *varn::Sql("INSERT INTO playlist_sharing (id, user_id, playlist_id, path) SELECT"
                       " to_char(count(*), 'FM00000000'), @VARN:INT,"
                       " 'playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__', '@VARN:VAR'"
                       " FROM playlist_sharing",
                       uid, path));
    }
};

TEST_F(SharedListsTest, HaveTheNewPathsOfMovedSongs) {
    std::ofstream(root() / "etc/passwd", std::ios::app) << "o'hara:x:1040:100::/:/bin/false\n";
    const fs::path folder = At(varn::path::kPreferences) / "o'hara";
    const fs::path list = PutSharedList("o'hara", 1040, "");
    for (const char *name : {"1", "2", "3", "original", "stays"}) {
        PutTagged(std::string("a/") + name + ".mp3", name);
        // Other audio and another size: the next one may have the same time.
        std::ofstream(Music() / "a" / (name + std::string(".mp3")), std::ios::app)
            << std::string(static_cast<std::size_t>(*name), *name);
    }
    Put("disc/album.flac", "tone.flac");
    Write("disc/album.cue", Sheet("album.flac"));
    Index();
    fs::copy_file(Music() / "a/original.mp3", Music() / "copy.mp3");
    Index();
    // A row does not prove whose file it names: the library's role may write any path into it.
    Write("other.m3u", "a/1.mp3\n");
    Share(1031, (Music() / "other.m3u").string());
    const auto relative = [&](const std::string &name) {
        return fs::relative(Music(), folder).string() + "/" + name;
    };
    std::ofstream(list, std::ios::binary)
        << "#EXTM3U\r\n"
        << relative("a/1.mp3") << "\r\n#EXTINF:1,Two\r\n"
        << relative("a/2.mp3") << "\r\n"
        << (Music() / "a/3.mp3").string() << "\n"
        << relative("disc/album.flac_2") << "\r\n"
        << relative("a/original.mp3") << "\r\nhttp://radio.example/a/1.mp3\r\n"
        << relative("a/stays.mp3");
    fs::rename(Music() / "a/3.mp3", Music() / "a/4.mp3");
    fs::rename(Music() / "a/2.mp3", Music() / "a/3.mp3");  // in the place of another one
    fs::rename(Music() / "a/1.mp3", Music() / "a/%20 #.mp3");
    fs::rename(Music() / "disc", Music() / "moved");
    fs::remove(Music() / "a/original.mp3");
    EXPECT_EQ(Index({"--dry-run"}).status, 0);
    EXPECT_NE(ReadFile(list).find(relative("a/1.mp3")), std::string::npos);
    const Finished run = Index();
    Expect(run, "moved 5, unchanged 2");
    EXPECT_EQ(run.err, "");
    const auto at = [](const char *name) { return (Music() / name).string(); };
    EXPECT_EQ(ReadFile(list), "#EXTM3U\r\n" + at("a/%20 #.mp3") + "\r\n#EXTINF:1,Two\r\n" +
                                  at("a/3.mp3") + "\r\n" + at("a/4.mp3") + "\n" +
                                  at("moved/album.flac_2") + "\r\n" + at("copy.mp3") +
                                  "\r\nhttp://radio.example/a/1.mp3\r\n" + relative("a/stays.mp3"));
    EXPECT_EQ(fs::status(list).permissions(), fs::perms::all);
    EXPECT_EQ(ReadFile(Music() / "other.m3u"), "a/1.mp3\n");
}

// A web request locks the list and writes it in place.
TEST_F(SharedListsTest, AreChangedAfterALockIsReleased) {
    const auto at = [](const char *name) { return (Music() / name).string(); };
    const fs::path list =
        PutSharedList("alice", kAlice, at("1.mp3") + "\n" + at("longer than that.mp3"));
    const int request = open(list.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(request, LOCK_EX), 0);
    Query("INSERT INTO outbox (song, number, path, moved_to) VALUES (0, -1, '" + at("1.mp3") +
          "', '" + at("2.mp3") + "')");
    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        fs::resize_file(list, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        std::ofstream(list) << at("1.mp3") << "\r\n" << at("new.mp3");
        EXPECT_EQ(flock(request, LOCK_UN), 0);
    });
    EXPECT_EQ(Index().err, "");
    writer.join();
    EXPECT_EQ(ReadFile(list), at("2.mp3") + "\r\n" + at("new.mp3"));
    struct stat named {};
    struct stat opened {};
    EXPECT_TRUE(stat(list.c_str(), &named) == 0 && fstat(request, &opened) == 0 &&
                named.st_ino == opened.st_ino);
    close(request);
}

}  // namespace

// The player's queue files.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <set>
#include <tuple>

#include "playlist/playlist_test.h"

namespace {

using namespace tonvale_test;

class QueueFile : public PlaylistTest {
  protected:
    static std::string Path() { return (scratch() / "queue").string(); }

    static std::unique_ptr<PlaylistInfo> Load(int start, int count) {
        return std::unique_ptr<PlaylistInfo>(
            AudioFile::PlaylistFileLoad(Path().c_str(), start, count));
    }
    static std::string Ids(const PlaylistInfo &queue) {
        std::string ids;
        for (const auto &song : queue.songs()) {
            ids += std::to_string(song->id);
        }
        return ids;
    }
};

TEST_F(QueueFile, StateAndRecordsAreStoredAsTheyStandInMemory) {
    PlaylistInfo queue;
    EXPECT_EQ(queue.playerInfo().word[1], 1);
    queue.setPlayerInfo({{1, 2, 3, 4, 5, 6}});
    for (unsigned id = 1; id <= 3; ++id) {
        queue.addSong(Record(id, "/m/" + std::to_string(id)));
    }
    VARN_MEDIA_INFO &damaged = *queue.songs()[1];
    std::memset(damaged.path, 'x', sizeof damaged - offsetof(VARN_MEDIA_INFO, path));
    ASSERT_EQ(AudioFile::PlaylistFileSave(Path().c_str(), &queue), 0);
    const std::string text = ReadFile(Path());
    ASSERT_EQ(text.size(), 24U + 3 * 11712);
    EXPECT_EQ(std::memcmp(text.data(), &queue.playerInfo(), 24), 0);
    EXPECT_EQ(std::memcmp(text.data() + 24 + 11712, &damaged, 11712), 0);
    EXPECT_EQ(std::memcmp(Load(1, 1)->songs()[0].get(), &damaged, 11712), 0) << "no text is ended";
    const std::tuple<int, int, const char *> kPages[] = {
        {0, 9, "123"}, {1, 1, "2"}, {2, 5, "3"}, {3, 1, ""},
        {-1, 2, ""},   {0, -1, ""}, {0, 0, ""},  {2147483647, 2147483647, ""}};
    for (const auto &[start, count, ids] : kPages) {
        const auto loaded = Load(start, count);
        ASSERT_NE(loaded, nullptr);
        EXPECT_EQ(Ids(*loaded), ids) << start;
        EXPECT_EQ(loaded->playerInfo().word[5], 6);
    }
    fs::resize_file(Path(), 24 + 2 * 11712 - 1);
    EXPECT_EQ(Ids(*Load(0, 9)), "1") << "whole records only";
    fs::resize_file(Path(), 10);
    EXPECT_EQ(Load(0, 9)->playerInfo().word[1], 2);
    EXPECT_EQ(Load(0, 9)->playerInfo().word[4], 0) << "what is not there is zero";
    fs::remove(Path());
    EXPECT_EQ(Ids(*Load(0, 9)), "");
    EXPECT_EQ(fs::file_size(Path()), 0U) << "a missing file is made";
    EXPECT_TRUE(Log().empty());
}

TEST_F(QueueFile, ALockIsNotWaitedFor) {
    const PlaylistInfo queue;
    ASSERT_EQ(AudioFile::PlaylistFileSave(Path().c_str(), &queue), 0);
    const int fd = open(Path().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    EXPECT_EQ(Load(0, 9), nullptr);
    EXPECT_EQ(AudioFile::PlaylistFileSave(Path().c_str(), &queue), -1);
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Failed to lock file\\."));
    EXPECT_FALSE(fs::exists(Path()));
    close(fd);
}

TEST_F(QueueFile, AFailureLeavesNoFile) {
    const PlaylistInfo queue;
    ASSERT_EQ(mkfifo(Path().c_str(), 0666), 0);
    EXPECT_EQ(Load(0, 9), nullptr);
    EXPECT_EQ(AudioFile::PlaylistFileSave(Path().c_str(), &queue), -1);
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Failed to open .*queue\\."));
    EXPECT_FALSE(fs::exists(Path()));
    EXPECT_EQ(AudioFile::PlaylistFileSave(nullptr, &queue), -1);
    EXPECT_EQ(AudioFile::PlaylistFileSave(Path().c_str(), nullptr), -1);
    fs::create_symlink("/dev/full", Path());
    EXPECT_EQ(AudioFile::PlaylistFileSave(Path().c_str(), &queue), -1);
    EXPECT_TRUE(Logged("Failed to write the playlist to file\\.\\(No space left on device\\)$"));
    EXPECT_FALSE(fs::exists(Path()));
}

TEST_F(QueueFile, ARandomQueueHasEachSongOnce) {
    for (int i = 0; i < 30; ++i) {
        AddSong({.path = In(std::to_string(i))});
    }
    AddSong({.userid = kBob, .path = In("his")});
    const PlaylistInfo old;
    ASSERT_EQ(AudioFile::PlaylistFileSave(Path().c_str(), &old), 0);
    ASSERT_TRUE(AudioFile::PlaylistRandomCreate(kAlice, "all", Path().c_str(), 10));
    std::set<unsigned> ids;
    const auto queue = Load(0, 99);
    for (const auto &song : queue->songs()) {
        EXPECT_EQ(song->userid, 0U);
        ids.insert(song->id);
    }
    EXPECT_EQ(ids.size(), 10U);
    ASSERT_TRUE(AudioFile::PlaylistRandomCreate(kAlice, "all", Path().c_str()));
    EXPECT_EQ(Load(0, 999)->songs().size(), 30U);
    ClearLog();
    const std::string nowhere = scratch() / "no/queue";
    EXPECT_FALSE(AudioFile::PlaylistRandomCreate(kAlice, "all", nullptr));
    EXPECT_FALSE(AudioFile::PlaylistRandomCreate(kAlice, "all", nowhere.c_str(), 1));
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Bad parameters\\."));
    EXPECT_TRUE(Logged("audiolib/audiofile:[0-9]+ Failed to create playlist .*no/queue"));
    Query("ALTER TABLE track RENAME TO elsewhere");
    EXPECT_FALSE(AudioFile::PlaylistRandomCreate(kAlice, "all", Path().c_str()));
    EXPECT_FALSE(fs::exists(Path())) << "no queue is made without songs";
    Query("ALTER TABLE elsewhere RENAME TO track");
}

}  // namespace

// Long, damaged and locked queues, slow music player daemons, and clients that behave badly.
#include <sys/file.h>

#include <algorithm>
#include <array>
#include <climits>
#include <fstream>

#include "programs/command.h"
#include "varnplayer/player_fixture.h"

namespace {

using namespace tonvale_test;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

class QueueTest : public PlayerTest {
  protected:
    // A client that sends the first bytes of a command, and then waits.
    static int Connect(int command, const std::string &payload, std::size_t bytes) {
        VARN_AUDIO_CTRL_MSG message = {};
        message.command = command;
        payload.copy(message.payload, sizeof message.payload);
        const int fd = ConnectTo(At(varn::path::kPlayerSocket));
        EXPECT_EQ(send(fd, &message, bytes, MSG_NOSIGNAL), static_cast<ssize_t>(bytes));
        return fd;
    }
    static VARN_MEDIA_INFO Part(const std::string &file, int track, int start, float duration) {
        VARN_MEDIA_INFO part = {};
        (file + "_" + std::to_string(track)).copy(part.path, sizeof part.path - 1);
        part.is_virtual = 1;
        part.virtual_track = track;
        part.virtual_start = start;
        part.duration = duration;
        return part;
    }
    std::atomic<bool> fails_ = false;  // for a script

    Json::Value Add(const PlaylistInfo &queue) {
        return SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, SaveQueue(queue));
    }
    // Adds a song `count` times.
    void AddMany(int count, const std::string &path) {
        PlaylistInfo queue;
        for (int i = 0; i < count; ++i) {
            AddSong(queue, path);
        }
        EXPECT_EQ(Add(queue)["success"], true);
        EXPECT_TRUE(HasAdded());
    }
    // The number of lines that begin with a text.
    static auto Count(const ScriptedMpd &mpd, const std::string &start) {
        const auto lines = mpd.Lines();
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string &line) { return line.starts_with(start); });
    }
};

TEST_F(QueueTest, WhatIsNoCommandIsRefused) {
    const std::pair<int, const char *> kCases[] = {
        {0, ""},
        {INT_MAX, ""},
        {VARN_AUDIO_SET_EQUALIZER, "0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0 0.0"},
        {VARN_AUDIO_SET_MULTIPLE_VOLUMES, "1,2"},
        {VARN_AUDIO_JUMP, ""},
        {VARN_AUDIO_JUMP, "0"},  // the queue is empty
        {VARN_AUDIO_JUMP, "1x"},
        {VARN_AUDIO_JUMP, "99999999999"},
        {VARN_AUDIO_SET_VOLUME, "\xFF"},
        {VARN_AUDIO_LIST_PLAYLIST, "0"},
        {VARN_AUDIO_LIST_PLAYLIST, "0  1"},
        {VARN_AUDIO_LIST_RENDERER, "0 -1"},
        {VARN_AUDIO_ADD_FROM_FILE, ""},
        {VARN_AUDIO_ADD_FROM_FILE, "/nothere\xFF\n"},
        {VARN_AUDIO_OUTPUT_PLAYLIST, "/nothere/queue"},
    };
    for (const auto &[command, payload] : kCases) {
        const Json::Value answer = SendToPlayer(command, payload);
        EXPECT_EQ(answer["success"], false) << command << " " << payload;
        EXPECT_FALSE(answer["error"].asString().empty()) << command << " " << payload;
    }
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_JUMP, "99")["reason"], "bad");
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, "/")["reason"], "failed");
    // A text without its NUL ends where the message does.
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_PLAYER_INFO_BY_UDN, std::string(8192, 'u'))["success"],
              false);
}

TEST_F(QueueTest, NamesBecomeUtf8AndLongPathsAreSkipped) {
    PlaylistInfo queue;
    AddSong(queue, "/" + std::string(4094, 'l'));
    AddSong(queue, "/" + std::string(2100, '"'));  // each of which takes two bytes
    AddSong(queue, MakeSong("\xC3\xA9 \xFF\xED\xA0\x80 \xF0\x9F\x8E\xB5.wav", 1));
    AddSong(queue, MakeSong("good.wav", 1));
    const Json::Value answer = Add(queue);
    EXPECT_EQ(Told(answer, "added skipped"), "2 2");
    const std::string path = Songs(0, 1)["songs"][0]["path"].asString();
    EXPECT_TRUE(
        path.ends_with("/\xC3\xA9 \xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD "
                       "\xF0\x9F\x8E\xB5.wav"))
        << path;
}

TEST_F(QueueTest, APartStaysAPart) {
    PlaylistInfo queue;
    const std::string file = MakeSong("\xC3\x86nima \"q' #%41.wav", 60);
    queue.addSong(Part(file, 1, 0, 20));
    queue.addSong(Part(file, 2, 20, 15));
    queue.addSong(Part(file, 3, 35, 0));  // to the end
    ASSERT_EQ(Add(queue)["added"], 3);
    EXPECT_EQ(Songs(2, 1)["songs"][0]["duration"], 25);
    const std::string written = WritableFolder() / "queue";
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, written)["written"], 3);
    SendToPlayer(VARN_AUDIO_DELETE_ALL);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, written)["added"], 3);
    const Json::Value songs = Songs(0, 3)["songs"];
    EXPECT_EQ(songs[0]["path"], file);
    for (Json::ArrayIndex i = 0; i < 3; ++i) {
        EXPECT_EQ(songs[i]["duration"], (std::array{20, 15, 25})[i]) << i;
    }
}

TEST_F(QueueTest, AQueueFileInUseIsRefusedAndADamagedOneReadAsFarAsItGoes) {
    PlaylistInfo queue;
    AddSong(queue, MakeSong("one.wav", 1));
    AddSong(queue, MakeSong("two.wav", 1));
    const std::string file = SaveQueue(queue);
    fs::permissions(scratch(), fs::perms::all);
    fs::permissions(file, fs::perms::all);
    const int locked = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(locked, LOCK_EX), 0);
    const std::string before = ReadFile(file);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, file)["success"], false);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, file)["success"], false);
    EXPECT_TRUE(ReadFile(file) == before) << "the queue was taken from its reader";
    close(locked);
    fs::resize_file(file, fs::file_size(file) - 1);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, file)["added"], 1) << "half a record";
    std::ofstream(file) << std::string(24 + 2 * sizeof(VARN_MEDIA_INFO), '\x7F');
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, file)["skipped"], 2) << "texts without an end";
    std::ofstream(file) << "no queue";
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, file)["added"], 0);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, scratch())["success"], false);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, file)["written"], 1);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ADD_FROM_FILE, file)["added"], 1);
}

TEST_F(QueueTest, APageIsBounded) {
    const std::string folder =
        scratch() / std::string(200, '\x01') / std::string(200, '\x02') / std::string(200, '\x03');
    fs::create_directories(folder);
    const std::string song = MakeSong("one.wav", 1);
    fs::copy_file(song, folder + "/one.wav");
    AddMany(501, folder + "/one.wav");
    const Json::Value page = Songs(0, 1000);
    EXPECT_EQ(page["total"], 501);
    EXPECT_GT(page["songs"].size(), 100U);
    EXPECT_LT(page["songs"].size(), 200U) << "of 4 kB each";
    SendToPlayer(VARN_AUDIO_DELETE_ALL);
    AddMany(501, song);
    EXPECT_EQ(Songs(0, 1000)["songs"].size(), 500U);
    EXPECT_EQ(Songs(INT_MAX, INT_MAX)["songs"].size(), 0U);

    // A client that reads nothing of a long answer, and clients that send no whole command, do not
    // hold others up.
    const std::size_t whole = sizeof(VARN_AUDIO_CTRL_MSG);
    std::vector<int> clients = {Connect(VARN_AUDIO_LIST_PLAYLIST, "0 500", whole)};
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{4}, whole - 1}) {
        clients.push_back(Connect(VARN_AUDIO_JUMP, "0", bytes));
    }
    const auto start = Clock::now();
    EXPECT_TRUE(Info()["success"].asBool());
    EXPECT_LT(Clock::now() - start, 10s);
    // They are disconnected in the end.
    char rest[100];
    for (const int client : clients) {
        while (recv(client, rest, sizeof rest, 0) > 0) {
        }
        close(client);
    }
}

TEST_F(QueueTest, AFailedSaveLeavesTheSavedQueue) {
    std::string failsAt = "status";
    const auto mpd = UseScript([&](const std::string &line) -> std::string {
        if (fails_ && line.starts_with(failsAt)) {
            return std::string(ScriptedMpd::kHangUp);
        }
        return line == "status"                   ? "playlistlength: 1\nstate: stop\nOK\n"
               : line.starts_with("playlistinfo") ? "file: /music/a.flac\nPos: 0\nId: 1\nOK\n"
                                                  : ScriptedMpd::Usual(line);
    });
    const fs::path folder = WritableFolder();
    const std::string file = folder / "queue";
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, file)["written"], 1);
    fs::permissions(file, fs::perms::all);
    const std::string saved = ReadFile(file);
    for (const char *line : {"status", "playlistinfo"}) {
        failsAt = line;
        fails_ = true;
        EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, file)["success"], false) << line;
        EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, file + "2")["success"], false) << line;
        fails_ = false;
        ASSERT_TRUE(fs::exists(file)) << line;
        EXPECT_EQ(ReadFile(file), saved) << line;
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1) << line;
    }
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_OUTPUT_PLAYLIST, file)["written"], 1);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::all) << "its readers lost it";
}

// A music player daemon that takes 20 ms for each song.
TEST_F(QueueTest, AddingGoesOnAfterTheAnswer) {
    const auto mpd = UseScript([](const std::string &line) {
        std::this_thread::sleep_for(line.starts_with("addid ") ? 20ms : 0ms);
        return ScriptedMpd::Usual(line);
    });
    PlaylistInfo queue;
    for (int i = 0; i < 400; ++i) {
        AddSong(queue, "/music/" + std::to_string(i) + ".flac");
    }
    const Json::Value answer = Add(queue);
    EXPECT_EQ(answer["success"], true);
    EXPECT_GT(answer["added"], 10);
    EXPECT_GT(answer["waiting"], 100);
    EXPECT_EQ(Info()["adding"], true);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_SET_REFRESH)["success"], true);
    // It goes on by itself until the queue is emptied.
    const auto before = Count(*mpd, "addid ");
    EXPECT_TRUE(Eventually([&] { return Count(*mpd, "addid ") > before; }));
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_DELETE_ALL)["success"], true);
    EXPECT_EQ(Info()["adding"], false);
    EXPECT_LT(Count(*mpd, "addid "), 400);
    Add(queue);
    End();
    EXPECT_LT(Count(*mpd, "addid "), 700) << "it went on to the end";
}

// A music player daemon that is silent at one song, and then hangs up at each.
TEST_F(QueueTest, AMusicPlayerDaemonThatFailsCostsASong) {
    const auto mpd = UseScript([&](const std::string &line) -> std::string {
        if (line.starts_with("addid ") && fails_) {
            return std::string(ScriptedMpd::kHangUp);
        }
        return line.find("/bad") != line.npos ? "" : ScriptedMpd::Usual(line);
    });
    PlaylistInfo queue;
    for (const char *path : {"/music/1", "/music/bad", "/music/2", "/music/3"}) {
        AddSong(queue, path);
    }
    const Json::Value answer = Add(queue);
    EXPECT_EQ(Told(answer, "success skipped waiting"), "true 1 2")
        << "a client that tries again adds the songs twice";
    EXPECT_TRUE(HasAdded());
    for (const char *line : {"addid \"file:///music/1\"", "addid \"file:///music/3\""}) {
        EXPECT_EQ(Count(*mpd, line), 1) << line;
    }
    EXPECT_EQ(Info()["given_up"], 0);

    fails_ = true;
    for (int i = 0; i < 6; ++i) {
        AddSong(queue, "/music/more");
    }
    EXPECT_EQ(Add(queue)["waiting"], 9);
    EXPECT_TRUE(HasAdded());
    EXPECT_EQ(Info()["given_up"], 5);
}

TEST_F(QueueTest, ASlowOrMissingMusicPlayerDaemonIsAnErrorInTime) {
    auto mpd = UseScript([&](const std::string &line) {
        std::this_thread::sleep_for(fails_ ? 2s : 0s);
        return ScriptedMpd::Usual(line);
    });
    fails_ = true;
    EXPECT_EQ(Info()["reason"], "failed") << "each answer came in time, both did not";
    mpd.reset();
    PlaylistInfo queue;
    AddSong(queue, "/music/1");
    EXPECT_EQ(Add(queue)["reason"], "failed");
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_SET_REFRESH)["success"], true);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_LIST_SERVER, "0 1")["success"], true);
}

// There is a database, which does not answer.
TEST_F(QueueTest, NoSongWaitsForTheLibrary) {
    const int database = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_TRUE(Bind(database, LocalAddress(At(varn::path::kDatabaseSocket))));
    ASSERT_EQ(listen(database, 8), 0);
    fs::permissions(At(varn::path::kDatabaseSocket), fs::perms::all);
    PlaylistInfo queue;
    VARN_MEDIA_INFO first = Part(MakeSong("album.wav", 60), 1, 0, 20);
    first.id = 7;
    queue.addSong(first);
    const auto start = Clock::now();
    EXPECT_EQ(Add(queue)["added"], 1);
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_EQ(Songs(0, 1)["songs"][0]["duration"], 20);
    close(database);
    fs::remove(At(varn::path::kDatabaseSocket));
}

TEST_F(QueueTest, ARefusedPartIsTakenOffAgainAndARefusedTagIsNot) {
    const auto mpd = UseScript([](const std::string &line) {
        return line.starts_with("addtagid ") ? std::string("ACK [4@0] {addtagid} No\n")
               : line.starts_with("rangeid ") && line.find("90.") != line.npos
                   ? std::string("ACK [2@0] {rangeid} Bad range\n")
                   : ScriptedMpd::Usual(line);
    });
    PlaylistInfo queue;
    queue.addSong(Part("/music/album.flac", 1, 0, 0));
    queue.addSong(Part("/music/album.flac", 9, 90, 10));
    VARN_MEDIA_INFO stream = {};
    std::string("http://192.0.2.1/x").copy(stream.path, sizeof stream.path - 1);
    std::string("A\n\"T\"").copy(stream.title, sizeof stream.title - 1);
    queue.addSong(stream);
    const Json::Value answer = Add(queue);
    EXPECT_EQ(Told(answer, "added skipped"), "2 1");
    EXPECT_EQ(Count(*mpd, "addtagid \"7\" \"Title\" \"A \\\"T\\\"\""), 1);
    EXPECT_EQ(Count(*mpd, "rangeid \"7\" \"0.000:\""), 1) << "the whole file was queued";
    EXPECT_EQ(Count(*mpd, "deleteid \"7\""), 1);
}

}  // namespace

// The web API's player: the right to use it, the player daemon, and the machines that are asked.
#include <arpa/inet.h>

#include <cstring>
#include <filesystem>

#include "airplay_password/scripted_speaker.h"
#include "ctrl/scripted_daemon.h"
#include "dlna/scripted_media_server.h"
#include "entry/speaker_address.h"
#include "service/people/settings.h"
#include "tonvale/playlists.h"
#include "tonvale/settings.h"
#include "varn/player.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;
using tonvale_entry::AttachedNetwork;
using tonvale_entry::IsNeighbour;
using tonvale_entry::ParseSpeakerAddress;

constexpr char kDone[] = "{\"success\": true}";

class PlayerApi : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        tonvale_service::SetPermission("alice", RIGHT_USB);
        tonvale_service::SetPermission("bob", RIGHT_ALL & ~RIGHT_USB);
    }
    // A daemon that takes any queue.
    struct Queued {
        std::string file, songs;
        ScriptedDaemon daemon{[this](int client) {
            file = Told(daemon.TakeMessages().back()).second;
            const std::unique_ptr<PlaylistInfo> queue(
                AudioFile::PlaylistFileLoad(file.c_str(), 0, 10));
            for (const auto &song : queue->songs()) {
                songs += song->title + std::string(" ") + song->path + " " +
                         std::to_string(song->virtual_start) + "\n";
            }
            ScriptedDaemon::Say(client, kDone);
        }};
        // "TITLE PATH START" of each song that came since the last time.
        std::string Take() { return std::exchange(songs, ""); }
    };
    static std::pair<int, std::string> Told(const std::string &message) {
        int command = -1;
        std::memcpy(&command, message.data(), std::min(sizeof command, message.size()));
        return {command, message.size() > sizeof command ? message.c_str() + sizeof command : ""};
    }
};

TEST_F(PlayerApi, SendsCommandsToThePlayer) {
    ScriptedDaemon daemon(kDone);
    EXPECT_EQ(Ask("Player/control?action=clear"), Json::Value(Json::objectValue));
    daemon.TakeMessages();
    const std::string levels = "0,1.55,-3,24,-24,0,0,0,0,-0.04";
    const std::tuple<std::string, int, std::string> cases[] = {
        {"control?action=seek&value=2147483647", 9, "2147483647"},
        {"control?action=mode&value=repeat-one", 30, "2"},
        {"control?action=previous", 1004, ""},
        {"control?action=enable&value=uuid:1", 1005, "uuid:1"},
        {"volume?action=set_group&value=1,20,100", 12, "1,20,100"},
        {"queue?action=delete&value=0", 27, "0"},
        {"equalizer?action=send&value=" + levels, 40,
         "0.0 1.6 -3.0 24.0 -24.0 0.0 0.0 0.0 0.0 -0.0"},
        {"info?renderer=uuid:a%20b%25", 44, "uuid:a b%"},
        {"info?renderer=7", 45, "7"},
        {"list?action=servers&offset=5&limit=500", 22, "5 500"}};
    for (const auto &[asked, command, text] : cases) {
        EXPECT_EQ(CodeOf("Player/" + asked), 0) << asked;
        const auto messages = daemon.TakeMessages();
        ASSERT_EQ(messages.size(), 1U) << asked;
        EXPECT_EQ(Told(messages[0]), std::pair(command, text));
    }
}

TEST_F(PlayerApi, TellsWhyThePlayerRefuses) {
    EXPECT_EQ(CodeOf("Player/info"), 500) << "no daemon runs";
    const std::pair<std::string, int> kCases[] = {
        {R"({"success": false, "error": "no such song", "reason": "bad"})", 400},
        {R"({"success": false, "error": "no output", "reason": "failed"})", 500},
        {"[true]", 500},
        {R"({"success": 7, "error": 7, "reason": []})", 0},
        {"{\"a\":" + std::string(2000, '[') + std::string(2000, ']') + "}", 500},
    };
    for (const auto &[answer, code] : kCases) {
        ScriptedDaemon daemon{answer};
        EXPECT_EQ(CodeOf("Player/control?action=play&value=9"), code) << answer;
    }
}

TEST_F(PlayerApi, QueuesSongsThatTheUserMayHear) {
    Query(InsertSql({.id = 1, .path = "/music/one.flac", .title = "one"}) +
          InsertSql({.id = 2, .userid = kAlice, .path = "/home/alice/two.flac", .title = "two"}) +
          InsertSql({.id = 3, .userid = kBob, .path = "/home/bob/three.flac", .title = "three"}) +
          InsertSql({.id = 4, .path = "/music/four.flac", .has_virtual = true}) +
          InsertSql({.id = 5, .path = "/music/four.flac", .track = 1, .is_virtual = true}) +
          "INSERT INTO virtual_info_track (track, file_track, audio_offset, cue_sheet_path) "
          "VALUES (5, 4, 61, '/music/four.cue')");
    Queued queued;
    const auto add = [](const std::string &songs) {
        return CodeOf("Player/queue", {{"action", "add"}, {"songs", songs}});
    };
    EXPECT_EQ(add("music_p_2,music_1,music_1"), 0);
    EXPECT_EQ(queued.Take(),
              "two /home/alice/two.flac 0\none /music/one.flac 0\none /music/one.flac 0\n");
    EXPECT_TRUE(queued.file.starts_with(At(varn::path::kSpoolDir).string() + "/")) << queued.file;
    EXPECT_FALSE(fs::exists(queued.file));
    EXPECT_EQ(add("music_v_5"), 0);
    EXPECT_EQ(queued.Take(), " /music/four.flac 61\n");
    EXPECT_EQ(add("music_1,music_p_3"), 404);
    EXPECT_EQ(queued.Take(), "");
}

TEST_F(PlayerApi, QueuesSongsOfAServerFromItsAddressAlone) {
    Queued queued;
    Configure("media_server_any_address", "yes");
    // The server gives the id as the song's address.
    const ScriptedHttp server([](const HttpRequest &request) {
        return Reply(
            Browsed("<item id=\"1\"><title>T</title><res protocolInfo=\"http-get:*:image/"
                    "png:*\">http://127.0.0.1/x</res><res protocolInfo=\"http-get:*:audio/"
                    "flac:*\">" +
                    Asked(request, "ObjectID") + "</res></item>"));
    });
    const auto add = [&](const std::string &ids) {
        return CodeOf("Player/add_from_server", {{"url", server.Url()}, {"ids", ids}}, "alice",
                      {{"no_proxy", "*"}});
    };
    EXPECT_EQ(add("http://127.0.0.1:99/a.flac,http://127.0.0.1/b"), 0);
    EXPECT_EQ(queued.Take(), "T http://127.0.0.1:99/a.flac 0\nT http://127.0.0.1/b 0\n");
    for (const char *elsewhere : {"http://10.0.0.1/a.flac", "file:///etc/passwd", "1"}) {
        EXPECT_EQ(add(elsewhere), 404) << elsewhere;
    }
    EXPECT_EQ(CodeOf("Player/queue", {{"action", "add"}, {"songs", "radio_A http://10.0.0.1/"}}),
              400);
    EXPECT_EQ(queued.Take(), "");
}

TEST_F(PlayerApi, ShowsNoPaths) {
    ScriptedDaemon daemon(
        "{\"success\": true, \"song\": {\"title\": \"\", \"path\": \"/home/bob/secret/a.mp3\"}, "
        "\"songs\": [{\"title\": \"t\", \"path\": \"/home/bob/secret/b.mp3\"}, 7, "
        "{\"path\": \"/music/one.flac\"}, {\"path\": \"/a.flac\", \"start\": 61}, "
        "{\"path\": \"/a.flac\", \"start\": 62}], \"total\": 5}");
    Query(
        InsertSql({.id = 1, .path = "/music/one.flac"}) +
        InsertSql({.id = 2, .userid = kBob, .path = "/home/bob/secret/a.mp3"}) +
        InsertSql({.id = 3, .userid = kAlice, .path = "/a.flac", .has_virtual = true}) +
        InsertSql({.id = 4, .userid = kAlice, .path = "/a.flac", .track = 2, .is_virtual = true}) +
        "INSERT INTO virtual_info_track (track, file_track, audio_offset, cue_sheet_path) "
        "VALUES (4, 3, 61, '/a.cue')");
    const Json::Value info = Ask("Player/info");
    EXPECT_EQ(info["song"]["title"], "a.mp3");
    const Json::Value queue = Ask("Player/queue");
    EXPECT_EQ(tonvale_test::Told(queue, "songs[0].title songs[2].id songs[3].id"),
              "t music_1 music_p_v_4");
    EXPECT_FALSE(queue["songs"][4].isMember("id")) << "no track begins there";
    EXPECT_FALSE(info["song"].isMember("id")) << "bob's";
    for (const Json::Value &data : {info["song"], queue["songs"][0]}) {
        EXPECT_FALSE(data.isMember("path")) << data;
    }
}

TEST_F(PlayerApi, ShowsOnlyWhatThePlayerTells) {
    ScriptedDaemon daemon{std::string(kDone)};
    const Json::Value info = Ask("Player/info");
    EXPECT_FALSE(info.isMember("song"));
    const std::string can = info["can"].toStyledString();
    EXPECT_TRUE(Contains(can, "\"seek\"") && !Contains(can, "\"pause\"")) << can;
    EXPECT_FALSE(Ask("Player/queue").isMember("songs"));
}

TEST_F(PlayerApi, SetsTheVolumeOfTheSoundCard) {
    WriteFile("/dev/mixer", "devices=16\nlevel4=12850\n");
    const Json::Value card = Ask("Player/volume?action=set_card&value=30");
    EXPECT_EQ(tonvale_test::Told(card, "volume mixer"), "30 /dev/mixer");
    EXPECT_EQ(Ask("Player/volume?action=card")["mixer_volume"], 30);
}

TEST_F(PlayerApi, AsksOnlySpeakersOfThisNetwork) {
    ScriptedSpeaker speaker(
        "RTSP/1.0 401 Unauthorized\r\nCSeq: CSEQ\r\n"
        "WWW-Authenticate: Digest realm=\"r\", nonce=\"n\"\r\n\r\n");
    const std::string here = "127.0.0.1:" + speaker.Port();
    const auto ask = [](const std::string &renderer) {
        return CodeOf("Player/password_test", {{"renderer", renderer}});
    };
    for (const std::string &renderer : Words(here + " 8.8.8.8 [::1]:5000 224.0.0.1:5000 0.0.0.0")) {
        EXPECT_EQ(ask(renderer), 403) << renderer;
    }
    for (const std::string &renderer :
         Words("localhost:5000 127.1:5000 2130706433:5000 192.168.1.2:22 192.168.1.2:65536 "
               "192.168.1.2:5000/x user@192.168.1.2 [fe80::1%eth0]:5000 [::ffff:127.0.0.1]:5000")) {
        EXPECT_EQ(ask(renderer), 400) << renderer;
    }
    EXPECT_EQ(ask("192.168.1.2:5000\r\nX: y"), 400);
    EXPECT_TRUE(speaker.TakeRequests().empty());
    Configure("speaker_any_address", "yes");
    const Given given = {{"renderer", here}};
    EXPECT_EQ(Ask("Player/password_test", given)["status"], "locked");
    EXPECT_EQ(Ask("Player/password_test", {{"renderer", here}, {"value", "s3cret"}})["status"],
              "wrong");
    EXPECT_EQ(speaker.TakeRequests().size(), 3U);
}

TEST(SpeakerAddress, IsANeighboursOrNot) {
    const auto network = [](const char *own, int bits) {
        AttachedNetwork one{{}, bits};
        EXPECT_EQ(inet_pton(AF_INET6, own, &one.own), 1);
        return one;
    };
    const std::vector<AttachedNetwork> networks = {
        network("::ffff:192.168.1.10", 96 + 24), network("::ffff:10.0.0.1", 96 + 31),
        network("::ffff:203.0.113.5", 96 + 24), network("fd00:1::5", 64), network("fe80::5", 64)};
    for (const std::string &address :
         Words("192.168.1.1 192.168.1.254 10.0.0.0 fd00:1::6 fe80::6")) {
        EXPECT_TRUE(IsNeighbour(address, networks)) << address;
    }
    for (const std::string &address :
         Words("192.168.1.10 192.168.1.255 192.168.1.0 192.168.2.1 10.0.0.1 10.0.0.2 127.0.0.1 "
               "203.0.113.6 8.8.8.8 fd00:1::5 fd00:2::6 fe80::5 ::1 :: ff02::1 2001:db8::1 "
               "speaker ::ffff:192.168.1.1")) {
        EXPECT_FALSE(IsNeighbour(address, networks)) << address;
    }
    EXPECT_FALSE(IsNeighbour("", networks));
    EXPECT_FALSE(IsNeighbour("192.168.1.1", {}));
    // The networks of this machine.
    EXPECT_FALSE(IsNeighbour("127.0.0.1", tonvale_entry::AttachedNetworks()));

    const auto both = ParseSpeakerAddress("[fd00::1]:7000");
    ASSERT_TRUE(both);
    EXPECT_EQ(both->host + " " + both->port, "fd00::1 7000");
    EXPECT_EQ(ParseSpeakerAddress("fd00::1")->port, "5000");
    EXPECT_EQ(ParseSpeakerAddress("192.168.1.2:1024")->port, "1024");
}

}  // namespace

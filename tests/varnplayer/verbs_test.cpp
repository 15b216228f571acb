// The command line's verbs for players, speakers and the sound card.
#include "airplay_password/scripted_speaker.h"
#include "ctrl/scripted_daemon.h"
#include "platform/child.h"
#include "programs/command.h"
#include "varn/process.h"
#include "varnplayer/player_fixture.h"

namespace tonvale_test {

namespace {

Finished Player(std::vector<std::string> words) {
    words.insert(words.begin(), "player");
    return Tonvale(std::move(words));
}

class VerbTest : public PlayerTest {};
class VerbWithoutPlayerTest : public SystemTest {};

TEST_F(VerbTest, RefusalsNameTheMistake) {
    PlaylistInfo queue;
    AddSong(queue, MakeSong("one.wav", 30));
    AddSong(queue, scratch() / "missing.wav");
    const std::string file = SaveQueue(queue);
    const Finished added = Player({"add", file});
    EXPECT_EQ(added.status, 0);
    ExpectSaid(added, "1 added, 1 cannot be played, 0 still to be added");
    const std::pair<std::string, const char *> kCases[] = {
        {"add /nothere", "there is no queue file /nothere"},
        {"add nothere", "absolute path"},
        {"add /" + std::string(9000, 'p'), "too long for the player"},
        {"play 99", "Bad song index"},
        {"play 1x", "no whole number"},
        {"volume 5000", "from 0 to 100"},
        {"mode loud", "the modes are once"},
        {"equalizer send", "no equalizer profile is selected"},
        {"equalizer send 1 2", "takes ten gains"},
        {"equalizer send 0 0 0 0 0 0 0 0 0 -3.5", "does not know the command 40"},
        {"info output:7", "no renderer 'output:7'"},
        {"enable output:7", "no renderer 'output:7'"},
        {"info 7", "no renderer '7'"},
    };
    for (const auto &[words, message] : kCases) {
        ExpectSayings({{Words("player " + words), 2, message}});
    }
    ExpectSayings({{Words("player save /nothere/queue"), 1, "no queue file can be written"}});
}

TEST_F(VerbTest, EveryCommandHasAWord) {
    PlaylistInfo queue;
    // Too long to be decoded ahead: in a song that is, the daemon may hang when it seeks.
    AddSong(queue, MakeSong("one.wav", 900));
    AddSong(queue, MakeSong("two\x1B[2J.wav", 900));
    const std::string written = WritableFolder() / "queue";
    for (const std::string &line :
         {"add " + SaveQueue(queue), std::string("volume 20"), std::string("mode repeat"),
          std::string("play 0"), std::string("select 1"), std::string("refresh"),
          std::string("search-servers"), std::string("search-renderers"), "save " + written,
          std::string("seek 0"), std::string("pause"), std::string("resume"), std::string("next"),
          std::string("previous"), std::string("stop"), std::string("disable output:0"),
          std::string("enable output:0"), std::string("resume")}) {
        // The music player daemon refuses some while it opens its output; an addition counts once.
        const bool adds = line.starts_with("add");
        Finished finished;
        Comes([&](const Json::Value &) {
            finished = Player(Words(line));
            return finished.status == 0 || adds;
        });
        EXPECT_EQ(finished.status, 0) << line << finished.err;
    }
    EXPECT_TRUE(fs::exists(written));
    EXPECT_TRUE(Info()["refresh"].asBool());
    EXPECT_EQ(Player({"refresh-done"}).status, 0);
    EXPECT_FALSE(Info()["refresh"].asBool());
    EXPECT_TRUE(Comes([](const Json::Value &) { return Player({"seek", "20"}).status == 0; }));
    EXPECT_TRUE(Comes([](const Json::Value &info) { return info["position"].asInt() >= 20; }));
    for (const auto &[words, shown] : {std::pair("info", "state: play\nindex: 1\n"),
                                       {"info", "volume: 20\nmode: 1\n"},
                                       {"info output:0", "renderer: null\n"},
                                       {"info 0 --json", "\"udn\":\"output:0\""},
                                       {"renderers", "output:0"},
                                       {"servers --json", "\"servers\":[]"},
                                       {"queue", "two"},
                                       {"queue --json", "\"total\":2"}}) {
        const std::string out = Player(Words(words)).out;
        EXPECT_TRUE(Contains(out, shown)) << words << ": " << out;
        EXPECT_EQ(out.find('\x1B'), out.npos) << "a name that clears the screen";
    }
    EXPECT_EQ(Player({"delete", "0"}).status, 0);
    EXPECT_EQ(Player({"clear"}).status, 0);
}

TEST_F(VerbWithoutPlayerTest, FailuresNameTheReason) {
    ExpectSayings({
        {{"player", "clear"}, 1, "'varnplayer' is one to start"},
        {{"--root", scratch() / std::string(120, 'r'), "player", "info"}, 1, "File name too long"},
    });
    const std::pair<std::string, const char *> kCases[] = {
        {std::string(2 << 20, ' ') + "{}", "too long"},
        {"", "not understood"},
        {"playing", "not understood"},
        {"{\"success\": false, \"error\": \"clear\\u001b[2J me\"}", "refuses: clear"},
    };
    for (const auto &[answer, message] : kCases) {
        ScriptedDaemon daemon{answer};
        ExpectSayings({{{"player", "queue"}, 1, message}});
        EXPECT_FALSE(Contains(Player({"queue"}).err, "\x1B"));
    }
    if (IsRoot()) {
        ScriptedDaemon daemon{std::string("{}")};
        EXPECT_TRUE(HoldsInChild([] {
            EXPECT_EQ(ResetCredentialsByName("alice", false), 0);
            const Finished refused = Player({"info"});
            EXPECT_EQ(refused.status, 1);
            ExpectSaid(refused, "this account");
        }));
    }
}

TEST_F(VerbWithoutPlayerTest, TheSelectedProfileIsSent) {
    WriteFile(varn::path::kPackageConf,
              "audio_enable_equalizer=yes\naudio_default_equalizer=Rock\n");
    WriteFile(varn::path::kSystemEqualizer, "Rock: 1,2,3,4,5,-1,-2,-3,-4,0.5\nPop:loud\n");
    ScriptedDaemon daemon{std::string("{}")};
    EXPECT_EQ(Player({"equalizer", "show"}).out, "Rock: 1,2,3,4,5,-1,-2,-3,-4,0.5\n");
    EXPECT_EQ(Player({"equalizer", "send"}).status, 0);
    const auto messages = daemon.TakeMessages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_STREQ(messages[0].c_str() + sizeof(int), "1.0 2.0 3.0 4.0 5.0 -1.0 -2.0 -3.0 -4.0 0.5");
    WriteFile(varn::path::kPackageConf,
              "audio_enable_equalizer=yes\naudio_default_equalizer=Pop\n");
    EXPECT_TRUE(Contains(Player({"equalizer", "send"}).err, "ten gains"));
}

TEST_F(VerbWithoutPlayerTest, TheSoundCardIsShownAndSet) {
    WriteFile("/dev/mixer", "devices=16\nlevel4=12850\n");
    WriteFile(varn::path::kKernelVolume, "77\n");
    ExpectSayings({
        {Words("soundcard show"), 0, "volume: -\nmixer_volume: 50\nhardware_mixer: yes"},
        {Words("soundcard volume 30"), 0, ""},
        {Words("soundcard show"), 0, "volume: 30\nmixer_volume: 30"},
        {Words("soundcard store"), 0, ""},
        {Words("soundcard restore"), 0, ""},
        {Words("soundcard show --json"), 0, "\"mixer_volume\":77"},
        {Words("soundcard volume 101"), 2, ""},
    });
    fs::remove(At("/dev/mixer"));
    EXPECT_TRUE(Contains(Tonvale(Words("soundcard restore")).err, "no mixer takes it"));
}

TEST_F(VerbWithoutPlayerTest, SpeakersAreAskedWithoutASystem) {
    const std::string root = std::getenv("TONVALE_ROOT");
    unsetenv("TONVALE_ROOT");
    ScriptedSpeaker speaker("RTSP/1.0 200 OK\r\nCSeq: CSEQ\r\n\r\n");
    const auto ask = [&](const std::string &host, const std::string &port) {
        return Tonvale({"speaker", host, "--port", port});
    };
    EXPECT_EQ(ask("127.0.0.1", speaker.Port()).out, "It asks for no password.\n");
    EXPECT_EQ(Tonvale({"speaker", "127.0.0.1", "--port", speaker.Port(), "--password-stdin"}).out,
              "The password is right, or none is needed.\n");
    const Finished silent = ask("::1", "1");
    EXPECT_EQ(silent.status, 1) << silent.err;
    ExpectSaid(silent, "rtsp://[::1]:1");
    for (const auto &[host, port] : {std::pair("127.0.0.1", "0"),
                                     {"127.0.0.1", "65536"},
                                     {"host@other", "5000"},
                                     {"two words", "5000"},
                                     {"", "5000"}}) {
        EXPECT_EQ(ask(host, port).status, 2) << host << port;
    }
    setenv("TONVALE_ROOT", root.c_str(), 1);
}

}  // namespace

}  // namespace tonvale_test

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

TEST_F(VerbTest, RefusalsAreShown) {
    PlaylistInfo queue;
    AddSong(queue, MakeSong("one.wav", 30));
    AddSong(queue, scratch() / "missing.wav");
    const std::string file = SaveQueue(queue);
    const struct {
        std::vector<std::string> words;
        int status;
        const char *message;
    } kCases[] = {
        {{"add", file}, 0, "1 added, 1 cannot be played, 0 still to be added"},
        {{"add", "/nothere"}, 2, "there is no queue file /nothere"},
        {{"add", "nothere"}, 2, "absolute path"},
        {{"add", "/" + std::string(9000, 'p')}, 2, "more than the player can be told"},
        {{"save", "/nothere/queue"}, 1, "no queue file can be written"},
        {{"play", "99"}, 2, "Bad song index"},
        {{"play", "1x"}, 2, "no whole number"},
        {{"select", "99"}, 2, "Bad song index"},
        {{"delete", "99"}, 2, "Bad song index"},
        {{"volume", "5000"}, 2, "from 0 to 100"},
        {{"mode", "loud"}, 2, "the modes are once"},
        {{"group-volumes", "1", "2"}, 2, "does not know the command 12"},
        {{"equalizer", "send"}, 2, "no equalizer profile is selected"},
        {{"equalizer", "send", "1", "2"}, 2, "takes ten gains"},
        {{"equalizer", "send", "0", "0", "0", "0", "0", "0", "0", "0", "0", "-3.5"},
         2,
         "does not know the command 40"},
        {{"info", "output:7"}, 2, "no renderer 'output:7'"},
        {{"info", "7"}, 2, "no renderer '7'"},
    };
    for (const auto &[words, status, message] : kCases) {
        const Finished finished = Player(words);
        EXPECT_EQ(finished.status, status) << words[0] << finished.err;
        EXPECT_TRUE(Contains(finished.err, message)) << words[0] << ": " << finished.err;
    }
}

TEST_F(VerbTest, EveryCommandHasAWord) {
    PlaylistInfo queue;
    AddSong(queue, MakeSong("one.wav", 30));
    AddSong(queue, MakeSong("two\x1B[2J.wav", 30));
    const std::string written = WritableFolder() / "queue";
    const std::vector<std::string> kCommands[] = {
        {"add", SaveQueue(queue)}, {"volume", "20"}, {"mode", "repeat"}, {"play", "0"},
        {"select", "1"},           {"refresh"},      {"search-servers"}, {"search-renderers"},
        {"save", written},         {"seek", "0"},
    };
    for (const auto &words : kCommands) {
        // The music player daemon refuses some while it opens its output; an addition counts once.
        Finished finished;
        Comes([&](const Json::Value &) {
            finished = Player(words);
            return finished.status == 0 || words[0] == "add";
        });
        EXPECT_EQ(finished.status, 0) << words[0] << finished.err;
    }
    EXPECT_TRUE(fs::exists(written));
    EXPECT_TRUE(Info()["refresh"].asBool());
    EXPECT_EQ(Player({"refresh-done"}).status, 0);
    EXPECT_FALSE(Info()["refresh"].asBool());
    EXPECT_TRUE(Comes([](const Json::Value &info) {
        return Player({"seek", "20"}).status == 0 && info["position"].asInt() >= 20;
    }));
    const struct {
        std::vector<std::string> words;
        const char *shown;
    } kShown[] = {
        {{"info"}, "state: play\nindex: 1\n"},
        {{"info"}, "volume: 20\nmode: 1\n"},
        {{"info", "output:0"}, "renderer: null\n"},
        {{"info", "0", "--json"}, "\"udn\":\"output:0\""},
        {{"renderers"}, "output:0"},
        {{"servers", "--json"}, "\"servers\":[]"},
        {{"queue"}, "one.wav"},
        {{"queue"}, "two"},
        {{"queue", "--json"}, "\"total\":2"},
    };
    for (const auto &[words, shown] : kShown) {
        const std::string out = Player(words).out;
        EXPECT_TRUE(Contains(out, shown)) << words[0] << ": " << out;
        EXPECT_EQ(out.find('\x1B'), out.npos) << "a name that clears the screen";
    }
    // Now and then the music player daemon does what it is told once a song has ended, and the answer
    // does not wait for that.
    const auto holds = [](int songs) {
        return Comes([&](const Json::Value &) { return Songs(0, 1)["total"] == songs; });
    };
    Player({"delete", "0"});
    EXPECT_TRUE(holds(1));
    Player({"clear"});
    EXPECT_TRUE(holds(0));
}

TEST_F(VerbWithoutPlayerTest, ToldByWhy) {
    const Finished nobody = Player({"clear"});
    EXPECT_EQ(nobody.status, 1);
    EXPECT_TRUE(Contains(nobody.err, "'varnplayer' is one to start")) << nobody.err;
    const Finished far = Tonvale({"--root", scratch() / std::string(120, 'r'), "player", "info"});
    EXPECT_EQ(far.status, 1);
    EXPECT_TRUE(Contains(far.err, "File name too long")) << far.err;
    const struct {
        std::string answer;
        int status;
        const char *message;
    } kCases[] = {
        {std::string(2 << 20, ' ') + "{}", 1, "too long"},
        {"", 1, "not understood"},
        {"playing", 1, "not understood"},
        {"{\"success\": false, \"error\": \"clear\\u001b[2J me\"}", 1, "refuses: clear"},
    };
    for (const auto &[answer, status, message] : kCases) {
        ScriptedDaemon daemon{answer};
        const Finished finished = Player({"queue"});
        EXPECT_EQ(finished.status, status) << message;
        EXPECT_TRUE(Contains(finished.err, message)) << finished.err;
        EXPECT_EQ(finished.err.find('\x1B'), std::string::npos);
    }
    if (IsRoot()) {
        ScriptedDaemon daemon{std::string("{}")};
        EXPECT_TRUE(HoldsInChild([] {
            EXPECT_EQ(ResetCredentialsByName("alice", false), 0);
            const Finished refused = Player({"info"});
            EXPECT_EQ(refused.status, 1);
            EXPECT_TRUE(Contains(refused.err, "this account")) << refused.err;
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

TEST_F(VerbWithoutPlayerTest, TheSoundCard) {
    WriteFile("/dev/mixer", "devices=16\nlevel4=12850\n");
    WriteFile(varn::path::kKernelVolume, "77\n");
    const auto card = [](const char *verb) { return Tonvale({"soundcard", verb}); };
    EXPECT_TRUE(Contains(card("show").out, "volume: -\nmixer_volume: 50\nhardware_mixer: yes"));
    EXPECT_EQ(Tonvale({"soundcard", "volume", "30"}).status, 0);
    EXPECT_TRUE(Contains(card("show").out, "volume: 30\nmixer_volume: 30"));
    EXPECT_EQ(card("store").status, 0);
    EXPECT_EQ(card("restore").status, 0);
    const Finished shown = Tonvale({"soundcard", "show", "--json"});
    EXPECT_TRUE(Contains(shown.out, "\"mixer_volume\":77")) << shown.out;
    EXPECT_EQ(Tonvale({"soundcard", "volume", "101"}).status, 2);
    fs::remove(At("/dev/mixer"));
    EXPECT_TRUE(Contains(card("restore").err, "no mixer takes it"));
    EXPECT_TRUE(Contains(card("show").out, "card: -"));
}

TEST_F(VerbWithoutPlayerTest, SpeakersAreAskedWithoutASystem) {
    const std::string root = std::getenv("TONVALE_ROOT");
    unsetenv("TONVALE_ROOT");
    ScriptedSpeaker speaker("RTSP/1.0 200 OK\r\nCSeq: CSEQ\r\n\r\n");
    const auto ask = [&](const std::string &host, const std::string &port) {
        return Tonvale({"speaker", host, "--port", port});
    };
    const Finished open = ask("127.0.0.1", speaker.Port());
    EXPECT_EQ(open.status, 0) << open.err;
    EXPECT_EQ(open.out, "It asks for no password.\n");
    EXPECT_EQ(Tonvale({"speaker", "127.0.0.1", "--port", speaker.Port(), "--password-stdin"}).out,
              "The password is right, or none is needed.\n");
    const Finished silent = ask("::1", "1");
    EXPECT_EQ(silent.status, 1) << silent.err;
    EXPECT_TRUE(Contains(silent.err, "rtsp://[::1]:1")) << silent.err;
    EXPECT_TRUE(Contains(silent.err, "the speaker does not tell")) << silent.err;
    for (const auto &[host, port] : {std::pair("127.0.0.1", "0"),
                                     {"127.0.0.1", "65536"},
                                     {"127.0.0.1", "5000/"},
                                     {"host@other", "5000"},
                                     {"two words", "5000"},
                                     {"", "5000"}}) {
        EXPECT_EQ(ask(host, port).status, 2) << host << port;
    }
    setenv("TONVALE_ROOT", root.c_str(), 1);
}

}  // namespace

}  // namespace tonvale_test

// What the player plays, and who may ask it.
#include <unistd.h>

#include <algorithm>

#include "platform/child.h"
#include "varn/process.h"
#include "varnplayer/player_fixture.h"

namespace {

using namespace tonvale_test;

class PlayingTest : public PlayerTest {
  protected:
    // Waits for a state in which the player can do one command and not another.
    static bool ComesTo(const char *state, const std::string &can, const std::string &cannot) {
        return Comes([&](const Json::Value &info) {
            const std::string names = info["can"].toStyledString();
            return info["state"] == state && names.find(can) != names.npos &&
                   names.find(cannot) == names.npos;
        });
    }
    static Json::Value IsFirstEnabled() {
        return AskPlayer([](char *out, int size) {
            return VARNAudioListRenderer(0, 1, out, size);
        })["renderers"][0]["enabled"];
    }
};

TEST_F(PlayingTest, GoesThroughTheQueue) {
    PlaylistInfo queue;
    for (const char *name : {"first.wav", "Ænima \"q' #%41.wav", "last.wav"}) {
        AddSong(queue, MakeSong(name, 30));
    }
    AddSong(queue, scratch() / "missing.wav");
    AddSong(queue, "");
    AddSong(queue, "/a\nclear\n.wav");
    EXPECT_GT(VARNAudioAddFromFile(SaveQueue(queue).c_str()), 0);
    const std::string missing = scratch() / "missing";
    VARNAudioAddFromFile(missing.c_str());
    EXPECT_FALSE(fs::exists(missing)) << "the look for it made it";
    const Json::Value all = Songs(0, 100);
    EXPECT_EQ(Told(all, "total songs[1].path"), "3 " + std::string(queue.songs()[1]->path));
    EXPECT_EQ(Songs(1, 2)["songs"][0]["index"].asInt(), 1);
    EXPECT_EQ(Songs(3, 2)["songs"].size(), 0U);
    EXPECT_FALSE(Songs(-1, 2)["success"].asBool());

    VARNAudioJump(1);
    EXPECT_TRUE(Comes([](const Json::Value &info) {
        return info["state"] == "play" && info["index"] == 1;
    })) << Info();
    EXPECT_TRUE(ComesTo("play", "\"next\"", "\"resume\"")) << Info();
    SendToPlayer(VARN_AUDIO_PAUSE);
    EXPECT_TRUE(ComesTo("pause", "\"resume\"", "\"pause\"")) << Info();
    SendToPlayer(VARN_AUDIO_NEXT);
    SendToPlayer(VARN_AUDIO_RESUME);
    EXPECT_TRUE(ComesTo("play", "\"previous\"", "\"next\"")) << Info();
    SendToPlayer(VARN_AUDIO_PREVIOUS);
    EXPECT_TRUE(Comes([](const Json::Value &info) { return info["index"] == 1; })) << Info();
    SendToPlayer(VARN_AUDIO_DISABLE_RENDERER, "output:0");
    EXPECT_EQ(IsFirstEnabled(), false);
    EXPECT_EQ(SendToPlayer(VARN_AUDIO_ENABLE_RENDERER, "output:99")["reason"], "bad");
    SendToPlayer(VARN_AUDIO_ENABLE_RENDERER, "output:0");
    EXPECT_EQ(IsFirstEnabled(), true);
    SendToPlayer(VARN_AUDIO_STOP);
    EXPECT_TRUE(ComesTo("stop", "\"resume\"", "\"seek\"")) << Info();
    VARNAudioJump(1);
    // The music player daemon refuses these while it opens a song or an output: ask again.
    for (const int value : {150, 2, -7}) {
        EXPECT_TRUE(Comes([value](const Json::Value &info) {
            VARNAudioSetVolume(value);
            VARNAudioSetMode(value);
            return info["volume"] == std::clamp(value, 0, 100);
        })) << Info();
    }
    EXPECT_TRUE(Comes([](const Json::Value &info) { return info["mode"] == 2; })) << Info();
    VARNAudioSetIndex(2);
    EXPECT_TRUE(Comes(
        [](const Json::Value &info) { return info["index"] == 2 && info["state"] == "play"; }));
    VARNAudioDelete(2);
    VARNAudioDelete(99);
    EXPECT_EQ(Songs(0, 100)["total"].asInt(), 2);
}

TEST_F(PlayerTest, ServesThePackageAlone) {
    const std::string path = At(varn::path::kPlayerSocket);
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root's rights";
    }
    for (const char *user : {"Tonvale", "alice"}) {
        EXPECT_TRUE(HoldsInChild([&] {
            const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
            EXPECT_EQ(ResetCredentialsByName(user, false), 0);
            EXPECT_EQ(Connect(fd, LocalAddress(path)), *user == 'T') << user;
        }));
    }
}

}  // namespace

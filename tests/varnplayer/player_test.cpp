// The player daemon with a real music player daemon behind it, which plays to nowhere.
#include <unistd.h>

#include "platform/child.h"
#include "varn/process.h"
#include "varnplayer/player_fixture.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::AskPlayer;
using tonvale_test::Connect;
using tonvale_test::LocalAddress;
using tonvale_test::PlayerTest;

TEST_F(PlayerTest, PlaysAQueue) {
    PlaylistInfo queue;
    for (const char *name : {"first.wav", "Ænima \"q' #%41.wav", "last.wav"}) {
        AddSong(queue, MakeSong(name, 30));
    }
    AddSong(queue, scratch() / "missing.wav");
    AddSong(queue, "");
    AddSong(queue, "/a\nclear\n.wav");
    EXPECT_GT(VARNAudioAddFromFile(SaveQueue(queue).c_str()), 0);
    const Json::Value all = Songs(0, 100);
    ASSERT_EQ(all["total"].asInt(), 3) << all;
    EXPECT_EQ(all["songs"][1]["path"].asString(), queue.songs()[1]->path);
    const Json::Value page = Songs(1, 2);
    ASSERT_EQ(page["songs"].size(), 2U);
    EXPECT_EQ(page["songs"][0]["index"].asInt(), 1);
    EXPECT_EQ(Songs(3, 2)["songs"].size(), 0U);
    EXPECT_FALSE(Songs(-1, 2)["success"].asBool());

    VARNAudioJump(1);
    EXPECT_TRUE(Comes([](const Json::Value &info) {
        return info["state"] == "play" && info["index"] == 1;
    })) << Info();
    // The music player daemon refuses things while it opens a song or an output: it is asked again.
    EXPECT_TRUE(Comes([](const Json::Value &info) {
        VARNAudioSeek(20);
        return info["position"].asInt() >= 20;
    }));
    for (const auto &[volume, heard] : {std::pair(33, 33), {150, 100}, {-7, 0}}) {
        EXPECT_TRUE(Comes([volume = volume, heard = heard](const Json::Value &info) {
            VARNAudioSetVolume(volume);
            return info["volume"] == heard;
        })) << Info();
    }
    for (const int mode : {3, 2, 1, 0}) {
        EXPECT_TRUE(Comes([=](const Json::Value &info) {
            VARNAudioSetMode(mode);
            return info["mode"] == mode;
        })) << Info();
    }
    VARNAudioSetMode(4);
    EXPECT_EQ(Info()["mode"].asInt(), 0);
    VARNAudioSetIndex(2);
    EXPECT_TRUE(Comes(
        [](const Json::Value &info) { return info["index"] == 2 && info["state"] == "play"; }));
    VARNAudioDelete(2);
    VARNAudioDelete(99);
    EXPECT_EQ(Songs(0, 100)["total"].asInt(), 2);
    VARNAudioSetIndex(0);
    EXPECT_TRUE(Comes(
        [](const Json::Value &info) { return info["index"] == 0 && info["state"] == "stop"; }));
}

TEST_F(PlayerTest, TellsOfRenderersAndRefusals) {
    const Json::Value list =
        AskPlayer([](char *out, int size) { return VARNAudioListRenderer(0, 10, out, size); });
    ASSERT_EQ(list["renderers"].size(), 1U);
    const std::string udn = list["renderers"][0]["udn"].asString();
    const auto byUdn = [&](const char *name) {
        return AskPlayer(
            [=](char *out, int size) { return VARNAudioPlayerInfoByUDN(name, out, size); });
    };
    const auto byIndex = [&](int index) {
        return AskPlayer(
            [=](char *out, int size) { return VARNAudioPlayerInfoByIndex(index, out, size); });
    };
    EXPECT_EQ(byUdn(udn.c_str())["renderer"]["udn"].asString(), udn);
    EXPECT_EQ(byIndex(0)["renderer"]["udn"].asString(), udn);
    for (const Json::Value &refusal : {byUdn("output:7"), byUdn(""), byIndex(1), byIndex(-1)}) {
        EXPECT_FALSE(refusal["success"].asBool());
        EXPECT_FALSE(refusal["error"].asString().empty());
    }
    const std::string missing = scratch() / "missing";
    VARNAudioAddFromFile(missing.c_str());
    EXPECT_FALSE(fs::exists(missing)) << "made by looking for it";
}

TEST_F(PlayerTest, IsForThePackageAlone) {
    const std::string path = At(varn::path::kPlayerSocket);
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root's rights";
    }
    const auto connectAs = [&](const char *user) {
        const pid_t child = fork();
        if (child == 0) {
            const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
            _exit(ResetCredentialsByName(user, false) == 0 && Connect(fd, LocalAddress(path)) ? 0
                                                                                              : 1);
        }
        return tonvale_test::EndedWell(child);
    };
    EXPECT_TRUE(connectAs("Tonvale"));
    EXPECT_FALSE(connectAs("alice"));
    // A client that says half a message, or nothing, holds the others up for a moment only.
    const int silent = tonvale_test::ConnectTo(path);
    EXPECT_EQ(send(silent, "half", 4, MSG_NOSIGNAL), 4);
    EXPECT_TRUE(Info()["success"].asBool());
    close(silent);
}

}  // namespace

// varnplayer with a real music player daemon, whose output goes nowhere.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "programs/command.h"
#include "support/fixture.h"
#include "support/sockets.h"
#include "support/sounds.h"
#include "tonvale/players.h"
#include "tonvale/playlists.h"
#include "varn/player.h"
#include "varn/systempath.h"
#include "varnplayer/scripted_mpd.h"

namespace tonvale_test {

// A run of varnplayer, which a test that fails does not wait for.
struct PlayerProcess : Command {
    explicit PlayerProcess(std::vector<std::string> arguments)
        : Command(std::move(arguments), "", "varnplayer") {}
    ~PlayerProcess() { Signal(SIGKILL); }

    // The music player daemon that it started; -1 as long as there is none.
    pid_t Engine() const {
        const std::string pid = std::to_string(Id());
        std::ifstream file("/proc/" + pid + "/task/" + pid + "/children");
        pid_t child = -1;
        file >> child;
        return child;
    }
};

// The answer to a call that has a buffer; an empty object when the daemon could not be asked.
template <typename Call>
Json::Value AskPlayer(const Call &call) {
    std::string out(4 << 20, '\0');
    const int length = call(out.data(), static_cast<int>(out.size()));
    Json::Value answer;
    if (length >= 0) {
        answer = StrictJson(out.substr(0, static_cast<std::size_t>(length)));
    }
    return answer.isObject() ? answer : Json::Value(Json::objectValue);
}

// A command as it goes over the socket.
inline Json::Value SendToPlayer(int command, const std::string &payload = "") {
    VARN_AUDIO_CTRL_MSG message = {};
    message.command = command;
    payload.copy(message.payload, sizeof message.payload);
    return AskPlayer([&](char *out, int size) { return VARNAudioCtrlSend(&message, out, size); });
}

class PlayerTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        Start({"--output=null"});
    }
    void Start(std::vector<std::string> arguments) {
        player_ = std::make_unique<PlayerProcess>(std::move(arguments));
        ASSERT_TRUE(Comes([](const Json::Value &info) { return info["success"].asBool(); }))
            << player_->Complaints();
    }

    void TearDown() override {
        End();
        EXPECT_FALSE(fs::exists(At(varn::path::kPlayerSocket)));
        EXPECT_FALSE(fs::exists(At("/var/run/Tonvale/player/mpd.sock"))) << "mpd was left running";
        SystemTest::TearDown();
    }
    // Ends the player, if there is one. The test fails unless it ends well.
    void End(int signal = SIGTERM) {
        if (player_) {
            const Finished finished = player_->Signal(signal);
            EXPECT_EQ(finished.status, 0) << finished.err;
            player_.reset();
        }
    }

    static Json::Value Info() { return AskPlayer(VARNAudioPlayerInfo); }
    static Json::Value Songs(int offset, int limit) {
        return AskPlayer(
            [=](char *out, int size) { return VARNAudioListPlaylist(offset, limit, out, size); });
    }

    // Waits until the player tells of a state.
    template <typename Holds>
    static bool Comes(const Holds &holds) {
        return Eventually([&] { return holds(Info()); });
    }
    // Starts a player in place of the first, with a script for a music player daemon.
    std::unique_ptr<ScriptedMpd> UseScript(ScriptedMpd::Script script) {
        End();
        const std::string socket = scratch() / "mpd.sock";
        auto mpd = std::make_unique<ScriptedMpd>(socket, std::move(script));
        Start({"--mpd", socket});
        return mpd;
    }
    static bool HasAdded() {
        return Comes([](const Json::Value &info) { return info["adding"] == false; });
    }

    // Silence of 8-bit mono at 8 kHz.
    static std::string MakeSong(const std::string &name, unsigned seconds) {
        return MakeSound(scratch() / name, "anullsrc=r=8000:cl=mono:d=" + std::to_string(seconds),
                         "-c:a pcm_u8");
    }

    static void AddSong(PlaylistInfo &queue, const std::string &path) {
        VARN_MEDIA_INFO song = {};
        path.copy(song.path, sizeof song.path - 1);
        queue.addSong(song);
    }

    // A folder that the player may write to.
    static fs::path WritableFolder() {
        const fs::path folder = scratch() / "written";
        fs::create_directory(folder);
        fs::permissions(folder, fs::perms::all);
        return folder;
    }

    static std::string SaveQueue(const PlaylistInfo &queue) {
        const std::string file = scratch() / "queue";
        EXPECT_EQ(AudioFile::PlaylistFileSave(file.c_str(), &queue), 0);
        return file;
    }

    std::unique_ptr<PlayerProcess> player_;
};

}  // namespace tonvale_test

#include "varnplayer/player_fixture.h"

#include <fstream>

#include "support/sounds.h"

namespace tonvale_test {

PlayerProcess::PlayerProcess(std::vector<std::string> arguments)
    : Command(std::move(arguments), "", "varnplayer") {}

pid_t PlayerProcess::Engine() const {
    const std::string pid = std::to_string(Id());
    std::ifstream file("/proc/" + pid + "/task/" + pid + "/children");
    pid_t child = -1;
    file >> child;
    return child;
}

Json::Value SendToPlayer(int command, const std::string &payload) {
    VARN_AUDIO_CTRL_MSG message = {};
    message.command = command;
    payload.copy(message.payload, sizeof message.payload);
    return AskPlayer([&](char *out, int size) { return VARNAudioCtrlSend(&message, out, size); });
}

void PlayerTest::SetUp() {
    SystemTest::SetUp();
    Start({"--output=null"});
}

void PlayerTest::Start(std::vector<std::string> arguments) {
    player_ = std::make_unique<PlayerProcess>(std::move(arguments));
    ASSERT_TRUE(Comes([](const Json::Value &info) { return info["success"].asBool(); }))
        << player_->Complaints();
}

void PlayerTest::TearDown() {
    End();
    EXPECT_FALSE(fs::exists(At(varn::path::kPlayerSocket)));
    EXPECT_FALSE(fs::exists(At("/var/run/Tonvale/player/mpd.sock"))) << "mpd was left running";
    SystemTest::TearDown();
}

void PlayerTest::End(int signal) {
    if (player_) {
        const Finished finished = player_->Signal(signal);
        EXPECT_EQ(finished.status, 0) << finished.err;
        player_.reset();
    }
}

Json::Value PlayerTest::Songs(int offset, int limit) {
    return AskPlayer(
        [=](char *out, int size) { return VARNAudioListPlaylist(offset, limit, out, size); });
}

std::unique_ptr<ScriptedMpd> PlayerTest::UseScript(ScriptedMpd::Script script) {
    End();
    const std::string socket = scratch() / "mpd.sock";
    auto mpd = std::make_unique<ScriptedMpd>(socket, std::move(script));
    Start({"--mpd", socket});
    return mpd;
}

bool PlayerTest::HasAdded() {
    return Comes([](const Json::Value &info) { return info["adding"] == false; });
}

std::string PlayerTest::MakeSong(const std::string &name, unsigned seconds) {
    return MakeSound(scratch() / name, "anullsrc=r=8000:cl=mono:d=" + std::to_string(seconds),
                     "-c:a pcm_u8");
}

void PlayerTest::AddSong(PlaylistInfo &queue, const std::string &path) {
    VARN_MEDIA_INFO song = {};
    path.copy(song.path, sizeof song.path - 1);
    queue.addSong(song);
}

fs::path PlayerTest::WritableFolder() {
    const fs::path folder = scratch() / "written";
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::all);
    return folder;
}

std::string PlayerTest::SaveQueue(const PlaylistInfo &queue) {
    const std::string file = scratch() / "queue";
    EXPECT_EQ(AudioFile::PlaylistFileSave(file.c_str(), &queue), 0);
    return file;
}

}  // namespace tonvale_test

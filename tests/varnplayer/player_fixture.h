// varnplayer with a real music player daemon, whose output goes nowhere.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "programs/command.h"
#include "support/eventually.h"
#include "support/fixture.h"
#include "support/sockets.h"
#include "tonvale/players.h"
#include "tonvale/playlists.h"
#include "varn/player.h"
#include "varn/systempath.h"
#include "varnplayer/scripted_mpd.h"

namespace tonvale_test {

// A run of varnplayer, which a test that fails does not wait for.
struct PlayerProcess : Command {
    explicit PlayerProcess(std::vector<std::string> arguments);
    ~PlayerProcess() { Signal(SIGKILL); }

    // The music player daemon that it started; -1 as long as there is none.
    pid_t Engine() const;
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
Json::Value SendToPlayer(int command, const std::string &payload = "");

class PlayerTest : public SystemTest {
  protected:
    void SetUp() override;
    void Start(std::vector<std::string> arguments);
    void TearDown() override;
    // Ends the player, if there is one. The test fails unless it ends well.
    void End(int signal = SIGTERM);

    static Json::Value Info() { return AskPlayer(VARNAudioPlayerInfo); }
    static Json::Value Songs(int offset, int limit);

    // Waits until the player tells of a state.
    template <typename Holds>
    static bool Comes(const Holds &holds) {
        return Eventually([&] { return holds(Info()); });
    }
    // Starts a player in place of the first, with a script for a music player daemon.
    std::unique_ptr<ScriptedMpd> UseScript(ScriptedMpd::Script script);
    static bool HasAdded();

    // Silence of 8-bit mono at 8 kHz.
    static std::string MakeSong(const std::string &name, unsigned seconds);

    static void AddSong(PlaylistInfo &queue, const std::string &path);

    // A folder that the player may write to.
    static fs::path WritableFolder();

    static std::string SaveQueue(const PlaylistInfo &queue);

    std::unique_ptr<PlayerProcess> player_;
};

}  // namespace tonvale_test

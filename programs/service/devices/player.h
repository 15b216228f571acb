// What the player daemon is asked and told (docs/players.md).
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tonvale/players.h"
#include "varn/mediaindex.h"

namespace tonvale_service {

// Every call throws a Failure: when no player answers or none that this account may ask, when it
// refuses, and for values that no player could do anything with. An answer is the daemon's object,
// without its "success".

// Questions. A renderer is named by its udn or, all digits, by its place in the list; "" is none in
// particular. Pages may have fewer entries than `limit`.
// Of the player's state `can` has the names of the commands that it can do now; for a player that
// does not tell, those that every player knows.
Json::Value PlayerInfo(const std::string &renderer);
Json::Value PlayerQueue(int offset, int limit);
Json::Value PlayerRenderers(int offset, int limit);
Json::Value PlayerServers(int offset, int limit);

// Gives the songs of a queue that the user has their identifiers, as "id". A part of a file is the
// track of a cue sheet that begins there. Throws a Failure.
void Identify(uid_t uid, Json::Value &songs);

// Takes away where a song lies. Its title stays, also that of another user's own song: all users of
// the player may see it.
void HidePath(Json::Value &song);

// What a command takes.
enum class Takes {
    kNothing,
    kNumber,   // a whole number from 0 on
    kVolume,   // 0-100
    kVolumes,  // one for each device of a group, 64 at most
    kMode,     // one of PlayerModes
    kRenderer  // a renderer's udn
};

struct PlayerCommand {
    std::string_view name;
    VARN_AUDIO_COMMAND command;
    Takes takes;
    const char *description;
};

// The commands without an answer of their own, by name, and one of them; null when there is none.
std::span<const PlayerCommand> PlayerCommands();
const PlayerCommand *FindPlayerCommand(std::string_view name);

// The ways of playing, in the order of their numbers.
const std::vector<std::string> &PlayerModes();

// Does a command.
Json::Value TellPlayer(const PlayerCommand &command, const std::vector<std::string> &values);

// Have the songs of a queue file added, and the queue written to one; both by an absolute path,
// which is for operators to name.
Json::Value AddQueueFile(const std::string &path);
Json::Value SaveQueueFile(const std::string &path);

// Adds songs, through a queue file of the package's own that is gone afterwards.
Json::Value AddSongs(const std::vector<VARN_MEDIA_INFO> &songs);

// The selected equalizer profile: its "name" and its "values" as they are written; both null when
// there is none.
Json::Value SelectedEqualizer();

// Sends gains, ten numbers from -24 to 24 dB; when there are none, those of the selected profile,
// which must be that.
Json::Value SendEqualizer(std::vector<std::string> gains);

}  // namespace tonvale_service

// VARN.Tonvale.Player: the player daemon, the machine's sound card, and speakers' passwords.
#include "service/player.h"

#include <algorithm>
#include <climits>

#include "action.h"
#include "service/songs.h"
#include "service/sound_card.h"
#include "service/speaker.h"
#include "speaker_address.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr long long kMostEntries = 500;
constexpr long long kUsualEntries = 100;

// The page that is asked for, of whatever `list` gives.
Json::Value PageOf(const Request &asked, Json::Value (*list)(int, int)) {
    return list(static_cast<int>(asked.Number("offset", 0, 0, INT_MAX)),
                static_cast<int>(asked.Number("limit", kUsualEntries, 1, kMostEntries)));
}

std::vector<std::string> ValuesIn(const Request &asked) {
    return asked.Text("value").empty() ? std::vector<std::string>() : asked.Values("value");
}

// Does the command with the values that come with the request.
Json::Value Tell(const Request &asked, std::string_view name) {
    const PlayerCommand *command = FindPlayerCommand(name);
    if (command == nullptr) {
        throw Refusal{Code::kBadParameter};
    }
    return TellPlayer(*command, ValuesIn(asked));
}

Json::Value List(const Request &asked) {
    const std::string what = asked.Choice("action", {"renderers", "servers"}, "renderers");
    return PageOf(asked, what == "servers" ? PlayerServers : PlayerRenderers);
}

Json::Value Info(const Request &asked) {
    Json::Value info = PlayerInfo(asked.Text("renderer"));
    if (info.isMember("song")) {
        HidePath(info["song"]);
    }
    return info;
}

Json::Value Control(const Request &asked) {
    std::string name = asked.RequiredText("action");
    std::replace(name.begin(), name.end(), '_', '-');
    return Tell(asked, name);
}

Json::Value Volume(const Request &asked) {
    const std::string action =
        asked.Choice("action", {"get", "set", "set_group", "card", "set_card"}, "get");
    if (action == "set" || action == "set_group") {
        return Tell(asked, action == "set" ? "volume" : "group-volumes");
    }
    if (action == "set_card") {
        asked.RequiredText("value");
        return SetCardVolume(static_cast<int>(asked.Number("value", 0, 0, 100)));
    }
    if (action == "card") {
        return SoundCard();
    }
    Json::Value data(Json::objectValue);
    const Json::Value info = PlayerInfo("");
    data["volume"] = info["volume"];
    return data;
}

// Songs of the library alone, each of which the user may hear: no path, no address.
std::vector<VARN_MEDIA_INFO> Songs(const Request &asked) {
    const std::vector<std::string> ids = asked.Values("songs");
    const auto found = ReadSongs(asked.User().GetLoginUID(), ids);
    std::vector<VARN_MEDIA_INFO> songs;
    for (const std::string &id : ids) {
        const auto song = found.find(ParseSongId(id).value());
        if (song == found.end()) {
            throw Refusal{Code::kNoSuchItem};
        }
        songs.push_back(song->second);
    }
    return songs;
}

Json::Value Queue(const Request &asked) {
    const std::string action = asked.Choice("action", {"list", "add", "delete", "clear"}, "list");
    if (action == "add") {
        return AddSongs(Songs(asked));
    }
    if (action != "list") {
        return Tell(asked, action);
    }
    Json::Value page = PageOf(asked, PlayerQueue);
    if (page.isMember("songs")) {
        for (Json::Value &song : page["songs"]) {
            HidePath(song);
        }
    }
    return page;
}

Json::Value Equalizer(const Request &asked) {
    if (asked.Choice("action", {"get", "send"}, "get") == "get") {
        return SelectedEqualizer();
    }
    return SendEqualizer(ValuesIn(asked));
}

Json::Value PasswordTest(const Request &asked) {
    constexpr const char *kNames[] = {"open", "locked", "right", "wrong", "busy", "unknown"};
    const auto speaker = ParseSpeakerAddress(asked.RequiredText("renderer"));
    if (!speaker) {
        throw Refusal{Code::kBadParameter};
    }
    if (!IsPermittedSpeaker(*speaker)) {
        throw Refusal{Code::kNotPermitted};
    }
    const SpeakerStatus status = AskSpeaker(speaker->host, speaker->port, asked.Given("value"));
    Json::Value data(Json::objectValue);
    data["status"] = kNames[static_cast<int>(status)];
    return data;
}

// The server's own outputs play the queue, whose songs have several owners: all of this is for
// those who may play there.
template <DataAction::Data Do>
Json::Value ForPlayers(const Request &asked) {
    asked.Require(RIGHT_USB);
    return Do(asked);
}

constexpr Method kMethods[] = {
    {"control", Make<ForPlayers<Control>>, kChanges},
    {"equalizer", Make<ForPlayers<Equalizer>>, kChanges},
    {"info", Make<ForPlayers<Info>>},
    {"list", Make<ForPlayers<List>>},
    {.name = "password_test",
     .make = Make<ForPlayers<PasswordTest>>,
     .changes = true,
     .asksElsewhere = true},
    {"queue", Make<ForPlayers<Queue>>, kChanges},
    {"volume", Make<ForPlayers<Volume>>, kChanges},
};

}  // namespace

const Api kPlayerApi{"VARN.Tonvale.Player", kMethods};

}  // namespace tonvale_entry

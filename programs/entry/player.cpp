// VARN.Tonvale.Player: the player daemon, the machine's sound card, and speakers' passwords.
#include "service/player.h"

#include <algorithm>
#include <chrono>
#include <climits>

#include "action.h"
#include "remote_url.h"
#include "server_song.h"
#include "service/playlist_songs.h"
#include "service/sound_card.h"
#include "service/speaker.h"
#include "speaker_address.h"
#include "tonvale/settings.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr long long kMostEntries = 500;
constexpr long long kUsualEntries = 100;
constexpr std::size_t kMostServerSongs = 100;
constexpr std::chrono::seconds kServerPatience{20};

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

// Gives the songs that the user browses their identifiers; a part of a file has none.
void Identify(const Request &asked, const std::vector<Json::Value *> &songs) {
    std::vector<std::string> paths;
    for (const Json::Value *song : songs) {
        if (song->isObject() && (*song)["path"].isString()) {
            paths.push_back((*song)["path"].asString());
        }
    }
    if (paths.empty()) {
        return;
    }
    const auto found = ReadNamedSongs(asked.User().GetLoginUID(), paths);
    for (Json::Value *song : songs) {
        const auto known = song->isObject() && (*song)["path"].isString()
                               ? found.find((*song)["path"].asString())
                               : found.end();
        if (known != found.end()) {
            const VARN_MEDIA_INFO &record = known->second;
            (*song)["id"] =
                (record.userid != 0 ? "music_p_" : "music_") + std::to_string(record.id);
        }
    }
}

Json::Value List(const Request &asked) {
    const std::string what = asked.Choice("action", {"renderers", "servers"}, "renderers");
    return PageOf(asked, what == "servers" ? PlayerServers : PlayerRenderers);
}

Json::Value Info(const Request &asked) {
    Json::Value info = PlayerInfo(asked.Text("renderer"));
    if (info.isMember("song")) {
        Identify(asked, {&info["song"]});
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

// Songs of the library, each of which the user may hear, and streams out in the world: no path.
std::vector<VARN_MEDIA_INFO> Songs(const Request &asked) {
    const varn::OwnedSongs found = SongsOfIds(asked.User().GetLoginUID(), asked.Values("songs"));
    std::vector<VARN_MEDIA_INFO> songs;
    for (const PLAYLIST_REC *entry = found.get(); entry != nullptr; entry = entry->next) {
        if (IsHttpUrl(entry->info.path)) {
            LeaveWorker();  // a name is looked up
            if (!IsPermittedUrl(entry->info.path)) {
                throw Refusal{Code::kBadParameter, "songs"};
            }
        }
        songs.push_back(entry->info);
    }
    return songs;
}

Json::Value AddFromServer(const Request &asked) {
    const std::string url = asked.RequiredText("url");
    const std::vector<std::string> ids = asked.Values("ids");
    if (ids.size() > kMostServerSongs) {
        throw Refusal{Code::kBadParameter, "ids"};
    }
    const auto end = std::chrono::steady_clock::now() + kServerPatience;
    std::vector<VARN_MEDIA_INFO> songs;
    for (const std::string &id : ids) {
        const auto left =
            std::chrono::ceil<std::chrono::seconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            throw Refusal{Code::kTookTooLong};
        }
        songs.push_back(FindServerSong(url, id, left));
    }
    return AddSongs(songs);
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
        std::vector<Json::Value *> songs;
        for (Json::Value &song : page["songs"]) {
            songs.push_back(&song);
        }
        Identify(asked, songs);
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
    {.name = "add_from_server",
     .make = Make<ForPlayers<AddFromServer>>,
     .changes = true,
     .asksElsewhere = true},
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

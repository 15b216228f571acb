// jukeboxControl: the player daemon on the server's own outputs.
#include <charconv>
#include <climits>
#include <cmath>

#include "endpoint.h"
#include "objects.h"
#include "service/devices/player.h"
#include "song_ids.h"
#include "tonvale/settings.h"

namespace tonvale_subsonic {

namespace {

using namespace tonvale_service;

constexpr int kPage = 500;

int NumberIn(const Json::Value &info, const char *name) {
    return info[name].isInt() ? info[name].asInt() : 0;
}

Json::Value StatusObject() {
    const Json::Value info = PlayerInfo("");
    Json::Value status(Json::objectValue);
    status["currentIndex"] = NumberIn(info, "index");
    status["playing"] = info["state"] == "play";
    status["gain"] = std::max(NumberIn(info, "volume"), 0) / 100.0;
    status["position"] = NumberIn(info, "position");
    return status;
}

void Tell(const char *name, const std::vector<std::string> &values = {}) {
    const PlayerCommand *const command = FindPlayerCommand(name);
    if (command == nullptr) {
        throw Fault{kGeneric, std::string("the player cannot ") + name};
    }
    TellPlayer(*command, values);
}

// All songs of the queue, in order, as the player has them, with their identifiers.
std::vector<Json::Value> Queue(const Request &asked) {
    std::vector<Json::Value> queue;
    int total = 0;
    int number = 0;  // on a page
    do {
        Json::Value page = PlayerQueue(static_cast<int>(queue.size()), kPage);
        Json::Value &songs = page["songs"];
        Identify(asked.Uid(), songs);
        total = NumberIn(page, "total");
        number = songs.isArray() ? static_cast<int>(songs.size()) : 0;
        for (int i = 0; i < number; ++i) {
            queue.push_back(songs[i]);
        }
    } while (number > 0 && static_cast<int>(queue.size()) < total);
    return queue;
}

std::optional<SongId> IdOf(const Json::Value &song) {
    return ParseSongId(song["id"].isString() ? song["id"].asString() : "");
}

// A song that the user does not see has only what the player tells everybody: another user has
// queued it.
Json::Value Get(const Request &asked) {
    std::vector<Json::Value> queue = Queue(asked);
    std::vector<SongId> songs;
    for (const Json::Value &song : queue) {
        if (const auto id = IdOf(song)) {
            songs.push_back(*id);
        }
    }
    const auto children = ChildrenById(asked, songs);
    Json::Value members(Json::objectValue);
    Json::Value &list = members["jukeboxPlaylist"] = StatusObject();
    list["entry"] = Json::Value(Json::arrayValue);
    for (Json::Value &song : queue) {
        const auto id = IdOf(song);
        const auto child = id ? children.find(SongIdText(*id)) : children.end();
        if (child != children.end()) {
            list["entry"].append(child->second);
            continue;
        }
        HidePath(song);
        Json::Value &unknown = list["entry"].append(Json::objectValue);
        unknown["id"] = "";
        unknown["isDir"] = false;
        unknown["title"] = song["title"].isString() ? song["title"] : "";
    }
    return members;
}

std::vector<VARN_MEDIA_INFO> SongsOf(const Request &asked) {
    const std::vector<std::string> ids = asked.RequiredAll("id");
    RowsOf(ids);
    const auto found = ReadSongs(asked.Uid(), ids);
    std::vector<VARN_MEDIA_INFO> songs;
    for (const std::string &id : ids) {
        const auto song = found.find(ParseSongId(id).value());
        songs.push_back(song != found.end() ? song->second : throw NoSuch("song", id));
    }
    return songs;
}

std::string IndexOf(const Request &asked) {
    return std::to_string(asked.RequiredNumber("index", 0, INT_MAX));
}

void Add(const Request &asked) {
    AddSongs(SongsOf(asked));
}

void Set(const Request &asked) {
    const std::vector<VARN_MEDIA_INFO> songs = SongsOf(asked);
    Tell("clear");
    AddSongs(songs);
}

void Start(const Request &) {
    if (FindPlayerCommand("resume") != nullptr) {
        return Tell("resume");
    }
    Tell("play", {std::to_string(NumberIn(PlayerInfo(""), "index"))});
}

void Stop(const Request &) {
    Tell("pause");
}

void Skip(const Request &asked) {
    Tell("play", {IndexOf(asked)});
    if (const auto seconds = asked.Number("offset", 0, 0, INT_MAX); seconds > 0) {
        Tell("seek", {std::to_string(seconds)});
    }
}

void Remove(const Request &asked) {
    Tell("delete", {IndexOf(asked)});
}

void Clear(const Request &) {
    Tell("clear");
}

void Shuffle(const Request &) {
    Tell("mode", {"shuffle"});
}

void SetGain(const Request &asked) {
    const std::string text = asked.Required("gain");
    double gain = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), gain);
    if (error != std::errc() || end != text.data() + text.size() || !(gain >= 0 && gain <= 1)) {
        throw Fault{kGeneric, "the parameter 'gain' takes a number from 0 to 1"};
    }
    Tell("volume", {std::to_string(std::lround(gain * 100))});
}

void Nothing(const Request &) {}

constexpr struct {
    const char *name;
    void (*act)(const Request &asked);
} kActions[] = {{"add", Add},         {"clear", Clear},     {"remove", Remove}, {"set", Set},
                {"setGain", SetGain}, {"shuffle", Shuffle}, {"skip", Skip},     {"start", Start},
                {"status", Nothing},  {"stop", Stop}};

Json::Value Control(const Request &asked) {
    asked.Require(RIGHT_USB);
    const std::string name = asked.Required("action");
    if (name == "get") {
        return Get(asked);
    }
    for (const auto &[known, act] : kActions) {
        if (name == known) {
            if (name != "status") {
                asked.RefuseHead();
            }
            act(asked);
            Json::Value members(Json::objectValue);
            members["jukeboxStatus"] = StatusObject();
            return members;
        }
    }
    throw Fault{kGeneric, "the parameter 'action' has a bad value"};
}

constexpr Endpoint kEndpoints[] = {
    {.name = "jukeboxControl", .answer = Control, .takesRoot = true}};

}  // namespace

const std::span<const Endpoint> kJukeboxEndpoints = kEndpoints;

}  // namespace tonvale_subsonic

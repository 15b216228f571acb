// jukeboxControl: the player daemon on the server's own outputs.
#include <charconv>
#include <climits>
#include <cmath>

#include "endpoint.h"
#include "objects.h"
#include "service/devices/player.h"
#include "service/playlists/playlist_songs.h"
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

// All songs of the queue, in order, as the player has them.
std::vector<Json::Value> Queue() {
    std::vector<Json::Value> queue;
    int total = 0;
    int number = 0;  // on a page
    do {
        const Json::Value page = PlayerQueue(static_cast<int>(queue.size()), kPage);
        const Json::Value &songs = page["songs"];
        total = NumberIn(page, "total");
        number = songs.isArray() ? static_cast<int>(songs.size()) : 0;
        for (int i = 0; i < number; ++i) {
            queue.push_back(songs[i]);
        }
    } while (number > 0 && static_cast<int>(queue.size()) < total);
    return queue;
}

std::string PathOf(const Json::Value &song) {
    return song["path"].isString() ? song["path"].asString() : "";
}

// The identifiers of the queue's songs; "" for songs that the library does not have. A part of a
// file is the track of a cue sheet that begins there.
std::vector<std::string> IdsOf(const Request &asked, const std::vector<Json::Value> &queue) {
    std::vector<std::string> files;
    std::vector<std::string> split;
    for (const Json::Value &song : queue) {
        (song["start"].isInt() ? split : files).push_back(PathOf(song));
    }
    const auto whole = ReadNamedSongs(asked.Uid(), files);
    const auto tracks = TracksIn(split);
    std::vector<std::string> ids;
    for (const Json::Value &song : queue) {
        std::string &id = ids.emplace_back();
        if (song["start"].isInt()) {
            const auto track = tracks.find({PathOf(song), song["start"].asInt()});
            id = track != tracks.end() ? tonvale_service::SongIdText(track->second) : "";
        } else if (const auto file = whole.find(PathOf(song)); file != whole.end()) {
            id = tonvale_service::SongIdText(
                {static_cast<int>(file->second.id), IsVirtualMusic(&file->second)});
        }
    }
    return ids;
}

// A song that the user does not see has only what the player tells everybody: another user has
// queued it.
Json::Value Get(const Request &asked) {
    std::vector<Json::Value> queue = Queue();
    const std::vector<std::string> ids = IdsOf(asked, queue);
    std::vector<SongId> songs;
    for (const std::string &id : ids) {
        if (const auto song = ParseSongId(id)) {
            songs.push_back(*song);
        }
    }
    const auto children = ChildrenById(asked, songs);
    Json::Value members(Json::objectValue);
    Json::Value &list = members["jukeboxPlaylist"] = StatusObject();
    list["entry"] = Json::Value(Json::arrayValue);
    for (std::size_t i = 0; i < queue.size(); ++i) {
        if (const auto child = children.find(ids[i]); child != children.end()) {
            list["entry"].append(child->second);
            continue;
        }
        HidePath(queue[i]);
        Json::Value &unknown = list["entry"].append(Json::objectValue);
        unknown["id"] = "";
        unknown["isDir"] = false;
        unknown["title"] = queue[i]["title"].isString() ? queue[i]["title"] : "";
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

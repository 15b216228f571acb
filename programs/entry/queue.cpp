// VARN.Tonvale.Queue: the queue that the clients of a user share.
#include <climits>

#include "action.h"
#include "service/play_queue.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

int RowOf(const std::string &id, const char *parameter) {
    const auto song = ParseSongId(id);
    return song ? song->row : throw Refusal{Code::kBadParameter, parameter};
}

PlayPlace PlaceOf(const Request &asked) {
    PlayPlace place;
    place.current = static_cast<int>(asked.Number("current", 0, 0, INT_MAX));
    place.position = asked.Number("position", 0, 0, LLONG_MAX);
    place.changedBy = asked.Text("client");
    if (asked.Given("seen")) {
        place.seen = asked.Number("seen", 0, 0, LLONG_MAX);
    }
    return place;
}

Json::Value Changed(long long changed) {
    Json::Value data(Json::objectValue);
    data["changed"] = Json::Int64{changed};
    return data;
}

Json::Value Get(const Request &asked) {
    const PlayQueue queue = PlayQueueOf(asked.User().GetLoginUID()).value_or(PlayQueue());
    Json::Value data = Changed(queue.changed);
    data["songs"] = Json::Value(Json::arrayValue);
    for (const SongId &song : queue.songs) {
        data["songs"].append(SongIdText(song));
    }
    data["current"] = queue.current;
    data["position"] = Json::Int64{queue.position};
    data["client"] = queue.changedBy;
    return data;
}

Json::Value Set(const Request &asked) {
    std::vector<int> rows;
    if (const auto songs = asked.Given("songs"); songs && !songs->empty()) {
        for (const std::string &id : asked.Values("songs", kMostQueued)) {
            rows.push_back(RowOf(id, "songs"));
        }
    }
    return Changed(SetPlayQueue(asked.User().GetLoginUID(), rows, PlaceOf(asked)));
}

Json::Value Move(const Request &asked) {
    return Changed(SetPlayPlace(asked.User().GetLoginUID(),
                                RowOf(asked.RequiredText("song"), "song"), PlaceOf(asked)));
}

constexpr Method kMethods[] = {
    {.name = "get", .make = Make<Get>, .takesRoot = false},
    {.name = "set", .make = Make<Set>, .changes = true, .takesRoot = false},
    {.name = "move", .make = Make<Move>, .changes = true, .takesRoot = false},
};

}  // namespace

const Api kQueueApi{"VARN.Tonvale.Queue", kMethods};

}  // namespace tonvale_entry

// VARN.Tonvale.Queue: the queue that the clients of a user share.
#include "action.h"
#include "service/listening/play_queue.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr Parameter kCurrent{.name = "current",
                             .what = "The place of the current song, from 0.",
                             .kind = Kind::kNumber,
                             .high = kMostQueued - 1,
                             .usual = "0"};
constexpr Parameter kPosition{.name = "position",
                              .what = "How far the current song is, milliseconds.",
                              .kind = Kind::kNumber,
                              .high = kMostExact,
                              .usual = "0"};
constexpr Parameter kSeen{.name = "seen",
                          .what =
                              "The changed of the queue that the client knows, 0 for none: 409 "
                              "when it is another by now; otherwise any queue is overwritten.",
                          .kind = Kind::kNumber,
                          .high = kMostExact};

int RowOf(const std::string &id, const char *parameter) {
    const auto song = ParseSongId(id);
    return song ? song->row : throw Refusal{Code::kBadParameter, parameter};
}

PlayPlace PlaceOf(const Request &asked) {
    PlayPlace place;
    place.current = static_cast<int>(asked.Number(kCurrent));
    place.position = asked.Number(kPosition);
    place.changedBy = asked.Text("client");
    if (asked.Given("seen")) {
        place.seen = asked.Number(kSeen);
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

constexpr std::array kPlaceParameters = {
    kCurrent, kPosition,
    Parameter{.name = "client", .what = "Who changes it: the client's name, at most 200 bytes."},
    kSeen};
constexpr auto kSetParameters =
    Join(Parameter{.name = "songs",
                   .what = "Identifiers of songs in order, 10,000 at most; empty: no songs.",
                   .kind = Kind::kTexts},
         kPlaceParameters);
constexpr auto kMoveParameters =
    Join(Parameter{.name = "song",
                   .what = "The identifier of the song that is to be current.",
                   .isRequired = true},
         kPlaceParameters);

constexpr Method kMethods[] = {
    {.name = "get",
     .make = Make<Get>,
     .takesRoot = false,
     .summary = "The queue, without songs that have gone; changed is 0 before the first time",
     .answer = "SharedQueue"},
    {.name = "set",
     .make = Make<Set>,
     .changes = true,
     .takesRoot = false,
     .summary = "Put a queue in the place of the former one",
     .parameters = kSetParameters,
     .answer = "SharedQueueChanged"},
    {.name = "move",
     .make = Make<Move>,
     .changes = true,
     .takesRoot = false,
     .summary =
         "Make another song of the queue current, nearest to that place; 409 when it is not there",
     .parameters = kMoveParameters,
     .answer = "SharedQueueChanged"},
};

constexpr Field kChanged{"changed", "number", "milliseconds since 1970, later each time"};
constexpr Field kQueue[] = {{"songs", "[text]", "identifiers"},
                            {"current", "number", "place of the current song, from 0"},
                            {"position", "number", "in the current song, milliseconds"},
                            {"client", "text", "who changed it last, in its own words"},
                            kChanged};
constexpr Field kAnswer[] = {kChanged};
constexpr Schema kSchemas[] = {{"SharedQueue", kQueue}, {"SharedQueueChanged", kAnswer}};

}  // namespace

const Api kQueueApi{.name = "VARN.Tonvale.Queue",
                    .methods = kMethods,
                    .summary = "The queue that the clients of a user share: docs/webapi.md",
                    .schemas = kSchemas};

}  // namespace tonvale_entry

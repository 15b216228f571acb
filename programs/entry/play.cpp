// VARN.Tonvale.Play: what the user who asks has played.
#include <climits>

#include "action.h"
#include "service/failure.h"
#include "service/plays.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

// A song that has left the library meanwhile is left out, unless it is the only one.
Json::Value Note(const Request &asked) {
    const std::vector<std::string> ids = asked.Values("songs");
    const bool hasTimes = asked.Given("times").has_value();
    const auto times = hasTimes ? asked.Values("times") : std::vector<std::string>();
    if (hasTimes && times.size() != ids.size()) {
        throw Refusal{Code::kBadParameter, "times"};
    }
    std::vector<Play> plays;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const auto song = ParseSongId(ids[i]);
        const auto when = hasTimes ? ParseNumber(times[i], 0, LLONG_MAX) : 0;
        if (!song || !when) {
            throw Refusal{Code::kBadParameter, song ? "times" : "songs"};
        }
        plays.push_back({song->row, *when});
    }
    if (NotePlays(asked.User().GetLoginUID(), plays) == 0) {
        throw Refusal{Code::kNoSuchItem};
    }
    return Json::Value(Json::objectValue);
}

constexpr Method kMethods[] = {
    {.name = "note", .make = Make<Note>, .changes = true, .takesRoot = false}};

}  // namespace

const Api kPlayApi{"VARN.Tonvale.Play", kMethods};

}  // namespace tonvale_entry

// VARN.Tonvale.Play: what the user who asks has played.
#include "action.h"
#include "service/listening/plays.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr Parameter kTimes{.name = "times",
                           .what = "When each was played, seconds since 1970; otherwise now.",
                           .kind = Kind::kNumbers,
                           .high = kMostExact};

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
        const auto when = hasTimes ? ParseNumber(times[i], 0, kMostExact) : 0;
        if (!song || !when) {
            throw Refusal{Code::kBadParameter, song ? "times" : "songs"};
        }
        plays.push_back({song->row, *when});
    }
    NotePlays(asked.User().GetLoginUID(), plays);
    return Json::Value(Json::objectValue);
}

constexpr std::array kNoteParameters = {
    Parameter{.name = "songs",
              .what = "Identifiers of songs, one for each play, 1000 at most.",
              .kind = Kind::kTexts,
              .isRequired = true},
    kTimes};

constexpr Method kMethods[] = {
    {.name = "note",
     .make = Make<Note>,
     .changes = true,
     .takesRoot = false,
     .summary = "Note that the user has played songs; those that are not there are left out",
     .parameters = kNoteParameters}};

}  // namespace

const Api kPlayApi{
    .name = "VARN.Tonvale.Play", .methods = kMethods, .summary = "What the user has played"};

}  // namespace tonvale_entry

// Stars for songs.
#include <json/json.h>

#include <cstdio>
#include <memory>
#include <set>

#include "command.h"
#include "library_options.h"
#include "page_output.h"
#include "service/songs/songs.h"
#include "varn/run_as.h"

namespace tonvale_cli {

namespace {

struct RateOptions : LibraryOptions {
    int stars = 0;
    std::set<int> ids;
};

void Print(const RateOptions &options, const std::set<int> &ids) {
    if (!options.json) {
        std::printf("%zu %s rated with %d %s\n", ids.size(), ids.size() == 1 ? "song" : "songs",
                    options.stars, options.stars == 1 ? "star" : "stars");
        return;
    }
    Json::Value json(Json::objectValue);
    json["star"] = options.stars;
    json["ids"] = Json::Value(Json::arrayValue);
    for (const int id : ids) {
        json["ids"].append(id);
    }
    PrintJson(json);
}

int Rate(RateOptions &options) {
    const varn::RunAs before(varn::Who::kCaller);
    if (!OpenLibrary(options)) {
        return kFailed;
    }
    const std::set<int> rows = tonvale_service::RowsOf(options, options.ids);
    tonvale_service::RateSongs(options.uid, rows, static_cast<unsigned>(options.stars));
    Print(options, rows);
    return kDone;
}

}  // namespace

void AddRate(const Verb &app) {
    const Verb verb = app.AddVerb("rate", "Give songs 0 to 5 stars, by id or by filters");
    const auto options = std::make_shared<RateOptions>();
    verb.AddNumber("stars", options->stars, 0, "How many stars, 0 to 5; 0 removes the rating", 5)
        .Required();
    verb.AddParsedList(
            "id", [options](const std::string &text) { options->ids.insert(ParseNumber(text, 1)); },
            "The songs' ids, as 'tonvale songs' lists them")
        .ValueName("ID");
    AddLibrary(verb, *options);
    AddFilters(verb, options->filters);
    verb.AddFlag("--json", options->json, "Print JSON");
    verb.Do([options] { return Rate(*options); });
}

}  // namespace tonvale_cli

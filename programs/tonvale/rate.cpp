// Stars for songs.
#include <json/json.h>

#include <charconv>
#include <cstdio>
#include <memory>
#include <set>

#include "command.h"
#include "library_options.h"
#include "number.h"
#include "page_output.h"
#include "service/songs.h"
#include "varn/run_as.h"

namespace tonvale_cli {

namespace {

const CLI::Range kStars(0, 5);

struct RateOptions : LibraryOptions {
    int stars = 0;
    std::set<int> ids;
};

// Reads ids, in decimal digits alone.
std::set<int> ParseIds(const std::vector<std::string> &texts) {
    std::set<int> ids;
    for (const std::string &text : texts) {
        int id = 0;
        const char *end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, id);
        if (error != std::errc() || rest != end || id < 1) {
            throw CLI::ValidationError("id", "'" + text + "' is no song's id");
        }
        ids.insert(id);
    }
    return ids;
}

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
    int status = kDone;
    if (!OpenLibrary(options, status)) {
        return status;
    }
    const std::set<int> rows = tonvale_service::RowsOf(options, options.ids);
    tonvale_service::RateSongs(options.uid, rows, static_cast<unsigned>(options.stars));
    Print(options, rows);
    return kDone;
}

}  // namespace

void AddRate(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("rate", "Give songs 0 to 5 stars, by id or by filters");
    const auto options = std::make_shared<RateOptions>();
    AddNumber(*verb, "stars", options->stars, 0, "How many stars; 0 takes the rating away")
        ->check(kStars)
        ->required();
    const auto parse = [options](const std::vector<std::string> &texts) {
        options->ids = ParseIds(texts);
    };
    verb->add_option_function<std::vector<std::string>>(
            "id", parse, "The songs' ids, as 'tonvale songs' lists them")
        ->type_name("ID");
    AddLibrary(*verb, *options);
    AddFilters(*verb, options->filters);
    verb->add_flag("--json", options->json, "Print JSON");
    verb->callback([options, &action] { action = [options] { return Rate(*options); }; });
}

}  // namespace tonvale_cli

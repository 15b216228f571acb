// Stars for songs.
#include <json/json.h>

#include <charconv>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <set>

#include "command.h"
#include "database.h"
#include "library_options.h"
#include "number.h"
#include "page_output.h"
#include "tonvale/webapi.h"
#include "user.h"
#include "varn/mediaindex.h"

namespace tonvale_cli {

namespace {

const CLI::Range kStars(0, 5);

struct RateOptions : LibraryOptions {
    int stars = 0;
    std::set<int> ids;
};

// The condition for songs that are named by their ids.
std::string IdCondition(const std::set<int> &ids) {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ", ") + std::to_string(id);
    }
    return "id IN (" + list + ")";
}

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

// The ids of the songs to rate.
std::set<int> Read(const Handle &rows) {
    std::set<int> ids;
    const auto song = std::make_unique<VARN_MEDIA_INFO>();
    while (MediaInfoDBGet(rows.get(), song.get()) == 0) {
        ids.insert(static_cast<int>(song->id));
    }
    return ids;
}

// Names the songs that were asked for and are not there.
bool AllThere(const RateOptions &options, const std::set<int> &found) {
    for (const int id : options.ids) {
        if (found.count(id) == 0) {
            Complain("there is no song " + std::to_string(id) + " that fits in the library of '" +
                     options.user + "'; 'tonvale songs' lists them");
            return false;
        }
    }
    return true;
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
    JsonWriter()->write(json, &std::cout);
    std::cout << "\n";
}

int Rate(RateOptions &options) {
    const SameAccountAfter account;
    std::optional<std::string> condition = Condition(options.filters);
    if (!condition) {
        return kUsage;
    }
    if (!options.ids.empty()) {
        AddCondition(*condition, IdCondition(options.ids));
    }
    if (condition->empty()) {
        Complain("name the songs to rate, by their ids or with filters");
        return kUsage;
    }
    int status = kDone;
    const std::optional<uid_t> uid = OpenLibrary(options, status);
    if (!uid) {
        return status;
    }
    const Handle rows(AudioInfoDBOpen(options.library.c_str(), *uid, VARN_TABLE_MUSIC, "id",
                                      condition->c_str(), nullptr, nullptr, 0, -1, 0));
    if (!rows) {
        return NoAnswer();
    }
    const std::set<int> ids = Read(rows);
    if (!AllThere(options, ids)) {
        return kUsage;
    }
    std::vector<std::string> identifiers;
    for (const int id : ids) {
        identifiers.push_back("music_" + std::to_string(id));
    }
    if (!identifiers.empty() && VARNAudioWebapiSetSongRating(
                                    *uid, identifiers, static_cast<unsigned>(options.stars)) != 1) {
        Complain("the songs were not rated; the lines above tell why");
        return kFailed;
    }
    Print(options, ids);
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

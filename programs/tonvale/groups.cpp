// The verbs that list what tracks have in common: albums, artists, genres and composers.
#include "service/lists/groups.h"

#include <json/json.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>

#include "command.h"
#include "library_options.h"
#include "page_output.h"

namespace tonvale_cli {

namespace {

using tonvale_service::Group;
using tonvale_service::GroupPage;

struct GroupOptions : LibraryOptions {
    std::optional<std::string> name;
};

// One of the verbs.
struct GroupVerb {
    const Group &group;
    const char *description;
    Noun noun;
};

const GroupVerb kVerbs[] = {
    {tonvale_service::kAlbums,
     "List the albums, told apart by name and album artist",
     {"album", "albums"}},
    {tonvale_service::kArtists,
     "List the artists, and album artists for their albums",
     {"artist", "artists"}},
    {tonvale_service::kGenres, "List the genres", {"genre", "genres"}},
    {tonvale_service::kComposers, "List the composers", {"composer", "composers"}},
};

std::string StarsText(double star) {
    std::array<char, 32> text = {};
    if (star > 0) {
        std::to_chars(text.begin(), text.end() - 1, star, std::chars_format::fixed, 1);
    }
    return text.data();
}

void PrintTable(const GroupVerb &verb, GroupPage &page) {
    const bool isAlbum = verb.group.isAlbum;
    std::vector<Table::Column> columns = {{isAlbum ? "ALBUM" : "NAME", false, true}};
    if (isAlbum) {
        columns.push_back({"ALBUM ARTIST", false, true});
        columns.push_back({"YEAR", true, false});
    }
    columns.push_back({"STARS", true, false});
    Table table(std::move(columns));
    int64_t shown = 0;
    for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
        for (const Json::Value &group : part) {
            const std::string name = group["name"].asString();
            std::vector<std::string> cells = {
                name.empty() ? "(no " + std::string(verb.noun.one) + ")" : name};
            if (isAlbum) {
                cells.push_back(group["album_artist"].asString());
                cells.push_back(group["year"].asInt() > 0 ? group["year"].asString() : "");
            }
            cells.push_back(StarsText(group["star"].asDouble()));
            table.AddRow(std::move(cells));
            ++shown;
        }
    }
    PrintPage(table, page.Offset(), shown, page.Total(), verb.noun);
}

int List(const GroupVerb &verb, GroupOptions &options) {
    if (!OpenLibrary(options)) {
        return kFailed;
    }
    const auto page = ListGroups(verb.group, options, options.name);
    if (options.json) {
        PrintJson(*page);
    } else {
        PrintTable(verb, *page);
    }
    return kDone;
}

}  // namespace

void AddGroups(const Verb &app) {
    for (const GroupVerb &known : kVerbs) {
        const Verb verb = app.AddVerb(known.group.list, known.description);
        const auto options = std::make_shared<GroupOptions>();
        AddLibrary(verb, *options);
        verb.AddText("--name", options->name, "A part of the name, in any case").ValueName("TEXT");
        AddFilters(verb, options->filters);
        AddPage(verb, *options, Names(known.group.sorts), known.noun.many);
        verb.Do([options, &known] { return List(known, *options); });
    }
}

}  // namespace tonvale_cli

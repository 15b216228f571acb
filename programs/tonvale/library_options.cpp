#include "library_options.h"

#include "command.h"
#include "database.h"
#include "number.h"
#include "service/kinds.h"
#include "service/settings.h"

namespace tonvale_cli {

void AddLibrary(CLI::App &verb, LibraryOptions &options) {
    verb.add_option("--library", options.library, "Which part of the library")
        ->check(CLI::IsMember(tonvale_service::AllKinds()))
        ->type_name("")
        ->capture_default_str();
    verb.add_option("--user", options.user, "Whose library")
        ->type_name("NAME")
        ->capture_default_str();
}

void AddFilters(CLI::App &verb, tonvale_service::Filters &filters) {
    struct Filter {
        const char *name;
        std::optional<std::string> &value;
        const char *description;
    };
    for (const Filter &filter :
         {Filter{"--artist", filters.artist, "Artist or album artist, in any case"},
          Filter{"--album", filters.album, "Album, exactly"},
          Filter{"--album-artist", filters.albumArtist, "Album artist, exactly"},
          Filter{"--genre", filters.genre, "One of the track's genres, exactly"},
          Filter{"--composer", filters.composer, "Composer, exactly"},
          Filter{"--title", filters.title, "A part of the title, in any case"}}) {
        verb.add_option(filter.name, filter.value, filter.description)->type_name("TEXT");
    }
}

void AddPage(CLI::App &verb, LibraryOptions &options, const std::vector<std::string> &keys,
             const std::string &noun) {
    options.sortBy = keys.front();
    verb.add_option("--sort-by", options.sortBy, "The order")
        ->check(CLI::IsMember(keys))
        ->type_name("")
        ->capture_default_str();
    verb.add_option("--sort-direction", options.sortDirection, "Up or down")
        ->check(CLI::IsMember({"asc", "desc"}))
        ->type_name("")
        ->capture_default_str();
    AddNumber(verb, "--offset", options.offset, 0, "How many " + noun + " to pass over");
    AddNumber(verb, "--limit", options.limit, 0, "How many " + noun + " to list; 0: all");
    verb.add_flag("--json", options.json, "Print JSON instead of a table");
}

bool OpenLibrary(LibraryOptions &options, int &status) {
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        status = kFailed;
        return false;
    }
    options.uid = tonvale_service::UidOf(options.user);
    // The count looks at the kind that this gives; the page must show the same.
    options.library = tonvale_service::ChosenKind(options.library, options.uid);
    options.descending = options.sortDirection == "desc";
    if (auto done = EnsureDatabase(); !done) {
        Complain(done.Message());
        status = kFailed;
        return false;
    }
    return true;
}

}  // namespace tonvale_cli

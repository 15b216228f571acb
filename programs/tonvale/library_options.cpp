#include "library_options.h"

#include "database.h"
#include "service/lists/kinds.h"
#include "service/people/settings.h"

namespace tonvale_cli {

void AddLibrary(const Verb &verb, LibraryOptions &options) {
    verb.AddText("--library", options.library, "Which part of the library")
        .OneOf(tonvale_service::AllKinds())
        .ValueName("");
    verb.AddText("--user", options.user, "Whose library").ValueName("NAME");
}

void AddFilters(const Verb &verb, tonvale_service::Filters &filters) {
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
        verb.AddText(filter.name, filter.value, filter.description).ValueName("TEXT");
    }
}

void AddPage(const Verb &verb, LibraryOptions &options, const std::vector<std::string> &keys,
             const std::string &noun) {
    options.sortBy = keys.front();
    verb.AddText("--sort-by", options.sortBy, "The order").OneOf(keys).ValueName("");
    verb.AddText("--sort-direction", options.sortDirection, "Up or down")
        .OneOf({"asc", "desc"})
        .ValueName("");
    verb.AddPaging(options.offset, options.limit, noun);
    verb.AddFlag("--json", options.json, "Print JSON instead of a table");
}

bool OpenLibrary(LibraryOptions &options) {
    if (!Succeeded(CheckRoot())) {
        return false;
    }
    options.uid = tonvale_service::UidOf(options.user);
    // The count looks at the kind that this gives; the page must show the same.
    options.library = tonvale_service::ChosenKind(options.library, options.uid);
    options.descending = options.sortDirection == "desc";
    return Succeeded(EnsureDatabase());
}

}  // namespace tonvale_cli

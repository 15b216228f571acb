// VARN.Tonvale.Index: what the indexer does, for administrators.
#include "action.h"
#include "service/live/indexing.h"

namespace tonvale_entry {

namespace {

Json::Value State(const Request &asked) {
    asked.RequireAdministrator();
    return tonvale_service::IndexingInfo(tonvale_service::IndexingState(), true);
}

template <void (*Change)()>
Json::Value Do(const Request &asked) {
    asked.RequireAdministrator();
    Change();
    return Json::Value(Json::objectValue);
}

constexpr Method kMethods[] = {
    {.name = "state",
     .make = Make<State>,
     .takesRoot = false,
     .summary = "How far the scan that runs is, or how the last one ended",
     .answer = "Scan"},
    {.name = "start",
     .make = Make<Do<tonvale_service::StartIndexing>>,
     .changes = true,
     .takesRoot = false,
     .summary =
         "Start a scan of everything; 409 while such a scan runs, 503 where no indexer follows "
         "changes"},
    {.name = "stop",
     .make = Make<Do<tonvale_service::StopIndexing>>,
     .changes = true,
     .takesRoot = false,
     .summary = "Stop the scan that runs, within seconds; 404 when none runs"},
};

constexpr Field kChanges[] = {{"added", "number"},
                              {"changed", "number"},
                              {"moved", "number"},
                              {"removed", "number"},
                              {"failed", "number", "files that cannot be read"}};
constexpr Field kScan[] = {
    {"is_running", "flag", "also for a small scan, of files that have just changed"},
    {"is_watched", "flag", "an indexer follows changes, which start needs"},
    {"is_whole", "flag", "it looks at everything"},
    {"phase", "text", "looking (at what there is), then indexing (what is new); empty: no scan"},
    {"done", "number", "files of this phase"},
    {"total", "number", "files of this phase; 0: not known"},
    {"started", "number", "seconds since 1970; 0: never"},
    {"ended", "number", "seconds since 1970; 0 while it runs, and where it was killed"},
    {"problem", "text", "the last one since a scan of everything began; empty: none"},
    {"changes", "ScanChanges", "of the last scan that came to its end"}};
constexpr Schema kSchemas[] = {
    {"Scan", kScan, "the scan that runs, or the last one"},
    {"ScanChanges", kChanges, "numbers of songs, playlists and cue sheets together"}};

}  // namespace

const Api kIndexApi{.name = "VARN.Tonvale.Index",
                    .methods = kMethods,
                    .summary = "Scans of the music, for administrators: docs/indexing.md",
                    .schemas = kSchemas};

}  // namespace tonvale_entry

// Track objects of the web API on the standard output.
#pragma once

#include <json/value.h>
#include <sys/types.h>
#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "tonvale/webapi.h"

namespace tonvale_cli {

// What track objects are to hold beside the usual: song_tag, song_audio, song_rating.
using Additions = std::vector<std::string>;

// Adds --additional, a list separated by commas.
CLI::Option *AddAdditions(CLI::App &verb, Additions &additions);

// Switches a writer's additions on.
void Apply(const Additions &additions, Tonvale::webapi::WebapiLibrary &writer);

// What writes a user's track objects.
Tonvale::webapi::WebapiLibrary TrackWriter(uid_t uid, const std::string &user,
                                           const Additions &additions);

// Reads the rows of a query, of all columns, to its end and prints one JSON object: "offset",
// "songs" and "total". A few songs are held at a time. False when memory is short.
bool PrintTracks(MEDIA_DB_HANDLE *rows, const Tonvale::webapi::WebapiLibrary &writer, int offset,
                 int64_t total);

// Prints the same of track objects that are there already, or a table of them.
void PrintTracksJson(const Json::Value &tracks, int offset, int64_t total);
void PrintTracksTable(const Json::Value &tracks, int offset, int64_t total);

}  // namespace tonvale_cli

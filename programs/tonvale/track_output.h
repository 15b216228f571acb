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

// What writes a user's track objects.
Tonvale::webapi::WebapiLibrary TrackWriter(uid_t uid, const std::string &user,
                                           const Additions &additions);

// Prints a JSON object of track objects, "offset", "songs" and "total", or a table of them.
void PrintTracksJson(const Json::Value &tracks, int offset, int64_t total);
void PrintTracksTable(const Json::Value &tracks, int offset, int64_t total);

}  // namespace tonvale_cli

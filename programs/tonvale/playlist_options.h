// Whose playlists the verbs work on.
#pragma once

#include "verb.h"

#include <string>

#include "service/playlists/playlist_target.h"

namespace tonvale_cli {

inline constexpr char kUsualUser[] = "admin";

struct CollectionOptions {
    CollectionOptions() { collection.user = kUsualUser; }
    tonvale_service::Collection collection;
};

// --user and --personal.
void AddCollection(const Verb &verb, CollectionOptions &options, const std::string &personal);

// Finds out whose collection is meant and makes the database ready. 0, or the exit status, with a
// message.
int Prepare(CollectionOptions &options);

}  // namespace tonvale_cli

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

// Completes the collection and makes the database ready. False, with a message, when the root or
// the database is not. Throws a Failure for a user who does not exist.
bool Prepare(CollectionOptions &options);

}  // namespace tonvale_cli

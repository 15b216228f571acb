// Smart playlists by the text of their rules: shown, tried out, made, changed, deleted.
#pragma once

#include <memory>
#include <string>

#include "service/playlists/playlists.h"

namespace tonvale_service {

// All throw a Failure. A rule is the text between a playlist's braces; one that is broken, or that
// would be more than a rule, is refused (kBadRule, with line and column). What else stands in the
// file of a collection stays as it is, comments and broken playlists among it.

// The rule of a smart playlist, as it is written.
std::string RuleOf(const AnyPlaylist &playlist);

// A page of the songs that meet a rule, "songs", in the library that the user browses.
std::unique_ptr<Page> ListByRule(const std::string &rule,
                                 const Tonvale::webapi::playlist::PlaylistLibrary &library,
                                 const MarksWanted &marks, int offset, int limit);

// Makes a smart playlist; its name is one that a playlist can have (CheckName), and free.
AnyPlaylist CreateSmart(const Collection &collection, const std::string &name,
                        const std::string &rule);
void ChangeRule(const AnyPlaylist &playlist, const std::string &rule);

// Gives a smart playlist another name, which must be free, and returns it; its share links go on.
AnyPlaylist RenameSmart(const AnyPlaylist &playlist, const std::string &name);

// Takes a smart playlist away, and its share links.
void DeleteSmart(const AnyPlaylist &playlist);

}  // namespace tonvale_service

// Searches as people expect them: words in any order, case, accents and ways of writing aside, the
// best matches first (docs/browsing.md).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "service/base/page.h"
#include "service/lists/list.h"
#include "service/lists/tracks.h"
#include "service/playlists/playlist_target.h"

namespace tonvale_service {

// The fields of songs that a search looks at; the first one means all.
const std::vector<std::string> &SearchFields();

// What songs that were found may be sorted by; the first one is how well they match.
const std::vector<std::string> &SearchSortKeys();

// A page of the songs that a request asks for and that have each word in the field. This and what
// follows throw a Failure.
std::unique_ptr<SongPage> SearchSongs(const ListRequest &request, const std::string &keyword,
                                      const std::string &field, const TrackWriter &writer);

// The rows of a page of the songs that have each word in one of their texts, best matches first.
std::vector<int> RowsThatMatch(const ListRequest &request, const std::string &keyword);

// The kinds of names that are searched: "albums", "artists" and "composers".
const std::vector<std::string> &SearchedGroups();

// A page of names, best matches first; albums also have `album_artist`. The library, offset and
// limit of the request count.
std::unique_ptr<Page> SearchGroups(const std::string &kind, const ListRequest &request,
                                   const std::string &keyword);

// The same of playlists by their names, as ListPlaylists tells them.
std::unique_ptr<Page> SearchPlaylists(const std::vector<Collection> &collections,
                                      const std::string &keyword, int offset, int limit);

// The first few of each kind, each list under its name, and in `total` how many there are.
Json::Value SearchAll(const ListRequest &request, const std::string &keyword,
                      const std::vector<Collection> &collections, const TrackWriter &writer);

}  // namespace tonvale_service

// The parameters that the lists have in common.
#pragma once

#include "request.h"
#include "service/lists/kinds.h"
#include "service/lists/list.h"
#include "service/lists/tracks.h"
#include "service/playlists/playlist_target.h"
#include "tonvale/webapi.h"

namespace tonvale_entry {

inline constexpr Parameter kOffset{.name = "offset",
                                   .what = "How many entries of the list come before the page.",
                                   .kind = Kind::kNumber,
                                   .usual = "0"};
inline constexpr Parameter kLimit{.name = "limit",
                                  .what = "How many entries the page has at most.",
                                  .kind = Kind::kNumber,
                                  .low = 1,
                                  .high = 5000,
                                  .usual = "100"};

// The limit of a list with another bound or default.
constexpr Parameter LimitedTo(long long most, std::string_view usual = kLimit.usual) {
    Parameter limit = kLimit;
    limit.high = most;
    limit.usual = usual;
    return limit;
}

inline constexpr Parameter kLibrary{
    .name = "library",
    .what = "The part of the library, one that Info.get names; otherwise the user's default.",
    .names = [] { return tonvale_service::AllKinds(); }};
inline constexpr Parameter kDirection{.name = "sort_direction",
                                      .what = "Upwards or downwards.",
                                      .usual = "ASC",
                                      .choices = "ASC DESC"};
inline constexpr std::array kFilters = {
    Parameter{.name = "artist",
              .what = "Songs of this artist or album artist, in any case; empty: with neither."},
    Parameter{.name = "album", .what = "Songs of this album; empty: without one."},
    Parameter{.name = "album_artist", .what = "Songs of this album artist; empty: without one."},
    Parameter{.name = "composer", .what = "Songs of this composer; empty: without one."},
    Parameter{.name = "genre", .what = "Songs with this among their genres; empty: without one."}};
inline constexpr Parameter kAdditional{.name = "additional",
                                       .what = "What each song has in its member additional.",
                                       .kind = Kind::kTexts,
                                       .names = [] { return tonvale_service::AdditionNames(); }};

inline constexpr std::string_view kOrder = "The order.";
inline constexpr std::string_view kListenedOrder =
    "The order; by plays, played (when last) and favourite (since when) only what the user has "
    "played, or made a favourite.";
constexpr Parameter SortedBy(std::vector<std::string> (*names)(), std::string_view usual,
                             std::string_view what = kOrder) {
    return {.name = "sort_by", .what = what, .usual = usual, .names = names};
}

// These keys, and those of plays and favourites.
std::vector<std::string> WithListenedKeys(std::vector<std::string> keys);

inline constexpr Parameter kSongIds{.name = "id",
                                    .what = "Identifiers of songs, 1000 at most.",
                                    .kind = Kind::kTexts,
                                    .isRequired = true};

inline constexpr std::array kPaging = {kOffset, kLimit};

// offset and limit.
struct PageWanted {
    int offset;
    int limit;
};
PageWanted PageOf(const Request &request, const Parameter &limit = kLimit);

// library, the filters, sort_by, sort_direction, offset and limit. Throws a Refusal, or a Failure
// for a library that the user may not browse.
tonvale_service::ListRequest ListRequestOf(const Request &request);

// What writes the user's track objects, with what `additional` names in them.
tonvale_service::TrackWriter TrackWriterOf(const Request &request);

// The shared playlists, or the user's own.
tonvale_service::Collection CollectionOf(const Request &request, bool isPersonal);

}  // namespace tonvale_entry

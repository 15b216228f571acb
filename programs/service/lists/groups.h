// What tracks have in common: albums, artists, genres and composers.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "service/base/page.h"
#include "service/listening/favourites.h"
#include "service/lists/kept_list.h"
#include "service/lists/list.h"

namespace tonvale_service {

// A kind of group.
struct Group {
    const char *list;                   // the name of its lists: "albums"
    const char *column;                 // what the group has in common
    std::span<const SortColumn> sorts;  // the first is the name
    const char *ties;                   // orders groups of one name as it is sorted
    const char *nameless;               // SQL that is true for the group without a name
    bool isAlbum;
    Tonvale::MediaHandle (*open)(const ListRequest &request, const std::string &condition,
                                 const std::string &order, int offset, int limit);
    // The condition for a part of the name.
    std::optional<std::string> (*named)(const std::string &name);
};

extern const Group kAlbums;
extern const Group kArtists;
extern const Group kGenres;
extern const Group kComposers;

// A page of groups: name and star; of albums also album_artist, year and date; of albums and
// artists `favourite`, if the request wants it. The group of the tracks without the tag has no name
// and no stars: these tracks have nothing in common to rate.
class GroupPage : public Page {
  public:
    GroupPage(const Group &group, ListPart part, const ListRequest &request);

    Json::Value Next() override;

  private:
    Json::Value ObjectOf(const std::string &record) const;

    const Group &group_;
    std::optional<std::map<AlbumName, long long>> favourites_;
    std::vector<std::string> records_;  // the fields of a group, each ended by a null byte
    std::size_t next_ = 0;
};

// A page of the groups of the tracks that a request asks for, with `name` of those with this text
// in their names, in any case. Albums and artists may also be sorted by kByPlays, kByLastPlay and
// kByFavourite (songs.h): these are the groups with a name that the user has played songs of, or
// made favourites. Throws a Failure.
std::unique_ptr<GroupPage> ListGroups(const Group &group, const ListRequest &request,
                                      const std::optional<std::string> &name);

}  // namespace tonvale_service

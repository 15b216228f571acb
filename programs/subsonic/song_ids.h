// Songs by their identifiers, for endpoints that take or tell many.
#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

#include "objects.h"

namespace tonvale_subsonic {

// The row in a song's identifier. Throws a Fault for any other text.
int RowOf(const std::string &id);
std::vector<int> RowsOf(const std::vector<std::string> &ids);

// The objects of the songs that the user has, by their identifiers.
std::map<std::string, Json::Value> ChildrenById(const Request &asked,
                                                const std::vector<tonvale_service::SongId> &songs);

}  // namespace tonvale_subsonic

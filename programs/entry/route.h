// What a request's path asks for.
#pragma once

#include <string>

namespace tonvale_entry {

// The query of the request in the environment (RFC 3875). Below "/as/sharing/" there are the public
// pages of share links, ID and ID/SONG, where the query is that of the page; a path that is neither
// is a link that does not exist. For any other path it is QUERY_STRING as it stands.
std::string RoutedQuery();

}  // namespace tonvale_entry

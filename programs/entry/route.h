// What a request's path asks for.
#pragma once

#include <string>

namespace tonvale_entry {

// The query of the request in the environment (RFC 3875). For the public pages of share links,
// "/as/sharing/ID" and "/as/sharing/ID/SONG", it is the query of that page; any other path below
// "/as/sharing" is a link that does not exist. For all other paths it is QUERY_STRING as it stands.
std::string RoutedQuery();

}  // namespace tonvale_entry

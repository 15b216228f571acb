// What a request's path asks for.
#pragma once

#include <string>

namespace tonvale_entry {

// The query of the request in the environment (RFC 3875), with what its path names:
// - "/as/sharing/ID" and "/as/sharing/ID/SONG", the public pages of share links. Any other path
//   below "/as/sharing" is a link that does not exist.
// - ".../API/METHOD": a method of an API, and ".../openapi.json": the description of all.
// For all other paths it is QUERY_STRING as it stands. A parameter that both path and query name
// comes twice in it, and so is refused.
std::string RoutedQuery();

// What "/API/METHOD" and "/openapi.json" follow in the path of the request.
std::string RoutedFolder();

}  // namespace tonvale_entry

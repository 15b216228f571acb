// Which media servers are asked for a client.
#pragma once

#include <string>

namespace tonvale_entry {

// True for an http or https URL of at most 2000 bytes, without a user name in it, whose host a
// search of the local network could have found: an IPv4 address in figures, of a private network
// (RFC 1918). Names are looked up again for the connection, and may lead elsewhere then. With
// `media_server_any_address` = "yes" in the package configuration any host will do.
bool IsServerUrl(const std::string &url);

// The same for the host of "HOST" and "HOST:PORT".
bool IsServerAddress(const std::string &address);

}  // namespace tonvale_entry

// Which addresses of other machines are opened for a client.
#pragma once

#include <sys/socket.h>

#include <optional>
#include <string>

namespace tonvale_entry {

// The host of an http or https URL of at most 2000 bytes, without a user name in it. Empty for any
// other text, and for one that two readers could read differently.
std::optional<std::string> HostOfUrl(const std::string &url);

// True for an http or https URL of at most 2000 bytes, without a user name in it, whose host is not
// this machine and not one of its own networks: every address that the name has now is a public
// one. With `remote_local_addresses` = "yes" in the package configuration any address will do.
bool IsPermittedUrl(const std::string &url);

// True for an address that the whole world can reach.
bool IsPublicAddress(const sockaddr &address);

}  // namespace tonvale_entry

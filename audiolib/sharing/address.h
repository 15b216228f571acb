// The pieces of the server's outside address.
#pragma once

#include <json/value.h>

#include <string>

#include "tonvale/sharing.h"

namespace Tonvale::sharing {

// Splits a "Host" header. Host and port are each cut to 4095 characters.
parsed_url ParseHostHeader(const std::string &header);

// What the relay service says of itself, with the member "enableKOSPortal" added: whether the
// portal may be reached through it. An object with "enable" false when the service does not answer.
Json::Value RelayInfo();

// True when the relay is switched on and the portal may be reached through it.
bool IsRelayUsable(const Json::Value &relay);

// True when the host is this server's name under the relay's domain.
bool IsRelayHost(const std::string &host, const Json::Value &relay);

// The best name for the server: of the relay the request came through, as configured, from
// dynamic DNS, from the relay daemon, or the request's own.
std::string ChooseHost(const std::string &requestHost, const Json::Value &relay);

// An environment variable, "" when it is not set.
std::string Environment(const char *name);

}  // namespace Tonvale::sharing

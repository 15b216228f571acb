// The answer to a speaker's challenge.
#pragma once

#include <string>

#include "airplay_password/challenge.h"

namespace Tonvale::airplay {

// The header line that proves the password (digest access authentication, RFC 2069, without
// "opaque" and "algorithm", as speakers expect it). "" when it could not be computed.
std::string AuthorizationLine(const Challenge &challenge, const char *password);

}  // namespace Tonvale::airplay

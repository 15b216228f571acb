// What devices and their services tell of themselves.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "mediaserver/search.h"

namespace mediaserver {

// Reads a device's description that came from `location` (UPnP Device Architecture 1.0, chapter
// 2.1). Empty when it is none, or neither the device nor one inside it has a ContentDirectory.
std::optional<Server> ReadDescription(std::string_view text, const std::string &location);

// Why a service refused an action, when its answer is a SOAP fault: the code and the text of UPnP,
// or the fault's own text. Empty for any other answer.
std::optional<std::string> ReadFault(std::string_view answer);

}  // namespace mediaserver

// What the files of the module share.
#pragma once

#include <cstdint>
#include <string>

namespace Tonvale::sharing {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/sharing";

// "valid", "invalid" or "expired" today, by the first and the last day of a link. Dates that cannot
// be read, and a default on either side, make it valid.
std::string Status(const std::string &availDate, std::string expDate);

// A link's date as clients see it: "0" for SharingManager::DATE_DEFAULT.
std::string ShownDate(const std::string &date);

}  // namespace Tonvale::sharing

// Values as JSON on one line.
#pragma once

#include <json/value.h>

#include <string>

namespace tonvale_service {

enum class Letters { kUtf8, kAscii };

// What is not UTF-8 becomes U+FFFD, and a number that JSON cannot hold null.
std::string JsonText(const Json::Value &value, Letters letters);

}  // namespace tonvale_service

// Text for JSON.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace varnplayer {

// The text as UTF-8 (RFC 3629): each byte that belongs to no character becomes U+FFFD.
std::string Utf8(std::string_view text);

// One line, without its end.
std::string JsonText(const Json::Value &value);

}  // namespace varnplayer

// Base64 (RFC 4648, section 4).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varn {

// With "=" up to a whole group of four characters, or without.
std::string Base64Encode(std::string_view bytes, bool padded);

// With or without "=" at the end. Empty for a text that is not base64.
std::optional<std::string> Base64Decode(std::string_view text);

}  // namespace varn

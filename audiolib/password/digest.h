// Message digests, through libcrypto.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace Tonvale::password {

using Md5Digest = std::array<unsigned char, 16>;

// The MD5 digest (RFC 1321) of a text; empty when the library refuses.
std::optional<Md5Digest> Md5(std::string_view text);

}  // namespace Tonvale::password

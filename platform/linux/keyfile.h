// Key-value files read whole, for the services that keep theirs in them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varn {

// The text of a key-value file. Empty, with errno and the error state set, when it cannot be read:
// missing, not a regular file, larger than 16 MiB.
std::optional<std::string> ReadKeyFile(const std::string &file);

// The whole value of one key. Empty, with the error state set, when the key or the file is missing
// or unreadable.
std::optional<std::string> ReadKeyValue(const std::string &file, std::string_view key);

}  // namespace varn

// The account that a verb works for.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace tonvale_cli {

// The user's id. Empty, with a message that names the known users, when there is no such user.
std::optional<uid_t> FindUser(const std::string &name);

}  // namespace tonvale_cli

// The rows of sessions, keys and wrong passwords.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "service/people/holder.h"
#include "varn/database.h"

namespace tonvale_service {

// Runs one statement of varn::Sql on the library database, as the package. Throws a Failure when
// the database does not answer.
varn::Rows RunOnLogins(const std::optional<std::string> &sql);

// varn::KeyedHash. Throws a Failure without a key.
std::string LoginHashOf(std::string_view purpose, std::string_view text);

inline constexpr std::size_t kLongestPassword = 256;

// The hash of a user's password, "" for a user without a login. Throws a Failure.
std::string PasswordHashOf(const std::string &user);

// What sessions and keys of a user are bound to: a hash of the name and of the password's hash.
// They end with another password, and with none. Throws a Failure.
std::string LoginStamp(const std::string &user);

// The same for a hash that was read before.
std::string LoginStamp(const std::string &user, const std::string &hash);

// The user of a session or key, by its row with id, user_id and login. Empty for one that was made
// before the password was changed. Throws a Failure.
std::optional<Holder> HolderOf(const varn::Row &row);

// 260 random bits, as text. Throws a Failure.
std::string NewToken();

// True for a text that NewToken could have made, or NewKey.
bool IsToken(std::string_view text);

}  // namespace tonvale_service

// Keys: passwords of their own for programs. With one, a program may do what its user may, but
// change no passwords, keys and users.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/people/holder.h"

namespace tonvale_service {

struct Key {
    int id;
    std::string purpose;  // what it is for, in its user's words
    long long made;       // seconds since 1970
    long long lastUsed;   // exact to some minutes; 0: never
};

// Each of these throws a Failure when the database or the logins cannot be read.

// Makes a key and gives it; it is not shown again. A user has 100 at most, and a purpose 200 bytes.
std::string NewKey(uid_t uid, const std::string &user, const std::string &purpose);

// The user of a key, and notes that it is used. Empty for a key that was taken away, or was made
// before the password was changed.
std::optional<Holder> FindKey(const std::string &key);

// The same for clients that send a digest of the key: the first key of the user that `isMeant`
// accepts.
std::optional<Holder> FindKeyOf(const std::string &user,
                                const std::function<bool(const std::string &key)> &isMeant);

// The user's keys, the oldest first.
std::vector<Key> KeysOf(uid_t uid, const std::string &user);

// An object for each: id, for, made, last_used.
Json::Value KeyList(const std::vector<Key> &keys);

// Takes one of the user's keys away; a Failure when there is none. Or all of them.
void RemoveKey(uid_t uid, int id);
void RemoveKeys(uid_t uid);

}  // namespace tonvale_service

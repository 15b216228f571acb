// Rights, preferences and custom keys.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <span>
#include <string>
#include <vector>

namespace tonvale_service {

struct Right {
    const char *name;
    unsigned bit;
    const char *meaning;
};

// All rights, in the order in which they are documented.
std::span<const Right> AllRights();

std::vector<std::string> RightNames(unsigned mask);
unsigned MaskOf(const std::vector<std::string> &names);

// Each right's name with true or false.
Json::Value RightsObject(unsigned mask);

// The user "admin" and the members of the group "administrators".
bool IsAdministrator(const std::string &user);

// The id of a user. Throws a Failure when there is no such user.
uid_t UidOf(const std::string &name);

// The name of a user id, "" when no account has it.
std::string AccountName(uid_t uid);

// A user's preference folder, "" for a name that can have none.
std::string PreferenceFolder(const std::string &name);

// The following read or write the users file, write it as the package's account, and throw a
// Failure when they cannot. Writers wait for each other for up to three seconds.

// The users file.
Json::Value ReadUsers();

// The users with an entry: uid, name ("" for one who is gone) and rights.
Json::Value UserList();

// Gives a user these rights and takes all others away; the user's links go with the right to share.
void SetPermission(const std::string &user, unsigned mask);

// Records rights for a user without an entry; takes an entry away.
void SetFirstPermission(uid_t uid, unsigned mask);
void RemoveEntry(uid_t uid);

// Makes the users file where there is none: every right for "admin", none for "guest".
void MakeUsers();

// Removes the entries of users that are gone. A Failure when the accounts cannot be read.
void SyncUsers();

// The user's preferences by their names.
Json::Value PreferencesOf(uid_t uid);

struct Preference {
    std::string name;
    std::string meaning;
    std::vector<std::string> values;
};
const std::vector<Preference> &AllPreferences();

// Throws a Failure for a name that no preference has, and a value that it cannot have.
void CheckPreference(const std::string &name, const std::string &value);
void SetPreference(uid_t uid, const std::string &name, const std::string &value);

// The custom keys: index, type, value and title of each.
inline constexpr int kCustomKeys = 4;
Json::Value CustomKeys();
void SetCustomKey(int index, const std::string &type, const std::string &value,
                  const std::string &title);

}  // namespace tonvale_service

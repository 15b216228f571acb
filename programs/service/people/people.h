// The users: their accounts, logins and what belongs to them.
#pragma once

#include <optional>
#include <string>

namespace tonvale_service {

// Below a root of its own (SystemRoot) accounts are made and removed with their users; elsewhere
// they are the system's, and stay.
//
// Each call throws a Failure where it cannot do all. One that was killed is completed by the next.
// Of calls at the same time one waits for the other, for up to three seconds.

// Makes a user: the account, its home with "music" in it, every right but the server's own output,
// and last the login. An administrator has all rights; those that are recorded count when the user
// is one no longer. A Failure for a name that is no user's, is a system account's or has a login
// already, and for a password that is no password.
void AddUser(const std::string &name, bool isAdmin, const std::string &password);

// A password of 8 to 256 bytes without control characters. All sessions and keys of the user end.
// The first login, which init keeps in clear text, goes with its password.
void SetPassword(const std::string &name, const std::string &password);

// Makes a user an administrator, or no longer one; the rights that are recorded count then. "admin"
// stays one. For roots of their own: a Failure elsewhere.
void SetAdministrator(const std::string &name, bool isAdmin);

// What to change of a user. If a part of it is refused, nothing changes.
struct UserChange {
    std::optional<bool> isAdmin = {};
    std::optional<std::string> password = {};
    std::optional<unsigned> rights = {};  // SetPermission
};
void ChangeUser(const std::string &name, const UserChange &change);

// A random password.
std::string MadePassword();

// What goes with a user, and what stays.
struct Belongings {
    int sessions;
    int keys;
    int links;
    int pins;
    int stars;
    int plays;         // songs that were played
    int favourites;    // songs
    std::string home;  // "" without one
};
Belongings BelongingsOf(const std::string &name);

// Takes a user away, with the rows of Belongings, the login, rights, preferences and own lists;
// with `withMusic` also the home. Shared playlists stay.
void RemoveUser(const std::string &name, bool withMusic);

}  // namespace tonvale_service

// Sessions: who has logged in with a password and keeps a cookie for it.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "service/people/holder.h"

namespace tonvale_service {

struct Session {
    int id;
    long long made;      // seconds since 1970
    long long lastUsed;  // exact to some minutes
    std::string agent;   // what the client calls itself
    std::string address;
};

// Each of these throws a Failure when the database or the logins cannot be read.

// Makes a session for somebody whose password was right; the session is void if the password was
// changed since. Returns what the cookie holds. A user has 100 at most: the ones that were not used
// for longest end.
std::string NewSession(const Holder &who, const std::string &agent, const std::string &address);

// The user of a session, and notes that it is used. Empty for a session that was ended, was not
// used for 30 days, or was made before the password was changed.
std::optional<Holder> FindSession(const std::string &token);

// The user's sessions, the last used first.
std::vector<Session> SessionsOf(uid_t uid, const std::string &user);

// Ends one of the user's sessions; a Failure when there is none.
void EndSession(uid_t uid, int id);

// Ends all of them but one (0: all).
void EndSessions(uid_t uid, int but);

}  // namespace tonvale_service

// The accounts that a verb works for.
#pragma once

#include <string>

#include "verb.h"

namespace tonvale_cli {

// The names of the root's accounts, for a message; "" for a real installation's, which may be too
// many to list.
std::string KnownUsers();

// False, with a message, for a root that is not prepared.
bool IsPrepared();

// Starts the database, because the share links of users who may not share any more are taken away.
// Goes on with a message where it does not start: rights are recorded all the same.
void StartForLinks();

// Adds the verb that shows and sets the rights of one user.
void AddRights(const Verb &user);

}  // namespace tonvale_cli

// The root and its database, for the verbs that need them.
#pragma once

#include "complain.h"

namespace tonvale_cli {

// Good for a root that was prepared, and for no root at all.
varn::host::Outcome CheckRoot();

// Starts the root's own cluster, if there is one and it is not running, and says so on the standard
// error: it stays running.
varn::host::Outcome StartDatabase();

// Starts the database, because the share links of users who may no longer share are deleted. If it
// does not start, a message tells it, and the rights are still recorded.
void StartForLinks();

// Checks the root, starts its database and checks the schema.
varn::host::Outcome EnsureDatabase();

}  // namespace tonvale_cli

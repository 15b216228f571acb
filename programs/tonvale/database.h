// The root's database, for the verbs that need it.
#pragma once

#include <string>

#include "varn/host.h"

namespace tonvale_cli {

// Prints a failure's message on the standard error.
void Complain(const std::string &message);

// The folder of this program, where the indexer is installed too.
std::string ProgramDir();

// The indexer beside this program, which is as trustworthy as this program is, whatever account owns
// the root; or the one that an installation put into its place.
std::string Indexer();

// Good for a root that was prepared, and for no root at all.
varn::host::Outcome CheckRoot();

// Starts the root's own cluster where there is one and it is not running, and says so on the
// standard error: it is left running.
varn::host::Outcome StartDatabase();

// Does that, and checks the schema.
varn::host::Outcome EnsureDatabase();

}  // namespace tonvale_cli

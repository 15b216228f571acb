// Which rows a root answers for in a library that it shares with other roots: those below the
// folders that are registered now, or were at the last whole scan. A file below the root keeps
// these, so that rows of folders that are no longer registered are told from the rows of other
// roots. A root with a server of its own answers for every row, and has no such file.
#pragma once

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"

namespace varnindex {

// Throws std::system_error when there is a file that cannot be read, as the others do.
Scope AnsweredFor(const Folders &folders);

// Before rows are written: adds what is registered to the file, for the case that the scan does not
// come to its end. Here and below a file that cannot be written is warned of.
void RememberFolders(const Folders &folders, Reporter &reporter);

// After a whole scan: leaves in the file what is registered, and what has rows still. Throws
// DatabaseError.
void ForgetFolders(Database &database, const Folders &folders, Reporter &reporter);

}  // namespace varnindex

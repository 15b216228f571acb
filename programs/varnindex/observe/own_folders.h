// Which rows a root answers for in a library that other roots use, too.
#pragma once

#include <string>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"

namespace varnindex {

// The folders that are registered now, and those that were at the last whole scan, which stand in a
// file below the root: rows of what is no longer registered are told from the rows of other roots.
class OwnFolders {
  public:
    // Throws std::system_error when there is a file that cannot be read.
    explicit OwnFolders(const Folders &folders);

    // What a whole scan answers for: the rows below both kinds of folders.
    Scope Answered() const;

    // Before rows are written: adds what is registered to the file, so that a scan that does not
    // come to its end is made up for. Here and below a file that cannot be written is warned of.
    void Remember(Reporter &reporter) const;

    // Behind a whole scan: leaves in the file what is registered, and what has rows that are held
    // back. Throws DatabaseError.
    void ForgetRemoved(Database &database, bool purge, Reporter &reporter) const;

  private:
    bool IsHeldBack(Database &database, const std::string &folder) const;
    void Write(const std::vector<std::string> &folders, Reporter &reporter) const;

    const Folders &folders_;
    std::vector<std::string> registered_;
    std::vector<std::string> remembered_;
};

}  // namespace varnindex

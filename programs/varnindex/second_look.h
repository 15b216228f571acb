// Files that are there again before their rows go: an editor puts a new one in place of the old, a
// disk is mounted, and their folder was looked at in the moment between.
#pragma once

#include <cstddef>

#include "database.h"
#include "folders.h"
#include "gone.h"
#include "known.h"
#include "links.h"
#include "places.h"
#include "stop.h"

namespace varnindex {

class SecondLook {
  public:
    // Both outlive it. All calls throw Stopped when `isStopped` says so.
    SecondLook(const Folders &folders, Places &places, StopQuestion isStopped)
        : folders_(folders), places_(places), library_(folders, isStopped), isStopped_(isStopped) {}

    // True when the library has to have the row of that path: its file is there, and is not nobody's
    // by now, nor a list another owner's, which has a new row then. Its folders stay.
    bool IsBack(const KnownRow &row);

    // Keeps the rows of such songs, for the next scan to find out what they are now; returns how
    // many that are. Throws DatabaseError, too.
    std::size_t KeepThoseBack(Database &database, GoneRows &gone);

  private:
    const Folders &folders_;
    Places &places_;
    LinkedFolders library_;
    StopQuestion isStopped_;
};

}  // namespace varnindex

// Rows that do not go yet. Their files are there again: an editor puts a new one in place of the
// old, a disk is mounted, and their folder was looked at in the moment between. Or they may be what
// could not be read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>

#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/match/gone.h"
#include "varnindex/observe/folders.h"
#include "varnindex/observe/links.h"
#include "varnindex/stop.h"
#include "varnindex/write/places.h"

namespace varnindex {

class SecondLook {
  public:
    // Both outlive it. All calls throw Stopped when `isStopped` says so.
    SecondLook(const Folders &folders, Places &places, StopQuestion isStopped)
        : folders_(folders), places_(places), library_(folders, isStopped), isStopped_(isStopped) {}

    // True when the library has to have the row of that path: its file is there, and is not
    // nobody's by now, nor a list another owner's, which has a new row then. Its folders stay.
    bool IsBack(const KnownRow &row);

    // A file that cannot be read just now: what it is may be a song that has moved there.
    void NoteUnread(std::int64_t size, unsigned userid) { unread_.emplace(size, userid); }

    // Keeps the rows of songs that are back or may be such a file, for the next scan to find out
    // what they are now; returns how many that are. Throws DatabaseError, too.
    std::size_t KeepSome(Database &database, GoneRows &gone);

  private:
    bool MayBeUnread(const KnownRow &row);

    const Folders &folders_;
    Places &places_;
    LinkedFolders library_;
    StopQuestion isStopped_;
    std::set<std::pair<std::int64_t, unsigned>> unread_;  // sizes and owners
};

}  // namespace varnindex

// Puts what lies in the folders beside what the library knows: in come the finds of the walk and
// the rows of a part of the library, both in the byte order of their paths. Out come events: a file
// with its row or without one, a row without its file, and what could not be looked at.
#pragma once

#include "varnindex/compare/known.h"
#include "varnindex/observe/folders.h"
#include "varnindex/observe/walk.h"
#include "varnindex/read/readers.h"

namespace varnindex {

struct Event {
    enum class Kind {
        kSong,     // `work`, with the row that the library has for it
        kList,     // a playlist or cue sheet: the same
        kGone,     // `work.known` has no file any more
        kKept,     // `work.known` has to stay: its folder could not be looked at
        kGap,      // what could not be looked at, after its rows
        kRefused,  // a file or folder that is never looked at
    };
    Kind kind;
    Work work = {};           // of a gap and of what is refused: the path
    std::string reason = {};  // the same, for a person
    std::size_t kept = 0;     // of a gap: how many rows stay
    bool isBlocked = false;   // of a gap: it is there
    bool isEmptied = false;   // of a gap: a folder is there with nothing in it
};

class Merge {
  public:
    // `roots` are what is walked of the library, as OrderedFolders gives them. With `purge` rows
    // without a file are gone whatever the reason.
    Merge(Database &database, const Scope &scope, const Folders &folders,
          const std::vector<std::string> &roots, LinkedFolders &library, bool purge,
          StopQuestion isStopped);

    // The next event; none at the end. Throws DatabaseError, and Stopped as the walk does.
    std::optional<Event> Next();

  private:
    void FindEmptyDisks();
    void Begin();
    void Advance();
    std::optional<Found> NextFound();
    std::optional<Event> NextOfGap();
    Event WithoutFile(Event::Kind kind, bool isEmptied = false);
    Event OfFile(Found found);
    unsigned OwnerOf(const std::string &path);

    Database &database_;
    const Folders &folders_;
    std::vector<std::string> roots_;
    bool purge_;
    StopQuestion isStopped_;
    Walk walk_;
    KnownRows known_;
    std::deque<Found> ahead_;  // found while the server was looking for the rows
    std::optional<Found> found_;
    bool hasBegun_ = false;
    std::size_t kept_ = 0;    // of the gap at hand
    std::string lastFolder_;  // and its owner, because most files are in the same one
    unsigned lastOwner_ = 0;
};

}  // namespace varnindex

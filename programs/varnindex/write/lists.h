// The playlists and cue sheets of a scan: what is counted and told of them, and what becomes of the
// rows without a file.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/compare/second_look.h"
#include "varnindex/database.h"
#include "varnindex/read/readers.h"
#include "varnindex/reporter.h"
#include "varnindex/write/places.h"

namespace varnindex {

struct EmptiedFolder;

struct ListCounts {
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t moved = 0;
    std::size_t removed = 0;
    std::size_t unchanged = 0;

    bool AnyChange() const { return added + changed + moved + removed > 0; }
    bool Any() const { return AnyChange() || unchanged > 0; }
};

class Lists {
  public:
    // All of these outlive it.
    Lists(Database &database, Places &places, SecondLook &secondLook, Reporter &reporter)
        : database_(database), places_(places), secondLook_(secondLook), reporter_(reporter) {}

    void Found(const Work &work);

    // A row without a file; `emptied` is the number of its folder, which was emptied.
    void Gone(const KnownRow &row, std::optional<std::size_t> emptied);

    // Behind all of these: finds out what has moved, and which files are there again. Notes how many
    // lists of each emptied folder stay without a file. Throws DatabaseError.
    void Settle(std::vector<EmptiedFolder> &emptied);

    const ListCounts &Playlists() const { return playlists_; }
    const ListCounts &Sheets() const { return sheets_; }

  private:
    void SettleMoved();
    void SettleThoseBack(std::vector<EmptiedFolder> &emptied);
    void SettleLeft(std::vector<EmptiedFolder> &emptied);
    ListCounts &CountsOf(const std::string &path);

    Database &database_;
    Places &places_;
    SecondLook &secondLook_;
    Reporter &reporter_;
    ListCounts playlists_;
    ListCounts sheets_;
    std::set<std::string> added_;  // while the changes are listed
};

}  // namespace varnindex

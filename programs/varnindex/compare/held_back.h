// Rows that stay because what they are about cannot be looked at, and what is said of them.
#pragma once

#include <cstddef>
#include <vector>

#include "varnindex/compare/merge.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"
#include "varnindex/write/lists.h"
#include "varnindex/write/places.h"

namespace varnindex {

// Songs and lists of an emptied folder that were not found anywhere else.
struct EmptiedFolder {
    std::size_t songs = 0;
    std::size_t lists = 0;   // playlists and cue sheets
    std::size_t sheets = 0;  // the cue sheets of these
};

class HeldBack {
  public:
    // All of these outlive it. With `purge` nothing stays.
    HeldBack(const Folders &folders, Places &places, Reporter &reporter, bool purge)
        : folders_(folders), places_(places), reporter_(reporter), purge_(purge) {}

    // What could not be looked at, behind its rows. A link that leads nowhere is worth a word only
    // when something came through it. Whether a folder is worth one that was emptied is known when
    // the moves are.
    void AddGap(Found gap, Kept rows);

    // The number that the next folder gets which was emptied.
    std::size_t NextEmptied() const { return emptied_.size(); }

    // A row that stays because nobody knows where it belongs, if it is one; and, behind all of
    // them, what is said of these.
    void AddUnseen(const KnownRow &row);
    void WarnOfUnseen();

    // Tracks of a cue sheet that cannot be used.
    void AddTracks(const std::string &songPath);

    // `left` of each emptied folder has not been found elsewhere. Where all songs have been, its
    // other lists have been thrown away, which is counted.
    void SettleEmptied(const std::vector<EmptiedFolder> &left, ListCounts &playlists,
                       ListCounts &sheets);

    bool Any() const { return any_; }

  private:
    struct Emptied {
        Found folder;
        Kept rows;
    };

    void Hold(const Found &gap, Kept rows);

    const Folders &folders_;
    Places &places_;
    Reporter &reporter_;
    bool purge_;
    std::vector<Emptied> emptied_;
    Kept unseenShared_;
    Kept unseenHomes_;
    bool any_ = false;
};

}  // namespace varnindex

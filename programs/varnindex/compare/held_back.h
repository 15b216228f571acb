// Rows that stay because what they are about cannot be looked at, and what is said of them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "varnindex/compare/known.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"
#include "varnindex/write/folder_rows.h"

namespace varnindex {

class HeldBack {
  public:
    // All of these outlive it. With `purge` nothing stays.
    HeldBack(const Folders &folders, FolderRows &folderRows, Reporter &reporter, bool purge)
        : folders_(folders), folderRows_(folderRows), reporter_(reporter), purge_(purge) {}

    // Rows at `path`, or below it when it ends with "/", stay for the given reason.
    void Hold(const std::string &path, const std::string &reason, KeptRows rows);

    // A folder that is there with nothing in it: whether it is worth a word is known when the moves
    // are.
    void AddEmptied(std::string path, std::string reason);
    // Of each of them, in order; and to be told how many rows were not found elsewhere.
    std::size_t EmptiedFolders() const { return emptied_.size(); }
    void SettleEmptied(const std::vector<KeptRows> &left);

    // A row that stays because its owner's folders cannot be seen, if they cannot; and, after all
    // of them, what is said of these.
    void AddUnseen(const KnownRow &row);
    void WarnOfUnseen();

    // Tracks of a cue sheet that cannot be used.
    void AddTracks(const std::string &songPath);

    bool Any() const { return any_; }

  private:
    struct Emptied {
        std::string path;
        std::string reason;
    };

    const Folders &folders_;
    FolderRows &folderRows_;
    Reporter &reporter_;
    bool purge_;
    std::vector<Emptied> emptied_;
    KeptRows unseenShared_;
    KeptRows unseenHomes_;
    bool any_ = false;
};

}  // namespace varnindex

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
    void Hold(const std::string &path, const std::string &reason, std::size_t rows);

    // A folder that is there with nothing in it. How many of its rows were not found elsewhere is
    // told when the moves are known, of all of them in order; without any it is worth no word.
    void AddEmptied(std::string path, std::string reason);
    std::size_t EmptiedFolders() const { return emptied_.size(); }
    void SettleEmptied(const std::vector<std::size_t> &left);

    // A row that stays because its owner's folders cannot be seen, if they cannot; and, after all
    // of them, what is said of these. Rows of a folder that cannot be looked at have a warning of
    // their own.
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

    void Warn(const std::string &text);

    const Folders &folders_;
    FolderRows &folderRows_;
    Reporter &reporter_;
    bool purge_;
    std::vector<Emptied> emptied_;
    std::size_t unseenShared_ = 0;
    std::size_t unseenHomes_ = 0;
    bool any_ = false;
};

}  // namespace varnindex

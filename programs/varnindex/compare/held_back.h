// Rows that stay because what they are about cannot be looked at, and what is said of them.
#pragma once

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

    // A folder that is there with nothing in it, in the order of their paths. Its rows stay unless
    // they are found elsewhere: of those that are not, IsOfEmptied counts each. Then HoldEmptied
    // tells of the folders that have such rows.
    void AddEmptied(std::string path, std::string reason);
    bool IsOfEmptied(const std::string &path);
    void HoldEmptied();

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
        std::size_t rows = 0;
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

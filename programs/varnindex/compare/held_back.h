// Rows that stay because their files cannot be looked at, and the warnings about them.
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

    // A folder that is there with nothing in it; in the order of their paths. Its rows stay unless
    // they are found elsewhere: IsOfEmptied counts those that are not, and HoldEmptied then warns
    // of each folder that has such rows.
    void AddEmptied(std::string path, std::string reason);
    bool IsOfEmptied(const std::string &path);
    void HoldEmptied();

    // A row that stays because its owner's folders cannot be seen, if that is so; and the warning
    // after all of them. Rows of a folder that cannot be looked at have a warning of their own.
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

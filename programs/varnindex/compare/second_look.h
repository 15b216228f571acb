// Rows whose files are there again: an editor puts a new one in place of the old, a disk is
// mounted, and their folder was looked at in the moment between.
#pragma once

#include "varnindex/compare/known.h"
#include "varnindex/observe/folders.h"
#include "varnindex/observe/links.h"
#include "varnindex/stop.h"
#include "varnindex/write/folder_rows.h"

namespace varnindex {

class SecondLook {
  public:
    // Both outlive it.
    SecondLook(const Folders &folders, FolderRows &folderRows, StopQuestion isStopped)
        : folders_(folders),
          folderRows_(folderRows),
          library_(folders, isStopped),
          isStopped_(isStopped) {}

    // Keeps the folders of a row that has to stay, and returns true: its file is there, not in a
    // home that is nobody's by now, and not a list of another owner, which gets a new row. Throws
    // Stopped when `isStopped` says so.
    bool KeepIfBack(const KnownRow &row);

  private:
    const Folders &folders_;
    FolderRows &folderRows_;
    LinkedFolders library_;
    StopQuestion isStopped_;
};

}  // namespace varnindex

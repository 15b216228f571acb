// Rows whose files are there again: an editor puts a new one in place of the old, a disk is mounted,
// and their folder was looked at in the moment between.
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

    // True when the library has to have the row of that path: its file is there, and is not
    // nobody's by now, nor a list another owner's, which has a new row then. Its folders stay.
    // Throws Stopped when `isStopped` says so.
    bool IsBack(const KnownRow &row);

  private:
    const Folders &folders_;
    FolderRows &folderRows_;
    LinkedFolders library_;
    StopQuestion isStopped_;
};

}  // namespace varnindex

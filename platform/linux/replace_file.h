// The inside of varn/replace_file.h, for files below a folder that is held open.
#pragma once

#include "varn/replace_file.h"

namespace varn {

// ReplaceFile for a name that counts from a folder as of openat(2). With `onlyNew` the file must
// not be there yet: EEXIST. Without `isSynced` the file may hold any text after a crash of the
// machine.
bool ReplaceFileAt(int folder, const std::string &name, std::string_view text, mode_t mode,
                   const FileOwner *owner, bool onlyNew, bool isSynced = true);

}  // namespace varn

// Giving up root's rights.
#pragma once

#include "varn/export.h"

namespace varn {

// Makes this process one of the package's account for good: real, effective and saved ids, and the
// account's groups. No program that it becomes or starts gets more rights than it has
// (PR_SET_NO_NEW_PRIVS). It and its programs keep no capability but CAP_DAC_READ_SEARCH, and that
// one only where `file` (may be null) cannot be read without it. A process without root among its
// user ids keeps those that it has, and gets no capability that it did not have. A process that was
// to end with its parent (PR_SET_PDEATHSIG) still does.
//
// False with errno set when a step failed, or the parent is gone: the process may still have some
// of its rights and must end. For processes with one thread.
VARN_EXPORT bool DropRights(const char *file) noexcept;

}  // namespace varn

// Giving up root's rights.
#pragma once

#include "varn/export.h"

namespace varn {

// Makes this process, for good, one of the package's account: real, effective and saved ids, and
// the account's groups. No program that it becomes or starts gets more rights than it has
// (PR_SET_NO_NEW_PRIVS). Of the capabilities none is left but CAP_DAC_READ_SEARCH, for this
// process and its programs, and that only where `file` cannot be read without it; null: there is
// no such file. A process without root among its user ids keeps those that it has, and gets no
// capability that it did not have. A wish to end with the parent (PR_SET_PDEATHSIG) stays.
//
// False with errno set when a step failed, or the parent is gone: the process may have some of its
// rights still and must end. For processes with one thread.
VARN_EXPORT bool DropRights(const char *file) noexcept;

}  // namespace varn

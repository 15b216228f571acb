// Small helpers round media: running programs, and what kind of volume a file is on.
//
// Failures are reported by the result. Nothing throws.
#pragma once

#include "tonvale/export.h"

extern "C" {

// Runs a program with all three standard descriptors at /dev/null. `argv` begins with the program's
// own name and ends with a null pointer; `path` is not searched for.
// With `wait` not 0 the result is the exit status, 0 to 255 (255 too when the program could not be
// run), or -1 when a signal ended it or it could not be waited for. Otherwise the result is 0 at
// once, and the caller has to reap the child (waitpid(2), or a SIGCHLD action that makes it
// unnecessary). -1 when no child could be made. While it runs the call clears SA_NOCLDWAIT of the
// SIGCHLD action.
TONVALE_EXPORT int VARNExec(const char *path, char *const argv[], int wait) noexcept;

// 1 when the path lies on a removable volume: below "/volumeUSB" and a number, or on a mounted file
// system, other than the root's, whose block device, or the disk of which that is a partition, is on
// a USB bus or marked removable. Links in the path are not followed, and it need not exist. 0 for
// everything else; -1 for a null or relative path.
TONVALE_EXPORT int VARNAudioIsUSBVolume(const char *path) noexcept;

}  // extern "C"

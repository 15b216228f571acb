// Shared folders and extended-attribute folders.
//
// Shares stand in the key-value file "/usr/varn/etc/share.conf": the share's name as key, its
// absolute volume path as value.
#pragma once

#include <cstddef>

#include "varn/export.h"

extern "C" {

typedef struct _VARN_SHARE_ {
    char *szName;
    char *szPath;  // absolute volume path, without a trailing slash
} VARN_SHARE, *PVARN_SHARE;

// Looks a share up by name. 0 with *out newly allocated (released with VARNShareFree, which accepts
// null), or -1 with *out null.
VARN_EXPORT int VARNShareGet(const char *name, PVARN_SHARE *out);
VARN_EXPORT void VARNShareFree(PVARN_SHARE share);

// Finds the share that holds `path`: the share with the longest volume path that is `path` itself
// or a folder above it, compared by whole components. Writes the share's name and volume path.
// `path` begins with that volume path byte by byte: a path that writes the folder in another way
// ("//", "/./"), or has a ".." component, is in no share.
// 0, or -1 with both outputs as "" (no such share, or one of them does not fit).
VARN_EXPORT int VARNShareNamePathGet(const char *path, char *name, size_t nameSize, char *sharePath,
                                     size_t sharePathSize);

// Writes the extended-attribute folder of a file or folder: FOLDER/@eaDir/NAME. Neither has to
// exist. 0, or -1 with the error state set and `out` as "" (a path without a "/" or that does not
// fit).
VARN_EXPORT int VARNEADirPath(const char *path, char *out, size_t size);

// Makes that folder, and the "@eaDir" above it when it is missing, with mode 0777: every user's
// programs keep attributes there. The umask is 0 for that moment, in all of the process's threads.
// Folders that exist keep their mode; a symbolic link in place of one is refused. 0 when it is
// there afterwards, or -1 with the error state set.
VARN_EXPORT int VARNEAMKDir(const char *eaDir);

// The same, and a descriptor of the folder (close-on-exec, perhaps with O_PATH) that the caller
// closes: what is done through it happens in that folder, whatever somebody puts at its path. Or
// -1.
VARN_EXPORT int VARNEAOpenDir(const char *eaDir);

}  // extern "C"

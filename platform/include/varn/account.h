// Accounts, homes and preference folders.
//
// Below a root the accounts are those of ROOT/etc/passwd and ROOT/etc/group, otherwise those of the
// system's name service.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "varn/export.h"

extern "C" {

typedef struct _VARN_USER_ {
    char *szName;
    uid_t uid;
    gid_t gid;
    char *szHomeDir;  // as the account has it, links not resolved
} VARN_USER, *PVARN_USER;

// Looks an account up by name or by user id. 0 with *out newly allocated (released with
// VARNUserFree), or -1 with *out null.
VARN_EXPORT int VARNUserGet(const char *name, PVARN_USER *out);
VARN_EXPORT int VARNUserGetByUID(uid_t uid, PVARN_USER *out);

// Releases an account record; null is accepted.
VARN_EXPORT void VARNUserFree(PVARN_USER user);

// Writes a user's home folder, links not resolved. 0, or -1 with `out` as "" (unknown user, no home
// folder, or a path that does not fit).
VARN_EXPORT int GetUserHomePath(const char *userName, char *out, size_t size);

// Writes the folder of a user's preferences, "/usr/varn/etc/preference/NAME" below the root. The
// folder need not exist. 0, or -1 with `out` as "" (a name that is empty, "." or "..", or holds a
// slash; a path that does not fit).
VARN_EXPORT int VARNUserPreferenceDirGet(const char *userName, char *out, size_t size);

// True when the package configuration switches personal libraries on ("enable_personal_library" is
// "yes").
VARN_EXPORT bool IsPersonalLibraryEnabled(void);

// True when that feature is on and the named user exists and has a home folder.
VARN_EXPORT bool IsPersonalLibEnabled(const char *userName);

// True when `path` lies below `home` + "/music", that folder itself not included. False for a null
// or empty argument, and for a path with a ".." component, whose links could lead anywhere.
VARN_EXPORT bool IsUnderPersonalLibPath(const char *home, const char *path);

// The same for the folder that holds all homes, the target of the link "/var/services/homes".
VARN_EXPORT bool IsPersonalLibraryPath(const char *path);

}  // extern "C"

// Accounts, homes and preference folders.
//
// Below a root the accounts are those of ROOT/etc/passwd and ROOT/etc/group, otherwise those of the
// system's name service.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "varn/export.h"

namespace varn {

// The user id that no account has.
inline constexpr uid_t kNoUser = static_cast<uid_t>(-1);

}  // namespace varn

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

// Whether a user may use an application: 1 or 0; -1 for a null or empty argument or an
// application's name with a slash. `ip` is the user's address, "0.0.0.0" for any; privileges here
// are the same for all addresses.
// They stand in the key-value file of the application's name in "/usr/varn/etc/app_privilege": the
// user's name as key, or "*" for users without a line, and "allow" or anything else as value.
// Without a file no user may.
VARN_EXPORT int VLIBAppPrivUserHas(const char *userName, const char *application, const char *ip);

// Whether a user is in the group "administrators": 1 or 0; -1 for an unknown user, a null or empty
// name, or groups that cannot be read. `flag` is 0.
VARN_EXPORT int VLIBGroupIsAdminGroupMem(const char *userName, int flag);

// True when the package configuration switches personal libraries on ("enable_personal_library" is
// "yes").
VARN_EXPORT bool IsPersonalLibraryEnabled(void);

// True when that feature is on and the named user exists and has a home folder.
VARN_EXPORT bool IsPersonalLibEnabled(const char *userName);

// True when `path` is music of the user with this home: it lies below "music" in it, that folder
// itself not included. Links on the way to the home are resolved, as the indexer does it; links in
// `path` are not resolved. False for a null or empty argument, and for a path with a
// ".." component, whose links could lead anywhere.
VARN_EXPORT bool IsUnderPersonalLibPath(const char *home, const char *path);

// The same for the home of any account below the folder of all homes, the target of the link
// "/var/services/homes". An account that is not listed, but found by the name of its folder there,
// is one of them. Where the accounts cannot be read, all that is in that folder is personal.
VARN_EXPORT bool IsPersonalLibraryPath(const char *path);

}  // extern "C"

// The logins: names with the hashes of their passwords (htpasswd(5), crypt(5)), in the file
// "/var/packages/Tonvale/etc/logins", which only the package's account can read.
#pragma once

#include <optional>
#include <string>

#include "varn/export.h"
#include "varn/host.h"

namespace varn {

// The password hash of a login; "" for a name without one. Empty, with the error state set, when
// the logins cannot be read; a missing file is one without logins.
VARN_EXPORT std::optional<std::string> LoginHash(const std::string &name);

// True when a password belongs to a hash. Takes as long for a name without a login ("") as for the
// first login of the file, so that the time does not tell which names there are.
VARN_EXPORT bool IsPasswordOf(const std::string &hash, const std::string &password);

// Sets the password of a new login or of one that is there. Writers wait for each other.
VARN_EXPORT host::Outcome SetLogin(const std::string &name, const std::string &password);

// Makes a new login. `isThere` tells that the name has one already; that one stays as it is.
VARN_EXPORT host::Outcome AddLogin(const std::string &name, const std::string &password,
                                   bool &isThere);

// Removes a login; one that is not there is a success.
VARN_EXPORT host::Outcome RemoveLogin(const std::string &name);

}  // namespace varn

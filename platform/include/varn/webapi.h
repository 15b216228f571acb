// Requests of the web API.
#pragma once

#include <string>
#include <utility>

#include "varn/export.h"

namespace VARN {

// Who asks. A plain value: the handler that checked the login makes it.
class APIRequest {
  public:
    APIRequest(unsigned uid, std::string userName, std::string preferenceDir)
        : uid_(uid), userName_(std::move(userName)), preferenceDir_(std::move(preferenceDir)) {}

    unsigned GetLoginUID() const { return uid_; }
    std::string GetLoginUserName() const { return userName_; }
    // The user's preference folder (VARNUserPreferenceDirGet, varn/account.h).
    std::string GetPreferenceDir() const { return preferenceDir_; }

  private:
    unsigned uid_;
    std::string userName_;
    std::string preferenceDir_;
};

}  // namespace VARN

class WebUtils {
  public:
    // Splits a URL (RFC 3986) with a scheme and a host into the scheme in lower case, the host with
    // ":port" where there is one, and the rest from the first "/", "?" or "#" on ("" when there is
    // none). Names and passwords before the host are left out. True, or false with the outputs
    // unchanged (no scheme, no host, a control character or a blank in it).
    VARN_EXPORT static bool ParseURL(const std::string &url, std::string &scheme, std::string &host,
                                     std::string &path);
};

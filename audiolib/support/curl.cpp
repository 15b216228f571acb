#include "support/curl.h"

#include "support/log.h"

namespace Tonvale::support {

const CurlLibrary &Curl() noexcept {
    static const CurlLibrary library;
    return library;
}

bool HasCurl() noexcept {
    if (!Curl()) {
        LOG_ERROR("audiolib/support", "Failed to load libcurl (%s)", Curl().Problem());
        return false;
    }
    return true;
}

}  // namespace Tonvale::support

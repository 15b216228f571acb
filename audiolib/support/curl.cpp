#include "support/curl.h"

#include "support/log.h"

namespace Tonvale::support {

varn::CurlHandle NewCurlHandle() noexcept {
    if (!Curl()) {
        LOG_ERROR("audiolib/support", "Failed to load libcurl (%s)", Curl().Problem());
    }
    return varn::NewCurlHandle();
}

}  // namespace Tonvale::support

// libcurl, whose absence is logged.
#pragma once

#include "varn/curl.h"

namespace Tonvale::support {

using varn::Curl;

// A transfer. Null, with a log line where there is no libcurl.
varn::CurlHandle NewCurlHandle() noexcept;

}  // namespace Tonvale::support

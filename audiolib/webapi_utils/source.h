#pragma once

namespace Tonvale::webapi_utils {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/webapi_utils";

}  // namespace Tonvale::webapi_utils

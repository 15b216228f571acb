#pragma once

namespace Tonvale::webapi {

// The module's name in log lines.
inline constexpr char kLibrarySource[] = "audiolib/webapi_library";

}  // namespace Tonvale::webapi

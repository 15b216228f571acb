#pragma once

namespace Tonvale::musiclib {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/musiclib";

}  // namespace Tonvale::musiclib

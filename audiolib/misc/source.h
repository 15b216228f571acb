#pragma once

namespace Tonvale::misc {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/misc";

}  // namespace Tonvale::misc

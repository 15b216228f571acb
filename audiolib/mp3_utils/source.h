#pragma once

namespace Tonvale::mp3 {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/mp3_utils";

}  // namespace Tonvale::mp3

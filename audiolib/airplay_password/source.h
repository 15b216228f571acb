#pragma once

namespace Tonvale::airplay {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/airplay_password";

}  // namespace Tonvale::airplay

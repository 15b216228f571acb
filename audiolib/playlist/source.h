#pragma once

namespace Tonvale::playlist {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/playlist";

}  // namespace Tonvale::playlist

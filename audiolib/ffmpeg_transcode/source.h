#pragma once

namespace Tonvale::transcode {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/ffmpeg_transcode";

}  // namespace Tonvale::transcode

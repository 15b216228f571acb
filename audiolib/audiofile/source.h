#pragma once

namespace AudioFile {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/audiofile";

}  // namespace AudioFile

#pragma once

namespace AudioUsers {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/audiousers";

}  // namespace AudioUsers

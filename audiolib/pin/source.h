#pragma once

namespace Tonvale::pin {

// The module's name in log lines.
inline constexpr char kSource[] = "audiolib/pin";

}  // namespace Tonvale::pin

// The wall round every exported function: nothing thrown inside gets out.
#pragma once

#include <exception>
#include <utility>

#include "support/log.h"

namespace Tonvale::support {

// Runs `body` and returns its result, or `failure` when it throws (memory, or the JSON library on a
// value of the wrong type), which is logged under the module's source path and the line of the
// call.
template <typename Result, typename Body>
Result Guarded(const char *source, Result failure, Body &&body,
               int line = __builtin_LINE()) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::exception &error) {
        LogLine(errno, "%s:%d Unexpected failure: %s", source, line, error.what());
    } catch (...) {
        LogLine(errno, "%s:%d Unexpected failure", source, line);
    }
    return failure;
}

// The same for a call without a result.
template <typename Body>
void Guarded(const char *source, Body &&body, int line = __builtin_LINE()) noexcept {
    Guarded(
        source, 0,
        [&] {
            std::forward<Body>(body)();
            return 0;
        },
        line);
}

}  // namespace Tonvale::support

// Setting the error state, and the boundary that keeps exceptions inside.
//
// The compilers' own builtins name the place: std::source_location is not known to every one that
// this library is built with.
#pragma once

#include <cerrno>
#include <exception>
#include <new>
#include <utility>

#include "varn/base.h"

namespace varn {

// Sets the error state to `code` and the place of the call. Leaves errno alone.
inline void SetError(VLIB_ERROR code, const char *file = __builtin_FILE(),
                     int line = __builtin_LINE()) noexcept {
    VLIBCErrSetEx(code, file, line);
}

// Sets the error state from errno, which stays as it is.
inline void SetSystemError(const char *file = __builtin_FILE(),
                           int line = __builtin_LINE()) noexcept {
    switch (errno) {
        case EACCES:
        case EPERM:
            return SetError(VLIB_ERR_PERMISSION, file, line);
        case ENOMEM:
            return SetError(VLIB_ERR_OUT_OF_MEMORY, file, line);
        default:
            return SetError(VLIB_ERR_SYSTEM, file, line);
    }
}

// Runs the inside of an exported call: an exception becomes the error state, errno and `failed`.
template <typename Result, typename Body>
Result Guarded(Result failed, Body &&body, const char *file = __builtin_FILE(),
               int line = __builtin_LINE()) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc &) {
        SetError(VLIB_ERR_OUT_OF_MEMORY, file, line);
        errno = ENOMEM;
    } catch (const std::exception &) {
        SetError(VLIB_ERR_SYSTEM, file, line);
        errno = EINVAL;
    }
    return failed;
}

}  // namespace varn

// Memory that crosses the interface: malloc(3) is what both sides agree on.
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "varn/handles.h"

namespace varn {

// A copy of a text with its NUL. Throws std::bad_alloc.
inline MallocPtr<char> CopyText(std::string_view text) {
    MallocPtr<char> copy(static_cast<char *>(std::malloc(text.size() + 1)));
    if (!copy) {
        throw std::bad_alloc();
    }
    if (!text.empty()) {
        std::memcpy(copy.get(), text.data(), text.size());
    }
    copy.get()[text.size()] = '\0';
    return copy;
}

// Copies a text with its NUL into a caller's buffer; false, with `out` as "", when it does not fit.
inline bool CopyToBuffer(std::string_view text, char *out, std::size_t size) {
    if (text.size() >= size) {
        if (size > 0) {
            out[0] = '\0';
        }
        return false;
    }
    if (!text.empty()) {
        std::memcpy(out, text.data(), text.size());
    }
    out[text.size()] = '\0';
    return true;
}

}  // namespace varn

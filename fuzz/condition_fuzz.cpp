// The scanner that doubles the backslashes in the patterns of a finished condition.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "varn/db.h"

namespace {

void Check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Without backslashes two texts must be the same: nothing else is added or lost.
std::string WithoutBackslashes(const std::string &text) {
    std::string rest;
    for (const char c : text) {
        if (c != '\\') {
            rest += c;
        }
    }
    return rest;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::string input(reinterpret_cast<const char *>(data),
                            strnlen(reinterpret_cast<const char *>(data), size));
    std::string buffer = input;
    buffer.resize(input.size() * 2 + 1, '\0');
    if (EscapeConditionEX(buffer.data(), buffer.size()) != 0) {
        Check(buffer.c_str() == input);
        return 0;
    }
    const std::string escaped = buffer.c_str();
    Check(escaped.size() >= input.size());
    Check(WithoutBackslashes(escaped) == WithoutBackslashes(input));
    return 0;
}

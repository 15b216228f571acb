// The scanner that doubles the backslashes in the patterns of a finished condition.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "require.h"
#include "varn/db.h"

namespace {

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
        Require(buffer.c_str() == input, "a refused condition stays as it was");
        return 0;
    }
    const std::string escaped = buffer.c_str();
    Require(escaped.size() >= input.size(), "a condition does not shrink");
    Require(WithoutBackslashes(escaped) == WithoutBackslashes(input), "only backslashes are added");
    return 0;
}

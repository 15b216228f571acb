#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "linux/error.h"
#include "linux/memory.h"

char *VLIBCStrGet(const char *format, ...) {
    if (format == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    char *text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0) {
        varn::SetSystemError();
        return nullptr;
    }
    return text;
}

void VLIBCStrPut(char *text) {
    const varn::MallocPtr<char> adopted(text);
}

char *VLIBCStrTrimSpace(char *text) {
    if (text == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    // The C locale's white space, whatever locale the program has set.
    constexpr std::string_view kSpace = " \t\n\v\f\r";
    const std::string_view whole(text);
    const std::size_t begin = std::min(whole.find_first_not_of(kSpace), whole.size());
    const std::size_t end = whole.find_last_not_of(kSpace) + 1;
    const std::size_t length = end > begin ? end - begin : 0;
    std::memmove(text, text + begin, length);
    text[length] = '\0';
    return text;
}

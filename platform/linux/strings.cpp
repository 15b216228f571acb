#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "linux/memory.h"
#include "varn/process.h"

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

int VLIBCEncShParam(const char *in, char *out, size_t outSize) {
    if (in == nullptr || out == nullptr || outSize == 0) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        std::string quoted = "'";
        for (const char *c = in; *c != '\0'; ++c) {
            quoted += *c == '\'' ? "'\\''" : std::string(1, *c);
        }
        quoted += '\'';
        if (!varn::CopyToBuffer(quoted, out, outSize)) {
            varn::SetError(VLIB_ERR_TOO_LONG);
            return -1;
        }
        return 0;
    });
}

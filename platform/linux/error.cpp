#include "linux/error.h"

namespace {

struct ErrorState {
    int code = VLIB_ERR_NONE;
    const char *file = "";
    int line = 0;
};

// One for the process: programs of this system have one thread.
ErrorState g_lastError;

}  // namespace

int VLIBCErrGet(void) {
    return g_lastError.code;
}

const char *VLIBCErrFile(void) {
    return g_lastError.file;
}

int VLIBCErrLine(void) {
    return g_lastError.line;
}

void VLIBCErrSetEx(int code, const char *file, int line) {
    g_lastError = {code, file != nullptr ? file : "", line};
}

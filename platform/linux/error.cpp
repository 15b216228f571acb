#include "linux/error.h"

namespace {

struct ErrorState {
    int code = VLIB_ERR_NONE;
    const char *file = "";
    int line = 0;
};

// Each thread has its own: the indexer reads files on several.
thread_local ErrorState g_lastError;

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

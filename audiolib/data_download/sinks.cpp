#include "data_download/sinks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tonvale::download {

bool FileSink::Restart() {
    file_.reset();
    file_.reset(std::fopen(path_, "we"));
    return file_ != nullptr;
}

bool FileSink::Write(std::string_view bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size();
}

bool FileSink::Close() {
    return std::fclose(file_.release()) == 0;
}

void RemoveRegular(const char *path) noexcept {
    struct stat info = {};
    if (lstat(path, &info) == 0 && S_ISREG(info.st_mode) &&
        faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) == 0) {
        unlink(path);
    }
}

}  // namespace Tonvale::download

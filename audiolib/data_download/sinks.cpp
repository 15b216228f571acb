#include "data_download/sinks.h"

#include <sys/stat.h>
#include <unistd.h>

namespace Tonvale::download {

FileSink::~FileSink() {
    if (!kept_) {
        file_.reset();
        RemoveRegular(path_);
    }
}

bool FileSink::Restart() {
    file_.reset();
    file_.reset(std::fopen(path_, "we"));
    kept_ = kept_ && !file_;
    return file_ != nullptr;
}

bool FileSink::Write(std::string_view bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size();
}

bool FileSink::Keep() {
    kept_ = std::fclose(file_.release()) == 0;
    return kept_;
}

void RemoveRegular(const char *path) noexcept {
    struct stat info = {};
    if (lstat(path, &info) == 0 && S_ISREG(info.st_mode)) {
        unlink(path);
    }
}

}  // namespace Tonvale::download

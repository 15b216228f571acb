#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "audiousers/source.h"
#include "support/boundary.h"
#include "support/fd.h"
#include "support/json_text.h"
#include "support/log.h"
#include "tonvale/settings.h"

namespace AudioUsers {

namespace {

using Tonvale::support::Fd;
using Tonvale::support::Guarded;
using Tonvale::support::LogLine;

constexpr off_t kMostBytes = 1024 * 1024;
constexpr mode_t kMode = 0644;

bool ReadFile(Json::Value &json, const std::string &path) {
    const Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) {
        LOG_ERROR_OLD(kSource, "Failed to open %s. (%s)", path.c_str(), std::strerror(errno));
        return false;
    }
    struct stat status;
    if (fstat(fd.Get(), &status) != 0) {
        LOG_ERROR_OLD(kSource, "Failed to stat file. (%s)", std::strerror(errno));
        return false;
    }
    if (status.st_size > kMostBytes) {
        LOG_ERROR_OLD(kSource, "Can't read file > 1MB.");
        return false;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    const std::unique_ptr<char[]> text(new (std::nothrow) char[size + 1]);
    if (!text) {
        LOG_ERROR(kSource, "Failed to malloc(%jd).", static_cast<intmax_t>(size + 1));
        return false;
    }
    const ssize_t got = read(fd.Get(), text.get(), size);
    if (got != status.st_size) {
        LOG_ERROR(kSource, "read file failed. (%d) != (%jd), errno=%s", static_cast<int>(got),
                  static_cast<intmax_t>(size), std::strerror(errno));
        return false;
    }
    std::string reason;
    if (Tonvale::support::Parse({text.get(), size}, json, &reason)) {
        return true;
    }
    LogLine(errno, "Error: parsing error, reason = %s\n", reason.c_str());
    return false;
}

// A write that failed leaves what it wrote in the temporary file, which shows what went wrong.
bool WriteFile(const std::string &path, const std::string &text) {
    const Fd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode));
    if (!fd) {
        LOG_ERROR_OLD(kSource, "Failed to open %s. (%s)", path.c_str(), std::strerror(errno));
        return false;
    }
    if (write(fd.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        LOG_ERROR_OLD(kSource, "Failed to write %s. (%s)", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

}  // namespace

bool Read(Json::Value &json, const std::string &path) noexcept {
    return Guarded(kSource, false, [&] { return ReadFile(json, path); });
}

bool Save(const Json::Value &json, const std::string &path) noexcept {
    return Guarded(kSource, false, [&] {
        const std::string temporary = path + ".tmp";
        if (!WriteFile(temporary, Tonvale::support::Indented(json))) {
            return false;
        }
        // A failed rename counts as saved: callers go on with what they have in memory.
        if (std::rename(temporary.c_str(), path.c_str()) != 0) {
            LOG_ERROR(kSource, "Failed to rename %s to %s; %m", temporary.c_str(), path.c_str());
        }
        return true;
    });
}

}  // namespace AudioUsers

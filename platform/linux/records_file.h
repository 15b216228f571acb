// The root's files of accounts and groups.
#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "linux/error.h"
#include "linux/files.h"
#include "varn/handles.h"
#include "varn/systempath.h"

namespace varn {

// The records of a file, read again whenever the file has changed. Calls of the library name the
// package's account, root or a user, so that one request looks up the same few accounts dozens of
// times.
template <typename Record>
class RecordsFile {
  public:
    struct Contents {
        std::vector<Record> records;
        bool isWhole;  // false: a damaged place ends them
    };
    using Read = Contents (*)(std::FILE *stream);

    RecordsFile(std::string_view fixedPath, Read read) : fixedPath_(fixedPath), read_(read) {}

    // Null, with the error state set, for a file that cannot be opened.
    const Contents *Get() {
        const std::string path = SystemPath(fixedPath_);
        struct stat now {};
        if (stat(path.c_str(), &now) == 0 && IsKept(now)) {
            return &contents_;
        }
        const File stream(std::fopen(path.c_str(), "re"));
        if (!stream || fstat(fileno(stream.get()), &kept_) != 0) {
            SetSystemError();
            return nullptr;
        }
        timespec clock{};
        clock_gettime(CLOCK_REALTIME, &clock);
        contents_ = read_(stream.get());
        if (Nanoseconds(clock) - Nanoseconds(kept_.st_ctim) < kTick) {
            kept_ = {};
        }
        return &contents_;
    }

  private:
    // The kernel's clock for times of files is this coarse at most: a file that has just changed
    // may change again without a later time.
    static constexpr long long kTick = 20'000'000;

    static long long Nanoseconds(const timespec &time) {
        return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
    }

    bool IsKept(const struct stat &now) const {
        return now.st_ino == kept_.st_ino && now.st_dev == kept_.st_dev &&
               now.st_size == kept_.st_size &&
               Nanoseconds(now.st_ctim) == Nanoseconds(kept_.st_ctim);
    }

    std::string_view fixedPath_;
    Read read_;
    struct stat kept_ {};  // without an inode: nothing is kept
    Contents contents_{};
};

}  // namespace varn

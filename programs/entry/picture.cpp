#include "picture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string_view>

#include "refusal.h"
#include "tonvale/media.h"

namespace tonvale_entry {

namespace {

constexpr off_t kLargest = 32 << 20;  // bytes; no cover is larger

class File {
  public:
    explicit File(const std::string &path) : fd_(Tonvale::OpenCover(path.c_str(), &info_)) {}
    ~File() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    explicit operator bool() const { return fd_ >= 0 && info_.st_size <= kLargest; }
    off_t Size() const { return info_.st_size; }
    ssize_t Read(off_t place, char *block, std::size_t size) const {
        return pread(fd_, block, size, place);
    }

  private:
    struct stat info_ {};
    int fd_;
};

// By the first bytes; null for anything but the four kinds of pictures that browsers show.
const char *PictureType(std::string_view start) {
    struct Kind {
        std::string_view mark;
        std::size_t place;
        const char *type;
    };
    constexpr Kind kKinds[] = {{"\xFF\xD8\xFF", 0, "image/jpeg"},
                               {"\x89PNG\r\n\x1A\n", 0, "image/png"},
                               {"GIF8", 0, "image/gif"},
                               {"WEBP", 8, "image/webp"}};
    for (const Kind &kind : kKinds) {
        if (start.size() > kind.place && start.substr(kind.place).starts_with(kind.mark)) {
            return kind.type;
        }
    }
    return nullptr;
}

std::string PictureOf(const char *song, bool isSmall) {
    const std::string cover = Tonvale::FindCover(song).path;
    std::array<char, 4096> path{};
    if (cover.empty() || !isSmall) {
        return cover;
    }
    return VARNAudioGetScaleCoverPath(song, cover.c_str(), path.data(),
                                      static_cast<int>(path.size())) == 0
               ? path.data()
               : cover;
}

}  // namespace

bool SendCover(const char *song, bool isSmall, bool headerOnly) {
    const std::string path = PictureOf(song, isSmall);
    if (path.empty()) {
        throw Refusal{Code::kNoSuchItem};
    }
    const File file(path);
    std::array<char, 65536> block;
    const ssize_t first = file ? file.Read(0, block.data(), block.size()) : -1;
    const char *const type =
        first > 0 ? PictureType({block.data(), static_cast<std::size_t>(first)}) : nullptr;
    if (type == nullptr) {
        throw Refusal{Code::kNoSuchItem};
    }
    std::printf("Status: 200 OK\r\nContent-Type: %s\r\nContent-Length: %lld\r\n\r\n", type,
                static_cast<long long>(file.Size()));
    off_t place = 0;
    while (!headerOnly && place < file.Size()) {
        const ssize_t got = file.Read(place, block.data(), block.size());
        if (got <= 0 || std::fwrite(block.data(), 1, static_cast<std::size_t>(got), stdout) !=
                            static_cast<std::size_t>(got)) {
            return false;
        }
        place += got;
    }
    return std::fflush(stdout) == 0;
}

}  // namespace tonvale_entry

#include "service/covers/cover_copies.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <vector>

#include "service/base/slot.h"
#include "tonvale/media.h"
#include "varn/descriptor.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

namespace fs = std::filesystem;

constexpr off_t kMostBytes = off_t{256} << 20;

// A copy that could not be made is tried again after this time: the disk may have been full.
constexpr time_t kTryAgainSeconds = 600;

std::string Folder() {
    return SystemPath(varn::path::kCoverCopies);
}

// The file of one version of one picture in one size.
std::string FileOf(const struct stat &info, int side) {
    std::array<char, 128> name{};
    std::snprintf(name.data(), name.size(), "%lx-%lx-%lx.%lx-%lx-%d.jpg",
                  static_cast<unsigned long>(info.st_ino), static_cast<unsigned long>(info.st_dev),
                  static_cast<unsigned long>(info.st_mtim.tv_sec),
                  static_cast<unsigned long>(info.st_mtim.tv_nsec),
                  static_cast<unsigned long>(info.st_size), side);
    return Folder() + "/" + name.data();
}

// An empty file that tells of a copy that could not be made.
std::string MarkOf(const Picture &picture, int side) {
    return FileOf(picture.info, -side);
}

// The time of access tells that a copy is used, whatever the disk's own habit is.
Picture OpenUsed(const std::string &path) {
    Picture copy = OpenPicture(path);
    if (copy.file) {
        const timespec times[] = {{0, UTIME_NOW}, {0, UTIME_OMIT}};
        futimens(fileno(copy.file.get()), times);
    }
    return copy;
}

struct Copy {
    timespec used;
    off_t bytes;
    std::string path;
};

// Not true for a time to come: the clock was set back.
bool IsYoung(const struct stat &info) {
    const time_t age = std::time(nullptr) - info.st_mtim.tv_sec;
    return age >= 0 && age < kTryAgainSeconds;
}

// Removes old marks, and the copies that were used least recently until a quarter of the room is
// free.
void MakeRoom() {
    std::vector<Copy> copies;
    off_t taken = 0;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(Folder(), error)) {
        struct stat info {};
        if (lstat(entry.path().c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
            continue;
        }
        if (info.st_size == 0 && !IsYoung(info)) {  // an old mark
            unlink(entry.path().c_str());
        } else {
            copies.push_back({info.st_atim, info.st_size, entry.path()});
            taken += info.st_size;
        }
    }
    if (taken <= kMostBytes) {
        return;
    }
    std::sort(copies.begin(), copies.end(), [](const Copy &a, const Copy &b) {
        return std::pair(a.used.tv_sec, a.used.tv_nsec) < std::pair(b.used.tv_sec, b.used.tv_nsec);
    });
    for (auto copy = copies.begin(); copy != copies.end() && taken > kMostBytes / 4 * 3; ++copy) {
        taken -= unlink(copy->path.c_str()) == 0 ? copy->bytes : 0;
    }
}

}  // namespace

bool HasFailed(const Picture &picture, int side) {
    const varn::RunAs package(varn::Who::kPackage);
    struct stat mark {};
    return stat(MarkOf(picture, side).c_str(), &mark) == 0 && IsYoung(mark);
}

void NoteFailure(const Picture &picture, int side) {
    const varn::RunAs package(varn::Who::kPackage);
    const varn::UniqueFd mark(
        open(MarkOf(picture, side).c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (mark) {
        futimens(mark.Get(), nullptr);
    }
    MakeRoom();
}

Picture OpenCopy(const Picture &picture, int side, void (*beforeMaking)()) {
    const std::string path = FileOf(picture.info, side);
    if (Picture ready = OpenUsed(path); ready.file) {
        return ready;
    }
    if (HasFailed(picture, side)) {
        return {};
    }
    beforeMaking();
    const Slot slot = ScalingSlot();
    const std::string open = varn::DescriptorPath(fileno(picture.file.get()));
    if (!slot) {
        return {};
    }
    if (VARNAudioScaleImageTo(open.c_str(), path.c_str(), side) != 0) {
        NoteFailure(picture, side);
        return {};
    }
    MakeRoom();
    return OpenUsed(path);
}

}  // namespace tonvale_service

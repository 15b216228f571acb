// The small copy of a cover that is kept in the song's extended-attribute folder.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "misc/places.h"
#include "misc/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/media.h"
#include "varn/base.h"
#include "varn/process.h"
#include "varn/share.h"
#include "varn/systempath.h"

namespace Tonvale::misc {

namespace {

using support::Guarded;

using PathBuffer = std::array<char, 4096>;

constexpr char kScaledName[] = "VARNAUDIO_ART_NBAUDIO.jpg";
constexpr std::array kEarlierNames = {"ART_NBAUDIO.jpg", "ART:NBAUDIO.jpg"};

constexpr char kBox[] = "480x480>";  // fits in, and is never enlarged

constexpr mode_t kEveryUser = 0777;
constexpr uid_t kOwner = 1024;
constexpr gid_t kOwnerGroup = 100;

std::optional<struct stat> Look(const char *path) {
    struct stat info = {};
    return stat(path, &info) == 0 ? std::optional(info) : std::nullopt;
}

bool IsLater(const timespec &a, const timespec &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

bool IsUpToDate(const char *source, const char *scaled) {
    const auto from = Look(source);
    const auto to = Look(scaled);
    return from && to && IsLater(to->st_mtim, from->st_mtim);
}

void Remove(const char *path) {
    if (unlink(path) != 0 && errno != ENOENT) {
        LOG_ERROR(kSource, "Failed to unlink [%s] %m", path);
    }
}

// ---- the converter -----------------------------------------------------------------------------

// Ends a converter that does not come to an end: the time in seconds that it may take, in the
// variable in which it looks for that, unless an administrator has set one.
class TimeLimit {
  public:
    TimeLimit() : isOurs_(std::getenv(kVariable) == nullptr) {
        if (isOurs_) {
            setenv(kVariable, kSeconds, 0);
        }
    }
    ~TimeLimit() {
        if (isOurs_) {
            unsetenv(kVariable);
        }
    }
    TimeLimit(const TimeLimit &) = delete;
    TimeLimit &operator=(const TimeLimit &) = delete;

  private:
    static constexpr char kVariable[] = "MAGICK_TIME_LIMIT";
    static constexpr char kSeconds[] = "60";
    bool isOurs_;
};

// The converter reads "%d" and its like in the name of what it writes as a frame's number, and
// would write into another song's folder.
std::string PlainName(const char *target) {
    std::string plain;
    for (; *target != '\0'; ++target) {
        plain.append(*target == '%' ? 2 : 1, *target);
    }
    return plain;
}

bool Convert(const char *source, const char *target) {
    std::array<std::string, 7> words = {"convert", "-size",          kBox, "-thumbnail", kBox,
                                        source,    PlainName(target)};
    std::array<char *, words.size() + 1> argv = {};
    for (std::size_t i = 0; i < words.size(); ++i) {
        argv[i] = words[i].data();
    }
    const TimeLimit limit;
    return VLIBCExecv(SystemPath(varn::path::kConvert).c_str(), argv.data(), 1) == 0;
}

// The converter numbers the frames of an animation as "NAME-0.jpg", "NAME-1.jpg" and so on: the
// first becomes the result, the others go. False when there is none.
bool TakeFirstFrame(const std::string &target) {
    const std::size_t dot = target.rfind('.');
    if (dot == std::string::npos) {
        return false;
    }
    const auto frame = [&](int number) {
        return target.substr(0, dot) + "-" + std::to_string(number) + target.substr(dot);
    };
    const bool taken = rename(frame(0).c_str(), target.c_str()) == 0;
    for (int number = 1; taken && unlink(frame(number).c_str()) == 0; ++number) {
    }
    return taken;
}

// Every user may write where the result stands: a link in its place would have root write through
// it.
void RemoveLink(const char *source, const char *target) {
    struct stat info = {};
    if (std::string_view(source) != target && lstat(target, &info) == 0 && !S_ISDIR(info.st_mode) &&
        (S_ISLNK(info.st_mode) || info.st_nlink > 1)) {
        Remove(target);
    }
}

// What a converter that failed has begun to write does not stay; what it has not touched does.
void RemovePartial(const char *target, const std::optional<struct stat> &before) {
    const auto after = Look(target);
    const bool same = before && after && before->st_ino == after->st_ino &&
                      before->st_size == after->st_size &&
                      !IsLater(after->st_mtim, before->st_mtim);
    if (after && !same) {
        Remove(target);
    }
}

void GiveToEveryUser(const char *target) {
    const int fd = open(target, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 || fchmod(fd, kEveryUser) != 0) {
        LOG_ERROR(kSource, "Failed to chmod [%s] %m", target);
    }
    if (fd < 0 || fchown(fd, kOwner, kOwnerGroup) != 0) {
        LOG_ERROR(kSource, "Failed to chown [%s] %m", target);
    }
    if (fd >= 0) {
        close(fd);
    }
}

int Scale(const char *source, const char *target) {
    RemoveLink(source, target);
    const auto before = Look(target);
    if (!Convert(source, target)) {
        LOG_ERROR(kSource, "Failed to convert file [%s] to [%s]", source, target);
        RemovePartial(target, before);
        return -1;
    }
    if (!Look(target) && !TakeFirstFrame(target)) {
        LOG_ERROR(kSource, "file not exists [%s]", target);
        return -1;
    }
    GiveToEveryUser(target);
    return 0;
}

// ---- the copy of a song ------------------------------------------------------------------------

// The folder for a song's copy, made where it is missing; "" with a log line.
std::string FolderFor(const char *song) {
    PathBuffer eaDir = {};
    if (VARNEADirPath(song, eaDir.data(), eaDir.size()) != 0) {
        LOG_ERROR(kSource, "Failed to get eaDir path of [%s].[0x%04X %s:%d]", song, VLIBCErrGet(),
                  VLIBCErrFile(), VLIBCErrLine());
        return "";
    }
    if (VARNEAMKDir(eaDir.data()) != 0) {
        LOG_ERROR(kSource, "Failed to create eaDir [%s].[0x%04X %s:%d]", eaDir.data(),
                  VLIBCErrGet(), VLIBCErrFile(), VLIBCErrLine());
        return "";
    }
    return eaDir.data();
}

// The path of a copy that is up to date, made if there is none; "" when it cannot be made. Copies
// under earlier names that are out of date go.
std::string ScaledCover(const char *song, const char *source) {
    const std::string folder = FolderFor(song);
    if (folder.empty()) {
        return "";
    }
    const std::string scaled = folder + "/" + kScaledName;
    if (IsUpToDate(source, scaled.c_str())) {
        return scaled;
    }
    for (const char *name : kEarlierNames) {
        const std::string earlier = folder + "/" + name;
        if (IsUpToDate(source, earlier.c_str())) {
            return earlier;
        }
        Remove(earlier.c_str());
    }
    return Scale(source, scaled.c_str()) == 0 ? scaled : "";
}

// False, with a log line, when one of the arguments is missing.
bool IsGoodCall(std::initializer_list<const char *> arguments) {
    for (const char *argument : arguments) {
        if (argument == nullptr) {
            LOG_ERROR(kSource, "Bad parameters.");
            return false;
        }
    }
    return true;
}

}  // namespace

}  // namespace Tonvale::misc

int VARNAudioGetScaleCoverPath(const char *song, const char *source, char *buffer,
                               int size) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({song, source, size < 0 ? nullptr : buffer})) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const RootThenPackageUser root;
        const std::string path = ScaledCover(song, source);
        if (path.empty()) {
            return -1;
        }
        std::snprintf(buffer, static_cast<std::size_t>(size), "%s", path.c_str());
        return 0;
    });
}

int VARNAudioCheckScaleArt(const char *source, const char *scaled) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({source, scaled})) {
        return 0;
    }
    const RootThenPackageUser root;
    return IsUpToDate(source, scaled) ? 1 : 0;
}

int VARNAudioScaleImage(const char *source, const char *target) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({source, target})) {
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        const RootThenPackageUser root;
        return Scale(source, target);
    });
}

void VARNAudioRemoveFilesByGlob(const char *pattern) noexcept {
    using namespace Tonvale::misc;
    if (!IsGoodCall({pattern})) {
        return;
    }
    const RootThenPackageUser root;
    const Matches matches(pattern);
    for (const char *path : matches.Names()) {
        if (unlink(path) != 0) {
            LOG_ERROR(kSource, "Failed to unlink [%s] %m", path);
        }
    }
}

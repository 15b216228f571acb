#include "service/covers/cover.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "service/base/failure.h"
#include "service/base/slot.h"
#include "service/covers/cover_copies.h"
#include "service/covers/picture_format.h"
#include "service/songs/music_places.h"
#include "tonvale/media.h"
#include "varn/descriptor.h"
#include "varn/path.h"
#include "varn/run_as.h"
#include "varn/share.h"

namespace tonvale_service {

namespace {

constexpr std::size_t kHeadSize = 12;

constexpr std::string_view kJpeg = "image/jpeg";
constexpr std::string_view kPng = "image/png";

// Takes a descriptor over. The type is empty when it is no picture.
Picture Opened(int fd, const struct stat &info) {
    Picture picture{{}, info};
    picture.file.reset(fdopen(fd, "rb"));
    if (!picture.file) {
        close(fd);
        return picture;
    }
    std::array<char, kHeadSize> head{};
    const std::size_t got = std::fread(head.data(), 1, head.size(), picture.file.get());
    std::rewind(picture.file.get());
    picture.type = FormatOfPicture({head.data(), got}).type;
    return picture;
}

using varn::PathBuffer;

// A picture beside a song, to which no link may lead.
Picture OpenBeside(const PlacedSong &song, const std::string &path) {
    Picture picture = OpenPicture(path);
    if (picture.file && !song.IsOpen(fileno(picture.file.get()), path)) {
        return Picture();
    }
    return picture;
}

// The path of the small copy. Where there is none, makes it of the open `picture`, when there is a
// turn for that. Empty when it cannot be made, or too many are being made.
std::string ScaledCopy(const PlacedSong &song, const std::string &cover, const Picture &picture,
                       void (*beforeMaking)()) {
    PathBuffer scaled{};
    if (VARNEADirPath(song.HeldPath().c_str(), scaled.data(), scaled.size()) != 0) {
        return "";
    }
    for (const char *name : kSmallCopies) {
        const std::string ready = std::string(scaled.data()) + "/" + name;
        if (VARNAudioCheckScaleArt(cover.c_str(), ready.c_str()) == 1) {
            return ready;
        }
    }
    if (HasFailed(picture, kUsualSide)) {
        return "";
    }
    beforeMaking();
    const Slot slot = ScalingSlot();
    if (!slot) {
        return "";
    }
    const std::string open = varn::DescriptorPath(fileno(picture.file.get()));
    if (VARNAudioGetScaleCoverPath(song.HeldPath().c_str(), open.c_str(), scaled.data(),
                                   static_cast<int>(scaled.size())) != 0) {
        NoteFailure(picture, kUsualSide);
        return "";
    }
    return scaled.data();
}

// The picture from the tags of a song before one in its folder.
std::string FindCover(const char *song) {
    PathBuffer path = {};
    const int size = static_cast<int>(path.size());
    if (VARNAudioGetEmbeddedCoverPath(song, path.data(), size) != 0 &&
        VARNAudioGetFolderCoverPath(song, path.data(), size) != 0) {
        throw Failure(Reason::kNoCover);
    }
    return path.data();
}

}  // namespace

Picture OpenPicture(const std::string &path) {
    const varn::RunAs root(varn::Who::kRoot);
    struct stat info {};
    varn::UniqueFd fd(
        open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return fd && fstat(fd.Get(), &info) == 0 && S_ISREG(info.st_mode) ? Opened(fd.Release(), info)
                                                                      : Picture();
}

Picture OpenCoverOf(uid_t owner, const std::string &path, int side, void (*beforeMaking)()) {
    const PlacedSong song(owner, path);
    const std::string cover = FindCover(song.Path().c_str());
    // Checked first: the converter reads much more than pictures, and is started as root.
    Picture picture = OpenBeside(song, cover);
    if (picture.type.empty()) {
        throw Failure(Reason::kNotAPicture, cover);
    }
    if (side == kOriginalSide) {
        return picture;
    }
    Picture copy = side == kUsualSide
                       ? OpenBeside(song, ScaledCopy(song, cover, picture, beforeMaking))
                       : OpenCopy(picture, side, beforeMaking);
    return copy.type.empty() ? std::move(picture) : std::move(copy);
}

bool HasNoPictures(const std::string &folder) {
    PathBuffer path{};
    const int size = static_cast<int>(path.size());
    if (VARNAudioGetFolderCoverPath(folder.c_str(), path.data(), size) == 0 ||
        VARNEADirPath((folder + "/x").c_str(), path.data(), path.size()) != 0) {
        return false;
    }
    const varn::RunAs root(varn::Who::kRoot);
    struct stat info {};
    return lstat(std::filesystem::path(path.data()).parent_path().c_str(), &info) != 0 &&
           errno == ENOENT;
}

Picture FetchCover(const std::string &url) {
    if (!Tonvale::ImageDownload::IsValidUrlPrefix(url)) {
        throw Failure(Reason::kNotAnHttpAddress, url);
    }
    // A file without a name goes with this process, however that ends.
    const int fd = memfd_create("cover", MFD_CLOEXEC);
    struct stat info {};
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    Picture picture = Opened(fd, info);
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    Tonvale::ImageDownload download(url.c_str());
    if (!picture.file || !download.Download(path.c_str(), kMostCoverBytes) ||
        fstat(fd, &info) != 0) {
        throw Failure(Reason::kNoPictureAt, url);
    }
    const int again = dup(fd);
    picture = again >= 0 ? Opened(again, info) : Picture();
    if (picture.type != kJpeg && picture.type != kPng) {
        throw Failure(Reason::kNoPictureAt, url);
    }
    return picture;
}

}  // namespace tonvale_service

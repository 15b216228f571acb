// The picture that is shown for a song.
#pragma once

#include <sys/stat.h>

#include <array>
#include <string>
#include <string_view>

#include "varn/handles.h"

namespace tonvale_service {

// Sides of a cover, besides those of cover_copies.h: the picture as it is, and the copy that is
// kept beside its song.
inline constexpr int kOriginalSide = 0;
inline constexpr int kUsualSide = 480;

// What a picture of a station or podcast may have.
inline constexpr long kMostCoverBytes = 5 << 20;

// The names of small copies that the library looks for, those of earlier versions last.
inline constexpr std::array kSmallCopies = {"VARNAUDIO_ART_NBAUDIO.jpg", "ART_NBAUDIO.jpg",
                                            "ART:NBAUDIO.jpg"};

// A picture that is open, at its beginning.
struct Picture {
    varn::File file;
    struct stat info = {};
    std::string_view type = {};  // its MIME type, by what is in it
};

// Opens a regular file as root, and no link to one. Without a file when it cannot, without a type
// when it is no picture that a browser shows.
Picture OpenPicture(const std::string &path);

// The cover of a song of the library: of a user's personal one, or of everybody's (owner 0). The
// copy of that side is made where it is missing. Where that fails, which the log tells, or too many
// are being made, the result is the picture itself. Throws a Failure when there is none, what is
// there is no picture that a browser shows, or the path leads out of the music of its owner.
// `beforeMaking` is called before a copy is made, which may take a minute. Leaves the process as
// the package's account.
Picture OpenCoverOf(uid_t owner, const std::string &path, int side, void (*beforeMaking)());

// True for a folder in which no song has a picture: it has neither a picture of its own nor an
// extended-attribute folder for those from tags.
bool HasNoPictures(const std::string &folder);

// The JPEG or PNG at an address of http:// or https://, which must announce its length. Where the
// address may lead is the caller's to check. Throws a Failure.
Picture FetchCover(const std::string &url);

// Hands the whole picture to `write`, block by block, as long as that returns true. True when all
// of it was taken.
template <typename Write>
bool CopyPicture(const Picture &picture, const Write &write) {
    char block[65536];
    off_t left = picture.info.st_size;
    while (left > 0) {
        const std::size_t got = std::fread(block, 1, sizeof block, picture.file.get());
        const std::string_view bytes(block, got < static_cast<std::size_t>(left) ? got : left);
        if (bytes.empty() || !write(bytes)) {
            return false;
        }
        left -= static_cast<off_t>(bytes.size());
    }
    return true;
}

}  // namespace tonvale_service

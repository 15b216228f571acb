// Embedded pictures: counting them, and extracting the cover for the programs that show it.
#pragma once

#include <taglib/tbytevector.h>

#include <string>
#include <vector>

#include "varnindex/read/open_audio.h"

namespace varnindex {

struct Picture {
    TagLib::ByteVector data;
    bool isFrontCover = false;
};

// The pictures in all of a file's tags, in their order.
std::vector<Picture> ListPictures(const OpenedFile &opened);

// The extension ("jpg", "png", "gif", "webp", "bmp") that a picture's first bytes speak for; "" for
// anything else, a link in place of a picture for example.
std::string PictureExtension(const TagLib::ByteVector &data);

// Returns the number of pictures in the file's tags, and brings the cover in the file's
// extended-attribute folder in step with them: the front cover, else the first picture, as
// "APIC.EXT", readable by everybody, whole or not at all. It is left alone where it is the same
// already, and removed where the file has no such picture any more. Pictures of more than 16 MiB and
// of unknown formats count, but are not extracted. When the folder cannot be read or written,
// `problem` gets a text for a person; otherwise it becomes "".
// Different files may be worked on by different threads at once.
int StorePictures(const OpenedFile &opened, const std::string &path, std::string &problem);

}  // namespace varnindex

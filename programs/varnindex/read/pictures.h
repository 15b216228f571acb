// Embedded pictures: counting them, and extracting the cover for the programs that show it.
#pragma once

#include <taglib/tbytevector.h>

#include "varnindex/descriptor.h"
#include "varnindex/read/open_audio.h"

namespace varnindex {

struct Picture {
    TagLib::ByteVector data;
    bool isFrontCover = false;
};

// The cover that a thread has written last. The songs of an album often have the same one: they then
// share a file on the disk, each owner's songs their own.
struct KeptCover {
    unsigned owner = 0;
    TagLib::ByteVector data;
    Descriptor file;
};

// The pictures in all of a file's tags, in their order.
std::vector<Picture> ListPictures(const OpenedFile &opened);

// The extension ("jpg", "png", "gif", "webp", "bmp") that a picture's first bytes speak for; "" for
// anything else, a link in place of a picture for example.
std::string PictureExtension(const TagLib::ByteVector &data);

// Brings the cover in the extended-attribute folder of a file in step with its pictures: the front
// cover, else the first picture, as "APIC.EXT", readable by everybody, whole or not at all. It is
// left alone where it is the same already, and removed where there is no such picture any more.
// Pictures of more than 16 MiB and of unknown formats are not extracted. Returns "", or a reason for
// a person when the folder cannot be read or written. Several threads may work on different files.
std::string StoreCover(const std::vector<Picture> &pictures, const std::string &path,
                       KeptCover *kept = nullptr);

}  // namespace varnindex

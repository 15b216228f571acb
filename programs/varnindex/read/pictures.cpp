#include "varnindex/read/pictures.h"

#include <taglib/apetag.h>
#include <taglib/asftag.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4tag.h>

#include "service/covers/picture_format.h"
#include "varn/eadir.h"
#include "varn/share.h"
#include "varnindex/read/ea_folder.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr unsigned kMostBytes = 16U << 20;

void AddFrom(const TagLib::List<TagLib::FLAC::Picture *> &list, std::vector<Picture> &pictures) {
    for (const TagLib::FLAC::Picture *picture : list) {
        pictures.push_back({picture->data(), picture->type() == TagLib::FLAC::Picture::FrontCover});
    }
}

void AddFrom(const TagLib::ID3v2::Tag &tag, std::vector<Picture> &pictures) {
    using TagLib::ID3v2::AttachedPictureFrame;
    for (const TagLib::ID3v2::Frame *frame : tag.frameList("APIC")) {
        if (const auto *picture = dynamic_cast<const AttachedPictureFrame *>(frame)) {
            pictures.push_back(
                {picture->picture(), picture->type() == AttachedPictureFrame::FrontCover});
        }
    }
}

// An item is a file name, a NUL and the picture.
void AddFrom(const TagLib::APE::Tag &tag, std::vector<Picture> &pictures) {
    for (const auto &[key, item] : tag.itemListMap()) {
        const TagLib::String name = key.upper();
        if (!name.startsWith("COVER ART") || item.type() != TagLib::APE::Item::Binary) {
            continue;
        }
        const TagLib::ByteVector data = item.binaryData();
        const int nameEnd = data.find('\0');
        pictures.push_back({nameEnd >= 0 ? data.mid(static_cast<unsigned>(nameEnd) + 1) : data,
                            name == "COVER ART (FRONT)"});
    }
}

void AddFrom(const TagLib::MP4::Tag &tag, std::vector<Picture> &pictures) {
    if (tag.contains("covr")) {
        for (const TagLib::MP4::CoverArt &art : tag.item("covr").toCoverArtList()) {
            pictures.push_back({art.data(), false});
        }
    }
}

void AddFrom(const TagLib::ASF::Tag &tag, std::vector<Picture> &pictures) {
    const auto found = tag.attributeListMap().find("WM/Picture");
    if (found == tag.attributeListMap().end()) {
        return;
    }
    for (const TagLib::ASF::Attribute &attribute : found->second) {
        const TagLib::ASF::Picture picture = attribute.toPicture();
        if (picture.isValid()) {
            pictures.push_back(
                {picture.picture(), picture.type() == TagLib::ASF::Picture::FrontCover});
        }
    }
}

void AddFromTag(TagLib::Tag *tag, std::vector<Picture> &pictures) {
    if (const auto *id3 = dynamic_cast<TagLib::ID3v2::Tag *>(tag)) {
        AddFrom(*id3, pictures);
    } else if (auto *xiph = dynamic_cast<TagLib::Ogg::XiphComment *>(tag)) {
        AddFrom(xiph->pictureList(), pictures);
    } else if (const auto *ape = dynamic_cast<TagLib::APE::Tag *>(tag)) {
        AddFrom(*ape, pictures);
    } else if (const auto *mp4 = dynamic_cast<TagLib::MP4::Tag *>(tag)) {
        AddFrom(*mp4, pictures);
    } else if (const auto *asf = dynamic_cast<TagLib::ASF::Tag *>(tag)) {
        AddFrom(*asf, pictures);
    }
}

// The first picture to extract, front covers first; null when there is none.
const Picture *Cover(const std::vector<Picture> &pictures) {
    const Picture *cover = nullptr;
    for (const Picture &picture : pictures) {
        if (picture.data.size() > kMostBytes || PictureExtension(picture.data).empty()) {
            continue;
        }
        if (picture.isFrontCover) {
            return &picture;
        }
        cover = cover != nullptr ? cover : &picture;
    }
    return cover;
}

// ---- the extended-attribute folder -------------------------------------------------------------

constexpr std::array kExtensions = {"jpg", "png", "gif", "webp", "bmp"};
constexpr const char *kTemporary = ".cover.tmp";

std::string CoverName(const std::string &extension) {
    return "APIC." + extension;
}

bool HasContent(const Descriptor &folder, const std::string &name, const TagLib::ByteVector &data) {
    return ReadEaFile(folder, name, data.size()) == std::string_view(data.data(), data.size());
}

// Removes the covers of other formats than `kept`. False with errno set.
bool RemoveOthers(const Descriptor &folder, const std::string &kept) {
    for (const char *extension : kExtensions) {
        if (extension != kept && ::unlinkat(folder.Get(), CoverName(extension).c_str(), 0) != 0 &&
            errno != ENOENT) {
            return false;
        }
    }
    return true;
}

// False with errno set.
bool WriteCover(const Descriptor &folder, const std::string &name, const TagLib::ByteVector &data,
                KeptCover *kept) {
    constexpr unsigned kMostKept = 1U << 20;
    const bool isKept = kept != nullptr && data.size() <= kMostKept;
    if (isKept && kept->data != data) {
        kept->data = {data.data(), data.size()};  // not a part of the whole tag
        kept->file = Descriptor();
    }
    return WriteEaFile(folder, name, kTemporary, {data.data(), data.size()},
                       isKept ? &kept->file : nullptr);
}

// False with errno set.
bool BringInStep(const std::string &eaDir, const Picture *cover, KeptCover *kept) {
    if (cover == nullptr) {
        const Descriptor folder = varn::OpenEADir(eaDir);
        return folder ? RemoveOthers(folder, "") : errno == ENOENT;
    }
    const Descriptor folder(VARNEAOpenDir(eaDir.c_str()));
    const std::string extension = PictureExtension(cover->data);
    const std::string name = CoverName(extension);
    const TagLib::ByteVector &data = cover->data;
    return folder && (HasContent(folder, name, data) || WriteCover(folder, name, data, kept)) &&
           RemoveOthers(folder, extension);
}

}  // namespace

std::vector<Picture> ListPictures(const OpenedFile &opened) {
    std::vector<Picture> pictures;
    if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(opened.file.get())) {
        AddFrom(flac->pictureList(), pictures);
    }
    for (TagLib::Tag *tag : opened.tags) {
        AddFromTag(tag, pictures);
    }
    for (const auto &tag : opened.moreTags) {
        AddFromTag(tag.get(), pictures);
    }
    return pictures;
}

std::string PictureExtension(const TagLib::ByteVector &data) {
    return std::string(tonvale_service::FormatOfPicture({data.data(), data.size()}).extension);
}

std::string StoreCover(const std::vector<Picture> &pictures, const std::string &path,
                       KeptCover *kept) {
    const Picture *const cover = Cover(pictures);
    const std::optional<std::string> eaDir = EaFolderOf(path);
    if (!eaDir) {
        return cover != nullptr ? "the cover is not extracted: the path is too long" : "";
    }
    return BringInStep(*eaDir, cover, kept)
               ? ""
               : "cannot bring the cover in " + Printable(*eaDir) +
                     " in step: " + std::generic_category().message(errno);
}

}  // namespace varnindex

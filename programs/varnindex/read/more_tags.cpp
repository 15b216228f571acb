#include "varnindex/read/more_tags.h"

#include <taglib/apetag.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2header.h>
#include <taglib/id3v2tag.h>

namespace varnindex {
namespace {

using TagLib::ByteVector;

// Where the ID3v2 tags at the front begin, and last where they end.
std::vector<long> FrontId3(BoundedStream &stream) {
    constexpr std::size_t kMost = 4;
    constexpr unsigned long kHead = 10;
    std::vector<long> places = {0};
    while (places.size() <= kMost) {
        const ByteVector head = stream.BlockAt(places.back(), kHead);
        if (head.size() < kHead || !head.startsWith("ID3")) {
            break;
        }
        const TagLib::ID3v2::Header header(head);
        const long end = places.back() + static_cast<long>(header.completeTagSize());
        if (end > stream.length()) {
            break;
        }
        places.push_back(end);
    }
    return places;
}

}  // namespace

long EndOfFrontId3(BoundedStream &stream) {
    return FrontId3(stream).back();
}

void AddFrontId3(TagLib::File &file, BoundedStream &stream, std::size_t known, Tags &tags) {
    const std::vector<long> places = FrontId3(stream);
    for (std::size_t i = known; i + 1 < places.size(); ++i) {
        tags.push_back(std::make_unique<TagLib::ID3v2::Tag>(
            &file, places[i], TagLib::ID3v2::FrameFactory::instance()));
    }
}

void AddEndApe(TagLib::File &file, BoundedStream &stream, Tags &tags) {
    constexpr long kFooter = 32;
    constexpr long kId3v1 = 128;
    for (const long behind : {0L, kId3v1}) {
        const long footer = stream.length() - behind - kFooter;
        if (footer >= 0 && stream.BlockAt(footer, 8) == "APETAGEX") {
            tags.push_back(std::make_unique<TagLib::APE::Tag>(&file, footer));
            return;
        }
    }
}

TagLib::PropertyMap PropertiesOf(const TagLib::Tag &tag) {
    if (const auto *const id3 = dynamic_cast<const TagLib::ID3v2::Tag *>(&tag)) {
        return id3->properties();
    }
    if (const auto *const ape = dynamic_cast<const TagLib::APE::Tag *>(&tag)) {
        return ape->properties();
    }
    if (const auto *const xiph = dynamic_cast<const TagLib::Ogg::XiphComment *>(&tag)) {
        return xiph->properties();
    }
    TagLib::PropertyMap names = tag.properties();
    names.erase("COMMENT");  // may be what a program has noted for itself
    return names;
}

}  // namespace varnindex

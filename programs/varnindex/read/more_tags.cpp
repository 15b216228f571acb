#include "varnindex/read/more_tags.h"

#include <taglib/apetag.h>
#include <taglib/id3v2header.h>
#include <taglib/id3v2tag.h>

namespace varnindex {

long EndOfFrontId3(BoundedStream &stream) {
    constexpr int kMost = 4;
    constexpr unsigned long kHead = 10;
    long end = 0;
    for (int i = 0; i < kMost; ++i) {
        const TagLib::ByteVector head = stream.BlockAt(end, kHead);
        if (head.size() < kHead || !head.startsWith("ID3")) {
            break;
        }
        const long next = end + static_cast<long>(TagLib::ID3v2::Header(head).completeTagSize());
        if (next > stream.length()) {
            break;
        }
        end = next;
    }
    return end;
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

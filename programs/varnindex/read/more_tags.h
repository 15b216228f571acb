// Tags that TagLib's class for a format passes over, since the format has others.
#pragma once

#include <taglib/tag.h>
#include <taglib/tfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/xiphcomment.h>

#include <vector>

#include "varnindex/read/stream.h"

namespace varnindex {

using Tags = std::vector<std::unique_ptr<TagLib::Tag>>;

// A file of a format that TagLib does not know. Its own tag is empty.
class UnknownFile : public TagLib::File {
  public:
    explicit UnknownFile(BoundedStream &stream) : File(&stream) {}

    TagLib::Tag *tag() const override { return &tag_; }
    TagLib::AudioProperties *audioProperties() const override { return nullptr; }
    bool save() override { return false; }

  private:
    mutable TagLib::Ogg::XiphComment tag_;
};

// Where the ID3v2 tags at the front end; 0 when there are none.
long EndOfFrontId3(BoundedStream &stream);

// The texts of a tag under TagLib's common names: all of them for a kind that other formats borrow,
// otherwise those that every kind has.
TagLib::PropertyMap PropertiesOf(const TagLib::Tag &tag);

}  // namespace varnindex

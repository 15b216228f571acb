// Matroska (RFC 9559), which TagLib does not read: a track of sound, tags and pictures.
#pragma once

#include <taglib/tfile.h>
#include <taglib/xiphcomment.h>

#include <memory>
#include <string>

#include "varnindex/read/audio.h"
#include "varnindex/read/stream.h"

namespace varnindex {

// Not valid when it has no track of sound.
class MatroskaFile : public TagLib::File {
  public:
    explicit MatroskaFile(BoundedStream &stream);

    TagLib::Tag *tag() const override { return tags_.get(); }
    TagLib::AudioProperties *audioProperties() const override { return nullptr; }
    bool save() override { return false; }

    const Audio &Sound() const { return audio_; }
    const std::string &Codec() const { return codec_; }  // "" for one that is not known
    long FirstCluster() const { return firstCluster_; }  // where what is played begins

  private:
    Audio audio_;
    std::string codec_;
    long firstCluster_ = 0;
    std::unique_ptr<TagLib::Ogg::XiphComment> tags_;
};

}  // namespace varnindex

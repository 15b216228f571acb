// Files of one-bit audio (DSD), which TagLib does not read: DSF (Sony's DSF file format, version
// 1.01) and DSDIFF (Philips' DSDIFF 1.5).
#pragma once

#include <taglib/audioproperties.h>
#include <taglib/id3v2tag.h>
#include <taglib/tfile.h>
#include <taglib/tiostream.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace varnindex {

// What the headers tell.
struct DsdAudio {
    std::uint64_t milliseconds = 0;
    std::uint64_t sampleRate = 0;  // bits per second and channel
    std::uint64_t channels = 0;
    bool isCompressed = false;  // DST, of DSDIFF alone
    long begin = 0;             // of the audio, in the file
    long end = 0;
    long tag = 0;  // where an ID3v2 tag begins; 0: none
};

// A file with the tag that either format may have in a part of its own, for reading. Not valid when
// the headers are damaged.
class DsdFile : public TagLib::File {
  public:
    enum class Kind { kDsf, kDsdiff };

    DsdFile(TagLib::IOStream &stream, Kind kind);

    TagLib::Tag *tag() const override { return tag_.get(); }
    TagLib::AudioProperties *audioProperties() const override { return properties_.get(); }
    bool save() override { return false; }

    const DsdAudio &Audio() const { return audio_; }

  private:
    class Properties;

    DsdAudio audio_;
    std::unique_ptr<TagLib::ID3v2::Tag> tag_;
    std::unique_ptr<TagLib::AudioProperties> properties_;
};

}  // namespace varnindex

// Any bytes as a file of one-bit audio, in both formats: what is valid lies in the file and can be
// told.
#include <taglib/tbytevectorstream.h>

#include <cstddef>
#include <cstdint>

#include "require.h"
#include "varnindex/dsd.h"

namespace {

using varnindex::DsdFile;

void Check(const DsdFile &file, long size) {
    const TagLib::AudioProperties *properties = file.audioProperties();
    Require(file.isValid() == (properties != nullptr), "a valid file tells of its audio");
    Require(file.isValid() == (file.tag() != nullptr), "a valid file has a tag");
    if (properties == nullptr) {
        return;
    }
    const varnindex::DsdAudio &audio = file.Audio();
    Require(audio.begin > 0 && audio.begin < audio.end && audio.end <= size,
            "the audio lies in the file");
    Require(audio.tag >= 0 && audio.tag <= size, "the tag lies in the file");
    Require(properties->sampleRate() > 0 && properties->channels() > 0, "the audio has a form");
    Require(properties->lengthInMilliseconds() >= 0 && properties->lengthInSeconds() >= 0 &&
                properties->bitrate() >= 0,
            "nothing is negative");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const TagLib::ByteVector bytes(reinterpret_cast<const char *>(data),
                                   static_cast<unsigned>(size));
    for (const DsdFile::Kind kind : {DsdFile::Kind::kDsf, DsdFile::Kind::kDsdiff}) {
        TagLib::ByteVectorStream stream(bytes);
        Check(DsdFile(stream, kind), static_cast<long>(size));
    }
    return 0;
}

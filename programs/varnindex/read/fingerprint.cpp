#include "varnindex/read/fingerprint.h"

#include <taglib/flacfile.h>

#include <algorithm>
#include <string_view>

#include "varnindex/hash.h"

namespace varnindex {
namespace {

constexpr long kBlock = 4096;

}  // namespace

std::int64_t Fingerprint(const OpenedFile &opened, BoundedStream &stream) {
    Hasher hash;
    // The encoder of FLAC has stored a checksum of all samples.
    if (auto *const flac = dynamic_cast<TagLib::FLAC::File *>(opened.file.get());
        flac != nullptr && flac->audioProperties() != nullptr) {
        const TagLib::ByteVector md5 = flac->audioProperties()->signature();
        const bool isSet = std::any_of(md5.begin(), md5.end(), [](char c) { return c != 0; });
        if (isSet) {
            return hash.Add(std::string_view(md5.data(), md5.size())).Value();
        }
    }
    const ByteRange sound = opened.sound;
    hash.Add(sound.Length());
    const auto add = [&](long begin) {
        const long wanted = std::clamp(sound.end - begin, 0L, kBlock);
        hash.Add(stream.At(begin, static_cast<unsigned long>(wanted)));
    };
    for (const long begin : sound.Thirds()) {
        add(begin);
    }
    add(std::max(sound.end - kBlock, sound.begin));
    return hash.Value();
}

}  // namespace varnindex

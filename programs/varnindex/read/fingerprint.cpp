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
    const ByteRange range = opened.sound;
    const long length = range.end - range.begin;
    hash.Add(length);
    for (const long offset : {0L, length / 3, 2 * (length / 3), length - kBlock}) {
        const long start = std::max(offset, 0L);
        const long wanted = std::clamp(length - start, 0L, kBlock);
        const TagLib::ByteVector block =
            stream.BlockAt(range.begin + start, static_cast<unsigned long>(wanted));
        hash.Add(std::string_view(block.data(), block.size()));
    }
    return hash.Value();
}

}  // namespace varnindex

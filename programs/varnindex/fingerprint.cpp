#include "fingerprint.h"

#include <taglib/flacfile.h>
#include <taglib/mpegfile.h>

#include <algorithm>
#include <string_view>

#include "dsd.h"
#include "hash.h"

namespace varnindex {
namespace {

constexpr long kBlock = 4096;

struct Range {
    long begin = 0;
    long end = 0;
};

// Tags of an MP3 file stand in front (ID3v2) and behind (APE, ID3v1).
Range AudioRange(TagLib::File &file, BoundedStream &stream) {
    if (const auto *const dsd = dynamic_cast<DsdFile *>(&file)) {
        return {dsd->Audio().begin, dsd->Audio().end};
    }
    Range range{0, stream.length()};
    auto *const mpeg = dynamic_cast<TagLib::MPEG::File *>(&file);
    if (mpeg == nullptr) {
        return range;
    }
    stream.AllowSearch();  // again for what it has found once
    range.begin = std::max(mpeg->firstFrameOffset(), 0L);
    if (mpeg->hasID3v1Tag()) {
        range.end -= 128;
    }
    if (mpeg->hasAPETag() || range.end < range.begin) {
        const long last = mpeg->lastFrameOffset();  // none behind a tag that is too large
        range.end = last > range.begin ? last : std::max(stream.length(), range.begin);
    }
    return range;
}

}  // namespace

std::int64_t Fingerprint(TagLib::File &file, BoundedStream &stream) {
    Hasher hash;
    // The encoder of FLAC has stored a checksum of all samples.
    if (auto *const flac = dynamic_cast<TagLib::FLAC::File *>(&file);
        flac != nullptr && flac->audioProperties() != nullptr) {
        const TagLib::ByteVector md5 = flac->audioProperties()->signature();
        const bool isSet = std::any_of(md5.begin(), md5.end(), [](char c) { return c != 0; });
        if (isSet) {
            return hash.Add(std::string_view(md5.data(), md5.size())).Value();
        }
    }
    const Range range = AudioRange(file, stream);
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

#include "varnindex/read/dsd.h"

namespace varnindex {
namespace {

using TagLib::ByteVector;

// A number as it is told; 0 for an absurd one.
int Plausible(unsigned number, unsigned most) {
    return number <= most ? static_cast<int>(number) : 0;
}

constexpr unsigned kMostRate = 100'000'000;
constexpr unsigned kMostChannels = 256;

// Where something of a told size ends, that is no longer than what it stands in.
long EndOf(long begin, long long size, long end) {
    return size < 0 || size > end - begin ? end : begin + static_cast<long>(size);
}

}  // namespace

// Three chunks in a fixed order, in little endian.
DsdFile ReadDsf(BoundedStream &stream) {
    constexpr long kSound = 92;
    const ByteVector head = stream.BlockAt(0, kSound);
    DsdFile file;
    if (head.size() < kSound || !head.startsWith("DSD ") || head.mid(28, 4) != "fmt " ||
        head.mid(80, 4) != "data") {
        return file;
    }
    file.audio.channels = Plausible(head.toUInt(52U, false), kMostChannels);
    file.audio.sampleRate = Plausible(head.toUInt(56U, false), kMostRate);
    file.audio.milliseconds = Milliseconds(static_cast<std::uint64_t>(head.toLongLong(64U, false)),
                                           file.audio.sampleRate);
    const long tag = EndOf(0, head.toLongLong(20U, false), stream.length());
    file.tag = tag >= kSound && tag < stream.length() ? tag : 0;
    const long end = file.tag > 0 ? file.tag : stream.length();
    file.sound = {kSound, std::max(EndOf(80, head.toLongLong(84U, false), end), kSound)};
    return file;
}

// Chunks, in big endian; those of one stand among the others here.
DsdFile ReadDsdiff(BoundedStream &stream) {
    constexpr int kMostChunks = 1000;  // a file has some ten of them
    constexpr long kHead = 12;
    constexpr long kFirst = 16;
    DsdFile file;
    Audio &audio = file.audio;
    long next = stream.BlockAt(0, 4) == "FRM8" ? kFirst : stream.length();
    for (int i = 0; i < kMostChunks && next + kHead <= stream.length(); ++i) {
        const ByteVector head = stream.BlockAt(next, kHead + 4);
        const ByteVector name = head.mid(0, 4);
        const long begin = next + kHead;
        const long end = EndOf(begin, head.toLongLong(4U), stream.length());
        next = end + (end - begin) % 2;
        if (name == "PROP") {
            next = begin + 4;
        } else if (name == "FS  ") {
            audio.sampleRate = Plausible(head.toUInt(12U), kMostRate);
        } else if (name == "CHNL") {
            audio.channels = Plausible(head.toUShort(12U), kMostChannels);
        } else if (name == "DSD " || name == "DST ") {
            file.isCompressed = name == "DST ";
            file.sound = {begin, end};
        } else if (name == "ID3 ") {
            file.tag = begin;
        }
    }
    // Compressed sound begins with a chunk that tells its frames.
    const ByteVector frames = stream.BlockAt(file.sound.begin, kHead + 6);
    if (file.isCompressed && frames.size() == kHead + 6) {
        audio.milliseconds = Milliseconds(frames.toUInt(12U), frames.toUShort(16U));
    } else if (!file.isCompressed && audio.channels > 0) {
        audio.milliseconds = Milliseconds(static_cast<std::uint64_t>(file.sound.Length()) * 8 /
                                              static_cast<unsigned>(audio.channels),
                                          audio.sampleRate);
    }
    return file;
}

}  // namespace varnindex

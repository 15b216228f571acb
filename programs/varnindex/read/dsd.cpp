#include "varnindex/read/dsd.h"

#include <algorithm>
#include <cstdint>

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr int kMostChunks = 1000;  // a file has some ten of them

// Of all that is compared with the sizes of files.
std::uint64_t Unsigned(long long number) {
    return static_cast<std::uint64_t>(number);
}

// Rate and channels as they are told; absurd ones become 0.
void SetForm(Audio &audio, std::uint64_t rate, std::uint64_t channels) {
    constexpr std::uint64_t kMostRate = 100'000'000;
    constexpr std::uint64_t kMostChannels = 256;
    audio.sampleRate = rate <= kMostRate ? static_cast<int>(rate) : 0;
    audio.channels = channels <= kMostChannels ? static_cast<int>(channels) : 0;
}

std::optional<DsdFile> IfPlausible(const DsdFile &file) {
    const bool isPlausible =
        file.audio.sampleRate > 0 && file.audio.channels > 0 && file.sound.Length() > 0;
    return isPlausible ? std::optional(file) : std::nullopt;
}

struct Chunk {
    ByteVector name;
    long begin = 0;  // of what is in it
    long end = 0;
};

// Calls `use` with each chunk of DSDIFF between two offsets. A chunk that claims to be longer than
// what it stands in ends there.
template <typename Use>
void ForEachChunk(BoundedStream &stream, long begin, long end, const Use &use) {
    constexpr long kHead = 12;
    for (int i = 0; i < kMostChunks && end - begin >= kHead; ++i) {
        const ByteVector head = stream.BlockAt(begin, kHead);
        if (head.size() < kHead) {
            return;
        }
        begin += kHead;
        const std::uint64_t size = std::min(Unsigned(head.toLongLong(4U)), Unsigned(end - begin));
        const Chunk chunk{head.mid(0, 4), begin, begin + static_cast<long>(size)};
        use(chunk);
        begin = chunk.end + static_cast<long>(size % 2);
    }
}

void ReadProperty(const Chunk &chunk, const ByteVector &data, DsdFile &file) {
    if (chunk.name == "FS  " && data.size() >= 4) {
        SetForm(file.audio, data.toUInt(0U), Unsigned(file.audio.channels));
    } else if (chunk.name == "CHNL" && data.size() >= 2) {
        SetForm(file.audio, Unsigned(file.audio.sampleRate), data.toUShort(0U));
    } else if (chunk.name == "CMPR") {
        file.isCompressed = data.startsWith("DST ");
    }
}

}  // namespace

// Three chunks in a fixed order, in little endian.
std::optional<DsdFile> ReadDsf(BoundedStream &stream) {
    constexpr unsigned kFormat = 28;
    constexpr unsigned kData = 80;
    constexpr unsigned kSound = 92;
    const ByteVector head = stream.BlockAt(0, kSound);
    const auto longWord = [&](unsigned at) { return Unsigned(head.toLongLong(at, false)); };
    if (head.size() < kSound || !head.startsWith("DSD ") || head.mid(kFormat, 4) != "fmt " ||
        longWord(kFormat + 4) != kData - kFormat || head.mid(kData, 4) != "data") {
        return std::nullopt;
    }
    const auto length = Unsigned(stream.length());
    const std::uint64_t tag = longWord(20);
    DsdFile file;
    SetForm(file.audio, head.toUInt(kFormat + 28, false), head.toUInt(kFormat + 24, false));
    file.audio.milliseconds = Milliseconds(longWord(kFormat + 36), file.audio.sampleRate);
    file.tag = tag >= kSound && tag < length ? static_cast<long>(tag) : 0;
    const std::uint64_t end = longWord(kData + 4) + kData;
    file.sound = {kSound, static_cast<long>(
                              std::clamp(end, std::uint64_t{kSound}, file.tag > 0 ? tag : length))};
    return IfPlausible(file);
}

// Chunks within chunks, in big endian.
std::optional<DsdFile> ReadDsdiff(BoundedStream &stream) {
    constexpr long kFirst = 16;
    constexpr long kFrameCount = 12 + 6;  // of compressed sound: a chunk in front of it
    const ByteVector head = stream.BlockAt(0, kFirst);
    if (!head.startsWith("FRM8") || head.mid(12) != "DSD ") {
        return std::nullopt;
    }
    DsdFile file;
    ForEachChunk(stream, kFirst, stream.length(), [&](const Chunk &chunk) {
        if (chunk.name == "PROP") {
            ForEachChunk(stream, chunk.begin + 4, chunk.end, [&](const Chunk &inner) {
                ReadProperty(inner, stream.BlockAt(inner.begin, 4), file);
            });
        } else if (chunk.name == "DSD " || chunk.name == "DST ") {
            file.sound = {chunk.begin, chunk.end};
        } else if (chunk.name == "ID3 ") {
            file.tag = chunk.begin;
        }
    });
    Audio &audio = file.audio;
    const ByteVector count = stream.BlockAt(file.sound.begin, kFrameCount);
    if (file.isCompressed && count.startsWith("FRTE") && count.size() == kFrameCount) {
        audio.milliseconds = Milliseconds(count.toUInt(12U), count.toUShort(16U));
    } else if (!file.isCompressed && audio.channels > 0) {
        audio.milliseconds = Milliseconds(
            Unsigned(file.sound.Length()) * 8 / Unsigned(audio.channels), audio.sampleRate);
    }
    return IfPlausible(file);
}

}  // namespace varnindex

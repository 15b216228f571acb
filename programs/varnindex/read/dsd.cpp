#include "varnindex/read/dsd.h"

#include <taglib/id3v2framefactory.h>

#include <algorithm>

#include "varnindex/read/audio.h"

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr int kMostChunks = 1000;  // a file has some ten of them
constexpr std::uint64_t kMostRate = 100'000'000;
constexpr std::uint64_t kMostChannels = 256;

ByteVector ReadAt(TagLib::IOStream &stream, long offset, unsigned long length) {
    stream.seek(offset, TagLib::IOStream::Beginning);
    return stream.readBlock(length);
}

// Of all that is compared with the sizes of files.
std::uint64_t Unsigned(long long number) {
    return static_cast<std::uint64_t>(number);
}

bool IsPlausible(const DsdAudio &audio) {
    return audio.sampleRate > 0 && audio.sampleRate <= kMostRate && audio.channels > 0 &&
           audio.channels <= kMostChannels && audio.end > audio.begin;
}

// ---- DSF: three chunks in a fixed order, in little endian --------------------------------------

constexpr unsigned kDsfFormat = 28;
constexpr unsigned kDsfData = 80;
constexpr unsigned kDsfAudio = 92;

std::optional<DsdAudio> ReadDsf(TagLib::IOStream &stream) {
    const ByteVector head = ReadAt(stream, 0, kDsfAudio);
    const auto word = [&](unsigned at) { return head.toUInt(at, false); };
    const auto longWord = [&](unsigned at) { return Unsigned(head.toLongLong(at, false)); };
    if (head.size() < kDsfAudio || !head.startsWith("DSD ") || head.mid(kDsfFormat, 4) != "fmt " ||
        longWord(kDsfFormat + 4) != kDsfData - kDsfFormat || head.mid(kDsfData, 4) != "data") {
        return std::nullopt;
    }
    const auto length = Unsigned(stream.length());
    const std::uint64_t tag = longWord(20);
    DsdAudio audio;
    audio.channels = word(kDsfFormat + 24);
    audio.sampleRate = word(kDsfFormat + 28);
    audio.milliseconds = Milliseconds(longWord(kDsfFormat + 36), audio.sampleRate);
    audio.begin = kDsfAudio;
    audio.tag = tag >= kDsfAudio && tag < length ? static_cast<long>(tag) : 0;
    const std::uint64_t end = longWord(kDsfData + 4) + kDsfData;
    audio.end =
        static_cast<long>(std::clamp(end, Unsigned(kDsfAudio), audio.tag > 0 ? tag : length));
    return audio;
}

// ---- DSDIFF: chunks within chunks, in big endian -----------------------------------------------

struct Chunk {
    ByteVector name;
    long begin = 0;  // of what is in it
    long end = 0;
};

// Calls `use` with each chunk between two offsets. A chunk that claims to be longer than what it
// stands in ends there.
template <typename Use>
void ForEachChunk(TagLib::IOStream &stream, long begin, long end, const Use &use) {
    constexpr long kHead = 12;
    for (int i = 0; i < kMostChunks && end - begin >= kHead; ++i) {
        const ByteVector head = ReadAt(stream, begin, kHead);
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

void ReadProperty(TagLib::IOStream &stream, const Chunk &chunk, DsdAudio &audio) {
    const ByteVector data = ReadAt(stream, chunk.begin, 4);
    if (chunk.name == "FS  " && data.size() == 4) {
        audio.sampleRate = data.toUInt(0U);
    } else if (chunk.name == "CHNL" && data.size() >= 2) {
        audio.channels = data.toUShort(0U);
    } else if (chunk.name == "CMPR") {
        audio.isCompressed = data == "DST ";
    }
}

// How long compressed audio is stands in front of it, in frames.
void ReadFrames(TagLib::IOStream &stream, const Chunk &chunk, DsdAudio &audio) {
    const ByteVector data = ReadAt(stream, chunk.begin, 6);
    if (chunk.name == "FRTE" && data.size() == 6) {
        audio.milliseconds = Milliseconds(data.toUInt(0U), data.toUShort(4U));
    }
}

std::optional<DsdAudio> ReadDsdiff(TagLib::IOStream &stream) {
    const ByteVector head = ReadAt(stream, 0, 16);
    if (head.size() < 16 || !head.startsWith("FRM8") || head.mid(12, 4) != "DSD ") {
        return std::nullopt;
    }
    DsdAudio audio;
    const auto readIn = [&](const Chunk &chunk, long skipped, const auto &read) {
        ForEachChunk(stream, chunk.begin + skipped, chunk.end,
                     [&](const Chunk &inner) { read(stream, inner, audio); });
    };
    // Nothing is looked for in the frames behind the first one of compressed audio.
    ForEachChunk(stream, 16, stream.length(), [&](const Chunk &chunk) {
        if (chunk.name == "PROP") {
            readIn(chunk, 4, ReadProperty);
        } else if (chunk.name == "DSD " || chunk.name == "DST ") {
            audio.begin = chunk.begin;
            audio.end = chunk.end;
        } else if (chunk.name == "ID3 ") {
            audio.tag = chunk.begin;
        }
        if (chunk.name == "DST ") {
            readIn({chunk.name, chunk.begin, std::min(chunk.begin + 18, chunk.end)}, 0, ReadFrames);
        }
    });
    if (!audio.isCompressed && audio.sampleRate > 0 && audio.channels > 0) {
        audio.milliseconds =
            Milliseconds(Unsigned(audio.end - audio.begin) * 8 / audio.channels, audio.sampleRate);
    }
    return audio;
}

}  // namespace

class DsdFile::Properties : public TagLib::AudioProperties {
  public:
    explicit Properties(const DsdAudio &audio) : AudioProperties(Average), audio_(audio) {}

    int length() const override { return static_cast<int>(audio_.milliseconds / 1000); }
    int bitrate() const override {  // thousands of bits per second
        const auto bytes = Unsigned(audio_.end - audio_.begin);
        return audio_.milliseconds == 0 ? 0 : static_cast<int>(bytes * 8 / audio_.milliseconds);
    }
    int sampleRate() const override { return static_cast<int>(audio_.sampleRate); }
    int channels() const override { return static_cast<int>(audio_.channels); }

  private:
    DsdAudio audio_;
};

DsdFile::DsdFile(TagLib::IOStream &stream, Kind kind) : TagLib::File(&stream) {
    const auto audio = kind == Kind::kDsf ? ReadDsf(stream) : ReadDsdiff(stream);
    if (!audio || !IsPlausible(*audio)) {
        setValid(false);
        return;
    }
    audio_ = *audio;
    properties_ = std::make_unique<Properties>(audio_);
    tag_ = audio_.tag > 0 && ReadAt(stream, audio_.tag, 3) == "ID3"
               ? std::make_unique<TagLib::ID3v2::Tag>(this, audio_.tag,
                                                      TagLib::ID3v2::FrameFactory::instance())
               : std::make_unique<TagLib::ID3v2::Tag>();
}

}  // namespace varnindex

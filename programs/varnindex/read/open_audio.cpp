#include "varnindex/read/open_audio.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/asffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/mp4file.h>
#include <taglib/mpcfile.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/oggpageheader.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>
#include <taglib/trueaudiofile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>
#include <taglib/xingheader.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "varnindex/observe/file_names.h"
#include "varnindex/read/dsd.h"
#include "varnindex/read/flac_end.h"
#include "varnindex/read/frames.h"
#include "varnindex/read/matroska.h"
#include "varnindex/read/mp4_boxes.h"
#include "varnindex/read/named_tags.h"
#include "varnindex/read/riff.h"

namespace varnindex {
namespace {

using Factory = TagLib::ID3v2::FrameFactory;

template <typename File>
std::unique_ptr<File> Open(BoundedStream &stream) {
    return std::make_unique<File>(&stream, true, TagLib::AudioProperties::Average);
}

template <typename File>
std::unique_ptr<File> OpenWithFrames(BoundedStream &stream) {
    return std::make_unique<File>(&stream, Factory::instance(), true,
                                  TagLib::AudioProperties::Average);
}

Audio AudioOf(const TagLib::AudioProperties *properties) {
    if (properties == nullptr) {
        return {};
    }
    return {std::max(properties->lengthInMilliseconds(), 0),
            std::int64_t{1000} * std::max(properties->bitrate(), 0),
            std::max(properties->sampleRate(), 0), std::max(properties->channels(), 0)};
}

// As TagLib tells it.
OpenedFile Told(std::unique_ptr<TagLib::File> file, std::string codec, BoundedStream &stream) {
    const Audio audio = file->isValid() ? AudioOf(file->audioProperties()) : Audio();
    return {std::move(file), std::move(codec), audio, {0, stream.length()}};
}

// Of a file whose length is found elsewhere than in its headers.
void SetLength(Audio &audio, std::int64_t milliseconds, std::int64_t bytes) {
    constexpr std::int64_t kMostBytes = std::numeric_limits<std::int64_t>::max() / 8000;
    audio.milliseconds = milliseconds;
    audio.bitRate = milliseconds > 0 ? std::min(bytes, kMostBytes) * 8000 / milliseconds : 0;
}

// The same by the bits that each second takes.
void SetLengthByRate(Audio &audio, std::int64_t bytes, std::int64_t rate) {
    const auto length =
        Milliseconds(static_cast<std::uint64_t>(bytes) * 8, static_cast<std::uint64_t>(rate));
    SetLength(audio, static_cast<std::int64_t>(length), bytes);
}

// The same by the samples that were found, where the headers tell of none.
void SetMissingLength(Audio &audio, std::int64_t samples, std::int64_t bytes) {
    if (audio.milliseconds == 0 && audio.sampleRate > 0 && samples > 0) {
        const auto length = Milliseconds(static_cast<std::uint64_t>(samples),
                                         static_cast<std::uint64_t>(audio.sampleRate));
        SetLength(audio, static_cast<std::int64_t>(length), bytes);
    }
}

// ---- MPEG audio and ADTS -----------------------------------------------------------------------

// Tags of an MP3 file stand in front (ID3v2) and behind (APE, ID3v1).
ByteRange SoundOf(TagLib::MPEG::File &mpeg, long begin, BoundedStream &stream) {
    ByteRange range{begin, stream.length()};
    if (mpeg.hasID3v1Tag()) {
        range.end -= 128;
    }
    if (mpeg.hasAPETag() || range.end < range.begin) {
        const long last = mpeg.lastFrameOffset();  // none behind a tag that is too large
        range.end = last > range.begin ? last : std::max(stream.length(), range.begin);
    }
    return range;
}

// A table in the first frame (Xing, VBRI) is of no use where the file was cut off, or joined with
// another one behind it.
bool IsOfThisFile(const TagLib::MPEG::XingHeader &table, ByteRange sound) {
    const long told = static_cast<long>(table.totalSize());
    const long bytes = sound.end - sound.begin;
    return std::abs(told - bytes) <= 4096 + bytes / 128;
}

OpenedFile OpenMpeg(BoundedStream &stream, long /*begin*/) {
    auto mpeg = OpenWithFrames<TagLib::MPEG::File>(stream);
    TagLib::MPEG::File &file = *mpeg;
    const TagLib::MPEG::Properties *const properties = file.audioProperties();
    const int layer = properties != nullptr ? properties->layer() : 0;
    OpenedFile opened = Told(std::move(mpeg),
                             layer == 1   ? "mp1"
                             : layer == 2 ? "mp2"
                                          : "mp3",
                             stream);
    stream.AllowSearch();  // again for what it has found once
    opened.sound = SoundOf(file, std::max(file.firstFrameOffset(), 0L), stream);
    AddFrontId3(file, stream, 1, opened.moreTags);
    if (opened.audio.sampleRate <= 0) {
        return opened;
    }
    const FrameAt frameAt = MpegFramesOf(stream);
    const auto *const table = properties->xingHeader();
    const bool hasTable = table != nullptr && table->isValid();
    if (hasTable ? IsOfThisFile(*table, opened.sound)
                 : HasOneBitRate(stream, opened.sound, frameAt)) {
        return opened;
    }
    ByteRange played = opened.sound;
    if (const auto first = hasTable ? frameAt(played.begin) : std::nullopt) {
        played.begin += first->length;
    }
    const Audio counted = CountFrames(stream, played, frameAt);
    if (counted.milliseconds > 0) {
        opened.audio.milliseconds = counted.milliseconds;
        opened.audio.bitRate = counted.bitRate;
    }
    return opened;
}

// TagLib knows the tags, which are those of MP3, but not the frames.
OpenedFile OpenAdts(BoundedStream &stream, long begin) {
    auto file = std::make_unique<TagLib::MPEG::File>(&stream, Factory::instance(), false);
    const ByteRange sound = SoundOf(*file, begin, stream);
    const FrameAt frameAt = AdtsFramesOf(stream);
    const Audio audio = AreFramesAt(frameAt, begin) ? CountFrames(stream, sound, frameAt) : Audio();
    OpenedFile opened{std::move(file), "aac", audio, sound};
    AddFrontId3(*opened.file, stream, 1, opened.moreTags);
    return opened;
}

// ---- FLAC and Ogg ------------------------------------------------------------------------------

OpenedFile OpenFlac(BoundedStream &stream, long begin) {
    auto flac = OpenWithFrames<TagLib::FLAC::File>(stream);
    const long end = stream.length() - (flac->hasID3v1Tag() ? 128 : 0);
    OpenedFile opened = Told(std::move(flac), "flac", stream);
    Audio &audio = opened.audio;
    if (audio.milliseconds == 0 && audio.sampleRate > 0) {
        SetMissingLength(audio, SamplesToLastFrame(stream, begin, end), end - begin);
    }
    return opened;
}

// An encoder that writes to a pipe tells no number of samples, but pages do.
OpenedFile OpenOggFlac(BoundedStream &stream) {
    auto ogg = Open<TagLib::Ogg::FLAC::File>(stream);
    const auto *const last = ogg->isValid() ? ogg->lastPageHeader() : nullptr;
    const long long samples = last != nullptr ? last->absoluteGranularPosition() : 0;
    OpenedFile opened = Told(std::move(ogg), "flac", stream);
    SetMissingLength(opened.audio, samples, stream.length());
    return opened;
}

// The extensions of Ogg say little about what is inside.
OpenedFile OpenOgg(BoundedStream &stream, long /*begin*/) {
    if (TagLib::Ogg::Opus::File::isSupported(&stream)) {
        return Told(Open<TagLib::Ogg::Opus::File>(stream), "opus", stream);
    }
    if (TagLib::Ogg::FLAC::File::isSupported(&stream)) {
        return OpenOggFlac(stream);
    }
    if (TagLib::Ogg::Speex::File::isSupported(&stream)) {
        return Told(Open<TagLib::Ogg::Speex::File>(stream), "speex", stream);
    }
    return Told(Open<TagLib::Ogg::Vorbis::File>(stream), "vorbis", stream);
}

// ---- MP4 and Matroska --------------------------------------------------------------------------

// Where the atoms within an atom of this name begin; none for one that holds none.
std::optional<long> OffsetOfInner(const TagLib::ByteVector &name) {
    static const std::array<TagLib::ByteVector, 9> kContainers = {
        "moov", "udta", "mdia", "ilst", "stbl", "minf", "moof", "traf", "trak"};
    if (name == "meta" || name == "stsd") {
        return name == "meta" ? 12 : 16;
    }
    const bool holds = std::find(kContainers.begin(), kContainers.end(), name) != kContainers.end();
    return holds ? std::optional(8L) : std::nullopt;
}

struct Atoms {
    bool areNestedTooDeep = false;  // TagLib reads atoms within atoms recursively
    bool areFragments = false;      // the movie tells of the first samples alone
    long end = 0;                   // of what TagLib needs: in front of the fragments
};

Atoms LookAtAtoms(BoundedStream &stream) {
    constexpr std::size_t kDeepest = 32;
    Atoms atoms;
    atoms.end = stream.length();
    std::vector<long> ends = {stream.length()};
    for (long at = 0; at + 8 <= ends.front();) {
        while (ends.size() > 1 && at >= ends.back()) {
            ends.pop_back();
        }
        stream.seek(at, TagLib::IOStream::Beginning);
        const TagLib::ByteVector header = stream.readBlock(16);
        if (header.size() < 8) {
            break;
        }
        long long length = header.toUInt(0U);
        if (length == 1 && header.size() == 16) {
            length = header.toLongLong(8U);
        }
        if (length < 8 || length > ends.front() - at) {
            break;
        }
        const TagLib::ByteVector name = header.mid(4, 4);
        atoms.areFragments = atoms.areFragments || name == "mvex";
        if (atoms.areFragments && name == "moof") {
            atoms.end = at;
            break;
        }
        const auto inner = OffsetOfInner(name);
        if (inner) {
            ends.push_back(at + static_cast<long>(length));
        }
        if (ends.size() > kDeepest) {
            atoms.areNestedTooDeep = true;
            break;
        }
        at += inner.value_or(static_cast<long>(length));
    }
    return atoms;
}

// TagLib tells all of AAC and ALAC in files that are in one piece, and most files are such. It
// takes one with more fragments than it may look at for damaged.
OpenedFile OpenMp4(BoundedStream &stream, long /*begin*/) {
    using TagLib::MP4::Properties;
    const Atoms atoms = LookAtAtoms(stream);
    if (atoms.areNestedTooDeep) {
        throw std::runtime_error("its atoms are nested too deep");
    }
    stream.seek(0, TagLib::IOStream::Beginning);
    stream.AllowSearch();
    const long length = stream.length();
    stream.SetLength(atoms.end);
    auto file = Open<TagLib::MP4::File>(stream);
    stream.SetLength(length);
    const auto *const properties = file->audioProperties();
    const auto codec = properties != nullptr ? properties->codec() : Properties::Unknown;
    const bool isTagged = file->tag() != nullptr && !file->tag()->title().isEmpty();
    OpenedFile opened = Told(std::move(file),
                             codec == Properties::AAC    ? "aac"
                             : codec == Properties::ALAC ? "alac"
                                                         : "",
                             stream);
    Audio &audio = opened.audio;
    if (opened.file->isValid() && (opened.codec.empty() || atoms.areFragments)) {
        const Mp4Sound sound = ReadMp4Sound(stream);
        opened.codec = opened.codec.empty() ? sound.codec : opened.codec;
        audio.sampleRate = audio.sampleRate > 0 ? audio.sampleRate : sound.audio.sampleRate;
        audio.channels = audio.channels > 0 ? audio.channels : sound.audio.channels;
        SetLength(audio, std::max(audio.milliseconds, sound.audio.milliseconds), stream.length());
    }
    if (auto keys = isTagged ? nullptr : ReadMp4Keys(stream)) {
        opened.moreTags.push_back(std::move(keys));
    }
    return opened;
}

OpenedFile OpenMatroska(BoundedStream &stream, long /*begin*/) {
    auto file = std::make_unique<MatroskaFile>(stream);
    OpenedFile opened{nullptr,
                      file->Codec(),
                      file->isValid() ? file->Sound() : Audio(),
                      {file->FirstCluster(), stream.length()}};
    opened.file = std::move(file);
    SetLength(opened.audio, opened.audio.milliseconds, opened.sound.end - opened.sound.begin);
    return opened;
}

// ---- WAV and AIFF ------------------------------------------------------------------------------

OpenedFile OpenWav(BoundedStream &stream, long /*begin*/) {
    struct Tagged {
        int format;
        const char *codec;
    };
    // Format tags of RIFF WAVE. 0xFFFE only points at a sub-format, PCM in nearly every file.
    static constexpr std::array kCodecs = {Tagged{0x0001, "pcm"},       Tagged{0x0002, "adpcm_ms"},
                                           Tagged{0x0003, "pcm"},       Tagged{0x0006, "pcm_alaw"},
                                           Tagged{0x0007, "pcm_mulaw"}, Tagged{0x0011, "adpcm_ima"},
                                           Tagged{0x0055, "mp3"},       Tagged{0xFFFE, "pcm"}};
    const auto bytes = MendSizes(stream, ChunkedKind::kWav);
    auto file = Open<TagLib::RIFF::WAV::File>(stream);
    const auto *audio = file->audioProperties();
    const int format = audio != nullptr ? audio->format() : 0;
    const auto *const known =
        std::find_if(kCodecs.begin(), kCodecs.end(),
                     [&](const Tagged &tagged) { return tagged.format == format; });
    OpenedFile opened = Told(std::move(file), known != kCodecs.end() ? known->codec : "", stream);
    const std::int64_t rate =
        opened.codec == "pcm" && audio != nullptr
            ? std::int64_t{audio->bitsPerSample()} * opened.audio.channels * opened.audio.sampleRate
            : 0;
    if (bytes && rate > 0) {
        SetLengthByRate(opened.audio, *bytes, rate);  // TagLib counts to 4 GiB
    }
    return opened;
}

// Texts in chunks of their own, which older programs write.
class TextChunks : public TagLib::RIFF::AIFF::File {
  public:
    using File::File;

    std::unique_ptr<TagLib::Ogg::XiphComment> Tags(BoundedStream &stream) {
        auto tags = std::make_unique<TagLib::Ogg::XiphComment>();
        for (unsigned i = 0; i < chunkCount(); ++i) {
            for (const auto &[chunk, name] :
                 {std::pair("NAME", "TITLE"), {"AUTH", "ARTIST"}, {"ANNO", "COMMENT"}}) {
                if (chunkName(i) == chunk) {
                    AddNamed(
                        *tags, name,
                        {stream.TextAt(chunkOffset(i), chunkDataSize(i)), TagLib::String::UTF8});
                }
            }
        }
        return tags;
    }
};

OpenedFile OpenAiff(BoundedStream &stream, long /*begin*/) {
    const auto bytes = MendSizes(stream, ChunkedKind::kAiff);
    auto file = Open<TextChunks>(stream);
    auto tags = file->Tags(stream);
    const auto *const properties = file->audioProperties();
    const int bits = properties != nullptr ? properties->bitsPerSample() : 0;
    const bool isPlain = properties != nullptr &&
                         (!properties->isAiffC() || properties->compressionType() == "NONE");
    OpenedFile opened = Told(std::move(file), "pcm", stream);
    opened.moreTags.push_back(std::move(tags));
    Audio &audio = opened.audio;
    const std::int64_t rate = std::int64_t{bits} * audio.channels * audio.sampleRate;
    if (bytes && isPlain && rate > 0) {
        SetLengthByRate(audio, *bytes, rate);
    }
    return opened;
}

// ---- others ------------------------------------------------------------------------------------

OpenedFile OpenAsf(BoundedStream &stream, long /*begin*/) {
    static constexpr std::array kCodecs = {"", "wmav1", "wmav2", "wmapro", "wmalossless"};
    auto file = Open<TagLib::ASF::File>(stream);
    const auto *audio = file->audioProperties();
    const auto codec = static_cast<std::size_t>(audio != nullptr ? audio->codec() : 0);
    return Told(std::move(file), kCodecs[codec < kCodecs.size() ? codec : 0], stream);
}

// Formats with APE tags, in front of which programs put ID3v2 tags all the same.
template <typename File>
OpenedFile OpenApeTagged(BoundedStream &stream, const char *codec) {
    OpenedFile opened = Told(Open<File>(stream), codec, stream);
    AddFrontId3(*opened.file, stream, 0, opened.moreTags);
    return opened;
}

OpenedFile OpenApe(BoundedStream &stream, long /*begin*/) {
    return OpenApeTagged<TagLib::APE::File>(stream, "ape");
}

OpenedFile OpenMusepack(BoundedStream &stream, long /*begin*/) {
    return OpenApeTagged<TagLib::MPC::File>(stream, "musepack");
}

OpenedFile OpenWavPack(BoundedStream &stream, long /*begin*/) {
    return OpenApeTagged<TagLib::WavPack::File>(stream, "wavpack");
}

OpenedFile OpenTrueAudio(BoundedStream &stream, long /*begin*/) {
    OpenedFile opened = Told(OpenWithFrames<TagLib::TrueAudio::File>(stream), "tta", stream);
    AddFrontId3(*opened.file, stream, 1, opened.moreTags);
    AddEndApe(*opened.file, stream, opened.moreTags);
    return opened;
}

template <DsdFile::Kind kind>
OpenedFile OpenDsd(BoundedStream &stream, long /*begin*/) {
    auto file = std::make_unique<DsdFile>(stream, kind);
    const DsdAudio sound = file->Audio();
    OpenedFile opened = Told(std::move(file), sound.isCompressed ? "dst" : "dsd", stream);
    opened.audio.milliseconds = static_cast<std::int64_t>(sound.milliseconds);
    opened.sound = {sound.begin, sound.end};
    return opened;
}

// ---- contents ----------------------------------------------------------------------------------

struct Container {
    std::string_view name;
    OpenedFile (*open)(BoundedStream &stream, long begin);
    std::string_view mark = {};  // of its files; "" where a mark does not suffice
    std::size_t markAt = 0;
};

constexpr std::array kContainers = {
    Container{"flac", OpenFlac, "fLaC"},
    Container{"ogg", OpenOgg, "OggS"},
    Container{"mp4", OpenMp4, "ftyp", 4},
    Container{"wav", OpenWav, "WAVE", 8},
    Container{"aiff", OpenAiff, "AIFF", 8},
    Container{"aiff", OpenAiff, "AIFC", 8},
    Container{"asf", OpenAsf, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"},
    Container{"ape", OpenApe, "MAC "},
    Container{"mpc", OpenMusepack, "MPCK"},
    Container{"mpc", OpenMusepack, "MP+"},
    Container{"wv", OpenWavPack, "wvpk"},
    Container{"tta", OpenTrueAudio, "TTA"},
    Container{"dsf", OpenDsd<DsdFile::Kind::kDsf>, "DSD "},
    Container{"dff", OpenDsd<DsdFile::Kind::kDsdiff>, "FRM8"},
    Container{"matroska", OpenMatroska, "\x1A\x45\xDF\xA3"},
    Container{"adts", OpenAdts},
    Container{"mp3", OpenMpeg},
};

const Container *ContainerNamed(std::string_view name) {
    const auto *const found =
        std::find_if(kContainers.begin(), kContainers.end(),
                     [&](const Container &container) { return container.name == name; });
    return found != kContainers.end() ? found : nullptr;
}

// By what stands at `begin`, behind tags; null where that is nothing known.
const Container *ContainerByContents(BoundedStream &stream, long begin) {
    const TagLib::ByteVector head = stream.BlockAt(begin, 16);
    const std::string_view bytes(head.data(), head.size());
    for (const Container &container : kContainers) {
        if (!container.mark.empty() && bytes.size() > container.markAt &&
            bytes.substr(container.markAt).starts_with(container.mark)) {
            return &container;
        }
    }
    if (AreFramesAt(AdtsFramesOf(stream), begin)) {
        return ContainerNamed("adts");
    }
    return AreFramesAt(MpegFramesOf(stream), begin) ? ContainerNamed("mp3") : nullptr;
}

}  // namespace

OpenedFile OpenAudio(std::string_view name, BoundedStream &stream) {
    stream.readBlock(1);  // all that is looked at here lies in the window that this reads
    const long begin = EndOfFrontId3(stream);
    const Container *const known = ContainerByContents(stream, begin);
    const Container *const container =
        known != nullptr ? known : ContainerNamed(ContainerOfName(name));
    if (container == nullptr) {
        return {nullptr, "", {}, {}};
    }
    stream.seek(0, TagLib::IOStream::Beginning);
    stream.AllowSearch();
    OpenedFile opened = container->open(stream, begin);
    opened.container = container->name;
    opened.isByContents = known != nullptr;
    return opened;
}

}  // namespace varnindex

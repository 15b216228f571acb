#include "varnindex/read/open_audio.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/asffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
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
#include "varnindex/read/frames.h"
#include "varnindex/read/matroska.h"
#include "varnindex/read/probe.h"
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

// Of plain samples, where TagLib does not know how many bytes they take.
void SetLengthOfSamples(Audio &audio, std::optional<std::int64_t> bytes, int bitsPerSample) {
    const std::int64_t rate = std::int64_t{bitsPerSample} * audio.channels * audio.sampleRate;
    if (bytes && rate > 0) {
        SetLength(audio, Milliseconds(static_cast<std::uint64_t>(*bytes) * 8, rate), *bytes);
    }
}

// Fills in what TagLib leaves open.
void AddProbed(OpenedFile &opened, BoundedStream &stream, const char *format,
               Cover cover = Cover::kLeave) {
    Probed probed = Probe(stream, format, cover);
    Audio &audio = opened.audio;
    opened.codec = opened.codec.empty() ? probed.codec : opened.codec;
    audio.sampleRate = audio.sampleRate > 0 ? audio.sampleRate : probed.audio.sampleRate;
    audio.channels = audio.channels > 0 ? audio.channels : probed.audio.channels;
    SetLength(audio, std::max(audio.milliseconds, probed.audio.milliseconds),
              opened.sound.Length());
    opened.moreTags.push_back(std::move(probed.tags));
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

OpenedFile OpenFlac(BoundedStream &stream, long /*begin*/) {
    OpenedFile opened = Told(OpenWithFrames<TagLib::FLAC::File>(stream), "flac", stream);
    if (opened.audio.milliseconds == 0 && opened.audio.sampleRate > 0) {
        AddProbed(opened, stream, "flac");
    }
    return opened;
}

// An encoder that writes to a pipe tells no number of samples, but pages do.
OpenedFile OpenOggFlac(BoundedStream &stream) {
    auto ogg = Open<TagLib::Ogg::FLAC::File>(stream);
    const auto *const last = ogg->isValid() ? ogg->lastPageHeader() : nullptr;
    const long long samples = last != nullptr ? last->absoluteGranularPosition() : 0;
    OpenedFile opened = Told(std::move(ogg), "flac", stream);
    if (opened.audio.milliseconds == 0 && samples > 0) {
        SetLength(opened.audio,
                  Milliseconds(static_cast<std::uint64_t>(samples), opened.audio.sampleRate),
                  stream.length());
    }
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

struct Atoms {
    bool areNestedTooDeep = false;  // TagLib reads atoms within atoms recursively
    bool areFragments = false;      // the movie tells of the first samples alone
    bool haveKeys = false;          // tags of a kind that TagLib does not read
    long end = 0;                   // of what TagLib needs: in front of the fragments
};

struct Atom {
    TagLib::ByteVector name;
    long size = 0;
    long inner = 0;  // from its begin to the atoms in it; 0: it holds none
};

// None where no atom fits between the two offsets.
std::optional<Atom> AtomAt(BoundedStream &stream, long at, long end) {
    static const std::array<TagLib::ByteVector, 9> kHolders = {
        "moov", "udta", "mdia", "ilst", "stbl", "minf", "moof", "traf", "trak"};
    stream.seek(at, TagLib::IOStream::Beginning);
    const TagLib::ByteVector head = stream.readBlock(16);
    if (head.size() < 8) {
        return std::nullopt;
    }
    const bool isWide = head.toUInt(0U) == 1 && head.size() == 16;
    const long long size = isWide ? head.toLongLong(8U) : head.toUInt(0U);
    if (size < 8 || size > end - at) {
        return std::nullopt;
    }
    Atom atom{head.mid(4, 4), static_cast<long>(size)};
    const bool holds = std::find(kHolders.begin(), kHolders.end(), atom.name) != kHolders.end();
    // QuickTime leaves out the version of "meta".
    atom.inner = atom.name == "meta"   ? (head.mid(12) == "hdlr" ? 8 : 12)
                 : atom.name == "stsd" ? 16
                 : holds               ? 8
                                       : 0;
    return atom;
}

Atoms LookAtAtoms(BoundedStream &stream) {
    constexpr std::size_t kDeepest = 32;
    Atoms atoms;
    atoms.end = stream.length();
    std::vector<long> ends = {stream.length()};
    for (long at = 0; !atoms.areNestedTooDeep;) {
        while (ends.size() > 1 && at >= ends.back()) {
            ends.pop_back();
        }
        const auto atom = AtomAt(stream, at, ends.front());
        if (!atom) {
            break;
        }
        atoms.areFragments = atoms.areFragments || atom->name == "mvex";
        atoms.haveKeys = atoms.haveKeys || atom->name == "keys";
        if (atoms.areFragments && atom->name == "moof") {
            atoms.end = at;
            break;
        }
        if (atom->inner > 0) {
            ends.push_back(at + atom->size);
        }
        atoms.areNestedTooDeep = ends.size() > kDeepest;
        at += atom->inner > 0 ? atom->inner : atom->size;
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
    const bool lacksTags = atoms.haveKeys && !isTagged;
    if (opened.file->isValid() && (opened.codec.empty() || atoms.areFragments || lacksTags)) {
        AddProbed(opened, stream, "mov");
    }
    return opened;
}

OpenedFile OpenMatroska(BoundedStream &stream, long /*begin*/) {
    OpenedFile opened{
        std::make_unique<UnknownFile>(stream), "", {}, {FirstCluster(stream), stream.length()}};
    AddProbed(opened, stream, "matroska", Cover::kTake);
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
    if (opened.codec == "pcm") {
        SetLengthOfSamples(opened.audio, bytes, audio->bitsPerSample());
    }
    return opened;
}

// Texts in chunks of their own, which older programs write.
class TextChunks : public TagLib::RIFF::AIFF::File {
  public:
    using File::File;

    std::unique_ptr<TagLib::Ogg::XiphComment> Tags() {
        auto tags = std::make_unique<TagLib::Ogg::XiphComment>();
        for (unsigned i = 0; i < chunkCount(); ++i) {
            for (const auto &[chunk, name] :
                 {std::pair("NAME", "TITLE"), {"AUTH", "ARTIST"}, {"ANNO", "COMMENT"}}) {
                if (chunkName(i) == chunk) {
                    tags->addField(name, {chunkData(i), TagLib::String::UTF8}, false);
                }
            }
        }
        return tags;
    }
};

OpenedFile OpenAiff(BoundedStream &stream, long /*begin*/) {
    const auto bytes = MendSizes(stream, ChunkedKind::kAiff);
    auto file = Open<TextChunks>(stream);
    auto tags = file->Tags();
    const auto *const audio = file->audioProperties();
    const bool isPlain =
        audio != nullptr && (!audio->isAiffC() || audio->compressionType() == "NONE");
    const int bits = isPlain ? audio->bitsPerSample() : 0;
    OpenedFile opened = Told(std::move(file), "pcm", stream);
    opened.moreTags.push_back(std::move(tags));
    SetLengthOfSamples(opened.audio, bytes, bits);
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

template <std::optional<DsdFile> (*read)(BoundedStream &stream)>
OpenedFile OpenDsd(BoundedStream &stream, long /*begin*/) {
    OpenedFile opened{std::make_unique<UnknownFile>(stream), "dsd", {}, {0, stream.length()}};
    if (const auto dsd = read(stream)) {
        opened.codec = dsd->isCompressed ? "dst" : "dsd";
        opened.audio = dsd->audio;
        opened.sound = dsd->sound;
        SetLength(opened.audio, dsd->audio.milliseconds, dsd->sound.Length());
        if (dsd->tag > 0 && stream.BlockAt(dsd->tag, 3) == "ID3") {
            opened.moreTags.push_back(std::make_unique<TagLib::ID3v2::Tag>(
                opened.file.get(), dsd->tag, Factory::instance()));
        }
    }
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
    Container{"dsf", OpenDsd<ReadDsf>, "DSD "},
    Container{"dff", OpenDsd<ReadDsdiff>, "FRM8"},
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

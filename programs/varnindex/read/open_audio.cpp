#include "varnindex/read/open_audio.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpcfile.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>
#include <taglib/trueaudiofile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>

#include "varnindex/observe/file_names.h"
#include "varnindex/read/dsd.h"
#include "varnindex/read/frames.h"
#include "varnindex/read/probe.h"

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

// TagLib merges the kinds of tags that a file has, and then does not tell what stands in which.
template <typename File>
std::vector<TagLib::Tag *> TagsOf(File &file) {
    std::vector<TagLib::Tag *> tags;
    if constexpr (requires { file.xiphComment(); }) {
        tags.push_back(file.xiphComment());
    }
    if constexpr (requires { file.ID3v2Tag(); }) {
        tags.push_back(file.ID3v2Tag());
    }
    if constexpr (requires { file.APETag(); }) {
        tags.push_back(file.APETag());
    }
    if (tags.empty()) {
        tags.push_back(file.tag());
    }
    std::erase(tags, nullptr);
    return tags;
}

// As TagLib tells it.
template <typename File>
OpenedFile Told(std::unique_ptr<File> file, std::string codec, BoundedStream &stream) {
    OpenedFile opened{nullptr, std::move(codec), {}, {0, stream.length()}};
    if (file->isValid()) {
        opened.audio = AudioOf(file->audioProperties());
        opened.tags = TagsOf(*file);
    }
    opened.file = std::move(file);
    return opened;
}

// Of a file whose length is found elsewhere than in its headers.
void SetLength(Audio &audio, std::int64_t milliseconds, std::int64_t bytes) {
    constexpr std::int64_t kMostBytes = std::numeric_limits<std::int64_t>::max() / 8000;
    audio.milliseconds = milliseconds;
    audio.bitRate = milliseconds > 0 ? std::min(bytes, kMostBytes) * 8000 / milliseconds : 0;
}

// A tag that TagLib's class for the format passes over.
void AddId3(OpenedFile &opened, long position) {
    opened.moreTags.push_back(
        std::make_unique<TagLib::ID3v2::Tag>(opened.file.get(), position, Factory::instance()));
}

// Fills in what TagLib leaves open.
void AddProbed(OpenedFile &opened, BoundedStream &stream, const char *format,
               Cover cover = Cover::kLeave) {
    Probed probed = Probe(stream, format, cover);
    Audio &audio = opened.audio;
    opened.codec = opened.codec.empty() ? probed.codec : opened.codec;
    audio.sampleRate = audio.sampleRate > 0 ? audio.sampleRate : probed.audio.sampleRate;
    audio.channels = audio.channels > 0 ? audio.channels : probed.audio.channels;
    if (audio.milliseconds == 0 || audio.bitRate == 0) {
        SetLength(audio, std::max(audio.milliseconds, probed.audio.milliseconds),
                  opened.sound.Length());
    }
    opened.moreTags.push_back(std::move(probed.tags));
}

// ---- MPEG audio and ADTS -----------------------------------------------------------------------

// Tags of an MP3 file stand before (ID3v2) and after the sound (APE, ID3v1).
ByteRange SoundOf(TagLib::MPEG::File &mpeg, long begin, BoundedStream &stream) {
    ByteRange range{begin, stream.length()};
    if (mpeg.hasID3v1Tag()) {
        range.end -= 128;
    }
    if (mpeg.hasAPETag() || range.end < range.begin) {
        const long last = mpeg.lastFrameOffset();  // none after a tag that is too large
        range.end = last > range.begin ? last : std::max(stream.length(), range.begin);
    }
    return range;
}

OpenedFile OpenMpeg(BoundedStream &stream) {
    auto file = std::make_unique<TagLib::MPEG::File>(&stream, Factory::instance(), false);
    TagLib::MPEG::File &mpeg = *file;
    OpenedFile opened = Told(std::move(file), "mp3", stream);
    stream.AllowSearch();
    opened.sound = SoundOf(mpeg, std::max(mpeg.firstFrameOffset(), 0L), stream);
    opened.isMerged = mpeg.hasID3v1Tag() || mpeg.hasAPETag();
    opened.audio = ReadFrames(mpeg, stream, opened.sound, opened.codec);
    return opened;
}

// TagLib knows the tags, which are those of MP3, but not the frames.
OpenedFile OpenAdts(BoundedStream &stream) {
    auto file = std::make_unique<TagLib::MPEG::File>(&stream, Factory::instance(), false);
    const ByteRange sound = SoundOf(*file, EndOfFrontId3(stream), stream);
    OpenedFile opened = Told(std::move(file), "", stream);
    opened.sound = sound;
    AddProbed(opened, stream, "aac");
    return opened;
}

// ---- FLAC and Ogg ------------------------------------------------------------------------------

OpenedFile OpenFlac(BoundedStream &stream) {
    return Told(OpenWithFrames<TagLib::FLAC::File>(stream), "flac", stream);
}

// The extensions of Ogg say little about what is inside.
OpenedFile OpenOgg(BoundedStream &stream) {
    if (TagLib::Ogg::Opus::File::isSupported(&stream)) {
        return Told(Open<TagLib::Ogg::Opus::File>(stream), "opus", stream);
    }
    if (TagLib::Ogg::FLAC::File::isSupported(&stream)) {
        return Told(Open<TagLib::Ogg::FLAC::File>(stream), "flac", stream);
    }
    if (TagLib::Ogg::Speex::File::isSupported(&stream)) {
        return Told(Open<TagLib::Ogg::Speex::File>(stream), "speex", stream);
    }
    return Told(Open<TagLib::Ogg::Vorbis::File>(stream), "vorbis", stream);
}

// ---- MP4 and Matroska --------------------------------------------------------------------------

// Where the first fragment begins; the end of a file that is in one piece.
long FirstFragment(BoundedStream &stream) {
    constexpr int kMostAtoms = 1000;  // in front of it
    long at = 0;
    for (int i = 0; i < kMostAtoms; ++i) {
        const TagLib::ByteVector head = stream.BlockAt(at, 16);
        if (head.mid(4, 4) == "moof") {
            return at;
        }
        const bool isWide = head.size() == 16 && head.toUInt(0U) == 1;
        const long long size = isWide ? head.toLongLong(8U) : head.isEmpty() ? 0 : head.toUInt(0U);
        if (size < 8 || size > stream.length() - at) {
            break;
        }
        at += static_cast<long>(size);
    }
    return stream.length();
}

// TagLib tells all of AAC and ALAC in files that are in one piece, and most files are such. Of
// fragments it would read the first samples alone, and it passes over tags by keys. It reads atoms
// within atoms recursively: what it may read here is much for a file, and little for its stack.
OpenedFile OpenMp4(BoundedStream &stream) {
    using TagLib::MP4::Properties;
    constexpr unsigned long kMostInAtoms = 128UL << 10;
    const long length = stream.length();
    const long end = FirstFragment(stream);
    stream.AllowSearch(kMostInAtoms);
    stream.SetLength(end);
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
    if (end < length) {
        opened.audio.milliseconds = 0;
    }
    if (opened.file->isValid() && (opened.codec.empty() || end < length || !isTagged)) {
        AddProbed(opened, stream, "mov");
    }
    return opened;
}

// By its first cluster such a file is known again, whatever its tags are. All else is for ffprobe,
// which does not tell this.
long FirstCluster(BoundedStream &stream) {
    constexpr std::string_view kMark = "\x1F\x43\xB6\x75";
    constexpr long kBlock = 4096;
    constexpr long kMostBefore = 64L << 20;
    const long end = std::min(stream.length(), kMostBefore);
    for (long at = 0; at < end; at += kBlock - static_cast<long>(kMark.size())) {
        const std::string_view block = stream.At(at, kBlock);
        if (const std::size_t found = block.find(kMark); found != block.npos) {
            return at + static_cast<long>(found);
        }
    }
    return 0;
}

OpenedFile OpenMatroska(BoundedStream &stream) {
    OpenedFile opened{
        std::make_unique<UnknownFile>(stream), "", {}, {FirstCluster(stream), stream.length()}};
    AddProbed(opened, stream, "matroska", Cover::kTake);
    return opened;
}

// ---- WAV and AIFF ------------------------------------------------------------------------------

OpenedFile OpenWav(BoundedStream &stream) {
    struct Tagged {
        int format;
        const char *codec;
    };
    // Format tags of RIFF WAVE. 0xFFFE only points at a sub-format, PCM in nearly every file.
    static constexpr std::array kCodecs = {Tagged{0x0001, "pcm"},       Tagged{0x0002, "adpcm_ms"},
                                           Tagged{0x0003, "pcm"},       Tagged{0x0006, "pcm_alaw"},
                                           Tagged{0x0007, "pcm_mulaw"}, Tagged{0x0011, "adpcm_ima"},
                                           Tagged{0x0055, "mp3"},       Tagged{0xFFFE, "pcm"}};
    auto file = Open<TagLib::RIFF::WAV::File>(stream);
    const auto *audio = file->audioProperties();
    const int format = audio != nullptr ? audio->format() : 0;
    const auto *const known =
        std::find_if(kCodecs.begin(), kCodecs.end(),
                     [&](const Tagged &tagged) { return tagged.format == format; });
    return Told(std::move(file), known != kCodecs.end() ? known->codec : "", stream);
}

// TagLib reads no texts in chunks of their own, which older programs write.
OpenedFile OpenAiff(BoundedStream &stream) {
    auto file = Open<TagLib::RIFF::AIFF::File>(stream);
    const bool isTagged = file->hasID3v2Tag();
    OpenedFile opened = Told(std::move(file), "pcm", stream);
    if (opened.audio.sampleRate > 0 && !isTagged) {
        AddProbed(opened, stream, "aiff");
    }
    return opened;
}

// ---- others ------------------------------------------------------------------------------------

OpenedFile OpenAsf(BoundedStream &stream) {
    static constexpr std::array kCodecs = {"", "wmav1", "wmav2", "wmapro", "wmalossless"};
    auto file = Open<TagLib::ASF::File>(stream);
    const auto *audio = file->audioProperties();
    const auto codec = static_cast<std::size_t>(audio != nullptr ? audio->codec() : 0);
    return Told(std::move(file), kCodecs[codec < kCodecs.size() ? codec : 0], stream);
}

// Formats with APE tags, in front of which programs put an ID3v2 tag all the same.
template <typename File>
OpenedFile OpenApeTagged(BoundedStream &stream) {
    OpenedFile opened = Told(Open<File>(stream), "", stream);
    if (EndOfFrontId3(stream) > 0) {
        AddId3(opened, 0);
    }
    return opened;
}

OpenedFile OpenTrueAudio(BoundedStream &stream) {
    constexpr long kFooter = 32;  // of an APE tag, which ffmpeg writes
    OpenedFile opened = Told(OpenWithFrames<TagLib::TrueAudio::File>(stream), "tta", stream);
    const long footer = stream.length() - kFooter;
    if (footer > 0 && stream.BlockAt(footer, 8) == "APETAGEX") {
        opened.moreTags.push_back(std::make_unique<TagLib::APE::Tag>(opened.file.get(), footer));
    }
    return opened;
}

template <DsdFile (*read)(BoundedStream &stream)>
OpenedFile OpenDsd(BoundedStream &stream) {
    const DsdFile dsd = read(stream);
    OpenedFile opened{std::make_unique<UnknownFile>(stream), dsd.isCompressed ? "dst" : "dsd",
                      dsd.sound.Length() > 0 ? dsd.audio : Audio(), dsd.sound};
    SetLength(opened.audio, dsd.audio.milliseconds, dsd.sound.Length());
    if (dsd.tag > 0 && stream.BlockAt(dsd.tag, 3) == "ID3") {
        AddId3(opened, dsd.tag);
    }
    return opened;
}

// ---- contents ----------------------------------------------------------------------------------

struct Container {
    std::string_view name;
    OpenedFile (*open)(BoundedStream &stream);
    std::string_view mark = {};  // of its files; "" where a mark does not suffice
    std::size_t markAt = 0;
    const char *probed = nullptr;  // ffmpeg's name for one whose length may not be told
    const char *codec = "";        // where the container tells it
};

constexpr std::array kContainers = {
    Container{"flac", OpenFlac, "fLaC", 0, "flac"},
    Container{"ogg", OpenOgg, "OggS", 0, "ogg"},
    Container{"mp4", OpenMp4, "ftyp", 4},
    Container{"wav", OpenWav, "WAVE", 8, "wav"},
    Container{"aiff", OpenAiff, "AIFF", 8, "aiff"},
    Container{"aiff", OpenAiff, "AIFC", 8, "aiff"},
    Container{"asf", OpenAsf, "\x30\x26\xB2\x75\x8E\x66\xCF\x11"},
    Container{"ape", OpenApeTagged<TagLib::APE::File>, "MAC ", 0, nullptr, "ape"},
    Container{"mpc", OpenApeTagged<TagLib::MPC::File>, "MPCK", 0, nullptr, "musepack"},
    Container{"mpc", OpenApeTagged<TagLib::MPC::File>, "MP+", 0, nullptr, "musepack"},
    Container{"wv", OpenApeTagged<TagLib::WavPack::File>, "wvpk", 0, nullptr, "wavpack"},
    Container{"tta", OpenTrueAudio, "TTA"},
    Container{"dsf", OpenDsd<ReadDsf>, "DSD "},
    Container{"dff", OpenDsd<ReadDsdiff>, "FRM8"},
    Container{"matroska", OpenMatroska, "\x1A\x45\xDF\xA3"},
    Container{"adts", OpenAdts, "", 0, nullptr, "aac"},
    Container{"mp3", OpenMpeg},
};

const Container *ContainerNamed(std::string_view name) {
    const auto *const found =
        std::find_if(kContainers.begin(), kContainers.end(),
                     [&](const Container &container) { return container.name == name; });
    return found != kContainers.end() ? found : nullptr;
}

// By what stands at `begin`, after tags; null where that is nothing known.
const Container *ContainerByContents(BoundedStream &stream, long begin) {
    const std::string bytes(stream.At(begin, 16));
    for (const Container &container : kContainers) {
        if (!container.mark.empty() && bytes.size() > container.markAt &&
            bytes.substr(container.markAt).starts_with(container.mark)) {
            return &container;
        }
    }
    if (bytes.size() > 1 && bytes[0] == '\xFF' && (bytes[1] & 0xF6) == 0xF0) {
        return ContainerNamed("adts");
    }
    return AreFramesAt(stream, begin) ? ContainerNamed("mp3") : nullptr;
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
    OpenedFile opened = container->open(stream);
    // What was written to a pipe, or cut off.
    if (opened.audio.milliseconds == 0 && container->probed != nullptr) {
        AddProbed(opened, stream, container->probed);
    }
    opened.container = container->name;
    opened.codec = opened.codec.empty() ? container->codec : opened.codec;
    opened.isByContents = known != nullptr;
    return opened;
}

}  // namespace varnindex

#include "format.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/asffile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2framefactory.h>
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

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "dsd.h"

namespace varnindex {
namespace {

using Factory = TagLib::ID3v2::FrameFactory;

template <typename File>
std::unique_ptr<File> Open(TagLib::IOStream &stream) {
    return std::make_unique<File>(&stream, true, TagLib::AudioProperties::Average);
}

template <typename File>
std::unique_ptr<File> OpenWithFrames(TagLib::IOStream &stream) {
    return std::make_unique<File>(&stream, Factory::instance(), true,
                                  TagLib::AudioProperties::Average);
}

OpenedFile OpenMpeg(TagLib::IOStream &stream) {
    auto file = OpenWithFrames<TagLib::MPEG::File>(stream);
    const auto *audio = file->audioProperties();
    const int layer = audio != nullptr ? audio->layer() : 0;
    return {std::move(file), layer == 1 ? "mp1" : layer == 2 ? "mp2" : "mp3"};
}

OpenedFile OpenFlac(TagLib::IOStream &stream) {
    return {OpenWithFrames<TagLib::FLAC::File>(stream), "flac"};
}

// The extensions of Ogg say little about what is inside.
OpenedFile OpenOgg(TagLib::IOStream &stream) {
    if (TagLib::Ogg::Opus::File::isSupported(&stream)) {
        return {Open<TagLib::Ogg::Opus::File>(stream), "opus"};
    }
    if (TagLib::Ogg::FLAC::File::isSupported(&stream)) {
        return {Open<TagLib::Ogg::FLAC::File>(stream), "flac"};
    }
    if (TagLib::Ogg::Speex::File::isSupported(&stream)) {
        return {Open<TagLib::Ogg::Speex::File>(stream), "speex"};
    }
    return {Open<TagLib::Ogg::Vorbis::File>(stream), "vorbis"};
}

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

// TagLib reads atoms within atoms recursively.
bool IsNestedTooDeep(TagLib::IOStream &stream) {
    constexpr std::size_t kDeepest = 32;
    std::vector<long> ends = {stream.length()};
    for (long at = 0; at + 8 <= ends.front();) {
        while (ends.size() > 1 && at >= ends.back()) {
            ends.pop_back();
        }
        stream.seek(at);
        const TagLib::ByteVector header = stream.readBlock(16);
        if (header.size() < 8) {
            return false;
        }
        long long length = header.toUInt(0U);
        if (length == 1 && header.size() == 16) {
            length = header.toLongLong(8U);
        }
        if (length < 8 || length > ends.front() - at) {
            return false;
        }
        const auto inner = OffsetOfInner(header.mid(4, 4));
        if (inner) {
            ends.push_back(at + static_cast<long>(length));
        }
        if (ends.size() > kDeepest) {
            return true;
        }
        at += inner.value_or(static_cast<long>(length));
    }
    return false;
}

OpenedFile OpenMp4(TagLib::IOStream &stream) {
    using TagLib::MP4::Properties;
    if (IsNestedTooDeep(stream)) {
        throw std::runtime_error("its atoms are nested too deep");
    }
    stream.seek(0);
    auto file = Open<TagLib::MP4::File>(stream);
    const auto *audio = file->audioProperties();
    const auto codec = audio != nullptr ? audio->codec() : Properties::Unknown;
    return {std::move(file), codec == Properties::AAC    ? "aac"
                             : codec == Properties::ALAC ? "alac"
                                                         : ""};
}

OpenedFile OpenWav(TagLib::IOStream &stream) {
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
    return {std::move(file), known != kCodecs.end() ? known->codec : ""};
}

OpenedFile OpenAiff(TagLib::IOStream &stream) {
    return {Open<TagLib::RIFF::AIFF::File>(stream), "pcm"};
}

OpenedFile OpenAsf(TagLib::IOStream &stream) {
    static constexpr std::array kCodecs = {"", "wmav1", "wmav2", "wmapro", "wmalossless"};
    auto file = Open<TagLib::ASF::File>(stream);
    const auto *audio = file->audioProperties();
    const auto codec = static_cast<std::size_t>(audio != nullptr ? audio->codec() : 0);
    return {std::move(file), kCodecs[codec < kCodecs.size() ? codec : 0]};
}

OpenedFile OpenApe(TagLib::IOStream &stream) {
    return {Open<TagLib::APE::File>(stream), "ape"};
}

OpenedFile OpenMusepack(TagLib::IOStream &stream) {
    return {Open<TagLib::MPC::File>(stream), "musepack"};
}

OpenedFile OpenWavPack(TagLib::IOStream &stream) {
    return {Open<TagLib::WavPack::File>(stream), "wavpack"};
}

OpenedFile OpenTrueAudio(TagLib::IOStream &stream) {
    return {OpenWithFrames<TagLib::TrueAudio::File>(stream), "tta"};
}

template <DsdFile::Kind kind>
OpenedFile OpenDsd(TagLib::IOStream &stream) {
    auto file = std::make_unique<DsdFile>(stream, kind);
    const bool isCompressed = file->Audio().isCompressed;
    return {std::move(file), isCompressed ? "dst" : "dsd"};
}

// Everything that TagLib 1.13 reads audio properties of, and DSD. MP4 files named .mp4 are films, and it
// does not find its way in a raw AAC stream.
constexpr std::array kFormats = {
    Format{"mp3", "mp3", OpenMpeg},
    Format{"mp2", "mp3", OpenMpeg},
    Format{"flac", "flac", OpenFlac},
    Format{"ogg", "ogg", OpenOgg},
    Format{"oga", "ogg", OpenOgg},
    Format{"opus", "ogg", OpenOgg},
    Format{"spx", "ogg", OpenOgg},
    Format{"m4a", "mp4", OpenMp4},
    Format{"m4b", "mp4", OpenMp4},
    Format{"wav", "wav", OpenWav},
    Format{"aif", "aiff", OpenAiff},
    Format{"aiff", "aiff", OpenAiff},
    Format{"aifc", "aiff", OpenAiff},
    Format{"wma", "asf", OpenAsf},
    Format{"ape", "ape", OpenApe},
    Format{"mpc", "mpc", OpenMusepack},
    Format{"wv", "wv", OpenWavPack},
    Format{"tta", "tta", OpenTrueAudio},
    Format{"dsf", "dsf", OpenDsd<DsdFile::Kind::kDsf>},
    Format{"dff", "dff", OpenDsd<DsdFile::Kind::kDsdiff>},
};

constexpr std::array<std::string_view, 5> kLists = {"m3u", "m3u8", "pls", "wpl", "cue"};

constexpr std::size_t kLongestExtension = 4;

// The extension of a name in lower case; "" for one that is none of ours by its length.
std::string Extension(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || name.size() - dot - 1 > kLongestExtension) {
        return {};
    }
    std::string extension(name.substr(dot + 1));
    for (char &c : extension) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return extension;
}

}  // namespace

const Format *FormatOfName(std::string_view name) {
    const std::string extension = Extension(name);
    const auto *const found =
        std::find_if(kFormats.begin(), kFormats.end(),
                     [&](const Format &format) { return format.extension == extension; });
    return found != kFormats.end() ? found : nullptr;
}

bool IsMusicName(std::string_view name) {
    return FormatOfName(name) != nullptr;
}

bool IsListName(std::string_view name) {
    return std::find(kLists.begin(), kLists.end(), Extension(name)) != kLists.end();
}

bool IsSheetName(std::string_view name) {
    return Extension(name) == "cue";
}

bool IsIndexedName(std::string_view name) {
    return IsMusicName(name) || IsListName(name);
}

bool IsPassedOver(std::string_view name) {
    return name.starts_with('.') || name == kAttributeFolder || name == "#recycle";
}

bool IsBelow(std::string_view folder, std::string_view path) {
    return folder == "/" || (path.starts_with(folder) &&
                             (path.size() == folder.size() || path[folder.size()] == '/'));
}

std::string_view PassedOverPart(std::string_view folder, std::string_view path) {
    std::string_view rest = path.substr(folder.size());
    while (!rest.empty()) {
        rest.remove_prefix(rest.front() == '/' ? 1 : 0);
        const std::string_view name = rest.substr(0, rest.find('/'));
        if (IsPassedOver(name)) {
            return name;
        }
        rest.remove_prefix(name.size());
    }
    return {};
}

}  // namespace varnindex

#include "tags.h"

#include <taglib/asffile.h>
#include <taglib/mp4file.h>
#include <taglib/tag.h>
#include <taglib/tdebuglistener.h>
#include <taglib/tpropertymap.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "cue.h"
#include "dsd.h"
#include "fingerprint.h"
#include "format.h"
#include "names.h"
#include "pictures.h"
#include "stream.h"

namespace varnindex {
namespace {

using TagLib::PropertyMap;

std::string Utf8(const TagLib::String &text) {
    return Utf8FromUtf16(text.toWString());
}

std::vector<std::string> Values(const PropertyMap &tags, const char *key) {
    std::vector<std::string> values;
    const auto found = tags.find(key);
    if (found != tags.end()) {
        for (const TagLib::String &value : found->second) {
            values.push_back(Utf8(value));
        }
    }
    return values;
}

std::string First(const PropertyMap &tags, const char *key) {
    const auto values = Values(tags, key);
    return values.empty() ? std::string() : values.front();
}

// Several values of one tag are one name: "A, B".
std::string Name(const PropertyMap &tags, const char *key) {
    std::string joined;
    for (const std::string &value : Values(tags, key)) {
        const std::string name = CleanName(value);
        if (!name.empty()) {
            joined += (joined.empty() ? "" : ", ") + name;
        }
    }
    return CleanName(joined);
}

std::string SortTag(const PropertyMap &tags, const char *key, const std::string &name) {
    const std::string tagged = Name(tags, key);
    return tagged.empty() ? SortName(name) : tagged;
}

// A decibel value such as "-6.20 dB" or a peak such as "0.98".
std::optional<float> Decimal(const std::string &text) {
    const char *const end = text.data() + text.size();
    const char *start = std::find_if(text.data(), end, [](char c) { return c != ' ' && c != '+'; });
    float value = 0;
    const auto [stop, error] = std::from_chars(start, end, value);
    const bool usable = error == std::errc() && std::isfinite(value) && std::fabs(value) < 1000;
    return usable ? std::optional(value) : std::nullopt;
}

constexpr std::array kGainKeys = {"REPLAYGAIN_TRACK_GAIN", "REPLAYGAIN_TRACK_PEAK",
                                  "REPLAYGAIN_ALBUM_GAIN", "REPLAYGAIN_ALBUM_PEAK"};

// TagLib's common names leave out the replay gain of these two formats.
void AddUnnamedGain(TagLib::File &file, PropertyMap &tags) {
    auto *const mp4 = dynamic_cast<TagLib::MP4::File *>(&file);
    auto *const asf = dynamic_cast<TagLib::ASF::File *>(&file);
    for (const char *key : kGainKeys) {
        if (mp4 != nullptr && mp4->tag() != nullptr) {
            const std::string name = "----:com.apple.iTunes:" + std::string(key);
            for (const auto &[item, value] : mp4->tag()->itemMap()) {
                if (item.upper() == TagLib::String(name).upper()) {
                    tags.insert(key, value.toStringList());
                }
            }
        } else if (asf != nullptr && asf->tag() != nullptr) {
            for (const auto &[item, values] : asf->tag()->attributeListMap()) {
                if (item.upper() == key && !values.isEmpty()) {
                    tags.insert(key, values.front().toString());
                }
            }
        }
    }
}

ReplayGain ReadGain(const PropertyMap &tags) {
    return {Decimal(First(tags, kGainKeys[0])), Decimal(First(tags, kGainKeys[1])),
            Decimal(First(tags, kGainKeys[2])), Decimal(First(tags, kGainKeys[3]))};
}

void ReadTags(const PropertyMap &tags, Song &song) {
    song.title = Name(tags, "TITLE");
    song.album = Name(tags, "ALBUM");
    song.artist = Name(tags, "ARTIST");
    // Programs that write free-form tags do not agree on this one.
    for (const char *key : {"ALBUMARTIST", "ALBUM ARTIST", "ALBUM_ARTIST"}) {
        song.albumArtist = song.albumArtist.empty() ? Name(tags, key) : song.albumArtist;
    }
    song.composer = Name(tags, "COMPOSER");
    song.genres = CleanGenres(Values(tags, "GENRE"));
    song.comment = CleanComment(First(tags, "COMMENT"));
    song.year = LeadingNumber(First(tags, "DATE").substr(0, 4));
    song.track = LeadingNumber(First(tags, "TRACKNUMBER"));
    song.disc = LeadingNumber(First(tags, "DISCNUMBER"));
    song.gain = ReadGain(tags);
}

// The two halves of an MP3 file's tags, and of some others', are not merged by TagLib: what the
// first one leaves open may stand in the second.
void FillFromOtherTags(const TagLib::Tag &tag, Song &song) {
    const auto fill = [](std::string &field, const TagLib::String &value) {
        if (field.empty()) {
            field = CleanName(Utf8(value));
        }
    };
    fill(song.title, tag.title());
    fill(song.album, tag.album());
    fill(song.artist, tag.artist());
    if (song.genres.empty()) {
        song.genres = CleanGenres({Utf8(tag.genre())});
    }
    const auto number = [](int &field, unsigned value) {
        if (field == 0 && value < 10000) {
            field = static_cast<int>(value);
        }
    };
    number(song.year, tag.year());
    number(song.track, tag.track());
}

void FillFromPath(Song &song) {
    const std::size_t slash = song.path.rfind('/');
    const std::string name = song.path.substr(slash + 1);
    if (song.title.empty() && song.artist.empty() && song.album.empty() && slash > 0) {
        const std::string folder = song.path.substr(0, slash);
        song.album = CleanName(folder.substr(folder.rfind('/') + 1));
    }
    if (song.title.empty()) {
        song.title = CleanName(name.substr(0, name.rfind('.')));
    }
}

void ReadSortNames(const PropertyMap &tags, Song &song) {
    song.titleSort = SortTag(tags, "TITLESORT", song.title);
    song.albumSort = SortTag(tags, "ALBUMSORT", song.album);
    song.artistSort = SortTag(tags, "ARTISTSORT", song.artist);
    song.albumArtistSort = SortTag(tags, "ALBUMARTISTSORT", song.albumArtist);
    song.composerSort = SortTag(tags, "COMPOSERSORT", song.composer);
}

void ReadAudio(const TagLib::AudioProperties &audio, Song &song) {
    constexpr int kMost = std::numeric_limits<int>::max();
    song.duration = static_cast<float>(std::max(audio.lengthInMilliseconds(), 0)) / 1000.0F;
    song.bitRate = std::clamp(audio.bitrate(), 0, kMost / 1000) * 1000;
    song.sampleRate = std::max(audio.sampleRate(), 0);
    song.channels = std::max(audio.channels(), 0);
}

// A sheet of absurd size is none.
std::string EmbeddedCue(const PropertyMap &tags) {
    std::string text = First(tags, "CUESHEET");
    return text.size() <= kMaxCueBytes ? text : std::string();
}

// Not damaged for good: the disk fails, or somebody is at work on the file.
constexpr const char kNotWhole[] = "cannot be read to its end";

void ReadOpened(const Format &format, BoundedStream &stream, Pictures pictures, Song song,
                ReadResult &result) {
    const OpenedFile opened = format.open(stream);
    const TagLib::AudioProperties *const audio =
        opened.file->isValid() ? opened.file->audioProperties() : nullptr;
    if (audio == nullptr || audio->sampleRate() <= 0 || audio->channels() <= 0) {
        result.isDamaged = !stream.HasFailed();
        result.problem = result.isDamaged ? "not audio or damaged" : kNotWhole;
        return;
    }
    ReadAudio(*audio, song);
    // TagLib asks its own formats alone for more than whole seconds.
    if (const auto *const dsd = dynamic_cast<const DsdFile *>(opened.file.get())) {
        song.duration = static_cast<float>(dsd->Audio().milliseconds) / 1000.0F;
    }
    song.container = format.container;
    song.codec = opened.codec;
    PropertyMap tags = opened.file->properties();
    AddUnnamedGain(*opened.file, tags);
    ReadTags(tags, song);
    if (opened.file->tag() != nullptr) {
        FillFromOtherTags(*opened.file->tag(), song);
    }
    FillFromPath(song);
    ReadSortNames(tags, song);
    song.fingerprint = Fingerprint(*opened.file, stream);
    // Nor does a part of the tags take the place of what the library has of all of them.
    if (stream.HasFailed()) {
        result.problem = kNotWhole;
        return;
    }
    result.embeddedCue = EmbeddedCue(tags);
    song.pictures = pictures == Pictures::kStore
                        ? StorePictures(*opened.file, song.path, result.warning)
                        : static_cast<int>(ListPictures(*opened.file).size());
    if (stream.WasCutShort()) {
        result.warning = "its tags are too large to be read";
    }
    result.song = std::move(song);
}

class Silence : public TagLib::DebugListener {
  public:
    void printMessage(const TagLib::String & /*message*/) override {}
};

}  // namespace

void SilenceTagLib() {
    static Silence silence;
    TagLib::setDebugListener(&silence);
}

ReadResult ReadSong(const std::string &path, std::int64_t size, std::int64_t modified,
                    Pictures pictures, const SeenFile &seen) {
    ReadResult result;
    const Format *const format = FormatOfName(path);
    if (format == nullptr) {
        result.problem = "not the name of an audio file";
        return result;
    }
    const auto stream = OpenStream(path, seen, result.problem);
    if (!stream) {
        return result;
    }
    Song song;
    song.path = path;
    song.size = size;
    song.modified = modified;
    try {
        ReadOpened(*format, *stream, pictures, std::move(song), result);
    } catch (const std::exception &error) {  // sizes in a damaged tag can ask for absurd memory
        result.song.reset();
        result.problem = std::string("cannot be read: ") + error.what();
    }
    return result;
}

}  // namespace varnindex

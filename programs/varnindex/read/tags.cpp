#include "varnindex/read/tags.h"

#include <taglib/asffile.h>
#include <taglib/flacfile.h>
#include <taglib/mp4file.h>
#include <taglib/tag.h>
#include <taglib/tdebuglistener.h>
#include <taglib/tpropertymap.h>

#include <charconv>
#include <cmath>
#include <map>

#include "varnindex/hash.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/read/cue.h"
#include "varnindex/read/names.h"
#include "varnindex/read/open_audio.h"
#include "varnindex/read/pictures.h"
#include "varnindex/read/stream.h"

namespace varnindex {
namespace {

// The tags of a file under TagLib's common names.
using Tags = std::map<std::string, TagLib::StringList, std::less<>>;

std::vector<std::string> Values(const Tags &tags, std::string_view key) {
    std::vector<std::string> values;
    const auto found = tags.find(key);
    if (found != tags.end()) {
        for (const TagLib::String &value : found->second) {
            values.push_back(value.to8Bit(true));
        }
    }
    return values;
}

std::string First(const Tags &tags, std::string_view key) {
    const auto values = Values(tags, key);
    return values.empty() ? std::string() : values.front();
}

// Several values of one tag are one name: "A, B".
std::string Name(const Tags &tags, std::string_view key) {
    std::string joined;
    for (const std::string &value : Values(tags, key)) {
        const std::string name = CleanName(value);
        if (!name.empty()) {
            joined += (joined.empty() ? "" : ", ") + name;
        }
    }
    return CleanName(joined);
}

std::string SortTag(const Tags &tags, std::string_view key, const std::string &name) {
    const std::string tagged = Name(tags, key);
    return tagged.empty() ? SortName(name) : tagged;
}

// A decibel value ("-6.20 dB") or a peak ("0.98").
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

// TagLib's common names leave out the replay gain of these two formats, and the date as ffmpeg
// names it in ASF.
void AddUnnamed(TagLib::File &file, Tags &tags) {
    const auto add = [&](const TagLib::String &name, const TagLib::StringList &values) {
        const bool isGain = std::find(kGainKeys.begin(), kGainKeys.end(), name) != kGainKeys.end();
        if (isGain || name == "DATE") {
            tags.try_emplace(name.to8Bit(), values);
        }
    };
    if (auto *const mp4 = dynamic_cast<TagLib::MP4::File *>(&file)) {
        const TagLib::String owner = "----:COM.APPLE.ITUNES:";
        for (const auto &[item, value] : mp4->tag()->itemMap()) {
            if (item.upper().startsWith(owner)) {
                add(item.upper().substr(owner.size()), value.toStringList());
            }
        }
    } else if (auto *const asf = dynamic_cast<TagLib::ASF::File *>(&file)) {
        for (const auto &[item, values] : asf->tag()->attributeListMap()) {
            if (!values.isEmpty()) {
                add(item.upper(), values.front().toString());
            }
        }
    }
}

// What one tag leaves open may stand in the next.
Tags AllTags(const OpenedFile &opened) {
    Tags tags;
    const auto fill = [&](const TagLib::PropertyMap &properties) {
        for (const auto &[key, values] : properties) {
            tags.try_emplace(key.to8Bit(true), values);
        }
    };
    fill(opened.file->properties());
    AddUnnamed(*opened.file, tags);
    for (const auto &tag : opened.moreTags) {
        fill(PropertiesOf(*tag));
    }
    if (opened.isMerged && opened.file->tag() != nullptr) {
        fill(PropertiesOf(*opened.file->tag()));  // properties() takes one kind
    }
    return tags;
}

ReplayGain ReadGain(const Tags &tags) {
    return {Decimal(First(tags, kGainKeys[0])), Decimal(First(tags, kGainKeys[1])),
            Decimal(First(tags, kGainKeys[2])), Decimal(First(tags, kGainKeys[3]))};
}

void ReadTags(const Tags &tags, Song &song) {
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
    for (const char *key : {"DATE", "RELEASEDATE", "ORIGINALDATE"}) {
        song.year = song.year == 0 ? LeadingNumber(First(tags, key).substr(0, 4)) : song.year;
    }
    song.track = LeadingNumber(First(tags, "TRACKNUMBER"));
    song.disc = LeadingNumber(First(tags, "DISCNUMBER"));
    song.gain = ReadGain(tags);
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

void ReadSortNames(const Tags &tags, Song &song) {
    song.titleSort = SortTag(tags, "TITLESORT", song.title);
    song.albumSort = SortTag(tags, "ALBUMSORT", song.album);
    song.artistSort = SortTag(tags, "ARTISTSORT", song.artist);
    song.albumArtistSort = SortTag(tags, "ALBUMARTISTSORT", song.albumArtist);
    song.composerSort = SortTag(tags, "COMPOSERSORT", song.composer);
}

void ReadAudio(const Audio &audio, Song &song) {
    constexpr std::int64_t kMost = std::numeric_limits<int>::max();
    song.duration = static_cast<float>(audio.milliseconds) / 1000.0F;
    song.bitRate = static_cast<int>(std::clamp(audio.bitRate, std::int64_t{0}, kMost));
    song.sampleRate = audio.sampleRate;
    song.channels = audio.channels;
}

// A sheet of absurd size is none.
std::string EmbeddedCue(const Tags &tags) {
    std::string text = First(tags, "CUESHEET");
    return text.size() <= kMaxCueBytes ? text : std::string();
}

// What a file is known by when it was moved or renamed: a hash of the length of the sound and of
// some blocks of it.
std::int64_t Fingerprint(const OpenedFile &opened, BoundedStream &stream) {
    constexpr long kBlock = 4096;
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
    const ByteRange sound = opened.sound;
    hash.Add(sound.Length());
    const auto add = [&](long begin) {
        const long wanted = std::clamp(sound.end - begin, 0L, kBlock);
        hash.Add(stream.At(begin, static_cast<unsigned long>(wanted)));
    };
    for (const long begin : sound.Thirds()) {
        add(begin);
    }
    add(std::max(sound.end - kBlock, sound.begin));
    return hash.Value();
}

// Not damaged for good: the disk fails, or a program is writing the file.
constexpr const char kNotWhole[] = "cannot be read to its end";

std::string WhyNoSound(const OpenedFile &opened) {
    return opened.isByContents ? "no sound is found in it, as if it were damaged; its format is " +
                                     std::string(opened.container)
                               : "its contents are no audio format that is known";
}

void Describe(const OpenedFile &opened, const Tags &tags, Song &song) {
    ReadAudio(opened.audio, song);
    song.container = opened.container;
    song.codec = opened.codec;
    ReadTags(tags, song);
    FillFromPath(song);
    ReadSortNames(tags, song);
}

void ReadOpened(BoundedStream &stream, const FileFacts &file, Pictures pictures, KeptCover *kept,
                ReadResult &result) {
    const OpenedFile opened = OpenAudio(file.path, stream);
    Song song;
    song.path = file.path;
    song.size = file.size;
    song.modified = file.modified;
    song.userid = file.userid;
    // First, because it also finds out whether the file can be read to its end.
    song.fingerprint = Fingerprint(opened, stream);
    // TagLib answers no question about tags of a file that it takes for invalid.
    if (opened.audio.sampleRate <= 0 || opened.audio.channels <= 0 || !opened.file->isValid()) {
        result.problem = stream.HasFailed() ? kNotWhole : WhyNoSound(opened);
        return;
    }
    const Tags tags = AllTags(opened);
    Describe(opened, tags, song);
    // Never overwrite complete tags with a partial read.
    if (stream.HasFailed()) {
        result.problem = kNotWhole;
        return;
    }
    result.embeddedCue = EmbeddedCue(tags);
    const std::vector<Picture> found = ListPictures(opened);
    song.pictures = static_cast<int>(found.size());
    if (pictures == Pictures::kStore && (file.hasAttributes || !found.empty())) {
        result.warning = StoreCover(found, song.path, kept);
    }
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

ReadResult ReadSong(const FileFacts &file, Pictures pictures, KeptCover *kept) {
    ReadResult result;
    if (!IsMusicName(file.path)) {
        result.problem = "not the name of an audio file";
        return result;
    }
    const auto stream = OpenStream(file.path, file.seen, result.problem);
    if (!stream) {
        return result;
    }
    try {
        ReadOpened(*stream, file, pictures, kept, result);
    } catch (const std::exception &error) {  // sizes in a damaged tag can ask for absurd memory
        result.song.reset();
        result.problem = std::string("cannot be read: ") + error.what();
    }
    return result;
}

}  // namespace varnindex

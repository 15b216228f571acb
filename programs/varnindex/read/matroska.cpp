#include "varnindex/read/matroska.h"

#include <taglib/flacpicture.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "varnindex/read/named_tags.h"

namespace varnindex {
namespace {

using TagLib::ByteVector;
using TagLib::Ogg::XiphComment;

constexpr unsigned kHead = 12;  // of an element: its name has up to 4 bytes, its size up to 8

enum Id : std::uint32_t {
    kEbml = 0x1A45DFA3,
    kSegment = 0x18538067,
    kSeekHead = 0x114D9B74,
    kSeek = 0x4DBB,
    kSeekPosition = 0x53AC,
    kInfo = 0x1549A966,
    kTimestampScale = 0x2AD7B1,
    kDuration = 0x4489,
    kTitle = 0x7BA9,
    kTracks = 0x1654AE6B,
    kTrackEntry = 0xAE,
    kTrackType = 0x83,
    kCodecId = 0x86,
    kAudioSettings = 0xE1,
    kSamplingFrequency = 0xB5,
    kChannels = 0x9F,
    kTags = 0x1254C367,
    kTag = 0x7373,
    kTargets = 0x63C0,
    kTargetLevel = 0x68CA,
    kEditionTarget = 0x63C9,
    kChapterTarget = 0x63C4,
    kAttachmentTarget = 0x63C6,
    kSimpleTag = 0x67C8,
    kTagName = 0x45A3,
    kTagString = 0x4487,
    kAttachments = 0x1941A469,
    kAttachedFile = 0x61A7,
    kFileName = 0x466E,
    kFileType = 0x4660,
    kFileData = 0x465C,
    kCluster = 0x1F43B675,
    kTimestamp = 0xE7,
    kSimpleBlock = 0xA3,
    kBlockGroup = 0xA0,
    kBlock = 0xA1,
};

struct Element {
    std::uint32_t id = 0;
    long head = 0;   // where it begins,
    long begin = 0;  // and what is in it
    long end = 0;
};

// A number whose first byte tells its width by its leading zeros; the mark stays where `isName`.
std::optional<std::uint64_t> VarNumber(const ByteVector &bytes, unsigned at, unsigned &width,
                                       bool isName) {
    const unsigned first = at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
    width = 1;
    while (width <= 8 && (first & (0x100U >> width)) == 0) {
        ++width;
    }
    if (width > (isName ? 4U : 8U) || at + width > bytes.size()) {
        return std::nullopt;
    }
    std::uint64_t number = isName ? first : first & (0xFFU >> width);
    for (unsigned i = 1; i < width; ++i) {
        number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
    }
    return number;
}

// One without a size, as in what is written to a pipe, ends where what it stands in does.
std::optional<Element> ElementAt(BoundedStream &stream, long at, long end) {
    if (!stream.AllowPart()) {
        return std::nullopt;
    }
    const ByteVector head = stream.BlockAt(at, kHead);
    unsigned nameWidth = 0;
    unsigned sizeWidth = 0;
    const auto name = VarNumber(head, 0, nameWidth, true);
    const auto size = name ? VarNumber(head, nameWidth, sizeWidth, false) : std::nullopt;
    const long begin = at + static_cast<long>(nameWidth + sizeWidth);
    if (!size || begin > end) {
        return std::nullopt;
    }
    const auto room = static_cast<std::uint64_t>(end - begin);
    return Element{static_cast<std::uint32_t>(*name), at, begin,
                   begin + static_cast<long>(std::min(*size, room))};
}

// Calls `use` with each element of another one, until it says false.
template <typename Use>
void ForEach(BoundedStream &stream, const Element &outer, const Use &use) {
    long at = outer.begin;
    while (at < outer.end) {
        const auto element = ElementAt(stream, at, outer.end);
        if (!element || !use(*element)) {
            return;
        }
        at = element->end;
    }
}

ByteVector Bytes(BoundedStream &stream, const Element &element, long most) {
    const long length = std::min(element.end - element.begin, most);
    stream.AllowSearch();  // the number of parts bounds it
    stream.seek(element.begin, TagLib::IOStream::Beginning);
    return stream.readBlock(static_cast<unsigned long>(length));
}

std::uint64_t Unsigned(BoundedStream &stream, const Element &element) {
    std::uint64_t number = 0;
    for (const char byte : Bytes(stream, element, 8)) {
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return number;
}

double Real(BoundedStream &stream, const Element &element) {
    const ByteVector bytes = Bytes(stream, element, 8);
    const double number = bytes.size() == 8   ? bytes.toFloat64BE(0)
                          : bytes.size() == 4 ? double{bytes.toFloat32BE(0)}
                                              : 0;
    return std::isfinite(number) ? std::max(number, 0.0) : 0;
}

TagLib::String Text(BoundedStream &stream, const Element &element) {
    return {stream.TextAt(element.begin, element.end - element.begin), TagLib::String::UTF8};
}

std::string CodecOf(std::string_view id) {
    struct Known {
        std::string_view id;  // what it begins with
        const char *codec;
    };
    static constexpr std::array kKnown = {
        Known{"A_VORBIS", "vorbis"},    Known{"A_OPUS", "opus"},    Known{"A_FLAC", "flac"},
        Known{"A_AAC", "aac"},          Known{"A_ALAC", "alac"},    Known{"A_PCM", "pcm"},
        Known{"A_MPEG/L3", "mp3"},      Known{"A_MPEG/L2", "mp2"},  Known{"A_AC3", "ac3"},
        Known{"A_EAC3", "eac3"},        Known{"A_DTS", "dts"},      Known{"A_TTA1", "tta"},
        Known{"A_WAVPACK4", "wavpack"}, Known{"A_TRUEHD", "truehd"}};
    const auto *const known = std::find_if(
        kKnown.begin(), kKnown.end(), [&](const Known &entry) { return id.starts_with(entry.id); });
    return known != kKnown.end() ? known->codec : "";
}

class Reader {
  public:
    Reader(BoundedStream &stream, XiphComment &tags) : stream_(stream), tags_(tags) {}

    void Read();

    Audio audio;
    std::string codec;
    long firstCluster = 0;

  private:
    void ReadPart(const Element &part);
    void ReadSeekHead(const Element &head);
    void ReadInfo(const Element &info);
    void ReadTrack(const Element &track);
    void ReadTag(const Element &tag);
    void ReadSimpleTag(const Element &simple, std::uint64_t level);
    void ReadAttachment(const Element &file);
    double LastTimestamp();
    double LastOfCluster(const Element &cluster);

    BoundedStream &stream_;
    XiphComment &tags_;
    Element segment_;
    std::vector<long> places_;  // of parts, from the segment's begin on
    double nanosecondsPerUnit_ = 1e6;
    double units_ = 0;
};

// What stands behind the sound is found through the tables in front of it.
void Reader::Read() {
    const auto head = ElementAt(stream_, 0, stream_.length());
    const auto segment =
        head && head->id == kEbml ? ElementAt(stream_, head->end, stream_.length()) : std::nullopt;
    if (!segment || segment->id != kSegment) {
        return;
    }
    segment_ = *segment;
    ForEach(stream_, segment_, [&](const Element &part) {
        if (part.id == kCluster) {
            firstCluster = part.head;
            return false;
        }
        ReadPart(part);
        return true;
    });
    for (std::size_t i = 0; i < places_.size(); ++i) {
        const long place = segment_.begin + places_[i];
        if (firstCluster > 0 && place > firstCluster) {
            if (const auto part = ElementAt(stream_, place, segment_.end)) {
                ReadPart(*part);
            }
        }
    }
    const double units = units_ > 0 || codec.empty() ? units_ : LastTimestamp();
    constexpr double kMost = std::numeric_limits<int>::max() - 1000.0;
    audio.milliseconds = std::llround(std::min(units * nanosecondsPerUnit_ / 1e6, kMost));
    if (!tags_.contains("ARTIST") && tags_.contains("ALBUMARTIST")) {
        tags_.addField("ARTIST", tags_.fieldListMap()["ALBUMARTIST"].front());
    }
}

void Reader::ReadPart(const Element &part) {
    const auto each = [&](std::uint32_t id, void (Reader::*read)(const Element &)) {
        ForEach(stream_, part, [&](const Element &inner) {
            if (inner.id == id) {
                (this->*read)(inner);
            }
            return true;
        });
    };
    switch (part.id) {
        case kSeekHead:
            return each(kSeek, &Reader::ReadSeekHead);
        case kInfo:
            return ReadInfo(part);
        case kTracks:
            return each(kTrackEntry, &Reader::ReadTrack);
        case kTags:
            return each(kTag, &Reader::ReadTag);
        case kAttachments:
            return each(kAttachedFile, &Reader::ReadAttachment);
        default:
            return;
    }
}

void Reader::ReadSeekHead(const Element &head) {
    constexpr std::size_t kMostPlaces = 32;
    ForEach(stream_, head, [&](const Element &element) {
        const std::uint64_t place = element.id == kSeekPosition ? Unsigned(stream_, element) : 0;
        if (place > 0 && place < static_cast<std::uint64_t>(stream_.length()) &&
            places_.size() < kMostPlaces) {
            places_.push_back(static_cast<long>(place));
        }
        return true;
    });
}

void Reader::ReadInfo(const Element &info) {
    ForEach(stream_, info, [&](const Element &element) {
        if (element.id == kTimestampScale) {
            nanosecondsPerUnit_ = static_cast<double>(Unsigned(stream_, element));
        } else if (element.id == kDuration) {
            units_ = Real(stream_, element);
        } else if (element.id == kTitle) {
            AddNamed(tags_, "TITLE", Text(stream_, element));
        }
        return true;
    });
}

// The first track of sound counts.
void Reader::ReadTrack(const Element &track) {
    constexpr std::uint64_t kSound = 2;
    Audio found{0, 0, 8000, 1};  // unless it says otherwise
    std::string id;
    std::uint64_t type = 0;
    ForEach(stream_, track, [&](const Element &element) {
        if (element.id == kTrackType) {
            type = Unsigned(stream_, element);
        } else if (element.id == kCodecId) {
            id = Text(stream_, element).to8Bit(true);
        } else if (element.id == kAudioSettings) {
            ForEach(stream_, element, [&](const Element &setting) {
                if (setting.id == kSamplingFrequency) {
                    found.sampleRate =
                        static_cast<int>(std::min(Real(stream_, setting), 100'000'000.0));
                } else if (setting.id == kChannels) {
                    found.channels =
                        static_cast<int>(std::min(Unsigned(stream_, setting), std::uint64_t{256}));
                }
                return true;
            });
        }
        return true;
    });
    if (type == kSound && audio.channels == 0) {
        audio = found;
        codec = CodecOf(id);
    }
}

// Tags of chapters and attachments are not the song's.
void Reader::ReadTag(const Element &tag) {
    std::uint64_t level = 0;
    bool isOfPart = false;
    ForEach(stream_, tag, [&](const Element &element) {
        if (element.id == kTargets) {
            ForEach(stream_, element, [&](const Element &target) {
                level = target.id == kTargetLevel ? Unsigned(stream_, target) : level;
                isOfPart = isOfPart || target.id == kEditionTarget || target.id == kChapterTarget ||
                           target.id == kAttachmentTarget;
                return true;
            });
        } else if (element.id == kSimpleTag && !isOfPart) {
            ReadSimpleTag(element, level);
        }
        return true;
    });
}

// On the level of albums a title is the album's; programs that know no levels name none.
void Reader::ReadSimpleTag(const Element &simple, std::uint64_t level) {
    constexpr std::uint64_t kAlbum = 50;
    TagLib::String name;
    TagLib::String value;
    ForEach(stream_, simple, [&](const Element &element) {
        if (element.id == kTagName) {
            name = Text(stream_, element).upper();
        } else if (element.id == kTagString) {
            value = Text(stream_, element);
        }
        return true;
    });
    if (level == kAlbum && (name == "TITLE" || name == "ARTIST")) {
        name = name == "TITLE" ? "ALBUM" : "ALBUMARTIST";
    }
    if (!name.isEmpty() && !(name == "TITLE" && tags_.contains("TITLE") && level == 0)) {
        AddNamed(tags_, name, value);
    }
}

void Reader::ReadAttachment(const Element &file) {
    constexpr long kMostBytes = 17L << 20;
    constexpr unsigned kMostPictures = 100;
    TagLib::String name;
    TagLib::String type;
    std::optional<Element> data;
    ForEach(stream_, file, [&](const Element &element) {
        if (element.id == kFileName) {
            name = Text(stream_, element);
        } else if (element.id == kFileType) {
            type = Text(stream_, element);
        } else if (element.id == kFileData) {
            data = element;
        }
        return true;
    });
    if (data && type.startsWith("image/") && tags_.pictureList().size() < kMostPictures) {
        auto picture = std::make_unique<TagLib::FLAC::Picture>();
        picture->setData(Bytes(stream_, *data, kMostBytes));
        picture->setType(name.upper().startsWith("COVER") ? TagLib::FLAC::Picture::FrontCover
                                                          : TagLib::FLAC::Picture::Other);
        tags_.addPicture(picture.release());  // the tags own it
    }
}

// When the last block of sound begins: what was written to a pipe tells no length.
double Reader::LastTimestamp() {
    constexpr long kPiece = 1L << 20;
    constexpr int kMostPieces = 8;
    constexpr std::string_view kName = "\x1F\x43\xB6\x75";  // kCluster
    long end = segment_.end;
    for (int i = 0; i < kMostPieces && firstCluster > 0 && end > firstCluster; ++i) {
        const long start = std::max(firstCluster, end - kPiece);
        const ByteVector bytes = Bytes(stream_, {0, start, start, end}, kPiece);
        const std::string_view text(bytes.data(), bytes.size());
        for (std::size_t at = text.rfind(kName); at != text.npos;
             at = at > 0 ? text.rfind(kName, at - 1) : text.npos) {
            const auto cluster = ElementAt(stream_, start + static_cast<long>(at), segment_.end);
            const double last = cluster ? LastOfCluster(*cluster) : 0;
            if (last > 0) {
                return last;
            }
        }
        end = start > firstCluster ? start + 3 : firstCluster;  // a name across the border
    }
    return 0;
}

double Reader::LastOfCluster(const Element &cluster) {
    double begin = 0;
    double last = 0;
    const auto look = [&](const Element &block) {
        const ByteVector bytes = stream_.BlockAt(block.begin, kHead);
        unsigned width = 0;
        if (VarNumber(bytes, 0, width, false) && width + 2 <= bytes.size()) {
            last = std::max(last, begin + bytes.toShort(width));
        }
    };
    ForEach(stream_, cluster, [&](const Element &element) {
        if (element.id == kTimestamp) {
            begin = static_cast<double>(Unsigned(stream_, element));
        } else if (element.id == kSimpleBlock) {
            look(element);
        } else if (element.id == kBlockGroup) {
            ForEach(stream_, element, [&](const Element &inner) {
                if (inner.id == kBlock) {
                    look(inner);
                }
                return true;
            });
        }
        return true;
    });
    return last;
}

}  // namespace

MatroskaFile::MatroskaFile(BoundedStream &stream)
    : TagLib::File(&stream), tags_(std::make_unique<TagLib::Ogg::XiphComment>()) {
    Reader reader(stream, *tags_);
    reader.Read();
    audio_ = reader.audio;
    codec_ = reader.codec;
    firstCluster_ = reader.firstCluster;
    setValid(audio_.sampleRate > 0 && audio_.channels > 0);
}

}  // namespace varnindex

#include "varnindex/read/mp4_boxes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <vector>

#include "varnindex/read/named_tags.h"

namespace varnindex {
namespace {

using TagLib::ByteVector;

constexpr unsigned long kMostTable = 1UL << 20;

struct Box {
    ByteVector name;
    long begin = 0;  // of what is in it
    long end = 0;
};

ByteVector ReadAt(BoundedStream &stream, long offset, unsigned long length) {
    stream.AllowSearch();  // the number of parts bounds it
    stream.seek(offset, TagLib::IOStream::Beginning);
    return stream.readBlock(length);
}

std::uint32_t Number(BoundedStream &stream, long offset) {
    const ByteVector bytes = ReadAt(stream, offset, 4);
    return bytes.size() == 4 ? bytes.toUInt(0U) : 0;
}

std::uint32_t Flags(BoundedStream &stream, const Box &box) {
    return Number(stream, box.begin) & 0xFFFFFF;
}

// Calls `use` with each box between two offsets, until it says false. A box that claims to be
// longer than what it stands in ends there.
template <typename Use>
void ForEachBox(BoundedStream &stream, long begin, long end, const Use &use) {
    while (begin + 8 <= end && stream.AllowPart()) {
        const ByteVector head = ReadAt(stream, begin, 16);
        if (head.size() < 8) {
            return;
        }
        const bool isWide = head.toUInt(0U) == 1 && head.size() == 16;
        const long room = end - begin;
        long long size = isWide ? head.toLongLong(8U) : head.toUInt(0U);
        size = size == 0 ? room : std::min<long long>(size, room);
        if (size < (isWide ? 16 : 8)) {
            return;
        }
        const long inside = begin + (isWide ? 16 : 8);
        begin += static_cast<long>(size);
        if (!use(Box{head.mid(4, 4), inside, begin})) {
            return;
        }
    }
}

std::optional<Box> Find(BoundedStream &stream, Box box, std::initializer_list<const char *> path) {
    for (const char *name : path) {
        std::optional<Box> found;
        ForEachBox(stream, box.begin, box.end, [&](const Box &inner) {
            found = inner.name == name ? std::optional(inner) : std::nullopt;
            return !found;
        });
        if (!found) {
            return std::nullopt;
        }
        box = *found;
    }
    return box;
}

// The number behind the two times of a header box, whose width its version tells.
std::uint32_t BehindTimes(BoundedStream &stream, const std::optional<Box> &box) {
    if (!box) {
        return 0;
    }
    const bool isWide = Number(stream, box->begin) >> 24 == 1;
    return Number(stream, box->begin + (isWide ? 20 : 12));
}

std::string CodecOf(const ByteVector &type) {
    struct Known {
        const char *type;
        const char *codec;
    };
    static constexpr std::array kKnown = {
        Known{"mp4a", "aac"},  Known{"alac", "alac"}, Known{"ac-3", "ac3"}, Known{"ec-3", "eac3"},
        Known{"Opus", "opus"}, Known{"fLaC", "flac"}, Known{".mp3", "mp3"}, Known{"twos", "pcm"},
        Known{"sowt", "pcm"},  Known{"lpcm", "pcm"},  Known{"ipcm", "pcm"}, Known{"fpcm", "pcm"}};
    const auto *const known = std::find_if(kKnown.begin(), kKnown.end(),
                                           [&](const Known &entry) { return type == entry.type; });
    return known != kKnown.end() ? known->codec : "";
}

// ---- fragments ---------------------------------------------------------------------------------

// Units of time in the tables of the movie's own samples: entries of a number and a duration.
std::uint64_t UnitsOfTable(BoundedStream &stream, const Box &table) {
    const ByteVector bytes =
        ReadAt(stream, table.begin,
               std::min(static_cast<unsigned long>(table.end - table.begin), kMostTable));
    std::uint64_t units = 0;
    for (unsigned at = 8; at + 8 <= bytes.size(); at += 8) {
        units += std::uint64_t{bytes.toUInt(at)} * bytes.toUInt(at + 4);
    }
    return units;
}

// Units of time in a run of samples, which have durations of their own or the default.
std::uint64_t UnitsOfRun(BoundedStream &stream, const Box &run, std::uint32_t defaultUnits) {
    const std::uint32_t flags = Flags(stream, run);
    const std::uint32_t samples = Number(stream, run.begin + 4);
    if ((flags & 0x100) == 0) {
        return std::uint64_t{samples} * defaultUnits;
    }
    const long skipped = 8 + ((flags & 0x1) != 0 ? 4 : 0) + ((flags & 0x4) != 0 ? 4 : 0);
    unsigned width = 4;
    for (const std::uint32_t field : {0x200U, 0x400U, 0x800U}) {
        width += (flags & field) != 0 ? 4 : 0;
    }
    const long begin = std::min(run.begin + skipped, run.end);
    const ByteVector table =
        ReadAt(stream, begin, std::min(static_cast<unsigned long>(run.end - begin), kMostTable));
    std::uint64_t units = 0;
    for (unsigned at = 0; at + width <= table.size(); at += width) {
        units += table.toUInt(at);
    }
    return units;
}

// Units of time in a track's part of a fragment.
std::uint64_t UnitsOfFragment(BoundedStream &stream, const Box &part, std::uint32_t track,
                              std::uint32_t defaultUnits) {
    const auto head = Find(stream, part, {"tfhd"});
    if (!head || Number(stream, head->begin + 4) != track) {
        return 0;
    }
    const std::uint32_t flags = Flags(stream, *head);
    if ((flags & 0x8) != 0) {
        const long skipped = 8 + ((flags & 0x1) != 0 ? 8 : 0) + ((flags & 0x2) != 0 ? 4 : 0);
        defaultUnits = Number(stream, head->begin + skipped);
    }
    std::uint64_t units = 0;
    ForEachBox(stream, part.begin, part.end, [&](const Box &box) {
        units += box.name == "trun" ? UnitsOfRun(stream, box, defaultUnits) : 0;
        return true;
    });
    return units;
}

std::uint32_t DefaultUnits(BoundedStream &stream, const Box &extends, std::uint32_t track) {
    std::uint32_t units = 0;
    ForEachBox(stream, extends.begin, extends.end, [&](const Box &box) {
        if (box.name == "trex" && Number(stream, box.begin + 4) == track) {
            units = Number(stream, box.begin + 12);
        }
        return units == 0;
    });
    return units;
}

std::uint64_t UnitsOfAllFragments(BoundedStream &stream, std::uint32_t track,
                                  std::uint32_t defaultUnits) {
    std::uint64_t units = 0;
    ForEachBox(stream, 0, stream.length(), [&](const Box &box) {
        if (box.name == "moof") {
            ForEachBox(stream, box.begin, box.end, [&](const Box &part) {
                units +=
                    part.name == "traf" ? UnitsOfFragment(stream, part, track, defaultUnits) : 0;
                return true;
            });
        }
        return true;
    });
    return units;
}

// ---- the track of sound ------------------------------------------------------------------------

std::optional<Box> SoundTrack(BoundedStream &stream, const Box &movie) {
    std::optional<Box> sound;
    ForEachBox(stream, movie.begin, movie.end, [&](const Box &box) {
        const auto handler =
            box.name == "trak" ? Find(stream, box, {"mdia", "hdlr"}) : std::nullopt;
        if (handler && ReadAt(stream, handler->begin + 8, 4) == "soun") {
            sound = box;
        }
        return !sound;
    });
    return sound;
}

// The first entry of the table of sample descriptions.
void ReadEntry(BoundedStream &stream, const Box &descriptions, Mp4Sound &sound) {
    const ByteVector bytes = ReadAt(stream, descriptions.begin + 8, 36);
    if (bytes.size() == 36) {
        sound.codec = CodecOf(bytes.mid(4, 4));
        sound.audio.channels = bytes.toUShort(24U);
        sound.audio.sampleRate = bytes.toUShort(32U);
    }
}

// The box of metadata that has keys: QuickTime's place for it, or that of most MP4 files.
struct KeyedBox {
    Box keys;
    Box list;
};

std::optional<KeyedBox> FindKeyedBox(BoundedStream &stream) {
    const auto movie = Find(stream, {{}, 0, stream.length()}, {"moov"});
    for (const auto &path : {std::initializer_list<const char *>{"meta"}, {"udta", "meta"}}) {
        auto box = movie ? Find(stream, *movie, path) : std::nullopt;
        if (box && Number(stream, box->begin) == 0) {
            box->begin += 4;  // the version, which QuickTime leaves out
        }
        const auto keys = box ? Find(stream, *box, {"keys"}) : std::nullopt;
        const auto list = keys ? Find(stream, *box, {"ilst"}) : std::nullopt;
        if (list) {
            return KeyedBox{*keys, *list};
        }
    }
    return std::nullopt;
}

}  // namespace

Mp4Sound ReadMp4Sound(BoundedStream &stream) {
    Mp4Sound sound;
    const auto movie = Find(stream, {{}, 0, stream.length()}, {"moov"});
    const auto track = movie ? SoundTrack(stream, *movie) : std::nullopt;
    if (!track) {
        return sound;
    }
    const std::uint32_t perSecond = BehindTimes(stream, Find(stream, *track, {"mdia", "mdhd"}));
    const auto table = Find(stream, *track, {"mdia", "minf", "stbl"});
    if (const auto entries = table ? Find(stream, *table, {"stsd"}) : std::nullopt) {
        ReadEntry(stream, *entries, sound);
    }
    // A rate of more than 16 bits stands in the codec's own box; time is counted by it, too.
    if (sound.audio.sampleRate == 0 && perSecond <= std::numeric_limits<int>::max()) {
        sound.audio.sampleRate = static_cast<int>(perSecond);
    }
    const auto extends = Find(stream, *movie, {"mvex"});
    if (extends && perSecond > 0) {
        const std::uint32_t id = BehindTimes(stream, Find(stream, *track, {"tkhd"}));
        const auto times = table ? Find(stream, *table, {"stts"}) : std::nullopt;
        const std::uint64_t units =
            (times ? UnitsOfTable(stream, *times) : 0) +
            UnitsOfAllFragments(stream, id, DefaultUnits(stream, *extends, id));
        sound.audio.milliseconds = static_cast<std::int64_t>(Milliseconds(units, perSecond));
    }
    return sound;
}

std::unique_ptr<TagLib::Ogg::XiphComment> ReadMp4Keys(BoundedStream &stream) {
    constexpr std::size_t kMostKeys = 1000;
    const auto box = FindKeyedBox(stream);
    if (!box) {
        return nullptr;
    }
    std::vector<TagLib::String> names;
    ForEachBox(stream, box->keys.begin + 8, box->keys.end, [&](const Box &key) {
        names.emplace_back(stream.TextAt(key.begin, std::min(key.end - key.begin, 255L)),
                           TagLib::String::UTF8);
        return names.size() < kMostKeys;
    });
    auto tags = std::make_unique<TagLib::Ogg::XiphComment>();
    ForEachBox(stream, box->list.begin, box->list.end, [&](const Box &item) {
        const std::size_t index = item.name.toUInt(0U);
        const auto data = Find(stream, item, {"data"});
        constexpr std::uint32_t kUtf8 = 1;
        if (index >= 1 && index <= names.size() && data && Number(stream, data->begin) == kUtf8) {
            AddNamed(*tags, names[index - 1],
                     {stream.TextAt(data->begin + 8, data->end - data->begin - 8),
                      TagLib::String::UTF8});
        }
        return true;
    });
    return tags;
}

}  // namespace varnindex

#include "varnindex/read/probe.h"

#include <json/json.h>
#include <taglib/flacpicture.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

#include "varn/number.h"
#include "varnindex/read/prober.h"

namespace varnindex {
namespace {

using TagLib::Ogg::XiphComment;

// Asks a program about the file, which may be nothing but what its format says: ffmpeg's own guess
// takes a list of other files for music.
std::string Ask(const BoundedStream &stream, const char *program, const char *format,
                const std::vector<std::string> &question) {
    std::vector<std::string> words = {std::string("/usr/bin/") + program,
                                      "-v",
                                      "quiet",
                                      "-protocol_whitelist",
                                      "file",
                                      "-f",
                                      format,
                                      "-i",
                                      "/proc/self/fd/0"};
    words.insert(words.end(), question.begin(), question.end());
    return AskProber(stream.File(), std::move(words));
}

// Null for an answer that is none.
Json::Value Parsed(const std::string &answer) {
    Json::Value told;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    const bool isGood = reader->parse(answer.data(), answer.data() + answer.size(), &told, nullptr);
    return isGood ? told : Json::Value();
}

std::int64_t Milliseconds(std::string_view seconds) {
    constexpr double kMost = std::numeric_limits<int>::max() - 1000.0;
    const auto value = varn::LeadingNumber<double>(seconds);
    return std::isfinite(value) ? std::llround(std::clamp(value * 1000, 0.0, kMost)) : 0;
}

// Where the last packet of sound ends: what was written to a pipe tells no length.
std::int64_t LastPacketEnd(const BoundedStream &stream, const char *format) {
    const std::string packets =
        Ask(stream, "ffprobe", format,
            {"-select_streams", "a:0", "-read_intervals", "99999999%", "-show_entries",
             "packet=pts_time,duration_time", "-of", "csv=p=0"});
    std::istringstream lines(packets);
    std::int64_t end = 0;
    for (std::string begin, length; std::getline(std::getline(lines, begin, ','), length);) {
        end = std::max(end, Milliseconds(begin) + Milliseconds(length));
    }
    return end;
}

// The common name of a key of Matroska, of QuickTime or that a program made up. Matroska's may have
// the level in front that they hold for.
std::string CommonName(std::string name) {
    struct Synonym {
        std::string_view key;
        const char *name;
    };
    static constexpr std::array kSynonyms = {Synonym{"TRACK", "TRACKNUMBER"},
                                             Synonym{"PART_NUMBER", "TRACKNUMBER"},
                                             Synonym{"DISC", "DISCNUMBER"},
                                             Synonym{"DATE_RELEASED", "DATE"},
                                             Synonym{"DATE_RECORDED", "DATE"},
                                             Synonym{"CREATIONDATE", "DATE"},
                                             Synonym{"YEAR", "DATE"},
                                             Synonym{"AUTHOR", "ARTIST"},
                                             Synonym{"DISPLAYNAME", "TITLE"},
                                             Synonym{"ALBUM/TITLE", "ALBUM"},
                                             Synonym{"ALBUM/ARTIST", "ALBUMARTIST"},
                                             Synonym{"ALBUM/PART_NUMBER", "DISCNUMBER"}};
    constexpr std::string_view kQuickTime = "COM.APPLE.QUICKTIME.";
    name.erase(0, name.starts_with(kQuickTime) ? kQuickTime.size() : 0);
    const auto find = [&] {
        return std::find_if(kSynonyms.begin(), kSynonyms.end(),
                            [&](const Synonym &known) { return name == known.key; });
    };
    const auto *synonym = find();
    if (synonym == kSynonyms.end()) {
        name.erase(0, name.rfind('/') + 1);
        synonym = find();
    }
    return synonym != kSynonyms.end() ? synonym->name : name;
}

// The first value of a name counts; in the order of the alphabet the plain name comes first.
void AddTags(const Json::Value &named, XiphComment &tags) {
    for (const std::string &key : named.getMemberNames()) {
        const TagLib::String name = CommonName(TagLib::String(key).upper().to8Bit());
        if (!tags.contains(name)) {
            tags.addField(name, {named[key].asString(), TagLib::String::UTF8});
        }
    }
}

// The front cover among the pictures that are attached, or else the first one.
const Json::Value *CoverOf(const Json::Value &streams) {
    const Json::Value *cover = nullptr;
    for (const Json::Value &stream : streams) {
        if (stream["disposition"]["attached_pic"].asInt() == 0) {
            continue;
        }
        const TagLib::String name = stream["tags"]["filename"].asString();
        if (name.upper().startsWith("COVER")) {
            return &stream;
        }
        cover = cover != nullptr ? cover : &stream;
    }
    return cover;
}

void AddCover(const BoundedStream &stream, const char *format, const Json::Value &streams,
              XiphComment &tags) {
    const Json::Value *const cover = CoverOf(streams);
    if (cover == nullptr) {
        return;
    }
    const std::string bytes = Ask(stream, "ffmpeg", format,
                                  {"-nostdin", "-map", "0:" + (*cover)["index"].asString(), "-c",
                                   "copy", "-f", "rawvideo", "pipe:1"});
    auto picture = std::make_unique<TagLib::FLAC::Picture>();
    picture->setData({bytes.data(), static_cast<unsigned>(bytes.size())});
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    tags.addPicture(picture.release());  // the tags own it
}

}  // namespace

Probed Probe(const BoundedStream &stream, const char *format, Cover cover) {
    Probed probed{{}, "", std::make_unique<XiphComment>()};
    const Json::Value told =
        Parsed(Ask(stream, "ffprobe", format, {"-show_format", "-show_streams", "-of", "json"}));
    const Json::Value &streams = told["streams"];
    const auto sound = std::find_if(streams.begin(), streams.end(), [](const Json::Value &part) {
        return part["codec_type"] == "audio";
    });
    if (sound == streams.end()) {
        return probed;
    }
    const std::string codec = (*sound)["codec_name"].asString();
    probed.codec = codec.starts_with("pcm_") ? "pcm" : codec;
    probed.audio.sampleRate = varn::LeadingNumber<int>((*sound)["sample_rate"].asString());
    probed.audio.channels = (*sound)["channels"].asInt();
    probed.audio.milliseconds = Milliseconds(told["format"]["duration"].asString());
    // The length of bare frames is a guess from the bit rate at their beginning.
    if (probed.audio.milliseconds == 0 || std::string_view(format) == "aac") {
        probed.audio.milliseconds = LastPacketEnd(stream, format);
    }
    AddTags(told["format"]["tags"], *probed.tags);
    AddTags((*sound)["tags"], *probed.tags);
    if (cover == Cover::kTake) {
        AddCover(stream, format, streams, *probed.tags);
    }
    return probed;
}

}  // namespace varnindex

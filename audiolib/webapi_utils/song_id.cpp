#include <string>
#include <string_view>

#include "support/boundary.h"
#include "support/json_text.h"
#include "support/log.h"
#include "support/numbers.h"
#include "tonvale/webapi.h"
#include "varn/number.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;
using Tonvale::support::IntOf;
using Tonvale::support::OneLine;
using Tonvale::support::TextOf;
using Tonvale::support::WholeSeconds;
using Tonvale::webapi_utils::kSource;

constexpr std::string_view kMusicPrefix = "music_";
constexpr std::string_view kRadioPrefix = "radio_";
constexpr std::string_view kRemotePrefix = "remote_";

// The object that a text holds, or null.
Json::Value ParseObject(const std::string &text) {
    Json::Value json;
    return Tonvale::support::Parse(text, json) && json.isObject() ? json : Json::Value();
}

// The last blank of an identifier, which stands before the URL; npos, with a log line, when there
// is none. Streams and radio stations share the message.
std::size_t BlankBeforeUrl(const std::string &id) {
    const std::size_t blank = id.rfind(' ');
    if (blank == std::string::npos) {
        LOG_ERROR(kSource, "Invalid radio id.");
    }
    return blank;
}

}  // namespace

int VARNAudioWebapiUtilsParseSongId(const std::string &id, std::string &number) noexcept {
    return Guarded(kSource, -1, [&] {
        if (!id.starts_with(kMusicPrefix)) {
            return -1;
        }
        std::string digits = id.substr(id.rfind('_') + 1);
        if (!varn::IsNumber(digits)) {
            return -1;
        }
        number = std::move(digits);
        return 0;
    });
}

int VARNAudioWebapiUtilsParseRadioId(const std::string &id, std::string &name,
                                     std::string &url) noexcept {
    return Guarded(kSource, 0, [&] {
        const std::size_t blank = BlankBeforeUrl(id);
        if (blank == std::string::npos) {
            return 0;
        }
        url = id.substr(blank + 1);
        if (blank >= kRadioPrefix.size()) {
            name = id.substr(kRadioPrefix.size(), blank - kRadioPrefix.size());
        }
        return 1;
    });
}

int VARNAudioWebapiUtilsParseRemoteId(const std::string &id, std::string &title, std::string &url,
                                      std::string &artist, std::string &album, std::string &cover,
                                      int &duration) noexcept {
    return Guarded(kSource, 0, [&] {
        const std::size_t blank = BlankBeforeUrl(id);
        if (blank == std::string::npos) {
            return 0;
        }
        url = id.substr(blank + 1);
        const std::size_t start = kRemotePrefix.size();
        const Json::Value tags =
            blank > start ? ParseObject(id.substr(start, blank - start)) : Json::Value();
        if (!tags.isObject()) {
            title = url;
            return 1;
        }
        title = TextOf(tags, "title");
        artist = TextOf(tags, "artist");
        album = TextOf(tags, "album");
        cover = TextOf(tags, "cover");
        duration = IntOf(tags, "duration");
        return 1;
    });
}

std::string VARNAudioWebapiUtilsGetInfoJsonStringByInfo(const VARN_MEDIA_INFO *record) noexcept {
    return Guarded(kSource, std::string(), [&]() -> std::string {
        if (record == nullptr) {
            return "";
        }
        Json::Value tags(Json::objectValue);
        tags["title"] = record->title;
        tags["artist"] = record->artist;
        tags["album"] = record->album;
        tags["cover"] = record->comment;
        tags["duration"] = WholeSeconds(record->duration);
        return OneLine(tags);
    });
}

std::string VARNAudioWebapiUtilsGetInfoJsonStringByJson(const Json::Value &json) noexcept {
    return Guarded(kSource, std::string(), [&] {
        const Json::Value empty(Json::objectValue);
        const Json::Value &from = json.isObject() ? json : empty;
        Json::Value tags(Json::objectValue);
        tags["title"] = from["title"];
        tags["artist"] = from["title"];  // as the identifiers have it that clients keep
        tags["album"] = from["album"];
        tags["duration"] = from["duration"];
        tags["cover"] = from["albumArtURL"];
        return OneLine(tags);
    });
}

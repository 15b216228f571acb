#include "server_song.h"

#include "refusal.h"
#include "remote_url.h"
#include "server_url.h"
#include "service/base/text.h"
#include "service/devices/media_server.h"

namespace tonvale_entry {

namespace {

using tonvale_service::CopyCut;

constexpr std::size_t kMostBytes = std::size_t{1} << 20;

std::string TextOf(const Json::Value &object, const char *key) {
    const Json::Value &value = object[key];
    return value.isString() ? tonvale_service::ValidUtf8(value.asString()) : "";
}

// The first sound of an object that its server itself has; "" when there is none.
std::string AddressOf(const Json::Value &item, const std::string &server) {
    for (const Json::Value &resource : item["resources"]) {
        const std::string address = TextOf(resource, "res");
        if (TextOf(resource, "protocolInfo").find(":audio/") != std::string::npos &&
            HostOfUrl(address) == HostOfUrl(server) && IsServerUrl(address)) {
            return address;
        }
    }
    return "";
}

}  // namespace

VARN_MEDIA_INFO FindServerSong(const std::string &url, const std::string &id,
                               std::chrono::seconds patience) {
    if (!IsServerUrl(url)) {
        throw Refusal{Code::kBadParameter, "url"};
    }
    const auto seconds = static_cast<int>(patience.count());
    tonvale_service::ObjectCollector objects(0);
    tonvale_service::BrowseServer({.url = url,
                                   .id = id,
                                   .metadata = true,
                                   .limit = 1,
                                   .pageSeconds = seconds,
                                   .seconds = seconds,
                                   .pageBytes = kMostBytes,
                                   .bytes = kMostBytes},
                                  objects);
    const Json::Value &items = objects.Data()["items"];
    const std::string address = items.empty() ? "" : AddressOf(items[0], url);
    VARN_MEDIA_INFO song = {};
    if (address.empty() || address.size() >= sizeof song.path) {
        throw Refusal{Code::kNoSuchItem};
    }
    CopyCut(address, song.path);
    CopyCut(TextOf(items[0], "title"), song.title);
    CopyCut(TextOf(items[0], "artist"), song.artist);
    CopyCut(TextOf(items[0], "album"), song.album);
    return song;
}

}  // namespace tonvale_entry

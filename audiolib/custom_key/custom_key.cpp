#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "support/boundary.h"
#include "support/json_text.h"
#include "support/log.h"
#include "tonvale/settings.h"
#include "varn/systempath.h"

namespace {

constexpr char kSource[] = "audiolib/custom_key";

constexpr char kItems[] = "items";
constexpr int kKeys = 4;

using Tonvale::support::Guarded;
using Tonvale::support::TextOf;

Json::Value Default() {
    Json::Value items(Json::arrayValue);
    for (int id = 1; id <= kKeys; ++id) {
        Json::Value item(Json::objectValue);
        item["type"] = "";
        item["value"] = "";
        item["title"] = "";
        item["id"] = id;
        items.append(item);
    }
    Json::Value json(Json::objectValue);
    json[kItems] = items;
    return json;
}

int Load(Json::Value &json) {
    const std::string path = SystemPath(varn::path::kCustomKeys);
    // With the effective ids, which are those that the file is opened with.
    if (faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0) {
        return VARNAudioJsonLoad(path.c_str(), json);
    }
    if (errno != ENOENT) {
        LOG_ERROR(kSource, "Failed to access json file [%s] %m", path.c_str());
        return -1;
    }
    json = Default();
    return 0;
}

// Loads the document for a key; false, with a log line, when that key cannot be had. Missing items
// are none to read, and may be written.
bool LoadFor(int index, bool isWritten, Json::Value &json) {
    if (index < 1 || index > kKeys) {
        LOG_ERROR(kSource, "Index out of range [%d]", index);
        return false;
    }
    if (VARNAudioCustomLoadJson(json) != 0) {
        LOG_ERROR(kSource, "Failed to get custom json.");
        return false;
    }
    if (json.isNull() && isWritten) {
        json = Json::Value(Json::objectValue);
    }
    if (!json.isObject() || !(json[kItems].isArray() || (json[kItems].isNull() && isWritten))) {
        LOG_ERROR(kSource, "Invalid json file");
        return false;
    }
    return true;
}

}  // namespace

int VARNAudioCustomLoadJson(Json::Value &json) noexcept {
    return Guarded(kSource, -1, [&] { return Load(json); });
}

int VARNAudioCustomGet(int index, std::string &type, std::string &value,
                       std::string &title) noexcept {
    return Guarded(kSource, -1, [&] {
        Json::Value json;
        if (!LoadFor(index, false, json)) {
            return -1;
        }
        const Json::Value &items = json[kItems];
        const auto at = static_cast<Json::ArrayIndex>(index - 1);
        const Json::Value item = items.isValidIndex(at) ? items[at] : Json::Value();
        type = TextOf(item, "type");
        value = TextOf(item, "value");
        title = TextOf(item, "title");
        return 0;
    });
}

int VARNAudioCustomSet(int index, const std::string &type, const std::string &value,
                       const std::string &title) noexcept {
    return Guarded(kSource, -1, [&] {
        Json::Value json;
        if (!LoadFor(index, true, json)) {
            return -1;
        }
        Json::Value &item = json[kItems][static_cast<Json::ArrayIndex>(index - 1)];
        if (!item.isObject()) {
            item = Json::Value(Json::objectValue);
            item["id"] = index;
        }
        item["type"] = type;
        item["value"] = value;
        item["title"] = title;
        return VARNAudioJsonSave(SystemPath(varn::path::kCustomKeys).c_str(), json);
    });
}

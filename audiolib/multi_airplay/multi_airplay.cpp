#include <string>
#include <string_view>

#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/settings.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

constexpr char kSource[] = "audiolib/multi_airplay";

using Tonvale::support::Guarded;

// The selection file of a player type; "" with a log line for any other number.
std::string SelectionFile(int type) {
    switch (type) {
        case MULTI_PLAYER_AIRPLAY:
            return SystemPath(varn::path::kMultiAirplay);
        case MULTI_PLAYER_BLUETOOTH:
            return SystemPath(varn::path::kMultiBluetooth);
        default:
            LOG_ERROR(kSource, "Wrong multiple player type!");
            return "";
    }
}

int SaveOrLog(int type, const Json::Value &json) {
    if (VARNAudioMultiPlayerSave(type, json) != 0) {
        LOG_ERROR(kSource, "Failed to save multiple player devices configure");
        return -1;
    }
    return 0;
}

int Set(int type, const Json::Value &deviceList) {
    Json::Value json;
    if (VARNAudioMultiPlayerLoad(type, json) != 0 || !json.isObject()) {
        LOG_ERROR(kSource, "Failed to load multiple player selection config");
        return -1;
    }
    for (Json::Value &selected : json) {
        selected = false;
    }
    for (const Json::Value &device : deviceList) {
        if (device.isString()) {
            json[device.asString()] = true;
        }
    }
    return SaveOrLog(type, json);
}

int UnsetOne(int type, const char *deviceId) {
    Json::Value json;
    if (VARNAudioMultiPlayerLoad(type, json) != 0 || !json.isObject()) {
        LOG_ERROR(kSource, "Failed to load multiple AirPlay selection config");
        return -1;
    }
    json[deviceId] = false;
    return SaveOrLog(type, json);
}

}  // namespace

int VARNAudioMultiPlayerLoad(int type, Json::Value &json) noexcept {
    return Guarded(kSource, -1, [&] {
        const std::string path = SelectionFile(type);
        return path.empty() ? -1 : VARNAudioJsonLoad(path.c_str(), json);
    });
}

int VARNAudioMultiPlayerSave(int type, const Json::Value &json) noexcept {
    return Guarded(kSource, -1, [&] {
        const std::string path = SelectionFile(type);
        return path.empty() ? -1 : VARNAudioJsonSave(path.c_str(), json);
    });
}

int VARNAudioMultiPlayerSet(int type, const Json::Value &deviceList) noexcept {
    return Guarded(kSource, -1, [&] { return Set(type, deviceList); });
}

int VARNAudioMultiPlayerUnsetOne(int type, const char *deviceId) noexcept {
    if (!NonEmptyStr(deviceId)) {
        LOG_ERROR(kSource, "Bad parameter");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return UnsetOne(type, deviceId); });
}

#include "sharing/address.h"
#include "sharing/sharing.h"
#include "varn/run_as.h"
#include "varn/webapi.h"

namespace Tonvale::sharing {

namespace {

constexpr char kRelayApi[] = "VARN.Core.Farlink";
constexpr char kPermissionApi[] = "VARN.Core.Farlink.Permission";
constexpr char kPortal[] = "kos_portal";
constexpr int kNoSuchApi = 102;

// Members of the services' answers, which may be missing or of any type.
bool Flag(const Json::Value &object, const char *name) {
    return object.isObject() && object[name].isBool() && object[name].asBool();
}

std::string Text(const Json::Value &object, const char *name) {
    return object.isObject() && object[name].isString() ? object[name].asString() : "";
}

// Asks a service of the system as its administrator; null when the rights for that are refused.
Json::Value Ask(const char *api) {
    const varn::RunAs asRoot(varn::Who::kRoot, varn::Afterwards::kBackOrGoOn, kSource);
    Json::Value answer;
    if (asRoot) {
        VARN::APIRunner::Exec(answer, api, 1, "get", Json::Value(Json::objectValue), "admin");
    }
    return answer;
}

bool IsPortalListed(const Json::Value &answer) {
    const Json::Value none;
    const Json::Value &data = answer["data"];
    const Json::Value &services = data.isObject() ? data["services"] : none;
    if (!services.isArray()) {
        return false;
    }
    for (const Json::Value &service : services) {
        if (Text(service, "id") == kPortal) {
            return Flag(service, "enabled");
        }
    }
    return false;
}

// A system without the permission service permits it.
bool IsPortalPermitted() {
    const Json::Value answer = Ask(kPermissionApi);
    if (!answer.isObject()) {
        return false;
    }
    if (Flag(answer, "success")) {
        return IsPortalListed(answer);
    }
    const Json::Value &error = answer["error"];
    return error.isObject() && error["code"].isInt() && error["code"].asInt() == kNoSuchApi;
}

}  // namespace

Json::Value RelayInfo() {
    const Json::Value answer = Ask(kRelayApi);
    Json::Value info(Json::objectValue);
    if (!Flag(answer, "success")) {
        info["enable"] = false;
        return info;
    }
    if (answer["data"].isObject()) {
        info = answer["data"];
    }
    info["enableKOSPortal"] = IsPortalPermitted();
    return info;
}

bool IsRelayUsable(const Json::Value &relay) {
    return Flag(relay, "enabled") && Flag(relay, "enableKOSPortal");
}

bool IsRelayHost(const std::string &host, const Json::Value &relay) {
    return IsRelayUsable(relay) &&
           (host + "/").find(Text(relay, "domain") + "/") != std::string::npos &&
           host.substr(0, host.find('.')) == Text(relay, "server_alias");
}

}  // namespace Tonvale::sharing

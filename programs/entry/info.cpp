// VARN.Tonvale.Info: who is logged in, and what there is for them.
#include "action.h"
#include "service/lists/kinds.h"
#include "service/people/settings.h"

namespace tonvale_entry {

namespace {

Json::Value Get(const Request &asked) {
    const uid_t uid = asked.User().GetLoginUID();
    Json::Value data(Json::objectValue);
    data["version"] = TONVALE_VERSION;
    Json::Value &user = data["user"];
    user["uid"] = uid;
    user["name"] = asked.User().GetLoginUserName();
    user["permissions"] = Json::Value(Json::arrayValue);
    for (const std::string &name : tonvale_service::RightNames(asked.Rights())) {
        user["permissions"].append(name);
    }
    Json::Value &library = data["library"];
    library["default"] = tonvale_service::DefaultKind(uid);
    library["kinds"] = Json::Value(Json::arrayValue);
    for (const std::string &kind : tonvale_service::BrowsableKinds(uid)) {
        library["kinds"].append(kind);
    }
    return data;
}

constexpr Method kMethods[] = {{.name = "get",
                                .make = Make<Get>,
                                .takesRoot = false,
                                .summary = "The user who asks, and the parts of the library",
                                .answer = "Info"}};

constexpr Field kUser[] = {{"uid", "number"}, {"name", "text"}, {"permissions", "[text]"}};
constexpr Field kLibraries[] = {{"default", "text"},
                                {"kinds", "[text]", "those that the user may browse"}};
constexpr Field kInfo[] = {
    {"version", "text", "of the server"}, {"user", "OwnUser"}, {"library", "Libraries"}};
constexpr Schema kSchemas[] = {{"OwnUser", kUser}, {"Libraries", kLibraries}, {"Info", kInfo}};

}  // namespace

const Api kInfoApi{.name = "VARN.Tonvale.Info",
                   .methods = kMethods,
                   .summary = "Who is logged in, and what there is for them",
                   .schemas = kSchemas};

}  // namespace tonvale_entry

// VARN.Tonvale.User: the own password and keys, and for administrators the users.
#include <climits>

#include "action.h"
#include "login.h"
#include "service/keys.h"
#include "service/people.h"
#include "service/settings.h"

namespace tonvale_entry {

namespace {

uid_t OwnId(const Request &asked) {
    return asked.User().GetLoginUID();
}

Json::Value ChangePassword(const Request &asked) {
    const std::string name = asked.User().GetLoginUserName();
    const std::string old = asked.RequiredText("old");
    const std::string wanted = asked.RequiredText("new");
    if (asked.From().ByPassword(name, old).standing != tonvale_service::Standing::kKnown) {
        throw tonvale_service::Failure(tonvale_service::Reason::kWrongPassword);
    }
    tonvale_service::SetPassword(name, wanted);
    return Json::Value(Json::objectValue);
}

Json::Value Keys(const Request &asked) {
    Json::Value data(Json::objectValue);
    data["keys"] = tonvale_service::KeyList(
        tonvale_service::KeysOf(OwnId(asked), asked.User().GetLoginUserName()));
    return data;
}

Json::Value AddKey(const Request &asked) {
    Json::Value data(Json::objectValue);
    data["key"] =
        tonvale_service::NewKey(OwnId(asked), asked.User().GetLoginUserName(), asked.Text("for"));
    return data;
}

Json::Value RemoveKey(const Request &asked) {
    tonvale_service::RemoveKey(OwnId(asked), static_cast<int>(asked.Number("id", 0, 1, INT_MAX)));
    return Json::Value(Json::objectValue);
}

// ---- for administrators ------------------------------------------------------------------------

Json::Value List(const Request &asked) {
    asked.RequireAdministrator();
    Json::Value data(Json::objectValue);
    data["users"] = tonvale_service::UserList();
    for (Json::Value &user : data["users"]) {
        user["is_administrator"] = tonvale_service::IsAdministrator(user["name"].asString());
    }
    return data;
}

Json::Value Add(const Request &asked) {
    asked.RequireAdministrator();
    tonvale_service::AddUser(asked.RequiredText("name"), asked.Flag("administrator"),
                             asked.RequiredText("password"));
    return Json::Value(Json::objectValue);
}

// A user's rights, password, or both.
Json::Value Change(const Request &asked) {
    asked.RequireAdministrator();
    const std::string name = asked.RequiredText("name");
    const auto password = asked.Given("password");
    const bool setsRights = asked.Given("permissions").has_value();
    if (!password && !setsRights) {
        throw Refusal{Code::kBadParameter};
    }
    const unsigned mask = setsRights ? asked.RightsIn("permissions") : 0;
    if (password) {
        tonvale_service::SetPassword(name, *password);
    }
    if (setsRights) {
        tonvale_service::SetPermission(name, mask);
    }
    return Json::Value(Json::objectValue);
}

Json::Value Remove(const Request &asked) {
    asked.RequireAdministrator();
    const std::string name = asked.RequiredText("name");
    if (name == asked.User().GetLoginUserName()) {
        throw Refusal{Code::kNotPermitted};
    }
    tonvale_service::RemoveUser(name, asked.Flag("delete_music"));
    return Json::Value(Json::objectValue);
}

constexpr Method kMethods[] = {
    {.name = "change_password",
     .make = Make<ChangePassword>,
     .changes = true,
     .lasts = true,
     .takesKey = false},
    {"keys", Make<Keys>},
    {.name = "add_key", .make = Make<AddKey>, .changes = true, .takesKey = false},
    {.name = "remove_key", .make = Make<RemoveKey>, .changes = true, .takesKey = false},
    {"list", Make<List>},
    {.name = "add", .make = Make<Add>, .changes = true, .lasts = true, .takesKey = false},
    {.name = "change", .make = Make<Change>, .changes = true, .lasts = true, .takesKey = false},
    {.name = "remove", .make = Make<Remove>, .changes = true, .lasts = true, .takesKey = false},
};

}  // namespace

const Api kUserApi{"VARN.Tonvale.User", kMethods};

}  // namespace tonvale_entry

// VARN.Tonvale.User: the own password and keys, and for administrators the users.
#include "action.h"
#include "login.h"
#include "service/people/keys.h"
#include "service/people/people.h"
#include "service/people/settings.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

constexpr Parameter kKeyId{
    .name = "id", .what = "The key.", .kind = Kind::kNumber, .isRequired = true, .low = 1};

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
    tonvale_service::RemoveKey(OwnId(asked), static_cast<int>(asked.Number(kKeyId)));
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

// Any of a user's standing, password and rights.
Json::Value Change(const Request &asked) {
    asked.RequireAdministrator();
    const std::string name = asked.RequiredText("name");
    tonvale_service::UserChange change;
    change.password = asked.Given("password");
    if (asked.Given("permissions")) {
        change.rights = asked.RightsIn("permissions");
    }
    if (asked.Given("administrator")) {
        change.isAdmin = asked.Flag("administrator");
    }
    if (!change.password && !change.rights && !change.isAdmin) {
        throw Refusal{Code::kBadParameter, "",
                      "name what to change: password, permissions or administrator"};
    }
    if (change.isAdmin == false && name == asked.User().GetLoginUserName()) {
        throw Refusal{Code::kNotPermitted, "", "another administrator has to do that"};
    }
    tonvale_service::ChangeUser(name, change);
    return Json::Value(Json::objectValue);
}

Json::Value Remove(const Request &asked) {
    asked.RequireAdministrator();
    const std::string name = asked.RequiredText("name");
    if (name == asked.User().GetLoginUserName()) {
        throw Refusal{Code::kNotPermitted, "", "another administrator has to do that"};
    }
    tonvale_service::RemoveUser(name, asked.Flag("delete_music"));
    return Json::Value(Json::objectValue);
}

constexpr Parameter kName{.name = "name", .what = "The user.", .isRequired = true};
constexpr std::array kPasswordParameters = {
    Parameter{.name = "old", .what = "The current password.", .isRequired = true},
    Parameter{.name = "new", .what = "The new password, 8 to 256 bytes.", .isRequired = true}};
constexpr std::array kAddKeyParameters = {
    Parameter{.name = "for", .what = "The program that it is for, at most 200 bytes."}};
constexpr std::array kRemoveKeyParameters = {kKeyId};
constexpr std::array kAddParameters = {
    kName, Parameter{.name = "password", .what = "8 to 256 bytes.", .isRequired = true},
    Parameter{.name = "administrator",
              .what = "The user is an administrator.",
              .kind = Kind::kFlag,
              .usual = "false"}};
constexpr std::array kChangeParameters = {
    kName, Parameter{.name = "password", .what = "The new password."},
    Parameter{.name = "permissions",
              .what = "All rights that the user is to have.",
              .kind = Kind::kTexts,
              .names = [] { return tonvale_service::RightNames(RIGHT_ALL); }},
    Parameter{.name = "administrator",
              .what = "The user is an administrator from now on, or no longer one.",
              .kind = Kind::kFlag}};
constexpr std::array kRemoveParameters = {kName, Parameter{.name = "delete_music",
                                                           .what = "The user's music is deleted.",
                                                           .kind = Kind::kFlag,
                                                           .usual = "false"}};

constexpr Method kMethods[] = {
    {.name = "change_password",
     .make = Make<ChangePassword>,
     .changes = true,
     .lasts = true,
     .takesKey = false,
     .summary = "Change one's own password; all sessions and keys of the user end",
     .parameters = kPasswordParameters},
    {.name = "keys", .make = Make<Keys>, .summary = "The keys of the user", .answer = "Keys"},
    {.name = "add_key",
     .make = Make<AddKey>,
     .changes = true,
     .takesKey = false,
     .summary = "Make a key for a program; it is not shown again",
     .parameters = kAddKeyParameters,
     .answer = "NewKey"},
    {.name = "remove_key",
     .make = Make<RemoveKey>,
     .changes = true,
     .takesKey = false,
     .summary = "Take a key away",
     .parameters = kRemoveKeyParameters},
    {.name = "list",
     .make = Make<List>,
     .summary = "All users, for administrators",
     .answer = "Users"},
    {.name = "add",
     .make = Make<Add>,
     .changes = true,
     .lasts = true,
     .takesKey = false,
     .summary = "Make a user, for administrators",
     .parameters = kAddParameters},
    {.name = "change",
     .make = Make<Change>,
     .changes = true,
     .lasts = true,
     .takesKey = false,
     .summary = "Change a user's password, rights or standing, for administrators, of whom none "
                "unmakes themselves; admin stays one",
     .parameters = kChangeParameters},
    {.name = "remove",
     .make = Make<Remove>,
     .changes = true,
     .lasts = true,
     .takesKey = false,
     .summary = "Remove a user other than oneself and admin, for administrators",
     .parameters = kRemoveParameters},
};

constexpr Field kKey[] = {{"id", "number"},
                          {"for", "text"},
                          {"made", "time"},
                          {"last_used", "time", "seconds since 1970; 0: never"}};
constexpr Field kKeys[] = {{"keys", "[Key]"}};
constexpr Field kNewKey[] = {{"key", "text"}};
constexpr Field kRights[] = {
    {"uid", "number"}, {"name", "text", "empty: the account is gone"}, {"rights", "{flag}"}};
constexpr Field kUser[] = {kRights[0], kRights[1], kRights[2], {"is_administrator", "flag"}};
constexpr Field kUsers[] = {{"users", "[User]"}};
constexpr Schema kSchemas[] = {{"Key", kKey},           {"Keys", kKeys}, {"NewKey", kNewKey},
                               {"UserRights", kRights}, {"User", kUser}, {"Users", kUsers}};

}  // namespace

const Api kUserApi{.name = "VARN.Tonvale.User",
                   .methods = kMethods,
                   .summary =
                       "The own password and keys, and for administrators the users: "
                       "docs/people.md",
                   .schemas = kSchemas};

}  // namespace tonvale_entry

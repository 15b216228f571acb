// What users may do: the verbs user and permission.
#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "command.h"
#include "database.h"
#include "display.h"
#include "page_output.h"
#include "service/link_hooks.h"
#include "service/settings.h"
#include "tonvale/settings.h"
#include "user.h"

namespace tonvale_cli {

namespace {

using tonvale_service::Right;

constexpr char kAll[] = "all";
constexpr char kNone[] = "none";

struct PermissionOptions {
    std::string user;
    std::vector<std::string> rights;
    bool json = false;
};

// False, with a message, for a root that is not prepared.
bool IsPrepared() {
    const auto done = CheckRoot();
    if (!done) {
        Complain(done.Message());
    }
    return static_cast<bool>(done);
}

// ---- user --------------------------------------------------------------------------------------

std::string NamesOf(const Json::Value &rights) {
    std::string names;
    for (const Right &right : tonvale_service::AllRights()) {
        if (rights[right.name].asBool()) {
            names += (names.empty() ? "" : " ") + std::string(right.name);
        }
    }
    return names;
}

int ListUsers(const PermissionOptions &options) {
    if (!IsPrepared()) {
        return kFailed;
    }
    const Json::Value users = tonvale_service::UserList();
    if (options.json) {
        PrintJson(users);
        return kDone;
    }
    Table table({{"UID", true, false}, {"NAME", false, false}, {"RIGHTS", false, true}});
    for (const Json::Value &user : users) {
        const std::string name = user["name"].asString();
        table.AddRow(
            {user["uid"].asString(), name.empty() ? "(gone)" : name, NamesOf(user["rights"])});
    }
    std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    return kDone;
}

// The share links of users who may not share any more are taken away. Rights are recorded where the
// database does not start, too.
void StartForLinks() {
    if (auto done = StartDatabase(); !done) {
        Complain(done.Message());
    }
}

int SyncUsers() {
    if (!IsPrepared()) {
        return kFailed;
    }
    const Json::Value before = tonvale_service::ReadUsers();
    StartForLinks();
    tonvale_service::SyncUsers();
    const Json::Value after = tonvale_service::ReadUsers();
    for (const unsigned uid : AudioUsers::enumUsers(before)) {
        if (!after.isMember(std::to_string(uid))) {
            std::printf("Removed the entry of user id %u.\n", uid);
        }
    }
    tonvale_service::LinksFollowLostUsers();
    return kDone;
}

// ---- permission --------------------------------------------------------------------------------

int ShowPermission(const PermissionOptions &options) {
    if (!IsPrepared()) {
        return kFailed;
    }
    tonvale_service::ReadUsers();          // one that cannot be read would show as no rights
    tonvale_service::UidOf(options.user);  // there must be such a user
    const Json::Value rights =
        tonvale_service::RightsObject(AudioUsers::GetUserPermission(options.user));
    if (options.json) {
        PrintJson(rights);
        return kDone;
    }
    Table table({{"RIGHT", false, false}, {"", false, false}, {"MEANING", false, true}});
    for (const Right &right : tonvale_service::AllRights()) {
        table.AddRow({right.name, rights[right.name].asBool() ? "yes" : "no", right.meaning});
    }
    std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    return kDone;
}

int SetPermission(const PermissionOptions &options) {
    if (!IsPrepared()) {
        return kFailed;
    }
    tonvale_service::UidOf(options.user);  // there must be such a user
    StartForLinks();
    const bool isAll =
        std::find(options.rights.begin(), options.rights.end(), kAll) != options.rights.end();
    tonvale_service::SetPermission(options.user,
                                   isAll ? RIGHT_ALL : tonvale_service::MaskOf(options.rights));
    return kDone;
}

Verb AddVerb(const Verb &parent, const char *name, const char *description,
             const std::shared_ptr<PermissionOptions> &options,
             int (*run)(const PermissionOptions &)) {
    const Verb verb = parent.AddVerb(name, description);
    verb.Do([=] { return run(*options); });
    return verb;
}

}  // namespace

void AddUserVerb(const Verb &app) {
    const Verb user = app.AddGroup("user", "Show whose rights are recorded");
    const auto options = std::make_shared<PermissionOptions>();
    AddVerb(user, "list", "List the users with an entry, and what they may do", options, ListUsers)
        .AddFlag("--json", options->json, "Print JSON instead of a table");
    AddVerb(user, "sync", "Remove the entries of users that no longer exist", options,
            [](const PermissionOptions &) { return SyncUsers(); });
}

void AddPermission(const Verb &app) {
    const Verb permission = app.AddGroup("permission", "Show and set what a user may do");
    const auto options = std::make_shared<PermissionOptions>();
    const Verb show =
        AddVerb(permission, "show", "Show what a user may do", options, ShowPermission);
    show.AddText("USER", options->user, "The user's name").Required();
    show.AddFlag("--json", options->json, "Print JSON instead of a table");
    const Verb set =
        AddVerb(permission, "set", "Record what a user may do", options, SetPermission);
    set.AddText("USER", options->user, "The user's name").Required();
    std::vector<std::string> names = {kAll, kNone};
    for (const Right &right : tonvale_service::AllRights()) {
        names.emplace_back(right.name);
    }
    set.AddText("RIGHT", options->rights, "The rights, all others being taken away")
        .OneOf(names)
        .Required();
}

}  // namespace tonvale_cli

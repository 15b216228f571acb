// What users may do: the verbs user and permission.
#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "accounts.h"
#include "answers/link_hooks.h"
#include "answers/settings.h"
#include "command.h"
#include "database.h"
#include "display.h"
#include "page_output.h"
#include "tonvale/settings.h"
#include "user.h"

namespace tonvale_cli {

namespace {

using tonvale_answers::Right;

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
    for (const Right &right : tonvale_answers::AllRights()) {
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
    const Json::Value users = tonvale_answers::UserList();
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
    const Json::Value before = tonvale_answers::ReadUsers();
    StartForLinks();
    const AsPackageAccount package;
    if (!package) {
        return kFailed;
    }
    tonvale_answers::SyncUsers();
    const Json::Value after = tonvale_answers::ReadUsers();
    for (const unsigned uid : AudioUsers::enumUsers(before)) {
        if (!after.isMember(std::to_string(uid))) {
            std::printf("Removed the entry of user id %u.\n", uid);
        }
    }
    tonvale_answers::LinksFollowLostUsers();
    return kDone;
}

// ---- permission --------------------------------------------------------------------------------

int ShowPermission(const PermissionOptions &options) {
    if (!IsPrepared()) {
        return kFailed;
    }
    tonvale_answers::ReadUsers();          // one that cannot be read would show as no rights
    tonvale_answers::UidOf(options.user);  // there must be such a user
    const Json::Value rights =
        tonvale_answers::RightsObject(AudioUsers::GetUserPermission(options.user));
    if (options.json) {
        PrintJson(rights);
        return kDone;
    }
    Table table({{"RIGHT", false, false}, {"", false, false}, {"MEANING", false, true}});
    for (const Right &right : tonvale_answers::AllRights()) {
        table.AddRow({right.name, rights[right.name].asBool() ? "yes" : "no", right.meaning});
    }
    std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    return kDone;
}

int SetPermission(const PermissionOptions &options) {
    if (!IsPrepared()) {
        return kFailed;
    }
    tonvale_answers::UidOf(options.user);  // there must be such a user
    StartForLinks();
    const AsPackageAccount package;
    if (!package) {
        return kFailed;
    }
    const bool isAll =
        std::find(options.rights.begin(), options.rights.end(), kAll) != options.rights.end();
    tonvale_answers::SetPermission(options.user,
                                   isAll ? RIGHT_ALL : tonvale_answers::MaskOf(options.rights));
    return kDone;
}

CLI::App *AddVerb(CLI::App &parent, Action &action, const char *name, const char *description,
                  const std::shared_ptr<PermissionOptions> &options,
                  int (*run)(const PermissionOptions &)) {
    CLI::App *verb = parent.add_subcommand(name, description);
    verb->callback([options, run, &action] { action = [=] { return run(*options); }; });
    return verb;
}

}  // namespace

void AddUserVerb(CLI::App &app, Action &action) {
    CLI::App *user = app.add_subcommand("user", "Show whose rights are recorded");
    user->require_subcommand(1);
    const auto options = std::make_shared<PermissionOptions>();
    AddVerb(*user, action, "list", "List the users with an entry, and what they may do", options,
            ListUsers)
        ->add_flag("--json", options->json, "Print JSON instead of a table");
    AddVerb(*user, action, "sync", "Remove the entries of users that no longer exist", options,
            [](const PermissionOptions &) { return SyncUsers(); });
}

void AddPermission(CLI::App &app, Action &action) {
    CLI::App *permission = app.add_subcommand("permission", "Show and set what a user may do");
    permission->require_subcommand(1);
    const auto options = std::make_shared<PermissionOptions>();
    CLI::App *show =
        AddVerb(*permission, action, "show", "Show what a user may do", options, ShowPermission);
    show->add_option("USER", options->user, "The user's name")->required();
    show->add_flag("--json", options->json, "Print JSON instead of a table");
    CLI::App *set =
        AddVerb(*permission, action, "set", "Record what a user may do", options, SetPermission);
    set->add_option("USER", options->user, "The user's name")->required();
    std::vector<std::string> names = {kAll, kNone};
    for (const Right &right : tonvale_answers::AllRights()) {
        names.emplace_back(right.name);
    }
    set->add_option("RIGHT", options->rights, "The rights, all others being taken away")
        ->check(CLI::IsMember(names))
        ->required();
}

}  // namespace tonvale_cli

// What users may do: the verbs user and permission.
#include <json/json.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>

#include "accounts.h"
#include "command.h"
#include "database.h"
#include "display.h"
#include "tonvale/settings.h"
#include "user.h"
#include "varn/host.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::RootOption;

struct Right {
    const char *name;
    unsigned bit;
    const char *meaning;
};

constexpr std::array kRights = {
    Right{"usb", RIGHT_USB, "play through the server's own output"},
    Right{"streaming", RIGHT_STREAMING, "stream to a browser or another client"},
    Right{"playlist", RIGHT_PLAYLIST, "manage shared playlists"},
    Right{"upnp", RIGHT_UPNP, "play to UPnP renderers"},
    Right{"editsong", RIGHT_EDITSONG, "edit the tags of songs"},
    Right{"sharing", RIGHT_SHARING, "make share links"}};

constexpr char kAll[] = "all";
constexpr char kNone[] = "none";

struct PermissionOptions {
    std::string user;
    std::vector<std::string> rights;
    bool json = false;
};

std::string UsersFile() {
    return SystemPath(varn::path::kUsersFile);
}

// The users file. False with a message.
bool ReadUsers(Json::Value &users) {
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        return false;
    }
    if (!AudioUsers::Read(users, UsersFile()) || !users.isObject()) {
        Complain("the users file " + UsersFile() +
                 " cannot be read; correct it, or remove it and "
                 "run 'tonvale init" +
                 RootOption() + "'");
        return false;
    }
    return true;
}

std::string RightNames(unsigned mask) {
    std::string names;
    for (const Right &right : kRights) {
        if ((mask & right.bit) != 0) {
            names += (names.empty() ? "" : " ") + std::string(right.name);
        }
    }
    return names;
}

Json::Value RightsJson(unsigned mask) {
    Json::Value rights(Json::objectValue);
    for (const Right &right : kRights) {
        rights[right.name] = (mask & right.bit) != 0;
    }
    return rights;
}

void PrintLine(const Json::Value &json) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::cout << Json::writeString(builder, json) << "\n";
}

// ---- user --------------------------------------------------------------------------------------

int ListUsers(const PermissionOptions &options) {
    Json::Value users;
    if (!ReadUsers(users)) {
        return kFailed;
    }
    Table table({{"UID", true, false}, {"NAME", false, false}, {"RIGHTS", false, true}});
    Json::Value list(Json::arrayValue);
    for (const unsigned uid : AudioUsers::enumUsers(users)) {
        const std::string name = AccountName(uid);
        const unsigned mask = name.empty() ? 0 : AudioUsers::GetUserPermission(name);
        table.AddRow({std::to_string(uid), name.empty() ? "(gone)" : name, RightNames(mask)});
        Json::Value entry(Json::objectValue);
        entry["uid"] = uid;
        entry["name"] = ValidUtf8(name);
        entry["rights"] = RightsJson(mask);
        list.append(entry);
    }
    if (options.json) {
        PrintLine(list);
    } else {
        std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    }
    return kDone;
}

int SyncUsers() {
    Json::Value before;
    Json::Value after;
    if (!ReadUsers(before)) {
        return kFailed;
    }
    const AsPackageAccount package;
    if (!package) {
        return kFailed;
    }
    AudioUsers::SyncUsers();
    if (!ReadUsers(after)) {
        return kFailed;
    }
    for (const unsigned uid : AudioUsers::enumUsers(before)) {
        if (!after.isMember(std::to_string(uid))) {
            std::printf("Removed the entry of user id %u.\n", uid);
        }
    }
    return kDone;
}

// ---- permission --------------------------------------------------------------------------------

int ShowPermission(const PermissionOptions &options) {
    Json::Value users;
    if (!ReadUsers(users)) {
        return kFailed;
    }
    const std::optional<uid_t> uid = FindUser(options.user);
    if (!uid) {
        return kUsage;
    }
    const unsigned mask = AudioUsers::GetUserPermission(options.user);
    if (options.json) {
        PrintLine(RightsJson(mask));
        return kDone;
    }
    Table table({{"RIGHT", false, false}, {"", false, false}, {"MEANING", false, true}});
    for (const Right &right : kRights) {
        table.AddRow({right.name, (mask & right.bit) != 0 ? "yes" : "no", right.meaning});
    }
    std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    return kDone;
}

unsigned MaskOf(const std::vector<std::string> &names) {
    unsigned mask = 0;
    for (const std::string &name : names) {
        for (const Right &right : kRights) {
            mask |= name == right.name || name == kAll ? right.bit : 0;
        }
    }
    return mask;
}

// Puts back what an entry had beside its rights.
void KeepPreferences(const Json::Value &before, Json::Value &entry) {
    if (!before.isObject()) {
        return;
    }
    for (const std::string &key : before.getMemberNames()) {
        const bool isRight = std::any_of(std::begin(kRights), std::end(kRights),
                                         [&](const Right &right) { return key == right.name; });
        if (!isRight) {
            entry[key] = before[key];
        }
    }
}

int SetPermission(const PermissionOptions &options) {
    Json::Value users;
    if (!ReadUsers(users)) {
        return kFailed;
    }
    const std::optional<uid_t> uid = FindUser(options.user);
    if (!uid) {
        return kUsage;
    }
    const AsPackageAccount package;
    if (!package) {
        return kFailed;
    }
    // A new entry is made of rights and of what the configuration offers; an administrator here
    // changes rights alone.
    const Json::Value before = users[std::to_string(*uid)];
    AudioUsers::SetUser(users, *uid, MaskOf(options.rights));
    KeepPreferences(before, users[std::to_string(*uid)]);
    if (!AudioUsers::Save(users, UsersFile())) {
        Complain("the users file " + UsersFile() + " cannot be written");
        return kFailed;
    }
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
    std::transform(kRights.begin(), kRights.end(), std::back_inserter(names),
                   [](const Right &right) { return right.name; });
    set->add_option("RIGHT", options->rights, "The rights, all others being taken away")
        ->check(CLI::IsMember(names))
        ->required();
}

}  // namespace tonvale_cli

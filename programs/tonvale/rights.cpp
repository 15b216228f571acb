// What users may do: the verb `user rights`, and `permission`, which is its earlier form.
#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "command.h"
#include "database.h"
#include "display.h"
#include "page_output.h"
#include "service/people/people.h"
#include "service/people/settings.h"
#include "tonvale/settings.h"

namespace tonvale_cli {

namespace {

using tonvale_service::Right;

constexpr char kAll[] = "all";
constexpr char kNone[] = "none";

struct PermissionOptions {
    std::string user;
    std::vector<std::string> rights;
    bool json = false;
    bool makesAdmin = false;
    bool unmakesAdmin = false;
};

int ShowPermission(const PermissionOptions &options) {
    if (!Succeeded(CheckRoot())) {
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
    Table table({{"RIGHT"}, {""}, {"MEANING", false, true}});
    for (const Right &right : tonvale_service::AllRights()) {
        table.AddRow({right.name, rights[right.name].asBool() ? "yes" : "no", right.meaning});
    }
    table.Print();
    return kDone;
}

int SetPermission(const PermissionOptions &options) {
    if (!Succeeded(CheckRoot())) {
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

int ChangePermission(const PermissionOptions &options) {
    if (options.makesAdmin || options.unmakesAdmin) {
        if (!Succeeded(CheckRoot())) {
            return kFailed;
        }
        StartForLinks();
        tonvale_service::SetAdministrator(options.user, options.makesAdmin);
    }
    return options.rights.empty() ? kDone : SetPermission(options);
}

// What a user's rights are set by.
std::vector<std::string> RightWords() {
    std::vector<std::string> names = {kAll, kNone};
    for (const Right &right : tonvale_service::AllRights()) {
        names.emplace_back(right.name);
    }
    return names;
}

Verb AddVerb(const Verb &parent, const char *name, const char *description,
             const std::shared_ptr<PermissionOptions> &options,
             int (*run)(const PermissionOptions &)) {
    const Verb verb = parent.AddVerb(name, description);
    verb.Do([=] { return run(*options); });
    return verb;
}

}  // namespace

void AddRights(const Verb &user) {
    const auto options = std::make_shared<PermissionOptions>();
    const Verb rights = AddVerb(
        user, "rights", "Show what a user may do, or record it", options,
        [](const PermissionOptions &asked) {
            const bool changes = asked.makesAdmin || asked.unmakesAdmin || !asked.rights.empty();
            return changes ? ChangePermission(asked) : ShowPermission(asked);
        });
    rights.AddText("USER", options->user, "The user's name").Required();
    rights.AddText("RIGHT", options->rights, "The rights that the user has from now on")
        .OneOf(RightWords());
    rights.AddFlag("--json", options->json, "Print JSON instead of a table");
    rights.AddFlag("--no-admin", options->unmakesAdmin, "Make the user an ordinary user");
    rights.AddFlag("--admin", options->makesAdmin, "Make the user an administrator")
        .Excludes("--no-admin");
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
    set.AddText("RIGHT", options->rights, "The rights that the user has from now on")
        .OneOf(RightWords())
        .Required();
}

}  // namespace tonvale_cli

// A user's preferences.
#include <json/json.h>

#include <cstdio>
#include <memory>
#include <optional>

#include "command.h"
#include "database.h"
#include "display.h"
#include "page_output.h"
#include "service/people/settings.h"

namespace tonvale_cli {

namespace {

using tonvale_service::AllPreferences;
using tonvale_service::Preference;

struct PreferenceOptions {
    std::string user;
    std::string name;
    std::string value;
    bool json = false;
};

// Empty, with a message, when the root is not prepared.
std::optional<uid_t> PreparedUser(const std::string &name) {
    if (!Succeeded(CheckRoot())) {
        return std::nullopt;
    }
    return tonvale_service::UidOf(name);
}

int Show(const PreferenceOptions &options) {
    const std::optional<uid_t> uid = PreparedUser(options.user);
    if (!uid) {
        return kFailed;
    }
    const Json::Value preferences = tonvale_service::PreferencesOf(*uid);
    if (options.json) {
        PrintJson(preferences);
        return kDone;
    }
    Table table({{"PREFERENCE"}, {""}, {"MEANING", false, true}});
    for (const Preference &known : AllPreferences()) {
        const Json::Value &value = preferences[known.name];
        const std::string text =
            value.isBool() ? known.values[value.asBool() ? 0 : 1] : value.asString();
        table.AddRow({known.name, text, known.meaning});
    }
    table.Print();
    return kDone;
}

int Set(const PreferenceOptions &options) {
    const std::optional<uid_t> uid = PreparedUser(options.user);
    if (!uid) {
        return kFailed;
    }
    tonvale_service::SetPreference(*uid, options.name, options.value);
    return kDone;
}

}  // namespace

void AddPreference(const Verb &app) {
    const Verb preference = app.AddGroup("preference", "Show and set a user's preferences");
    const auto options = std::make_shared<PreferenceOptions>();

    const Verb show = preference.AddVerb("show", "Show a user's preferences");
    show.AddText("USER", options->user, "The user's name").Required();
    show.AddFlag("--json", options->json, "Print JSON instead of a table");
    show.Do([options] { return Show(*options); });

    std::vector<std::string> names;
    for (const Preference &known : AllPreferences()) {
        names.push_back(known.name);
    }
    const Verb set = preference.AddVerb("set", "Set one of a user's preferences");
    set.AddText("USER", options->user, "The user's name").Required();
    set.AddText("NAME", options->name, "The preference").OneOf(names).Required();
    set.AddText("VALUE", options->value, "yes or no; all or personal").Required();
    set.Do([options] { return Set(*options); });
}

}  // namespace tonvale_cli

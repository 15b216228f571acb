// VARN.Tonvale.Setting: preferences, and for administrators everybody's rights and the custom keys.
#include "service/settings.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "action.h"
#include "varn/host.h"

namespace tonvale_entry {

namespace {

constexpr std::size_t kLongestText = 4096;

// What the asking user may know.
Json::Value Settings(const Request &request) {
    Json::Value data(Json::objectValue);
    data["preferences"] = tonvale_service::PreferencesOf(request.User().GetLoginUID());
    if (tonvale_service::IsAdministrator(request.User().GetLoginUserName())) {
        data["users"] = tonvale_service::UserList();
        data["custom_keys"] = tonvale_service::CustomKeys();
        Json::Value &folders = data["music_folders"] = Json::Value(Json::arrayValue);
        for (const std::string &folder : varn::host::IndexedFolders()) {
            folders.append(folder);
        }
    }
    return data;
}

using Preferences = std::vector<std::pair<std::string, std::string>>;

Preferences PreferencesIn(const Request &asked) {
    Preferences preferences;
    for (const tonvale_service::Preference &known : tonvale_service::AllPreferences()) {
        const auto given = asked.Given(known.name);
        if (!given) {
            continue;
        }
        // Switches are told as JSON tells them.
        const std::string value = *given == "true" ? "yes" : *given == "false" ? "no" : *given;
        tonvale_service::CheckPreference(known.name, value);
        preferences.emplace_back(known.name, value);
    }
    return preferences;
}

bool IsAnyGiven(const Request &asked, std::initializer_list<const char *> names) {
    return std::any_of(names.begin(), names.end(),
                       [&](const char *name) { return asked.Given(name).has_value(); });
}

std::string ShortText(const Request &asked, const std::string &name) {
    std::string text = asked.Text(name);
    if (text.size() > kLongestText) {
        throw Refusal{Code::kBadParameter};
    }
    return text;
}

// Everything that is asked for is looked at before the first of it is written.
Json::Value Set(const Request &asked) {
    const Preferences preferences = PreferencesIn(asked);
    const bool setsRights = asked.Given("permissions").has_value();
    const bool setsKey = asked.Given("custom_key").has_value();
    // What belongs to rights or to a key is meant for others than who asks.
    const bool isForOthers = (!setsRights && IsAnyGiven(asked, {"user"})) ||
                             (!setsKey && IsAnyGiven(asked, {"type", "value", "title"}));
    if (isForOthers || (preferences.empty() && !setsRights && !setsKey)) {
        throw Refusal{Code::kBadParameter};
    }
    if ((setsRights || setsKey) &&
        !tonvale_service::IsAdministrator(asked.User().GetLoginUserName())) {
        throw Refusal{Code::kNotPermitted};
    }
    if (setsRights && asked.ProvedBy() == tonvale_service::Proof::kKey) {
        throw Refusal{Code::kNotPermitted};  // as of VARN.Tonvale.User
    }
    const unsigned mask = setsRights ? asked.RightsIn("permissions") : 0;
    const std::string user = setsRights ? asked.RequiredText("user") : "";
    const auto key = setsKey ? asked.Number("custom_key", 0, 1, tonvale_service::kCustomKeys) : 0;
    const std::string type = ShortText(asked, "type");
    const std::string value = ShortText(asked, "value");
    const std::string title = ShortText(asked, "title");
    if (setsRights) {
        tonvale_service::SetPermission(user, mask);
    }
    for (const auto &[name, chosen] : preferences) {
        tonvale_service::SetPreference(asked.User().GetLoginUID(), name, chosen);
    }
    if (setsKey) {
        tonvale_service::SetCustomKey(static_cast<int>(key), type, value, title);
    }
    return Settings(asked);
}

constexpr Method kMethods[] = {{"get", Make<Settings>}, {"set", Make<Set>, kChanges}};

}  // namespace

const Api kSettingApi{"VARN.Tonvale.Setting", kMethods};

}  // namespace tonvale_entry

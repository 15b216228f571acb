// VARN.Tonvale.Setting: preferences, and for administrators everybody's rights and the custom keys.
#include "service/people/settings.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "action.h"
#include "tonvale/settings.h"
#include "varn/host.h"

namespace tonvale_entry {

namespace {

constexpr std::size_t kLongestText = 4096;
constexpr Parameter kCustomKey{.name = "custom_key",
                               .what = "The custom key to set; for administrators.",
                               .kind = Kind::kNumber,
                               .low = 1,
                               .high = tonvale_service::kCustomKeys};

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
        throw Refusal{Code::kBadParameter, name};
    }
    return text;
}

// Everything that is asked for is looked at before the first of it is written.
Json::Value Set(const Request &asked) {
    const Preferences preferences = PreferencesIn(asked);
    const bool setsRights = asked.Given("permissions").has_value();
    const bool setsKey = asked.Given("custom_key").has_value();
    // Rights and keys are set for other users than the one who asks.
    const bool isForOthers = (!setsRights && IsAnyGiven(asked, {"user"})) ||
                             (!setsKey && IsAnyGiven(asked, {"type", "value", "title"}));
    if (isForOthers || (preferences.empty() && !setsRights && !setsKey)) {
        throw Refusal{Code::kBadParameter, "",
                      "name a preference to set, a user with permissions, or a custom_key"};
    }
    if (setsRights || setsKey) {
        asked.RequireAdministrator();
    }
    if (setsRights && asked.ProvedBy() == tonvale_service::Proof::kKey) {
        throw Refusal{Code::kNotPermitted, "", kNotByKey};  // as of VARN.Tonvale.User
    }
    const unsigned mask = setsRights ? asked.RightsIn("permissions") : 0;
    const std::string user = setsRights ? asked.RequiredText("user") : "";
    const auto key = setsKey ? asked.Number(kCustomKey) : 0;
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

constexpr std::array kSetParameters = {
    Parameter{.name = "support_transcode_mp3",
              .what = "Songs are transcoded to MP3.",
              .kind = Kind::kFlag},
    Parameter{.name = "prefer_using_html5",
              .what = "The HTML5 player is preferred.",
              .kind = Kind::kFlag},
    Parameter{.name = "audio_show_virtual_library",
              .what = "Tracks of cue sheets are shown.",
              .kind = Kind::kFlag},
    Parameter{.name = "browse_personal_library",
              .what = "The part of the library that is shown.",
              .choices = "all personal"},
    Parameter{.name = "user", .what = "With permissions: whose they are."},
    Parameter{.name = "permissions",
              .what = "All rights that the user is to have; for administrators.",
              .kind = Kind::kTexts,
              .names = [] { return tonvale_service::RightNames(RIGHT_ALL); }},
    kCustomKey,
    Parameter{.name = "type", .what = "Of the custom key, at most 4096 bytes."},
    Parameter{.name = "value", .what = "Of the custom key, at most 4096 bytes."},
    Parameter{.name = "title", .what = "Of the custom key, at most 4096 bytes."}};

constexpr Method kMethods[] = {
    {.name = "get",
     .make = Make<Settings>,
     .summary = "The preferences of the user; for administrators all rights, custom keys and "
                "indexed folders as well",
     .answer = "Settings"},
    {.name = "set",
     .make = Make<Set>,
     .changes = true,
     .summary = "Set any of these, or nothing when one is refused; answers like get",
     .parameters = kSetParameters,
     .answer = "Settings"},
};

constexpr Field kKey[] = {
    {"index", "number", "1 to 4"}, {"type", "text"}, {"value", "text"}, {"title", "text"}};
constexpr Field kSettings[] = {{"preferences", "{flag|text}", "by the names that set takes"},
                               {"users?", "[UserRights]", "for administrators"},
                               {"custom_keys?", "[CustomKey]", "for administrators"},
                               {"music_folders?", "[text]", "the paths, for administrators"}};
constexpr Schema kSchemas[] = {{"CustomKey", kKey}, {"Settings", kSettings}};

}  // namespace

const Api kSettingApi{.name = "VARN.Tonvale.Setting",
                      .methods = kMethods,
                      .summary = "Preferences: docs/settings.md",
                      .schemas = kSchemas};

}  // namespace tonvale_entry

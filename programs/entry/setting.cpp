// VARN.Tonvale.Setting: preferences, and for administrators everybody's rights and the custom keys.
#include "service/settings.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "action.h"

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
    }
    return data;
}

class Get : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override { return Settings(Asked()); }
};

// Everything that is asked for is looked at before the first of it is written.
class Set : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override {
        ReadPreferences();
        const bool setsRights = Asked().Given("permissions").has_value();
        const bool setsKey = Asked().Given("custom_key").has_value();
        // What belongs to rights or to a key is meant for others than who asks.
        const bool isForOthers = (!setsRights && IsAnyGiven({"user"})) ||
                                 (!setsKey && IsAnyGiven({"type", "value", "title"}));
        if (isForOthers || (preferences_.empty() && !setsRights && !setsKey)) {
            throw Refusal{Code::kBadParameter};
        }
        if (setsRights || setsKey) {
            RequireAdministrator();
        }
        const unsigned mask = setsRights ? Rights() : 0;
        const std::string user = setsRights ? Asked().RequiredText("user") : "";
        const auto key =
            setsKey ? Asked().Number("custom_key", 0, 1, tonvale_service::kCustomKeys) : 0;
        const std::string type = ShortText("type");
        const std::string value = ShortText("value");
        const std::string title = ShortText("title");
        if (setsRights) {
            tonvale_service::SetPermission(user, mask);
        }
        for (const auto &[name, chosen] : preferences_) {
            tonvale_service::SetPreference(Asked().User().GetLoginUID(), name, chosen);
        }
        if (setsKey) {
            tonvale_service::SetCustomKey(static_cast<int>(key), type, value, title);
        }
        return Settings(Asked());
    }

  private:
    void ReadPreferences() {
        for (const tonvale_service::Preference &known : tonvale_service::AllPreferences()) {
            const auto given = Asked().Given(known.name);
            if (!given) {
                continue;
            }
            // Switches are told as JSON tells them.
            const std::string value = *given == "true" ? "yes" : *given == "false" ? "no" : *given;
            tonvale_service::CheckPreference(known.name, value);
            preferences_.emplace_back(known.name, value);
        }
    }

    bool IsAnyGiven(std::initializer_list<const char *> names) const {
        return std::any_of(names.begin(), names.end(),
                           [&](const char *name) { return Asked().Given(name).has_value(); });
    }

    void RequireAdministrator() const {
        if (!tonvale_service::IsAdministrator(Asked().User().GetLoginUserName())) {
            throw Refusal{Code::kNotPermitted};
        }
    }

    unsigned Rights() const {
        std::vector<std::string> known;
        for (const tonvale_service::Right &right : tonvale_service::AllRights()) {
            known.emplace_back(right.name);
        }
        return tonvale_service::MaskOf(Asked().Names("permissions", known));
    }

    std::string ShortText(const std::string &name) const {
        std::string text = Asked().Text(name);
        if (text.size() > kLongestText) {
            throw Refusal{Code::kBadParameter};
        }
        return text;
    }

    std::vector<std::pair<std::string, std::string>> preferences_;
};

constexpr Method kMethods[] = {{"get", Make<Get>}, {"set", Make<Set>, kChanges}};

}  // namespace

const Api kSettingApi{"VARN.Tonvale.Setting", kMethods};

}  // namespace tonvale_entry

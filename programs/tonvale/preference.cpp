// A user's preferences.
#include <json/json.h>

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
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

constexpr char kYes[] = "yes";
constexpr char kNo[] = "no";
constexpr char kBrowse[] = "browse_personal_library";
constexpr char kAll[] = "all";
constexpr char kPersonal[] = "personal";

struct Switch {
    const char *name;
    bool (*get)(uid_t) noexcept;
    bool (*set)(uid_t, bool) noexcept;
    const char *meaning;
};

constexpr std::array kSwitches = {
    Switch{"support_transcode_mp3", AudioFile::GetUserTranscodeMp3, AudioFile::SetUserTranscodeMp3,
           "songs are transcoded to MP3"},
    Switch{"prefer_using_html5", AudioFile::GetPreferHtml5, AudioFile::SetPreferHtml5,
           "the HTML5 player is preferred"},
    Switch{"audio_show_virtual_library", AudioFile::GetUserShowVirtualLib,
           AudioFile::SetUserShowVirtualLib, "tracks of cue sheets are shown"}};

struct PreferenceOptions {
    std::string user;
    std::string name;
    std::string value;
    bool json = false;
};

const char *Browsed(uid_t uid) {
    return AudioFile::GetUserBrowsePersonalLibraryType(uid) == BROWSE_LIBRARY_PERSONAL ? kPersonal
                                                                                       : kAll;
}

std::optional<uid_t> PreparedUser(const std::string &name, int &status) {
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        status = kFailed;
        return std::nullopt;
    }
    status = kUsage;
    return FindUser(name);
}

int Show(const PreferenceOptions &options) {
    int status = kDone;
    const std::optional<uid_t> uid = PreparedUser(options.user, status);
    if (!uid) {
        return status;
    }
    Table table({{"PREFERENCE", false, false}, {"", false, false}, {"MEANING", false, true}});
    Json::Value json(Json::objectValue);
    for (const Switch &one : kSwitches) {
        const bool on = one.get(*uid);
        json[one.name] = on;
        table.AddRow({one.name, on ? kYes : kNo, one.meaning});
    }
    json[kBrowse] = Browsed(*uid);
    table.AddRow({kBrowse, Browsed(*uid), "the library that is browsed"});
    if (options.json) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        std::cout << Json::writeString(builder, json) << "\n";
    } else {
        std::fputs(table.Text(TerminalWidth()).c_str(), stdout);
    }
    return kDone;
}

// Sets a preference; empty for a value that it cannot have.
std::optional<bool> SetValue(uid_t uid, const std::string &name, const std::string &value) {
    if (name == kBrowse) {
        if (value != kAll && value != kPersonal) {
            return std::nullopt;
        }
        return AudioFile::SetUserBrowsePersonalLibraryType(
            uid, value == kPersonal ? BROWSE_LIBRARY_PERSONAL : BROWSE_LIBRARY_ALL);
    }
    for (const Switch &one : kSwitches) {
        if (name == one.name && (value == kYes || value == kNo)) {
            return one.set(uid, value == kYes);
        }
    }
    return std::nullopt;
}

int Set(const PreferenceOptions &options) {
    int status = kDone;
    const std::optional<uid_t> uid = PreparedUser(options.user, status);
    if (!uid) {
        return status;
    }
    if (auto done = BecomePackageAccount(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    const auto set = SetValue(*uid, options.name, options.value);
    if (!set) {
        Complain(options.name + " is set to " +
                 (options.name == kBrowse ? "all or personal" : "yes or no"));
        return kUsage;
    }
    if (!*set) {
        Complain("the preference was not set: see that " + SystemPath(varn::path::kUsersFile) +
                 " is there and can be written" +
                 (options.name == kSwitches[0].name
                      ? ", and that the package offers transcoding (docs/system.md)"
                      : ""));
        return kFailed;
    }
    return kDone;
}

}  // namespace

void AddPreference(CLI::App &app, Action &action) {
    CLI::App *preference = app.add_subcommand("preference", "Show and set a user's preferences");
    preference->require_subcommand(1);
    const auto options = std::make_shared<PreferenceOptions>();

    CLI::App *show = preference->add_subcommand("show", "Show a user's preferences");
    show->add_option("USER", options->user, "The user's name")->required();
    show->add_flag("--json", options->json, "Print JSON instead of a table");
    show->callback([options, &action] { action = [options] { return Show(*options); }; });

    std::vector<std::string> names = {kBrowse};
    for (const Switch &one : kSwitches) {
        names.emplace_back(one.name);
    }
    CLI::App *set = preference->add_subcommand("set", "Set one of a user's preferences");
    set->add_option("USER", options->user, "The user's name")->required();
    set->add_option("NAME", options->name, "The preference")
        ->check(CLI::IsMember(names))
        ->required();
    set->add_option("VALUE", options->value, "yes or no; all or personal")->required();
    set->callback([options, &action] { action = [options] { return Set(*options); }; });
}

}  // namespace tonvale_cli

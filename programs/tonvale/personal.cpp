// Whether users have libraries of their own.
#include <cstdio>
#include <memory>

#include "command.h"
#include "database.h"
#include "service/sharing/link_hooks.h"
#include "varn/account.h"
#include "varn/host.h"

namespace tonvale_cli {

namespace {

constexpr char kOn[] = "on";
constexpr char kOff[] = "off";

int Show() {
    if (!Succeeded(CheckRoot())) {
        return kFailed;
    }
    std::printf("%s\n", IsPersonalLibraryEnabled() ? kOn : kOff);
    return kDone;
}

int Switch(const std::string &wanted) {
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    tonvale_service::SwitchPersonalLibraries(wanted == kOn);
    std::printf("Run 'tonvale index%s' now, which %s the songs of users' homes.\n",
                varn::host::RootOption().c_str(), wanted == kOn ? "adds" : "removes");
    return kDone;
}

}  // namespace

void AddPersonal(const Verb &app) {
    const Verb verb = app.AddVerb("personal-libraries",
                                  "Show or switch whether users have libraries of their own");
    const auto wanted = std::make_shared<std::string>();
    verb.AddText("SWITCH", *wanted,
                 "on or off; either ends the links of personal playlists and single songs")
        .OneOf({kOn, kOff})
        .ValueName("");
    verb.Do([wanted] { return wanted->empty() ? Show() : Switch(*wanted); });
}

}  // namespace tonvale_cli

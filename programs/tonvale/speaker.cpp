#include <array>
#include <iostream>
#include <memory>

#include "command.h"
#include "database.h"
#include "tonvale/players.h"

namespace tonvale_cli {

namespace {

namespace airplay = Tonvale::airplay;

struct SpeakerOptions {
    std::string host;
    std::string port = "5000";
    bool passwordFromInput = false;
};

int AskForNeed(const SpeakerOptions &options) {
    const airplay::PasswordNeed need =
        airplay::IsNeedPassword(options.host.c_str(), options.port.c_str());
    if (!need.known) {
        Complain("the speaker does not tell; the lines above say more");
        return kFailed;
    }
    std::puts(need.needed ? "It asks for a password." : "It asks for no password.");
    return kDone;
}

int TryPassword(const SpeakerOptions &options) {
    constexpr std::array kMeanings = {"The password is right, or none is needed.",
                                      "The password is wrong.", "The speaker is in use.",
                                      "The speaker does not tell."};
    std::string password;
    std::getline(std::cin, password);
    const int status =
        airplay::TestPassword(options.host.c_str(), options.port.c_str(), password.c_str());
    std::puts(kMeanings.at(static_cast<std::size_t>(status)));
    return status == airplay::AIRPLAY_REACHABLE ? kDone : kFailed;
}

}  // namespace

void AddSpeaker(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("speaker", "Ask an AirPlay speaker about its password");
    const auto options = std::make_shared<SpeakerOptions>();
    verb->add_option("host", options->host, "Its name or address")->required();
    verb->add_option("--port", options->port, "Its port")->type_name("N")->capture_default_str();
    verb->add_flag("--password-stdin", options->passwordFromInput,
                   "Try the password in the first line of the standard input");
    verb->callback([options, &action] {
        action = [options] {
            return options->passwordFromInput ? TryPassword(*options) : AskForNeed(*options);
        };
    });
}

}  // namespace tonvale_cli

#include "service/devices/speaker.h"

#include <array>
#include <iostream>
#include <memory>

#include "command.h"
#include "complain.h"

namespace tonvale_cli {

namespace {

using tonvale_service::AskSpeaker;
using tonvale_service::SpeakerStatus;

struct SpeakerOptions {
    std::string host;
    std::string port = "5000";
    bool passwordFromInput = false;
};

int Ask(const SpeakerOptions &options) {
    constexpr std::array kMeanings = {
        "It asks for no password.",
        "It asks for a password.",
        "The password is right, or none is needed.",
        "The password is wrong.",
        "The speaker is in use.",
    };
    std::optional<std::string> password;
    if (options.passwordFromInput) {
        std::getline(std::cin, password.emplace());
    }
    const SpeakerStatus status = AskSpeaker(options.host, options.port, password);
    if (status == SpeakerStatus::kUnknown) {
        Complain(options.host + " does not answer as a speaker; check the address, and the port " +
                 options.port);
        return kFailed;
    }
    std::puts(kMeanings.at(static_cast<std::size_t>(status)));
    return status <= SpeakerStatus::kRight ? kDone : kFailed;
}

}  // namespace

void AddSpeaker(const Verb &app) {
    const Verb verb = app.AddVerb(kSpeaker, "Ask an AirPlay speaker about its password");
    const auto options = std::make_shared<SpeakerOptions>();
    verb.AddText("host", options->host, "Its name or address").Required();
    verb.AddText("--port", options->port, "Its port").ValueName("N");
    verb.AddFlag("--password-stdin", options->passwordFromInput,
                 "Try the password in the first line of the standard input");
    verb.Do([options] { return Ask(*options); });
}

}  // namespace tonvale_cli

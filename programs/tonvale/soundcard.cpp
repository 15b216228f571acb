#include <memory>

#include "command.h"
#include "display.h"
#include "page_output.h"
#include "service/devices/sound_card.h"

namespace tonvale_cli {

namespace {

struct CardOptions {
    int volume = 0;
    bool json = false;
};

std::string CellOf(const Json::Value &value) {
    if (value.isBool()) {
        return value.asBool() ? "yes" : "no";
    }
    return value.isNull() || value == "" ? "-" : value.asString();
}

int Show(const CardOptions &options) {
    const Json::Value card = tonvale_service::SoundCard();
    if (options.json) {
        PrintJson(card);
        return kDone;
    }
    for (const char *key : {"card", "mixer", "device", "volume", "mixer_volume", "hardware_mixer",
                            "high_resolution", "usb", "bluetooth"}) {
        std::printf("%s: %s\n", key, Printable(CellOf(card[key])).c_str());
    }
    return kDone;
}

}  // namespace

void AddSoundCard(const Verb &app) {
    const Verb verb = app.AddGroup("soundcard", "Show the sound card and set its volume");
    const auto options = std::make_shared<CardOptions>();
    const Verb show = verb.AddVerb("show", "Show the card, what it can do and its settings");
    show.AddFlag("--json", options->json, "Print JSON");
    show.Do([options] { return Show(*options); });
    const Verb volume =
        verb.AddVerb("volume", "Set the volume, in the configuration and the mixers");
    volume.AddNumber("number", options->volume, 0, "The volume, 0-100").Required();
    volume.Do([options] {
        tonvale_service::SetCardVolume(options->volume);
        return kDone;
    });
    const auto add = [&](const char *name, const char *description, void (*call)()) {
        verb.AddVerb(name, description).Do([call] {
            call();
            return kDone;
        });
    };
    add("store", "Store the kernel's volume in the configuration",
        tonvale_service::StoreCardVolume);
    add("restore", "Give the configured volume to the mixers", tonvale_service::RestoreCardVolume);
}

}  // namespace tonvale_cli

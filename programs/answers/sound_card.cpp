#include "sound_card.h"

#include <array>

#include "as_root.h"
#include "failure.h"
#include "tonvale/players.h"

namespace tonvale_answers {

namespace {

Json::Value Known(int number) {
    return number >= 0 ? Json::Value(number) : Json::Value();
}

bool HasCard() {
    const AsRoot root;
    return VARNAudioCardGet(nullptr, 0, nullptr, 0) >= 0;
}

bool SetMixers(int volume) {
    const AsRoot root;
    return VARNAudioKernelVolumeSet(volume) == 0;
}

}  // namespace

Json::Value SoundCard() {
    Json::Value card(Json::objectValue);
    card["usb"] = VARNAudioIsSupportUSB() == 1;
    card["bluetooth"] = VARNAudioIsSupportBlueTooth() == 1;
    card["volume"] = Known(VARNAudioConfVolumeGet());
    // Some of these calls end as the package's account: the ids before come back in any case.
    const AsRoot root;
    std::array<char, 64> mixer{};
    std::array<char, 64> device{};
    card["card"] =
        Known(VARNAudioCardGet(mixer.data(), mixer.size(), device.data(), device.size()));
    card["mixer"] = mixer.data();
    card["device"] = device.data();
    card["high_resolution"] = VARNAudioCheckHardwareSupportHighRes() == 0;
    card["mixer_volume"] = Known(VARNAudioKernelVolumeGet());
    card["hardware_mixer"] = VARNAudioCheckHardwareMixer() == 1;
    return card;
}

Json::Value SetCardVolume(int volume) {
    if (volume < 0 || volume > 100) {
        throw Failure(Reason::kBad, "a volume is a whole number from 0 to 100");
    }
    if (VARNAudioConfVolumeSet(volume) != 0) {
        throw Failure(Reason::kFailed, "the package's configuration cannot be written");
    }
    if (HasCard() && !SetMixers(volume)) {
        throw Failure(Reason::kFailed, "the volume is stored, but no mixer takes it");
    }
    return SoundCard();
}

void StoreCardVolume() {
    if (VARNAudioVolumeSyncConf() != 0) {
        throw Failure(Reason::kFailed,
                      "the kernel tells no volume, or the configuration cannot be written");
    }
}

void RestoreCardVolume() {
    const AsRoot root;
    if (VARNAudioVolumeSyncKernel() != 0) {
        throw Failure(Reason::kFailed, "no volume is configured, or no mixer takes it");
    }
}

}  // namespace tonvale_answers

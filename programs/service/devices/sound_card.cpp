#include "service/devices/sound_card.h"

#include <unistd.h>

#include <array>

#include "service/base/failure.h"
#include "tonvale/players.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

Json::Value Known(int number) {
    return number >= 0 ? Json::Value(number) : Json::Value();
}

bool HasCard() {
    const varn::RunAs root(varn::Who::kRoot);
    return VARNAudioCardGet(nullptr, 0, nullptr, 0) >= 0;
}

bool SetMixers(int volume) {
    const varn::RunAs root(varn::Who::kRoot);
    return VARNAudioKernelVolumeSet(volume) == 0;
}

}  // namespace

Json::Value SoundCard() {
    Json::Value card(Json::objectValue);
    card["usb"] = VARNAudioIsSupportUSB() == 1;
    card["bluetooth"] = VARNAudioIsSupportBlueTooth() == 1;
    card["volume"] = Known(VARNAudioConfVolumeGet());
    // Some of these calls end as the package's account: the ids before come back in any case.
    const varn::RunAs root(varn::Who::kRoot);
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
        throw Failure(Reason::kNotAVolume, std::to_string(volume));
    }
    if (VARNAudioConfVolumeSet(volume) != 0) {
        throw Failure(Reason::kFileNotWritten, SystemPath(varn::path::kPackageConf));
    }
    if (HasCard() && !SetMixers(volume)) {
        throw Failure(Reason::kVolumeNotSet);
    }
    return SoundCard();
}

void StoreCardVolume() {
    if (VARNAudioVolumeSyncConf() != 0) {
        const bool isKnown = access(SystemPath(varn::path::kKernelVolume).c_str(), R_OK) == 0;
        throw isKnown ? Failure(Reason::kFileNotWritten, SystemPath(varn::path::kPackageConf))
                      : Failure(Reason::kNoVolume);
    }
}

void RestoreCardVolume() {
    const varn::RunAs root(varn::Who::kRoot);
    if (VARNAudioVolumeSyncKernel() != 0) {
        throw Failure(VARNAudioConfVolumeGet() < 0 ? Reason::kNoVolume : Reason::kVolumeNotSet);
    }
}

}  // namespace tonvale_service

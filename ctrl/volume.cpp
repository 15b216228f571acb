#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "ctrl/mixer.h"
#include "ctrl/source.h"
#include "support/boundary.h"
#include "tonvale/players.h"
#include "varn/handles.h"
#include "varn/packageconf.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace Tonvale::ctrl {

namespace {

constexpr char kVolumeKey[] = "audio_volume";
constexpr std::size_t kVolumeTextSize = 8;
constexpr long kLoudest = 100;

// The administrator's file may hold anything: no number is no volume.
int ConfVolume() {
    std::array<char, kVolumeTextSize> text;
    if (VARNAudioConfGet(kVolumeKey, text.data(), text.size()) < 1) {
        return -1;
    }
    char *end = nullptr;
    const long volume = std::strtol(text.data(), &end, 10);
    return end == text.data() ? -1 : static_cast<int>(std::clamp(volume, 0L, kLoudest));
}

int SetConfVolume(int volume) {
    const std::string text = std::to_string(std::clamp<long>(volume, 0, kLoudest));
    return VARNAudioConfSet(kVolumeKey, text.c_str()) == -1 ? -1 : 0;
}

// The mixer of the highest card, and its channel as Mixer::VolumeChannel tells it.
struct CardVolume {
    Mixer mixer;
    int channel;
};

std::optional<CardVolume> OpenCardVolume() {
    const int card = FindCard();
    std::optional<Mixer> mixer = card < 0 ? std::nullopt : Mixer::Open(card);
    if (!mixer) {
        return std::nullopt;
    }
    const int channel = mixer->VolumeChannel();
    return CardVolume{*std::move(mixer), channel};
}

// What `read` gives with root's rights: 0 without a channel, -1 where the mixer cannot be read.
int ReadAsRoot(int (*read)(const CardVolume &card)) {
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kCtrl);
    const std::optional<CardVolume> card = root ? OpenCardVolume() : std::nullopt;
    if (!card || card->channel == Mixer::kUnreadable) {
        return -1;
    }
    return card->channel == Mixer::kNone ? 0 : read(*card);
}

int KernelVolume() {
    return ReadAsRoot([](const CardVolume &card) {
        int left = 0;
        int right = 0;
        const bool isRead = card.mixer.Read(card.channel, left, right);
        return isRead ? static_cast<int>(std::min((left + right) / 2L, kLoudest)) : -1;
    });
}

int SetKernelVolume(int volume) {
    const int level = static_cast<int>(std::clamp<long>(volume, 0, kLoudest));
    int result = -1;
    for (int card = kHighestCard; card >= 0; --card) {
        const std::optional<Mixer> mixer = Mixer::Open(card);
        const int channel = mixer ? mixer->VolumeChannel() : Mixer::kUnreadable;
        if (channel >= 0 && mixer->Write(channel, level, level)) {
            result = 0;
        }
    }
    return result;
}

int CheckHardwareMixer() {
    return ReadAsRoot([](const CardVolume &) { return 1; });
}

// Digits that are missing or followed by other text are the kernel's business: it writes the file.
int SyncConf() {
    const varn::File file(std::fopen(SystemPath(varn::path::kKernelVolume).c_str(), "re"));
    std::array<char, kVolumeTextSize> line;
    if (!file || std::fgets(line.data(), line.size(), file.get()) == nullptr) {
        return -1;
    }
    return SetConfVolume(static_cast<int>(std::strtol(line.data(), nullptr, 10)));
}

int SyncKernel() {
    const int volume = ConfVolume();
    return volume < 0 ? -1 : SetKernelVolume(volume);
}

}  // namespace

}  // namespace Tonvale::ctrl

namespace {

using Tonvale::support::Guarded;
namespace ctrl = Tonvale::ctrl;

}  // namespace

int VARNAudioConfVolumeGet(void) noexcept {
    return Guarded(ctrl::kCtrl, -1, [] { return ctrl::ConfVolume(); });
}

int VARNAudioConfVolumeSet(int volume) noexcept {
    return Guarded(ctrl::kCtrl, -1, [&] { return ctrl::SetConfVolume(volume); });
}

int VARNAudioKernelVolumeGet(void) noexcept {
    return Guarded(ctrl::kCtrl, -1, [] { return ctrl::KernelVolume(); });
}

int VARNAudioKernelVolumeSet(int volume) noexcept {
    return Guarded(ctrl::kCtrl, -1, [&] { return ctrl::SetKernelVolume(volume); });
}

int VARNAudioVolumeSyncConf(void) noexcept {
    return Guarded(ctrl::kCtrl, -1, [] { return ctrl::SyncConf(); });
}

int VARNAudioVolumeSyncKernel(void) noexcept {
    return Guarded(ctrl::kCtrl, -1, [] { return ctrl::SyncKernel(); });
}

int VARNAudioCheckHardwareMixer(void) noexcept {
    return Guarded(ctrl::kCtrl, -1, [] { return ctrl::CheckHardwareMixer(); });
}

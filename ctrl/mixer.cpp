#include "ctrl/mixer.h"

#include <unistd.h>

#include <utility>

#include "varn/mixer.h"
#include "varn/systempath.h"

namespace Tonvale::ctrl {

namespace {

constexpr int kChannels = 25;
constexpr int kPcmChannel = 4;
constexpr int kSideMask = 0xFF;
constexpr int kRightShift = 8;

bool HasChannel(int mask, int channel) {
    return ((mask >> channel) & 1) != 0;
}

}  // namespace

std::string CardDevice(std::string_view stem, int card) {
    std::string device(stem);
    if (card > 0) {
        device += std::to_string(card);
    }
    return device;
}

std::optional<Mixer> Mixer::Open(int card) {
    const int fd = VARNMixerOpen(SystemPath(CardDevice(varn::path::kMixerDevice, card)).c_str());
    return fd < 0 ? std::nullopt : std::optional<Mixer>(Mixer(fd));
}

Mixer::Mixer(Mixer &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Mixer::~Mixer() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

int Mixer::VolumeChannel() const {
    int mask = 0;
    if (VARNMixerDevices(fd_, &mask) != 0) {
        return kUnreadable;
    }
    if (HasChannel(mask, kPcmChannel)) {
        return kPcmChannel;
    }
    for (int channel = 0; channel < kChannels; ++channel) {
        if (HasChannel(mask, channel)) {
            return channel;
        }
    }
    return kNone;
}

bool Mixer::Read(int channel, int &left, int &right) const {
    int level = 0;
    if (VARNMixerRead(fd_, channel, &level) != 0) {
        return false;
    }
    left = level & kSideMask;
    right = (level >> kRightShift) & kSideMask;
    return true;
}

bool Mixer::Write(int channel, int left, int right) const {
    return VARNMixerWrite(fd_, channel, (right << kRightShift) + left) == 0;
}

int FindCard() {
    for (int card = kHighestCard; card >= 0; --card) {
        if (Mixer::Open(card)) {
            return card;
        }
    }
    return -1;
}

}  // namespace Tonvale::ctrl

// Commands that only tell the player what to do.
#include <array>
#include <charconv>
#include <string>

#include "ctrl/command.h"
#include "ctrl/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/players.h"

namespace {

using namespace Tonvale::ctrl;
using Tonvale::support::Guarded;

int Tell(VARN_AUDIO_COMMAND command) noexcept {
    return Guarded(kCtrl, -1, [&] { return Send(command); });
}

int TellNumber(VARN_AUDIO_COMMAND command, int number) noexcept {
    return Guarded(kCtrl, -1, [&] { return SendNumber(command, number); });
}

// One gain with one decimal. Not printf: that writes the decimal point of the caller's locale.
void AppendGain(std::string &text, float gain) {
    std::array<char, 64> digits;  // the largest float has 39 in front of its point
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), gain,
                                            std::chars_format::fixed, 1);
    text.append(digits.data(), end);
}

}  // namespace

int VARNAudioJump(int index) noexcept {
    return TellNumber(VARN_AUDIO_JUMP, index);
}

int VARNAudioSeek(int position) noexcept {
    return TellNumber(VARN_AUDIO_SEEK, position);
}

int VARNAudioSetVolume(int volume) noexcept {
    return TellNumber(VARN_AUDIO_SET_VOLUME, volume);
}

int VARNAudioSetMultipleVolumes(const char *volumes) noexcept {
    if (volumes == nullptr) {
        LOG_ERROR(kCtrl, "Bad parameters");
        return -1;
    }
    return Guarded(kCtrl, -1, [&] { return Send(VARN_AUDIO_SET_MULTIPLE_VOLUMES, volumes); });
}

int VARNAudioMultiAirPlayRefresh(void) noexcept {
    return Tell(VARN_AUDIO_MULTI_AIRPLAY_REFRESH);
}

int VARNAudioMultiBluetoothRefresh(void) noexcept {
    return Tell(VARN_AUDIO_MULTI_BLUETOOTH_REFRESH);
}

int VARNAudioSearchServer(void) noexcept {
    return Tell(VARN_AUDIO_SEARCH_SERVER);
}

int VARNAudioSearchRenderer(void) noexcept {
    return Tell(VARN_AUDIO_SEARCH_RENDERER);
}

int VARNAudioSetMode(int mode) noexcept {
    return TellNumber(VARN_AUDIO_SET_MODE, mode);
}

int VARNAudioResetRefresh(void) noexcept {
    return Tell(VARN_AUDIO_RESET_REFRESH);
}

int VARNAudioSetRefresh(void) noexcept {
    return Tell(VARN_AUDIO_SET_REFRESH);
}

int VARNAudioSetEqualizer(const float *gains) noexcept {
    if (gains == nullptr) {
        LOG_ERROR(kCtrl, "Bad parameters");
        return -1;
    }
    return Guarded(kCtrl, -1, [&] {
        std::string payload;
        for (int band = 0; band < VARN_AUDIO_BANDS; ++band) {
            payload += band == 0 ? "" : " ";
            AppendGain(payload, gains[band]);
        }
        return Send(VARN_AUDIO_SET_EQUALIZER, payload);
    });
}

int VARNAudioRefreshLogLevel(void) noexcept {
    return Tell(VARN_AUDIO_REFRESH_LOG_LEVEL);
}

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "ctrl/mixer.h"
#include "ctrl/source.h"
#include "support/boundary.h"
#include "tonvale/players.h"
#include "varn/handles.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace Tonvale::ctrl {

namespace {

constexpr char kGrep[] = "/usr/bin/grep";
constexpr std::size_t kLineSize = 64;

using Output = std::unique_ptr<std::FILE, varn::Releaser<VLIBCPclose>>;

void HandOut(const std::string &text, char *out, int size) {
    if (out != nullptr && size > 0) {
        std::snprintf(out, static_cast<std::size_t>(size), "%s", text.c_str());
    }
}

int GetCard(char *mixer, int mixerSize, char *dsp, int dspSize) {
    const int card = FindCard();
    if (card >= 0) {
        HandOut(CardDevice(varn::path::kMixerDevice, card), mixer, mixerSize);
        HandOut(CardDevice(varn::path::kAudioDevice, card), dsp, dspSize);
    }
    return card;
}

// The card's folder of the sound driver, for the highest card that has one; "" without a card.
std::string CardFolder() {
    for (int card = kHighestCard; card >= 0; --card) {
        const std::string folder = SystemPath(varn::path::kSoundCard) + std::to_string(card);
        const int fd = open(folder.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            close(fd);
            return folder;
        }
    }
    return "";
}

int CheckHighResolution() {
    const std::string folder = CardFolder();
    if (folder.empty()) {
        return -1;
    }
    std::string program = "grep";
    std::string names = "-h";
    std::string pattern = "Format";
    std::string description = folder + "/stream0";
    char *const argv[] = {program.data(), names.data(), pattern.data(), description.data(),
                          nullptr};
    const Output output(VLIBCPopenv(kGrep, "r", argv));
    if (!output) {
        return -1;
    }
    std::array<char, kLineSize> line;
    while (std::fgets(line.data(), line.size(), output.get()) != nullptr) {
        if (std::strstr(line.data(), "32") != nullptr ||
            std::strstr(line.data(), "24") != nullptr) {
            return 0;
        }
    }
    return -1;
}

}  // namespace

}  // namespace Tonvale::ctrl

int VARNAudioCardGet(char *mixer, int mixerSize, char *dsp, int dspSize) noexcept {
    using namespace Tonvale;
    return support::Guarded(ctrl::kCtrl, -1,
                            [&] { return ctrl::GetCard(mixer, mixerSize, dsp, dspSize); });
}

int VARNAudioCheckHardwareSupportHighRes(void) noexcept {
    using namespace Tonvale;
    return support::Guarded(ctrl::kCtrl, -1, [] { return ctrl::CheckHighResolution(); });
}

#include "varn/mixer.h"

#include <fcntl.h>
#include <linux/soundcard.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <charconv>
#include <filesystem>
#include <optional>
#include <string>

#include "linux/error.h"
#include "linux/keyfile.h"
#include "varn/keyfile.h"
#include "varn/systempath.h"

namespace varn {

namespace {

constexpr char kDevicesKey[] = "devices";

std::string LevelKey(int channel) {
    return "level" + std::to_string(channel);
}

// The file that stands in a device's place. Empty for a device.
std::optional<std::string> StandIn(int mixer) {
    struct stat info {};
    if (SystemRoot().empty() || fstat(mixer, &info) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(mixer)).string();
}

int ReadStandIn(const std::string &file, const std::string &key, int *value) {
    const auto text = ReadKeyValue(file, key);
    if (!text) {
        return -1;
    }
    int number = 0;
    const char *end = text->data() + text->size();
    const auto [rest, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc() || rest != end) {
        SetError(VLIB_ERR_NOT_FOUND);
        return -1;
    }
    *value = number;
    return 0;
}

int Request(int mixer, unsigned long request, int *value) {
    int changed = *value;
    if (ioctl(mixer, request, &changed) < 0) {
        SetSystemError();
        return -1;
    }
    *value = changed;
    return 0;
}

bool IsChannel(int channel) {
    if (channel >= 0 && channel < SOUND_MIXER_NRDEVICES) {
        return true;
    }
    SetError(VLIB_ERR_BAD_PARAMETER);
    return false;
}

}  // namespace

}  // namespace varn

int VARNMixerOpen(const char *path) {
    if (!NonEmptyStr(path)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        errno = EINVAL;
        return -1;
    }
    // A device that another program holds must not keep the caller waiting.
    const int mixer = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (mixer < 0) {
        varn::SetSystemError();
    }
    return mixer;
}

int VARNMixerDevices(int mixer, int *mask) {
    return varn::Guarded(-1, [&] {
        const auto file = varn::StandIn(mixer);
        return file ? varn::ReadStandIn(*file, varn::kDevicesKey, mask)
                    : varn::Request(mixer, SOUND_MIXER_READ_DEVMASK, mask);
    });
}

int VARNMixerRead(int mixer, int channel, int *level) {
    return varn::Guarded(-1, [&] {
        if (!varn::IsChannel(channel)) {
            return -1;
        }
        const auto file = varn::StandIn(mixer);
        return file ? varn::ReadStandIn(*file, varn::LevelKey(channel), level)
                    : varn::Request(mixer, MIXER_READ(channel), level);
    });
}

int VARNMixerWrite(int mixer, int channel, int level) {
    return varn::Guarded(-1, [&] {
        if (!varn::IsChannel(channel)) {
            return -1;
        }
        if (const auto file = varn::StandIn(mixer)) {
            return VLIBCFileSetKeyValue(file->c_str(), varn::LevelKey(channel).c_str(),
                                        std::to_string(level).c_str());
        }
        return varn::Request(mixer, MIXER_WRITE(channel), &level);
    });
}

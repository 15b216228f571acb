#include "misc/usb_volume.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string_view>

#include "misc/source.h"
#include "support/boundary.h"
#include "support/handles.h"
#include "tonvale/media.h"

namespace Tonvale::misc {

namespace {

// Where removable volumes are mounted. A volume that is unplugged still counts by this.
constexpr std::string_view kMountPrefix = "/volumeUSB";

bool HasMountPrefix(std::string_view path) {
    if (!path.starts_with(kMountPrefix)) {
        return false;
    }
    path.remove_prefix(kMountPrefix.size());
    const std::size_t digits = path.find_first_not_of("0123456789");
    return digits > 0 && !path.empty() && (digits == path.npos || path[digits] == '/');
}

// The device of a path, or of the nearest folder above it that is there.
dev_t DeviceOf(std::string path) {
    struct stat info {};
    while (stat(path.c_str(), &info) != 0) {
        const std::size_t slash = path.rfind('/');
        if (slash == std::string::npos || slash == 0) {
            return stat("/", &info) == 0 ? info.st_dev : 0;
        }
        path.resize(slash);
    }
    return info.st_dev;
}

bool IsMarkedRemovable(const std::string &disk) {
    char mark = '0';
    return std::ifstream(disk + "/removable").get(mark) && mark == '1';
}

}  // namespace

bool UsbVolumes::Holds(const std::string &path) {
    if (HasMountPrefix(path)) {
        return true;
    }
    const std::string folder = path.substr(0, path.rfind('/'));
    const auto [known, isNew] = folders_.try_emplace(folder, false);
    if (isNew) {
        known->second = IsRemovable(DeviceOf(path));
    }
    return known->second;
}

// By what the kernel tells of the block device: the bus it hangs on, and whether its disk, which
// for a partition is the folder above, can be taken out. The root's own disk cannot.
bool UsbVolumes::IsRemovable(dev_t device) {
    const auto [known, isNew] = devices_.try_emplace(device, false);
    if (isNew && device != DeviceOf("/")) {
        const std::string link =
            "/sys/dev/block/" + std::to_string(major(device)) + ":" + std::to_string(minor(device));
        const std::unique_ptr<char, support::Releaser<std::free>> real(
            realpath(link.c_str(), nullptr));
        const std::string place = real ? real.get() : "";
        known->second =
            !place.empty() && (place.find("/usb") != place.npos || IsMarkedRemovable(place) ||
                               IsMarkedRemovable(place + "/.."));
    }
    return known->second;
}

}  // namespace Tonvale::misc

int VARNAudioIsUSBVolume(const char *path) noexcept {
    using namespace Tonvale::misc;
    if (path == nullptr || *path != '/') {
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] { return UsbVolumes().Holds(path) ? 1 : 0; });
}

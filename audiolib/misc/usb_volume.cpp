#include "misc/usb_volume.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "misc/source.h"
#include "support/boundary.h"
#include "tonvale/media.h"
#include "varn/handles.h"
#include "varn/path.h"

namespace Tonvale::misc {

namespace {

// Where removable volumes are mounted. A volume that is unplugged still counts by this.
constexpr std::string_view kMountPrefix = "/volumeUSB";

bool HasMountPrefix(std::string_view path) {
    if (!path.starts_with(kMountPrefix)) {
        return false;
    }
    path.remove_prefix(kMountPrefix.size());
    const std::size_t digits = std::min(path.find_first_not_of("0123456789"), path.size());
    return digits > 0 && (digits == path.size() || path[digits] == '/');
}

bool IsMarkedRemovable(const std::string &disk) {
    char mark = '0';
    return std::ifstream(disk + "/removable").get(mark) && mark == '1';
}

// By what the kernel tells of a block device, "MAJOR:MINOR": the bus it hangs on, and whether its
// disk, which for a partition is the folder above, can be taken out.
bool IsRemovable(const std::string &device) {
    const std::string place = varn::RealPath("/sys/dev/block/" + device);
    return !place.empty() && (place.find("/usb") != place.npos || IsMarkedRemovable(place) ||
                              IsMarkedRemovable(place + "/.."));
}

// A folder as proc(5) writes it, with blanks and their like as three octal digits.
std::string Unescaped(std::string_view text) {
    constexpr std::size_t kDigits = 3;
    std::string plain;
    while (!text.empty()) {
        if (text.front() == '\\' && text.size() > kDigits) {
            plain += static_cast<char>(
                std::strtol(std::string(text.substr(1, kDigits)).c_str(), nullptr, 8));
            text.remove_prefix(1 + kDigits);
        } else {
            plain += text.front();
            text.remove_prefix(1);
        }
    }
    return plain;
}

}  // namespace

UsbVolumes::UsbVolumes() {
    std::ifstream file("/proc/self/mountinfo");
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string skipped;
        std::string device;
        std::string folder;
        fields >> skipped >> skipped >> device >> skipped >> folder;
        // The root's own device cannot be taken out, whatever it is.
        if (folder != "/") {
            mounts_.push_back({Unescaped(folder), IsRemovable(device)});
        }
    }
    if (std::none_of(mounts_.begin(), mounts_.end(),
                     [](const Mount &mount) { return mount.removable; })) {
        mounts_.clear();
    }
}

bool UsbVolumes::Holds(std::string_view path) const {
    if (HasMountPrefix(path)) {
        return true;
    }
    const Mount *innermost = nullptr;
    for (const Mount &mount : mounts_) {
        // Of two mounts on one folder the later one hides the other.
        if (varn::PathBelow(mount.folder, path) &&
            (innermost == nullptr || mount.folder.size() >= innermost->folder.size())) {
            innermost = &mount;
        }
    }
    return innermost != nullptr && innermost->removable;
}

}  // namespace Tonvale::misc

int VARNAudioIsUSBVolume(const char *path) noexcept {
    using namespace Tonvale::misc;
    if (path == nullptr || *path != '/') {
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] { return UsbVolumes().Holds(path) ? 1 : 0; });
}

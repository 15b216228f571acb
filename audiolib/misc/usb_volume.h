// Volumes that somebody can unplug.
#pragma once

#include <sys/types.h>

#include <string>
#include <unordered_map>

namespace Tonvale::misc {

// Tells whether paths lie on removable volumes. It remembers the folders and devices that it has
// seen, so that a long list of songs asks the system for each folder once.
class UsbVolumes {
  public:
    bool Holds(const std::string &path);

  private:
    bool IsRemovable(dev_t device);

    std::unordered_map<std::string, bool> folders_;
    std::unordered_map<dev_t, bool> devices_;
};

}  // namespace Tonvale::misc

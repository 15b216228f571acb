// Volumes that somebody can unplug.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Tonvale::misc {

// Tells whether paths lie on removable volumes, as they were mounted when this was made. Links are
// not followed.
class UsbVolumes {
  public:
    UsbVolumes();

    bool Holds(std::string_view path) const;

  private:
    struct Mount {
        std::string folder;
        bool removable;
    };
    std::vector<Mount> mounts_;  // empty when none of them is removable
};

}  // namespace Tonvale::misc

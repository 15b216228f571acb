#include "song_ids.h"

namespace tonvale_cli {

std::vector<std::string> SongIds(const std::string &name) {
    const bool isNumber = name.find_first_not_of("0123456789") == name.npos;
    return isNumber ? std::vector{"music_" + name, "music_v_" + name} : std::vector{name};
}

}  // namespace tonvale_cli

#include "support/sounds.h"

#include <utility>

#include "support/fixture.h"

namespace tonvale_test {

void Ffmpeg(std::vector<std::string> words) {
    words.insert(words.begin(), {"/usr/bin/ffmpeg", "-nostdin", "-v", "error", "-y"});
    Output(words);
}

std::string MakeSound(const std::string &path, const std::string &source,
                      const std::string &options) {
    std::vector<std::string> words = Words("-f lavfi -i " + source + " " + options);
    words.push_back(path);
    Ffmpeg(std::move(words));
    return path;
}

}  // namespace tonvale_test

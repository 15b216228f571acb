#include "varnindex/observe/file_names.h"

#include <algorithm>
#include <array>
#include <vector>

#include "varn/packageconf.h"
#include "varn/path.h"

namespace varnindex {
namespace {

struct Name {
    std::string_view extension;  // lower case, without the dot
    std::string_view container;
};

// Files named .mp4 are films.
constexpr std::array kMusic = {
    Name{"mp3", "mp3"},   Name{"mp2", "mp3"},      Name{"flac", "flac"}, Name{"ogg", "ogg"},
    Name{"oga", "ogg"},   Name{"opus", "ogg"},     Name{"spx", "ogg"},   Name{"m4a", "mp4"},
    Name{"m4b", "mp4"},   Name{"wav", "wav"},      Name{"aif", "aiff"},  Name{"aiff", "aiff"},
    Name{"aifc", "aiff"}, Name{"wma", "asf"},      Name{"ape", "ape"},   Name{"mpc", "mpc"},
    Name{"wv", "wv"},     Name{"tta", "tta"},      Name{"dsf", "dsf"},   Name{"dff", "dff"},
    Name{"aac", "adts"},  Name{"mka", "matroska"},
};

constexpr std::array<std::string_view, 5> kLists = {"m3u", "m3u8", "pls", "wpl", "cue"};

constexpr std::size_t kLongestExtension = 4;

// The extension of a name in lower case; "" for one that is none of ours by its length.
std::string Extension(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || name.size() - dot - 1 > kLongestExtension) {
        return {};
    }
    return Lower(name.substr(dot + 1));
}

std::vector<std::string> ConfiguredPassedOver() {
    constexpr int kLongestList = 4096;
    std::string list(kLongestList, '\0');
    const int length = VARNAudioConfGet("passed_over_names", list.data(), kLongestList);
    const std::string_view text =
        length < 0 ? "lost+found/$RECYCLE.BIN/System Volume Information" : list.c_str();
    std::vector<std::string> names;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('/', at), text.size());
        names.push_back(Lower(text.substr(at, end - at)));
        at = end + 1;
    }
    return names;
}

std::vector<std::string> &PassedOver() {
    static std::vector<std::string> names = ConfiguredPassedOver();
    return names;
}

}  // namespace

std::string_view ContainerOfName(std::string_view name) {
    const std::string extension = Extension(name);
    const auto *const found = std::find_if(kMusic.begin(), kMusic.end(), [&](const Name &music) {
        return music.extension == extension;
    });
    return found != kMusic.end() ? found->container : std::string_view();
}

bool IsMusicName(std::string_view name) {
    return !ContainerOfName(name).empty();
}

bool IsListName(std::string_view name) {
    return std::find(kLists.begin(), kLists.end(), Extension(name)) != kLists.end();
}

bool IsSheetName(std::string_view name) {
    return Extension(name) == "cue";
}

bool IsIndexedName(std::string_view name) {
    return IsMusicName(name) || IsListName(name);
}

bool IsPassedOver(std::string_view name) {
    const std::vector<std::string> &names = PassedOver();
    return name.starts_with('.') || name == kAttributeFolder ||
           std::find(names.begin(), names.end(), Lower(name)) != names.end();
}

void ReadPassedOver() {
    PassedOver() = ConfiguredPassedOver();
}

std::string NameOf(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

std::string_view PassedOverPart(std::string_view folder, std::string_view path) {
    std::string_view rest = varn::PathBelow(folder, path).value_or("");
    for (auto name = varn::TakeComponent(rest); !name.empty(); name = varn::TakeComponent(rest)) {
        if (IsPassedOver(name)) {
            return name;
        }
    }
    return {};
}

}  // namespace varnindex

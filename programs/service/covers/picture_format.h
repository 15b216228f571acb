// The pictures that are shown, and that the converter is given.
#pragma once

#include <string_view>

namespace tonvale_service {

struct PictureFormat {
    std::string_view extension;
    std::string_view type;  // of MIME
};

// The format of what begins with these bytes, 12 of them at least where there are so many. Empty
// for all but what every browser shows and is no page or program to it.
inline PictureFormat FormatOfPicture(std::string_view bytes) {
    using namespace std::string_view_literals;
    struct Known {
        std::string_view mark;    // at the beginning
        std::string_view second;  // at the eighth byte
        PictureFormat format;
    };
    static constexpr Known kKnown[] = {{"\xFF\xD8\xFF"sv, "", {"jpg", "image/jpeg"}},
                                       {"\x89PNG\r\n\x1A\n"sv, "", {"png", "image/png"}},
                                       {"GIF87a"sv, "", {"gif", "image/gif"}},
                                       {"GIF89a"sv, "", {"gif", "image/gif"}},
                                       {"RIFF"sv, "WEBP", {"webp", "image/webp"}},
                                       {"BM"sv, "", {"bmp", "image/bmp"}}};
    for (const Known &known : kKnown) {
        const bool hasSecond =
            known.second.empty() || (bytes.size() > 8 && bytes.substr(8).starts_with(known.second));
        if (bytes.starts_with(known.mark) && hasSecond) {
            return known.format;
        }
    }
    return {};
}

}  // namespace tonvale_service

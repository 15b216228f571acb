// What is shown where a song has no cover: a record in its sleeve.
#pragma once

#include <string_view>

namespace tonvale_entry {

inline constexpr std::string_view kDefaultCover =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 480 480\" width=\"480\" "
    "height=\"480\">"
    "<rect width=\"480\" height=\"480\" fill=\"#e4e7eb\"/>"
    "<circle cx=\"240\" cy=\"240\" r=\"170\" fill=\"#3b4450\"/>"
    "<g fill=\"none\" stroke=\"#56616f\" stroke-width=\"3\">"
    "<circle cx=\"240\" cy=\"240\" r=\"145\"/><circle cx=\"240\" cy=\"240\" r=\"120\"/>"
    "<circle cx=\"240\" cy=\"240\" r=\"95\"/></g>"
    "<circle cx=\"240\" cy=\"240\" r=\"62\" fill=\"#7fa6c9\"/>"
    "<circle cx=\"240\" cy=\"240\" r=\"10\" fill=\"#e4e7eb\"/></svg>\n";

// Its entity tag. Count it up with every change of the drawing.
inline constexpr char kDefaultCoverTag[] = "\"default-1\"";

}  // namespace tonvale_entry

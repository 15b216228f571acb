// The audio formats: which names are music, and how TagLib opens each of them.
#pragma once

#include <taglib/tfile.h>
#include <taglib/tiostream.h>

#include <memory>
#include <string>
#include <string_view>

namespace varnindex {

// An opened file. `codec` is in lower case; "" when the format holds no codec that is known.
struct OpenedFile {
    std::unique_ptr<TagLib::File> file;
    std::string codec;
};

struct Format {
    std::string_view extension;  // lower case, without the dot
    std::string_view container;
    // Throws std::runtime_error for a file that would exhaust TagLib.
    OpenedFile (*open)(TagLib::IOStream &stream);
};

// The format of a file name by its extension, in any case; null when that is no music.
const Format *FormatOfName(std::string_view name);

// True when FormatOfName knows the name.
bool IsMusicName(std::string_view name);

// True for the names of playlists (M3U, M3U8, PLS, WPL) and cue sheets, and of cue sheets alone.
bool IsListName(std::string_view name);
bool IsSheetName(std::string_view name);

// True for names that are passed over wherever they are: those that begin with a dot, and the
// folders of recycle bins and extended attributes.
bool IsPassedOver(std::string_view name);

// The folder of extended attributes.
inline constexpr std::string_view kAttributeFolder = "@eaDir";

// True when `path` is `folder` or lies below it; neither has a slash at its end, but for "/".
bool IsBelow(std::string_view folder, std::string_view path);

// The first such name in the part of `path` that lies below `folder`; "" when there is none.
std::string_view PassedOverPart(std::string_view folder, std::string_view path);

// Music and lists: the filter of the walk.
bool IsIndexedName(std::string_view name);

}  // namespace varnindex

// What names tell: which files are music or lists, and which are passed over.
#pragma once

#include <string>
#include <string_view>

namespace varnindex {

// The text with small letters in place of the capital ones of ASCII.
inline std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char &c : lower) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return lower;
}

// The container that files with the extension of a name have as a rule, in any case of letters; ""
// when that is no music.
std::string_view ContainerOfName(std::string_view name);

bool IsMusicName(std::string_view name);

// True for the names of playlists (M3U, M3U8, PLS, WPL) and cue sheets, and of cue sheets alone.
bool IsListName(std::string_view name);
bool IsSheetName(std::string_view name);

// True for names that are passed over wherever they are: those that begin with a dot, the folder of
// extended attributes, and in any case of letters those that audio.conf lists under
// "passed_over_names", separated by slashes. Where it has no such key these are "lost+found",
// "$RECYCLE.BIN" and "System Volume Information". The first call reads the list.
bool IsPassedOver(std::string_view name);

// Reads that list again. Not while another thread calls IsPassedOver.
void ReadPassedOver();

// The folder of extended attributes.
inline constexpr std::string_view kAttributeFolder = "@eaDir";

// The last part of a path.
std::string NameOf(const std::string &path);

// The first such name in the part of `path` that lies below `folder`; "" when there is none.
std::string_view PassedOverPart(std::string_view folder, std::string_view path);

// Music and lists: the filter of the walk.
bool IsIndexedName(std::string_view name);

}  // namespace varnindex

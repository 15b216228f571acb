// The public page of a share link, as HTML.
#pragma once

#include <string>

#include "refusal.h"
#include "shared_playlist.h"

namespace tonvale_entry {

struct LinkPage {
    std::string linkId;
    std::string name;
    SharedPage songs;
    int offset = 0;
    bool hasCover = false;   // of its first song
    bool isOneSong = false;  // the page of a single song, one folder deeper
};

// Songs of one page.
inline constexpr int kSongsOfPage = 100;

// A whole CGI answer, header and all. It needs no script, and loads nothing from another host,
// whatever the request says of this one.
std::string PageAnswer(const LinkPage &page);

// The answer for an address that is no working link, and when that cannot be told.
std::string RefusedPageAnswer(Code code);

// A text between tags or double quotes. Control characters become blanks.
std::string EscapedHtml(std::string text);

}  // namespace tonvale_entry

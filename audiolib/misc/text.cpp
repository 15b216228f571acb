// Text for the pages of the older interface.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "tonvale/media.h"

namespace {

constexpr char kBlanks[] = " \n\r\t";

constexpr std::size_t kLongestEscape = 6;  // "&quot;"

std::string_view Escaped(const char &c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '"':
            return "&quot;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        default:
            return {&c, 1};
    }
}

const char *OrEmpty(const char *text) {
    return text != nullptr ? text : "";
}

int PrintLink(int page, const char *image, const char *alt, const char *tail) {
    return std::printf(
        "<a href=\"javascript:ChangePageNo(null, %d);\"><img src=\"images/%s\" alt=\"%s\" "
        "border=0></a>%s",
        page, image, OrEmpty(alt), tail);
}

}  // namespace

void strstrip(char *text) noexcept {
    if (text == nullptr) {
        return;
    }
    const std::string_view whole(text);
    const std::size_t first = whole.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        *text = '\0';
        return;
    }
    const std::size_t length = whole.find_last_not_of(kBlanks) + 1 - first;
    std::memmove(text, text + first, length);
    text[length] = '\0';
}

void VARNHtmlSpecialChar(const char *source, char *destination, size_t destinationSize) noexcept {
    if (source == nullptr || destination == nullptr || *source == '\0' ||
        destinationSize / kLongestEscape < std::strlen(source)) {
        return;
    }
    // A text of quotes alone may fill the room to the last byte, which is the end's.
    std::size_t room = destinationSize - 1;
    for (; *source != '\0'; ++source) {
        const std::string_view piece = Escaped(*source).substr(0, room);
        destination = std::copy(piece.begin(), piece.end(), destination);
        room -= piece.size();
    }
    *destination = '\0';
}

int VARNAudioPrintPageNav(int page, int totalPages, const char *pageLabel, const char *ofLabel,
                          const char *previousAlt, const char *firstAlt, const char *nextAlt,
                          const char *lastAlt) noexcept {
    if (page > 1) {
        PrintLink(1, "first_page.png", firstAlt, "&nbsp;");
        PrintLink(page - 1, "previous_page.png", previousAlt, "");
    }
    std::printf(
        "&nbsp;&nbsp;<span class=\"search_text\">%s</span> <input type=\"text\" id=\"newPageNo\" "
        "size=\"3\" value=\"%d\" style=\"text-align:center\" "
        "onKeyPress=\"ChangePageNo(event, -1);\" %s>",
        OrEmpty(pageLabel), page, totalPages < 2 ? "disabled" : "");
    int printed = std::printf(" , <span class=\"search_text\">%s %d&nbsp;&nbsp;</span>\n",
                              OrEmpty(ofLabel), totalPages);
    if (page < totalPages) {
        PrintLink(page + 1, "next_page.png", nextAlt, "&nbsp;");
        printed = PrintLink(totalPages, "last_page.png", lastAlt, "");
    }
    return printed;
}

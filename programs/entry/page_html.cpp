#include "page_html.h"

#include <algorithm>
#include <cstdio>

#include "action.h"
#include "service/base/text.h"

namespace tonvale_entry {

namespace {

// The texts of the page in one language. Those of its player are in the table of the page for users
// with a login.
struct Texts {
    const char *language;
    const char *empty, *back, *more;
    const char *gone, *goneTitle, *goneHint;
    const char *busy, *busyTitle, *busyHint;
};
constexpr Texts kTexts = {.language = "en",
                          .empty = "There are no songs here.",
                          .back = "Back",
                          .more = "More",
                          .gone = "No such link",
                          .goneTitle = "This link does not work",
                          .goneHint = "Ask for another one where you got it.",
                          .busy = "Not now",
                          .busyTitle = "This link cannot be opened now",
                          .busyHint = "Try again in a moment."};

// The look of the page for people with a login, and a player of its own. Another web server may not
// have these files; then the page is plain, and each song has the browser's player.
constexpr char kHead[] =
    "<meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<meta name=\"color-scheme\" content=\"light dark\">\n"
    "<link rel=\"icon\" href=\"/icon.svg\" type=\"image/svg+xml\">\n"
    "<link rel=\"stylesheet\" href=\"/css/base.css\">\n"
    "<link rel=\"stylesheet\" href=\"/css/dark.css\" media=\"(prefers-color-scheme: dark)\">\n"
    "<link rel=\"stylesheet\" href=\"/css/share.css\">\n"
    "<script type=\"module\" src=\"/js/share.js\"></script>\n";

// A link is as good as a password: nobody keeps the page, and no other site learns its address.
std::string Answer(const std::string &status, const std::string &title, const std::string &body) {
    const std::string text = std::string("<!DOCTYPE html>\n<html lang=\"") + kTexts.language +
                             "\">\n<head>\n" + kHead + "<title>" + title +
                             "</title>\n</head>\n<body>\n" + body + "</body>\n</html>\n";
    return status + "Content-Type: text/html; charset=utf-8\r\nContent-Length: " +
           std::to_string(text.size()) +
           "\r\nCache-Control: no-store\r\nContent-Security-Policy: default-src 'none'; style-src "
           "'self'; script-src 'self'; img-src 'self'; media-src 'self'; base-uri 'none'; "
           "form-action 'none'; "
           "frame-ancestors 'none'\r\nReferrer-Policy: no-referrer\r\nX-Content-Type-Options: "
           "nosniff\r\nX-Robots-Tag: noindex, nofollow\r\n\r\n" +
           text;
}

std::string Minutes(int seconds) {
    if (seconds <= 0) {
        return "";
    }
    char text[24] = "";
    std::snprintf(text, sizeof text, "%d:%02d", seconds / 60, seconds % 60);
    return text;
}

// Where a method of this API is, as seen from the page; escaped.
std::string Address(const LinkPage &page, const char *method, const std::string &songId) {
    return std::string(page.isOneSong ? "../" : "") +
           "../../webapi/entry.cgi?api=VARN.Tonvale.Sharing.Page&amp;version=1&amp;method=" +
           method + "&amp;sharing_id=" + EscapedHtml(page.linkId) +
           "&amp;id=" + EscapedHtml(songId);
}

std::string Entry(const LinkPage &page, const SharedSong &song) {
    std::string about = EscapedHtml(song.artist);
    about += !about.empty() && !song.album.empty() ? " \xC2\xB7 " : "";
    about += EscapedHtml(song.album);
    const std::string length = Minutes(song.duration);
    about += !about.empty() && !length.empty() ? " \xC2\xB7 " : "";
    return "<li><strong dir=\"auto\">" + EscapedHtml(song.title) +
           "</strong> <small dir=\"auto\">" + about + length +
           "</small>\n<audio controls preload=\"none\" src=\"" + Address(page, "stream", song.id) +
           (song.playsEverywhere ? "" : "&amp;format=mp3") + "\"></audio></li>\n";
}

std::string Paragraph(const char *text) {
    return std::string("<p>") + text + "</p>\n";
}

std::string Refused(Code code, const char *name, const char *title, const char *hint) {
    return Answer(StatusOf(code), name,
                  std::string("<main class=\"note\">\n<h1>") + title + "</h1>\n" + Paragraph(hint) +
                      "</main>\n");
}

std::string Turn(int offset, const char *label) {
    return "<a rel=\"nofollow\" href=\"?offset=" + std::to_string(offset) + "\">" + label +
           "</a>\n";
}

}  // namespace

std::string EscapedHtml(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return (c >= 0 && c < 0x20) || c == 0x7F; }, ' ');
    return tonvale_service::EscapedXml(text);
}

std::string PageAnswer(const LinkPage &page) {
    const std::string name = EscapedHtml(page.name);
    const std::vector<SharedSong> &songs = page.songs.songs;
    std::string body = "<header>\n";
    if (page.hasCover) {
        body += "<img alt=\"\" src=\"" + Address(page, "cover", songs.front().id) + "\">\n";
    }
    body += "<h1 dir=\"auto\">" + name + "</h1>\n</header>\n<ol start=\"" +
            std::to_string(page.offset + 1) + "\">\n";
    for (const SharedSong &song : songs) {
        body += Entry(page, song);
    }
    body += "</ol>\n";
    if (songs.empty()) {
        body += Paragraph(kTexts.empty);
    }
    if (page.offset > 0) {
        body += Turn(std::max(0, page.offset - kSongsOfPage), kTexts.back);
    }
    if (page.songs.total - page.offset > kSongsOfPage) {
        body += Turn(page.offset + kSongsOfPage, kTexts.more);
    }
    return Answer("Status: 200 OK\r\n", name, body);
}

std::string RefusedPageAnswer(Code code) {
    return code == Code::kNoSuchItem
               ? Refused(code, kTexts.gone, kTexts.goneTitle, kTexts.goneHint)
               : Refused(code, kTexts.busy, kTexts.busyTitle, kTexts.busyHint);
}

}  // namespace tonvale_entry

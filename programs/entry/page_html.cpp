#include "page_html.h"

#include <algorithm>
#include <cstdio>

#include "action.h"
#include "service/base/text.h"

namespace tonvale_entry {

namespace {

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
    const std::string text = std::string("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n") + kHead +
                             "<title>" + title + "</title>\n</head>\n<body>\n" + body +
                             "</body>\n</html>\n";
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
    if (!songs.empty()) {
        body += "<img alt=\"\" src=\"" + Address(page, "cover", songs.front().id) + "\">\n";
    }
    body += "<h1 dir=\"auto\">" + name + "</h1>\n</header>\n<ol start=\"" +
            std::to_string(page.offset + 1) + "\">\n";
    for (const SharedSong &song : songs) {
        body += Entry(page, song);
    }
    body += songs.empty() ? "</ol>\n<p>There are no songs here.</p>\n" : "</ol>\n";
    if (page.offset > 0) {
        body += Turn(std::max(0, page.offset - kSongsOfPage), "Back");
    }
    if (page.songs.total - page.offset > kSongsOfPage) {
        body += Turn(page.offset + kSongsOfPage, "More");
    }
    return Answer("Status: 200 OK\r\n", name, body);
}

std::string RefusedPageAnswer(Code code) {
    if (code != Code::kNoSuchItem) {
        return Answer(StatusOf(code), "Not now",
                      "<h1>This link cannot be opened now</h1>\n<p>Try again in a moment.</p>\n");
    }
    return Answer(StatusOf(code), "No such link",
                  "<h1>This link does not work</h1>\n<p>Ask whoever gave it to you for another "
                  "one.</p>\n");
}

}  // namespace tonvale_entry

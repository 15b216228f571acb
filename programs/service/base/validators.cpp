#include "service/base/validators.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <utility>

#include "service/base/text.h"

namespace tonvale_service {

namespace {

// IMF-fixdate (RFC 9110, 5.6.7), whatever the locale.
std::string HttpDate(time_t seconds) {
    static constexpr std::array kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm when = {};
    if (gmtime_r(&seconds, &when) == nullptr) {
        return "";
    }
    std::array<char, 64> text = {};
    std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                  kDays[static_cast<std::size_t>(when.tm_wday)], when.tm_mday,
                  kMonths[static_cast<std::size_t>(when.tm_mon)], when.tm_year + 1900, when.tm_hour,
                  when.tm_min, when.tm_sec);
    return text.data();
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

// True when a list of entity tags (RFC 9110, 13.1.2) is "*" or has this one, weak or not. A comma
// within a tag takes that tag apart, which then matches nothing: ours have none.
bool Lists(std::string_view list, std::string_view etag) {
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        std::string_view entry = Trimmed(list.substr(0, comma));
        list.remove_prefix(comma == list.npos ? list.size() : comma + 1);
        if (entry.starts_with("W/")) {
            entry.remove_prefix(2);
        }
        if ((!etag.empty() && entry == etag) || entry == "*") {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string EtagOf(const std::string &text) {
    return "\"" + HashOf(text) + "\"";
}

Validators ValidatorsOf(const struct stat &info) {
    std::array<char, 96> etag = {};
    std::snprintf(etag.data(), etag.size(), "\"%llx-%llx-%llx.%lx\"",
                  static_cast<unsigned long long>(info.st_ino),
                  static_cast<unsigned long long>(info.st_size),
                  static_cast<unsigned long long>(info.st_mtim.tv_sec),
                  static_cast<unsigned long>(info.st_mtim.tv_nsec));
    return {etag.data(), HttpDate(info.st_mtim.tv_sec)};
}

std::string Lines(const Validators &validators) {
    std::string lines;
    for (const auto &[name, value] : {std::pair("ETag: ", &validators.etag),
                                      std::pair("Last-Modified: ", &validators.lastModified)}) {
        lines += value->empty() ? "" : name + *value + "\r\n";
    }
    return lines;
}

bool IsUnchanged(const Validators &now, const std::string &ifNoneMatch,
                 const std::string &ifModifiedSince) {
    if (!ifNoneMatch.empty()) {
        return Lists(ifNoneMatch, now.etag);
    }
    return !now.lastModified.empty() && now.lastModified == ifModifiedSince;
}

}  // namespace tonvale_service

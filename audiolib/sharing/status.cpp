#include <ctime>

#include "sharing/sharing.h"
#include "support/log.h"
#include "tonvale/sharing.h"

namespace Tonvale::sharing {

namespace {

// Reads a whole date by `format` into a moment of local time.
bool ParseTime(const std::string &text, const char *format, time_t &moment) {
    std::tm parts = {};
    if (strptime(text.c_str(), format, &parts) == nullptr) {
        LOG_ERROR(kSource, "strptime fails. [%s]", text.c_str());
        return false;
    }
    parts.tm_isdst = -1;
    moment = std::mktime(&parts);
    return true;
}

}  // namespace

std::string Status(const std::string &availDate, std::string expDate) {
    if (availDate.empty() || expDate.empty()) {
        LOG_ERROR(kSource, "Bad parameter.");
        return "valid";
    }
    if (availDate == SharingManager::DATE_DEFAULT || expDate == SharingManager::DATE_DEFAULT) {
        return "valid";
    }
    time_t first = 0;
    time_t last = 0;
    expDate += " 23:59:59";
    if (!ParseTime(availDate, "%Y-%m-%d", first) ||
        !ParseTime(expDate, "%Y-%m-%d %H:%M:%S", last)) {
        return "valid";
    }
    const time_t now = std::time(nullptr);
    if (first > now) {
        return "invalid";
    }
    return last >= now ? "valid" : "expired";
}

std::string ShownDate(const std::string &date) {
    return date == SharingManager::DATE_DEFAULT ? "0" : date;
}

}  // namespace Tonvale::sharing

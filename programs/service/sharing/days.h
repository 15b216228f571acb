// The days on which a share link works.
#pragma once

#include <string>

namespace tonvale_service {

// The first and the last day, YYYY-MM-DD; both are SharingManager::DATE_DEFAULT for a link that
// always works.
struct Days {
    std::string first;
    std::string last;
};

// Days that somebody asks for; "", "0" and DATE_DEFAULT stand for none. A last day alone begins
// today, where the server is. Throws a Failure for anything but days of the calendar from 1970 on,
// for a first day alone, which could not be kept, and for a last day before the first.
Days CheckedDays(const std::string &first, const std::string &last);

}  // namespace tonvale_service

#include "service/sharing/days.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "service/base/failure.h"
#include "tonvale/sharing.h"

namespace tonvale_service {

namespace {

constexpr char kNone[] = "1970-01-01";
static_assert(std::string_view(kNone) == Tonvale::SharingManager::DATE_DEFAULT);

int Number(const std::string &day, std::size_t place, std::size_t length) {
    return std::atoi(day.substr(place, length).c_str());
}

int DaysOfMonth(int year, int month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && isLeap ? 29 : kDays[month - 1];
}

bool IsDay(const std::string &text) {
    constexpr std::string_view kForm = "dddd-dd-dd";
    const bool fits = std::equal(
        text.begin(), text.end(), kForm.begin(), kForm.end(),
        [](char c, char form) { return form == 'd' ? c >= '0' && c <= '9' : c == form; });
    if (!fits || Number(text, 0, 4) < 1970) {
        return false;
    }
    const int month = Number(text, 5, 2);
    const int day = Number(text, 8, 2);
    return month >= 1 && month <= 12 && day >= 1 && day <= DaysOfMonth(Number(text, 0, 4), month);
}

// The day itself, kNone for none.
std::string Checked(const std::string &text) {
    if (text.empty() || text == "0") {
        return kNone;
    }
    if (!IsDay(text)) {
        throw Failure(Reason::kNotADay, text);
    }
    return text;
}

std::string Today() {
    const time_t now = std::time(nullptr);
    std::tm parts = {};
    localtime_r(&now, &parts);
    char text[16] = "";
    std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return text;
}

}  // namespace

Days CheckedDays(const std::string &first, const std::string &last) {
    Days days = {Checked(first), Checked(last)};
    if (days.last == kNone && days.first != kNone) {
        throw Failure(Reason::kFirstDayAlone, days.first);
    }
    // One day alone would count as none.
    if (days.first == kNone && days.last != kNone) {
        days.first = Today();
    }
    if (days.first > days.last) {
        throw Failure(Reason::kLastDayBeforeFirst, days.last);
    }
    return days;
}

}  // namespace tonvale_service

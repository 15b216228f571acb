#include "varnindex/reporter.h"

#include <algorithm>
#include <sstream>

#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr std::size_t kBriefWarnings = 20;
constexpr std::size_t kBarWidth = 30;
constexpr auto kRedraw = std::chrono::milliseconds(100);

// Minutes and seconds, "2:05".
std::string Minutes(double seconds) {
    const auto whole = static_cast<long long>(seconds + 0.5);
    return std::to_string(whole / 60) + (whole % 60 < 10 ? ":0" : ":") + std::to_string(whole % 60);
}

}  // namespace

Reporter::Reporter(std::ostream &out, bool isTerminal, Detail detail)
    : out_(out), isTerminal_(isTerminal), detail_(detail) {}

Reporter::~Reporter() {
    Finish();
}

void Reporter::Warn(std::string_view text) {
    ++warnings_;
    if (publisher_ != nullptr) {
        publisher_->Tell(Printable(std::string(text)));
    }
    if (detail_ == Detail::kAll || warnings_ <= kBriefWarnings) {
        ClearBar();
        out_ << "varnindex: " << text << '\n' << std::flush;
    }
}

void Reporter::Tell(std::string_view what, std::string_view path) {
    if (list_ != nullptr) {
        ClearBar();
        *list_ << what << ' ' << Printable(path) << '\n';
    }
}

void Reporter::StartPhase(std::string_view name, std::size_t total) {
    phase_ = name;
    total_ = total;
    done_ = 0;
    started_ = Clock::now();
    drawn_ = started_;
    if (publisher_ != nullptr) {
        publisher_->StartPhase(name == "Looking" ? "looking" : "indexing",
                               static_cast<long long>(total));
    }
}

void Reporter::Step() {
    ++done_;
    if (publisher_ != nullptr) {
        publisher_->Step();
    }
    if (isTerminal_) {
        const auto now = Clock::now();
        if (now - drawn_ >= kRedraw) {
            Draw(now);
        }
    }
}

void Reporter::Draw(Clock::time_point now) {
    const double seconds = std::chrono::duration<double>(now - started_).count();
    const double rate = static_cast<double>(done_) / seconds;
    std::ostringstream line;
    line << phase_ << ' ';
    if (total_ > 0) {
        // Files that came since they were counted must not make the bar longer.
        const std::size_t done = std::min(done_, total_);
        const std::size_t filled = kBarWidth * done / total_;
        line << '[' << std::string(filled, '#') << std::string(kBarWidth - filled, ' ') << "] "
             << done_ << '/' << total_ << ' ' << static_cast<long long>(rate) << " files/s, "
             << Minutes(static_cast<double>(total_ - done) / rate) << " left";
    } else {
        line << done_ << " files";
    }
    out_ << '\r' << line.str() << "\033[K" << std::flush;
    barShown_ = true;
    drawn_ = now;
}

void Reporter::ClearBar() {
    if (barShown_) {
        out_ << "\r\033[K" << std::flush;
        barShown_ = false;
    }
}

void Reporter::Finish() {
    ClearBar();
    if (detail_ == Detail::kBrief && warnings_ > kBriefWarnings) {
        out_ << "varnindex: and " << warnings_ - kBriefWarnings
             << " more warnings; --verbose shows all\n"
             << std::flush;
    }
    warnings_ = 0;
}

}  // namespace varnindex

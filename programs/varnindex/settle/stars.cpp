#include "varnindex/settle/stars.h"

#include <algorithm>
#include <map>
#include <unordered_set>

#include "varn/eadir.h"
#include "varn/number.h"
#include "varn/rating_record.h"
#include "varnindex/descriptor.h"
#include "varnindex/read/ea_folder.h"

namespace varnindex {
namespace {

constexpr std::size_t kMaxRecordBytes = 64U << 10;
constexpr int kMostStars = 5;
constexpr int kLongestWait = 1000;  // milliseconds, for another writer

// A line key=value or key="value".
std::optional<Star> ParseLine(std::string_view line) {
    constexpr std::string_view kBetween = " \t=\"";
    constexpr std::string_view kAfter = " \t\r\"";
    Star star;
    const std::size_t size = line.size();
    star.userid = varn::TakeNumber<int>(line);
    const bool isUser = line.size() < size && star.userid >= 0;
    const std::size_t begin = std::min(line.find_first_not_of(kBetween), line.size());
    const bool isPair = isUser && line.substr(0, begin).find('=') != line.npos;
    line.remove_prefix(begin);
    star.stars = varn::TakeNumber<int>(line);
    const bool isWhole = line.find_first_not_of(kAfter) == line.npos;
    return isPair && isWhole && star.stars >= 1 && star.stars <= kMostStars ? std::optional(star)
                                                                            : std::nullopt;
}

}  // namespace

std::string TrackRecordPath(const std::string &path, int track) {
    return path + "_" + std::to_string(track);
}

std::vector<Star> ParseStars(std::string_view text) {
    std::vector<Star> stars;
    std::unordered_set<int> users;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const auto star = ParseLine(line);
        if (star && users.insert(star->userid).second) {
            stars.push_back(*star);
        }
    }
    return stars;
}

std::vector<Star> ReadStars(const std::string &path) {
    const std::optional<std::string> eaDir = EaFolderOf(path);
    const Descriptor folder = eaDir ? varn::OpenEADir(*eaDir) : Descriptor();
    const auto text =
        folder ? ReadEaFile(folder, varn::kRatingRecord, kMaxRecordBytes) : std::nullopt;
    return text ? ParseStars(*text) : std::vector<Star>();
}

bool StoreStars(const std::string &path, const std::vector<Star> &stars) {
    const std::vector<Star> known = ReadStars(path);
    std::map<int, int> wanted;
    for (const Star &star : known) {
        wanted[star.userid] = 0;
    }
    for (const Star &star : stars) {
        wanted[star.userid] = star.stars;
    }
    return std::all_of(wanted.begin(), wanted.end(), [&](const auto &user) {
        const Star star{user.first, user.second};
        if (std::find(known.begin(), known.end(), star) != known.end()) {
            return true;
        }
        const auto kept = varn::KeepRating(path.c_str(), static_cast<uid_t>(star.userid),
                                           static_cast<unsigned>(star.stars), kLongestWait);
        return kept == varn::RatingKept::kYes ||
               (kept == varn::RatingKept::kNoFolder && errno == ENOENT);
    });
}

}  // namespace varnindex

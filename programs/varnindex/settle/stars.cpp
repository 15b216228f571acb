#include "varnindex/settle/stars.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_set>

#include "varn/share.h"
#include "varnindex/descriptor.h"
#include "varnindex/read/ea_folder.h"

namespace varnindex {
namespace {

constexpr const char kRecordName[] = "VARNAUDIO_SONG_RATING";
constexpr std::size_t kMaxRecordBytes = 64U << 10;
constexpr std::size_t kMostUsers = 1000;
constexpr int kMostStars = 5;
constexpr const char kTemporary[] = ".rating.tmp";

std::string ReadRecord(const std::string &eaDir) {
    const Descriptor folder = OpenEaFolder(eaDir);
    const Descriptor file = folder ? OpenEaFile(folder, kRecordName) : Descriptor();
    std::string text(file ? kMaxRecordBytes : 0, '\0');
    const ssize_t got = file ? ::read(file.Get(), text.data(), text.size()) : 0;
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return text;
}

// None for a path that is too long to have one.
std::optional<std::string> EaDirOf(const std::string &path) {
    std::array<char, PATH_MAX> folder;
    if (VARNEADirPath(path.c_str(), folder.data(), folder.size()) != 0) {
        return std::nullopt;
    }
    return folder.data();
}

// Where there is no such folder there is no record.
bool RemoveRecord(const std::string &eaDir) {
    const Descriptor folder = OpenEaFolder(eaDir);
    if (!folder) {
        return errno == ENOENT || errno == ENOTDIR || errno == ELOOP;
    }
    return ::unlinkat(folder.Get(), kRecordName, 0) == 0 || errno == ENOENT;
}

bool HasStars(const std::string &path, const std::vector<Star> &wanted) {
    const std::vector<Star> stars = ReadStars(path);
    const std::set<Star> known(stars.begin(), stars.end());
    return known == std::set<Star>(wanted.begin(), wanted.end());
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Digits alone; none for what is not in the range of the library's columns.
std::optional<int> Number(std::string_view digits) {
    int number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isNumber = !digits.empty() && digits.front() != '-' && error == std::errc() &&
                          end == digits.data() + digits.size();
    return isNumber ? std::optional(number) : std::nullopt;
}

// A line key=value or key="value".
std::optional<Star> ParseLine(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == line.npos) {
        return std::nullopt;
    }
    std::string_view value = Trimmed(line.substr(equals + 1));
    if (value.starts_with('"')) {
        value = Trimmed(value.substr(1, value.find('"', 1) - 1));
    }
    const auto user = Number(Trimmed(line.substr(0, equals)));
    const auto stars = Number(value);
    if (!user || !stars || *stars < 1 || *stars > kMostStars) {
        return std::nullopt;
    }
    return Star{*user, *stars};
}

}  // namespace

std::string TrackRecordPath(const std::string &path, int track) {
    return path + "_" + std::to_string(track);
}

std::vector<Star> ParseStars(std::string_view text) {
    std::vector<Star> stars;
    std::unordered_set<int> users;
    while (!text.empty() && users.size() < kMostUsers) {
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
    const std::optional<std::string> eaDir = EaDirOf(path);
    return eaDir ? ParseStars(ReadRecord(*eaDir)) : std::vector<Star>();
}

bool StoreStars(const std::string &path, const std::vector<Star> &stars) {
    const std::optional<std::string> eaDir = EaDirOf(path);
    if (!eaDir) {
        errno = ENAMETOOLONG;
        return stars.empty();
    }
    if (stars.empty()) {
        return RemoveRecord(*eaDir);
    }
    if (HasStars(path, stars)) {
        return true;
    }
    std::string text;
    for (const Star &star : stars) {
        text += std::to_string(star.userid) + "=\"" + std::to_string(star.stars) + "\"\n";
    }
    if (VARNEAMKDir(eaDir->c_str()) != 0) {
        return errno == ENOENT;
    }
    const Descriptor folder = OpenEaFolder(*eaDir);
    return folder && WriteEaFile(folder, kRecordName, kTemporary, text);
}

}  // namespace varnindex

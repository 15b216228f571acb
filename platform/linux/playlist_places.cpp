#include "linux/playlist_places.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <system_error>
#include <utility>

#include "linux/normal_form.h"
#include "linux/playlist_text.h"
#include "varn/mediaindex.h"
#include "varn/path.h"
#include "varn/run_as.h"

namespace varn::playlist {

namespace {

constexpr std::size_t kMostFolders = 100000;  // of a list that names no two in the same one
constexpr std::size_t kDeepestTail = 64;

constexpr std::string_view kFileScheme = "file:";

enum class Kind { kFile, kFolder };

bool Exists(const std::string &path, Kind kind) {
    struct stat info {};
    return path.size() < PATH_MAX && stat(path.c_str(), &info) == 0 &&
           S_ISDIR(info.st_mode) == (kind == Kind::kFolder);
}

bool IsAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return (static_cast<unsigned char>(c) & 0x80U) == 0; });
}

// "mms://" and its like: not a path at all.
bool HasScheme(std::string_view text) {
    const std::size_t end = text.find("://");
    return end != text.npos && end > 1 &&
           std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), [](char c) {
               return IsAsciiLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
                      c == '.';
           });
}

bool HasDrive(std::string_view text) {
    return text.size() >= 2 && IsAsciiLetter(text[0]) && text[1] == ':';
}

std::string WithSlashes(std::string_view text) {
    std::string slashed(text);
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    return slashed;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// RFC 3986; a percent sign that begins no byte other than NUL stays.
std::string PercentDecoded(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool whole = text[at] == '%' && text.size() - at > 2;
        const int high = whole ? HexDigit(text[at + 1]) : -1;
        const int low = whole ? HexDigit(text[at + 2]) : -1;
        if (high >= 0 && low >= 0 && high + low > 0) {
            plain += static_cast<char>(high * 16 + low);
            at += 2;
        } else {
            plain += text[at];
        }
    }
    return plain;
}

// An absolute path without "//", "." and "..", which goes no further than to the root.
std::string Normalized(std::string_view path) {
    std::vector<std::string_view> components;
    for (auto component = TakeComponent(path); !component.empty();
         component = TakeComponent(path)) {
        if (component != "..") {
            components.push_back(component);
        } else if (!components.empty()) {
            components.pop_back();
        }
    }
    std::string normal;
    for (const std::string_view component : components) {
        normal.append("/").append(component);
    }
    return normal.empty() ? "/" : normal;
}

// After "file:", with or without a host (RFC 8089): the path, still percent-encoded, and without
// the slash before a drive.
std::string_view PathOfUrl(std::string_view rest) {
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        rest.remove_prefix(HasDrive(rest) ? 0 : std::min(rest.find('/'), rest.size()));
    }
    if (rest.starts_with('/') && HasDrive(rest.substr(1))) {
        rest.remove_prefix(1);
    }
    return rest;
}

// A URL of a whole path; "file:name" is a name like others.
bool IsFileUrl(std::string_view text) {
    if (!StartsWithIgnoringCase(text, kFileScheme)) {
        return false;
    }
    const std::string_view path = PathOfUrl(text.substr(kFileScheme.size()));
    return path.starts_with('/') || HasDrive(path);
}

// The library's look-up of streams knows "http" and "https" alone.
std::string WithLowerScheme(std::string_view url) {
    std::string lower(url);
    const auto end = lower.begin() + static_cast<std::ptrdiff_t>(lower.find(':'));
    std::transform(lower.begin(), end, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return lower;
}

struct Variant {
    std::string text;
    bool isForeign;  // a path from the root of another machine's volume
};

// What an entry may mean besides what it says, likelier ones first.
std::vector<Variant> Variants(std::string_view entry) {
    const std::string_view trimmed = Trimmed(entry);
    std::vector<std::string> texts;
    if (IsFileUrl(trimmed)) {
        const std::string_view path = PathOfUrl(trimmed.substr(kFileScheme.size()));
        texts = {PercentDecoded(path), std::string(path)};
    } else {
        texts = {std::string(entry), std::string(trimmed), PercentDecoded(trimmed)};
    }
    std::vector<Variant> variants;
    for (const std::string &text : texts) {
        variants.push_back({text, HasDrive(text)});
    }
    for (const std::string &text : texts) {
        if (text.find('\\') != text.npos) {
            variants.push_back({WithSlashes(text), HasDrive(text) || text.starts_with('\\')});
        }
    }
    return variants;
}

// True when there is more than one way to read an entry.
bool IsAmbiguous(std::string_view entry) {
    return !IsAscii(entry) || entry.find_first_of("%\\") != entry.npos || HasDrive(entry) ||
           Trimmed(entry).size() != entry.size();
}

// "N:/" and "//server" in front of a path, and what a lone "/" may stand for on Windows.
std::string_view WithoutVolume(std::string_view path) {
    if (HasDrive(path)) {
        return path.substr(2);
    }
    if (path.starts_with("//")) {
        path.remove_prefix(2);
        return path.substr(std::min(path.find('/'), path.size()));
    }
    return path;
}

}  // namespace

Files::Files(std::optional<std::vector<std::string>> music) : music_(std::move(music)) {}

// Where a file really is. Most files of a list are in few folders.
std::string Files::RealPlace(const std::string &path) {
    std::error_code none;
    const std::size_t slash = path.rfind('/');
    if (slash == path.npos || std::filesystem::is_symlink(path, none)) {
        return RealPath(path);
    }
    const auto [folder, isNew] = realFolders_.try_emplace(path.substr(0, slash));
    if (isNew) {
        folder->second = RealPath(path.substr(0, std::max<std::size_t>(slash, 1)));
    }
    return folder->second.empty() ? "" : folder->second + path.substr(slash);
}

bool Files::IsInMusic(const std::string &path) {
    const std::string real = RealPlace(path);
    return std::any_of(music_->begin(), music_->end(),
                       [&](const std::string &folder) { return LiesBelow(folder, real); });
}

bool Files::Has(const std::string &path) {
    if (!Exists(path, Kind::kFile)) {
        return false;
    }
    if (!music_ || IsInMusic(path) || seen_.contains(path)) {
        return true;
    }
    withheld_.insert(path);
    return false;
}

bool Files::AskAsPackage() {
    if (withheld_.empty()) {
        return false;
    }
    const RunAs package(Who::kPackage);
    std::erase_if(withheld_,
                  [&](const std::string &path) { return !package || !Exists(path, Kind::kFile); });
    seen_ = std::exchange(withheld_, {});
    return !seen_.empty();
}

Places::Places(std::string folder, std::vector<std::string> roots, Files &files)
    : folder_(std::move(folder)), roots_(std::move(roots)), files_(files) {}

std::string Places::Absolute(std::string_view path) const {
    return Normalized(path.starts_with('/') ? std::string(path)
                                            : folder_ + "/" + std::string(path));
}

std::string Places::Resolve(std::string_view entry) {
    const std::string_view trimmed = Trimmed(entry);
    const bool isFileUrl = IsFileUrl(trimmed);
    if (HasScheme(trimmed) && !isFileUrl) {
        return WithLowerScheme(trimmed);
    }
    std::string plain = Absolute(entry);
    if (plain.size() >= PATH_MAX || (!isFileUrl && !IsAmbiguous(entry)) || files_.Has(plain)) {
        return plain;
    }
    const std::vector<Variant> variants = Variants(entry);
    for (const auto &[text, isForeign] : variants) {
        if (auto found = isForeign ? FindTail(text) : Find(Absolute(text))) {
            return *std::move(found);
        }
    }
    const bool isPath = isFileUrl && !variants.front().isForeign;
    return isPath ? Absolute(variants.front().text) : plain;
}

bool Places::IsThere(std::string_view entry) const {
    const std::string path = Absolute(entry);
    std::string file(path.size() + 1, '\0');
    int track = 0;
    return files_.Has(path) || (IsVirtualPath(path.c_str(), file.data(), file.size(), &track) &&
                                files_.Has(file.c_str()));
}

// The longest tail of a path that is there below one of the roots.
std::optional<std::string> Places::FindTail(std::string_view path) {
    std::string_view rest = WithoutVolume(path);
    const std::string normal = Normalized(rest);
    rest = normal;
    while (static_cast<std::size_t>(std::count(rest.begin(), rest.end(), '/')) > kDeepestTail) {
        rest.remove_prefix(rest.find('/', 1));
    }
    while (rest.size() > 1) {
        for (const std::string &root : roots_) {
            if (auto found = Find(root + std::string(rest))) {
                return found;
            }
        }
        rest.remove_prefix(std::min(rest.find('/', 1), rest.size()));
    }
    return std::nullopt;
}

// A file or a virtual song.
std::optional<std::string> Places::Find(const std::string &path) {
    if (path.size() >= PATH_MAX) {
        return std::nullopt;
    }
    if (auto file = FindFile(path)) {
        return file;
    }
    PathBuffer file{};
    if (!IsVirtualPath(path.c_str(), file.data(), file.size(), nullptr)) {
        return std::nullopt;
    }
    const std::string name = file.data();
    auto found = FindFile(name);
    return found ? std::optional(*found + path.substr(name.size())) : std::nullopt;
}

std::optional<std::string> Places::FindFile(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    const std::string &folder = FindFolder(path.substr(0, slash));
    if (folder.empty()) {
        return std::nullopt;
    }
    const std::string before = folder == "/" ? folder : folder + "/";
    for (const std::string &form : NormalForms(path.substr(slash + 1))) {
        if (files_.Has(before + form)) {
            return before + form;
        }
    }
    return std::nullopt;
}

// The folder of this path whatever normal form its components have there.
const std::string &Places::FindFolder(const std::string &path) {
    static const std::string kRoot = "/";
    if (path.empty() || path == kRoot) {
        return kRoot;
    }
    if (const auto known = folders_.find(path); known != folders_.end()) {
        return known->second;
    }
    std::string found;
    if (Exists(path, Kind::kFolder)) {
        found = path;
    } else {
        const std::size_t slash = path.rfind('/');
        const std::string above = FindFolder(path.substr(0, slash));
        const std::string before = above == kRoot ? above : above + "/";
        for (const std::string &form : NormalForms(path.substr(slash + 1))) {
            if (found.empty() && !above.empty() && Exists(before + form, Kind::kFolder)) {
                found = before + form;
            }
        }
    }
    if (folders_.size() >= kMostFolders) {
        folders_.clear();
    }
    return folders_[path] = std::move(found);
}

}  // namespace varn::playlist

#include "kept_list.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <utility>

#include "page.h"
#include "tables.h"
#include "tonvale/settings.h"
#include "varn/database.h"
#include "varn/descriptor.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

// Of all lists together, and of one, in bytes.
constexpr std::int64_t kMostBytes = 128LL << 20;
constexpr std::int64_t kMostOfOne = kMostBytes / 4;
constexpr std::size_t kMostFiles = 300;

constexpr time_t kYoungSeconds = 2;

// What a file begins with. The key follows, then where each record begins and the last one ends,
// then the records.
struct Header {
    std::array<char, 8> magic = {'T', 'V', 'L', 'I', 'S', 'T', '0', '1'};
    std::int64_t songs = 0;
    std::int64_t stars = 0;
    std::uint64_t keySize = 0;
    std::uint64_t count = 0;
    std::uint64_t recordBytes = 0;
};
using Place = std::uint32_t;

std::string Folder() {
    return SystemPath(varn::path::kKeptLists);
}

std::string FileOf(const ListKey &key) {
    std::array<char, 32> name = {};
    std::snprintf(name.data(), name.size(), "/%016zx", std::hash<std::string>()(key.text));
    return Folder() + name.data();
}

// Reads `size` bytes; false when there are fewer.
bool ReadAt(const varn::UniqueFd &file, std::uint64_t offset, void *out, std::size_t size) {
    return pread(file.Get(), out, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size);
}

// A file of another account could show anything.
varn::UniqueFd OpenOwn(const std::string &path, Header &header) {
    varn::UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat info {};
    const bool isGood = file && fstat(file.Get(), &info) == 0 && S_ISREG(info.st_mode) &&
                        info.st_uid == geteuid() && ReadAt(file, 0, &header, sizeof header) &&
                        header.magic == Header().magic &&
                        static_cast<std::uint64_t>(info.st_size) ==
                            sizeof header + header.keySize + (header.count + 1) * sizeof(Place) +
                                header.recordBytes;
    return isGood ? std::move(file) : varn::UniqueFd();
}

// The records from `first` to before `last`.
std::optional<std::vector<std::string>> ReadRecords(const varn::UniqueFd &file,
                                                    const Header &header, std::uint64_t first,
                                                    std::uint64_t last) {
    std::vector<Place> places(last - first + 1);
    const std::uint64_t table = sizeof header + header.keySize;
    const std::uint64_t data = table + (header.count + 1) * sizeof(Place);
    if (!ReadAt(file, table + first * sizeof(Place), places.data(),
                places.size() * sizeof(Place)) ||
        !std::is_sorted(places.begin(), places.end()) || places.back() > header.recordBytes) {
        return std::nullopt;
    }
    std::string bytes(places.back() - places.front(), '\0');
    if (!ReadAt(file, data + places.front(), bytes.data(), bytes.size())) {
        return std::nullopt;
    }
    std::vector<std::string> records;
    records.reserve(last - first);
    for (std::size_t i = 0; i + 1 < places.size(); ++i) {
        records.push_back(bytes.substr(places[i] - places.front(), places[i + 1] - places[i]));
    }
    return records;
}

// Removes what another version has left, and the oldest lists until there is room for one more.
void MakeRoom(std::int64_t songs, std::int64_t bytes) {
    struct Found {
        timespec when;
        std::int64_t bytes;
        std::string path;
    };
    std::vector<Found> lists;
    const time_t now = std::time(nullptr);
    std::error_code ended;
    for (std::filesystem::directory_iterator entry(Folder(), ended), end; entry != end;
         entry.increment(ended)) {
        const std::string path = entry->path().string();
        struct stat info {};
        if (lstat(path.c_str(), &info) != 0) {
            continue;
        }
        Header header;
        const bool isWhole = static_cast<bool>(OpenOwn(path, header));
        // One that is not whole is being written, or its writer was killed.
        if (isWhole ? header.songs != songs : info.st_mtim.tv_sec + 60 < now) {
            unlink(path.c_str());
        } else {
            lists.push_back({info.st_mtim, info.st_size, path});
            bytes += info.st_size;
        }
    }
    std::sort(lists.begin(), lists.end(), [](const Found &a, const Found &b) {
        return std::pair(a.when.tv_sec, a.when.tv_nsec) < std::pair(b.when.tv_sec, b.when.tv_nsec);
    });
    std::size_t count = lists.size() + 1;
    for (const Found &list : lists) {
        if (bytes <= kMostBytes && count <= kMostFiles) {
            break;
        }
        unlink(list.path.c_str());
        bytes -= list.bytes;
        --count;
    }
}

// What the file of a list holds, "" for one that is too long to be kept.
std::string FileText(const ListKey &key, const Version &version,
                     const std::vector<std::string> &records) {
    std::string places;
    std::string data;
    const auto add = [&] {
        const auto place = static_cast<Place>(data.size());
        places.append(reinterpret_cast<const char *>(&place), sizeof place);
    };
    for (const std::string &record : records) {
        add();
        data += record;
        if (static_cast<std::int64_t>(places.size() + data.size()) > kMostOfOne) {
            return "";
        }
    }
    add();
    Header header;
    header.songs = *version.songs;
    header.stars = version.stars;
    header.keySize = key.text.size();
    header.count = records.size();
    header.recordBytes = data.size();
    return std::string(reinterpret_cast<const char *>(&header), sizeof header) + key.text + places +
           data;
}

// A list that cannot be kept is computed again: that needs no log line.
void Keep(const ListKey &key, const Version &version, const std::vector<std::string> &records) {
    const varn::RunAs package(varn::Who::kPackage);
    const std::string text = FileText(key, version, records);
    if (text.empty() || (mkdir(Folder().c_str(), 0700) != 0 && errno != EEXIST)) {
        return;
    }
    MakeRoom(*version.songs, static_cast<std::int64_t>(text.size()));
    std::string temporary = FileOf(key) + "-XXXXXX";
    const varn::UniqueFd file(mkostemp(temporary.data(), O_CLOEXEC));
    if (file && (!varn::WriteAll(file.Get(), text) ||
                 rename(temporary.c_str(), FileOf(key).c_str()) != 0)) {
        unlink(temporary.c_str());
    }
}

std::uint64_t EndOf(int offset, int limit, std::uint64_t total) {
    return static_cast<std::uint64_t>(
        std::max<std::int64_t>(EndOfPage(offset, limit, static_cast<std::int64_t>(total)), offset));
}

}  // namespace

std::string Version::Text() const {
    return songs ? std::to_string(*songs) + "/" + std::to_string(stars) : "";
}

std::string VersionColumns(uid_t uid) {
    return "(SELECT change_number('song', 0)) AS seen_songs, (SELECT "
           "COALESCE(change_number('rating', " +
           std::to_string(static_cast<int>(uid)) + "), 0)) AS seen_stars";
}

Version VersionOf(const Tonvale::MediaHandle &rows) {
    Version version;
    if (rows->rowCount > 0 && !FieldOf(rows, 0, "seen_songs").empty()) {
        version.songs = NumberOf(rows, 0, "seen_songs");
        version.stars = NumberOf(rows, 0, "seen_stars");
    }
    return version;
}

Version ReadVersion(uid_t uid) {
    const varn::Connection connection = varn::ConnectLibrary();
    const auto rows = connection ? varn::Execute(connection.get(), "SELECT " + VersionColumns(uid))
                                 : std::nullopt;
    Version version;
    if (rows && (*rows)[0].Text("seen_songs")[0] != '\0') {
        version.songs = (*rows)[0].Number("seen_songs");
        version.stars = (*rows)[0].Number("seen_stars");
    }
    return version;
}

std::string FavouritesVersion(uid_t uid) {
    const varn::Rows rows = AskTables(
        varn::Sql("SELECT change_number('favourite', @VARN:INT) AS seen", static_cast<int>(uid)));
    return std::string("/") + rows[0].Text("seen");
}

ListKey::ListKey(const char *list, const ListRequest &request, const std::string &condition,
                 const std::string &order, bool isOfUser)
    : uid(request.uid) {
    const bool isShared = request.library.ends_with("shared") && !isOfUser;
    const char *const virtuals = AudioFileGetUserShowVirtualLib(uid) ? "virtual" : "actual";
    for (const std::string &part : {std::string(list), isShared ? "" : std::to_string(uid),
                                    request.library, std::string(virtuals), condition, order}) {
        text += part;
        text += '\0';
    }
}

std::optional<ListPart> KeptPart(const ListKey &key, int offset, int limit) {
    const varn::RunAs package(varn::Who::kPackage);
    Header header;
    const varn::UniqueFd file = OpenOwn(FileOf(key), header);
    std::string keyText(file ? std::min<std::size_t>(header.keySize, key.text.size()) : 0, '\0');
    if (!file || header.keySize != key.text.size() ||
        !ReadAt(file, sizeof header, keyText.data(), keyText.size()) || keyText != key.text) {
        return std::nullopt;
    }
    const std::uint64_t last = EndOf(offset, limit, header.count);
    const std::uint64_t first = std::min<std::uint64_t>(static_cast<std::uint64_t>(offset), last);
    const bool isPast = first >= header.count;
    auto records = isPast ? std::vector<std::string>() : ReadRecords(file, header, first, last);
    if (!records) {
        return std::nullopt;
    }
    struct stat info {};
    const std::int64_t computed = fstat(file.Get(), &info) == 0 ? info.st_mtim.tv_sec : 0;
    return ListPart{*std::move(records), static_cast<std::int64_t>(header.count),
                    Version{header.songs, header.stars}, computed,
                    std::time(nullptr) - computed < kYoungSeconds};
}

ListPart ComputePart(const ListKey &key, int offset, int limit, const Compute &compute) {
    const Version before = ReadVersion(key.uid);
    std::vector<std::string> all = compute();
    ListPart part;
    part.total = static_cast<std::int64_t>(all.size());
    part.computed = std::time(nullptr);
    // Changes only add up: what was the same before and after was the same between.
    if (before.songs && ReadVersion(key.uid) == before) {
        part.version = before;
        Keep(key, before, all);
    }
    const auto last = std::min<std::size_t>(EndOf(offset, limit, all.size()), all.size());
    const auto first = std::min<std::size_t>(static_cast<std::size_t>(offset), last);
    part.records.assign(std::make_move_iterator(all.begin() + static_cast<std::ptrdiff_t>(first)),
                        std::make_move_iterator(all.begin() + static_cast<std::ptrdiff_t>(last)));
    return part;
}

}  // namespace tonvale_service

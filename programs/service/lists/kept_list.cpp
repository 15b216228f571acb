#include "service/lists/kept_list.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>
#include <utility>

#include "service/base/page.h"
#include "service/base/text.h"
#include "service/lists/tables.h"
#include "tonvale/settings.h"
#include "varn/database.h"
#include "varn/descriptor.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

// Of all lists together, and of one, in bytes.
constexpr std::int64_t kMostBytes = 256LL << 20;
constexpr std::int64_t kMostOfOne = kMostBytes / 4 * 3;
constexpr std::size_t kMostFiles = 300;

constexpr time_t kYoungSeconds = 2;
constexpr time_t kUselessSeconds = 60;
constexpr std::size_t kWrittenAtOnce = 1U << 20;  // bytes

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
    return Folder() + "/" + HashOf(key.text);
}

// A file of another account could show anything.
varn::UniqueFd OpenOwn(const std::string &path, Header &header) {
    varn::UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat info {};
    const auto size = [&] { return static_cast<std::uint64_t>(info.st_size); };
    // No part is larger than the file: their sum could overflow.
    const bool isGood = file && fstat(file.Get(), &info) == 0 && S_ISREG(info.st_mode) &&
                        info.st_uid == geteuid() &&
                        pread(file.Get(), &header, sizeof header, 0) == sizeof header &&
                        header.magic == Header().magic &&
                        std::max({header.keySize, header.count, header.recordBytes}) < size() &&
                        size() == sizeof header + header.keySize +
                                      (header.count + 1) * sizeof(Place) + header.recordBytes;
    return isGood ? std::move(file) : varn::UniqueFd();
}

// Removes what another version left a while ago, and the oldest lists until there is room for one
// more.
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
        // One that is not whole is being written, or its writer was killed.
        const bool isOfNow = OpenOwn(path, header) && header.songs == songs;
        if (!isOfNow && info.st_mtim.tv_sec + kUselessSeconds < now) {
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

std::int64_t BytesOf(const ListKey &key, const std::vector<std::string> &records) {
    std::size_t bytes = sizeof(Header) + key.text.size() + sizeof(Place);
    for (const std::string &record : records) {
        bytes += sizeof(Place) + record.size();
    }
    return static_cast<std::int64_t>(bytes);
}

bool WriteList(const varn::UniqueFd &file, const ListKey &key, const Version &version,
               const std::vector<std::string> &records) {
    std::string places;
    Place place = 0;
    const auto add = [&] { places.append(reinterpret_cast<const char *>(&place), sizeof place); };
    for (const std::string &record : records) {
        add();
        place += static_cast<Place>(record.size());
    }
    add();
    Header header;
    header.songs = *version.songs;
    header.stars = version.stars;
    header.keySize = key.text.size();
    header.count = records.size();
    header.recordBytes = place;
    std::string text =
        std::string(reinterpret_cast<const char *>(&header), sizeof header) + key.text + places;
    for (const std::string &record : records) {
        text += record;
        if (text.size() >= kWrittenAtOnce) {
            if (!varn::WriteAll(file.Get(), text)) {
                return false;
            }
            text.clear();
        }
    }
    return varn::WriteAll(file.Get(), text);
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

ListKey::ListKey(const char *list, const std::string &order) : text(list), uid(0) {
    text += '\0';
    text += order;
}

void Unmap::operator()(const char *start) const {
    munmap(const_cast<char *>(start), size);
}

std::optional<KeptList> KeptList::Of(const ListKey &key) {
    const varn::RunAs package(varn::Who::kPackage);
    Header header;
    const varn::UniqueFd file = OpenOwn(FileOf(key), header);
    struct stat info {};
    if (!file || header.keySize != key.text.size() || fstat(file.Get(), &info) != 0) {
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(info.st_size);
    void *const start = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.Get(), 0);
    if (start == MAP_FAILED) {
        return std::nullopt;
    }
    KeptList list;
    list.file_ = {static_cast<const char *>(start), Unmap{size}};
    const char *const keyText = list.file_.get() + sizeof header;
    if (std::string_view(keyText, key.text.size()) != key.text) {
        return std::nullopt;
    }
    list.places_ = keyText + key.text.size();
    list.records_ = {list.places_ + (header.count + 1) * sizeof(Place), header.recordBytes};
    list.count_ = header.count;
    list.version_ = Version{header.songs, header.stars};
    list.computed_ = info.st_mtim.tv_sec;
    return list;
}

// Where a record begins; that of the last one's end is Count().
std::size_t KeptList::BeginOf(std::size_t record) const {
    Place place = 0;
    std::memcpy(&place, places_ + record * sizeof place, sizeof place);
    return std::min<std::size_t>(place, records_.size());
}

std::string_view KeptList::operator[](std::size_t record) const {
    const std::size_t begin = BeginOf(record);
    return records_.substr(begin, std::max(BeginOf(record + 1), begin) - begin);
}

std::size_t KeptList::Find(std::string_view bytes, std::size_t first) const {
    while (first < count_) {
        const std::string_view rest = records_.substr(BeginOf(first));
        const void *const found = memmem(rest.data(), rest.size(), bytes.data(), bytes.size());
        if (found == nullptr) {
            return count_;
        }
        const auto begin =
            static_cast<std::size_t>(static_cast<const char *>(found) - records_.data());
        // The record that begins last before the bytes.
        std::size_t last = count_;
        while (last - first > 1) {
            const std::size_t middle = first + (last - first) / 2;
            (BeginOf(middle) <= begin ? first : last) = middle;
        }
        if (begin + bytes.size() <= BeginOf(last)) {
            return first;
        }
        first = last;
    }
    return count_;
}

std::int64_t KeptList::Age() const {
    const std::int64_t age = std::time(nullptr) - computed_;
    return age >= 0 ? age : std::numeric_limits<std::int64_t>::max();
}

std::optional<ListPart> KeptPart(const ListKey &key, int offset, int limit) {
    const auto list = KeptList::Of(key);
    if (!list) {
        return std::nullopt;
    }
    ListPart part;
    part.total = static_cast<std::int64_t>(list->Count());
    part.version = list->OfVersion();
    part.computed = list->Computed();
    part.isYoung = list->Age() < kYoungSeconds;
    const std::uint64_t last = EndOf(offset, limit, list->Count());
    for (auto record = static_cast<std::uint64_t>(offset); record < last; ++record) {
        part.records.emplace_back((*list)[record]);
    }
    return part;
}

// A list that cannot be kept is computed again: that needs no log line.
void Keep(const ListKey &key, const Version &version, const std::vector<std::string> &records) {
    const varn::RunAs package(varn::Who::kPackage);
    const std::int64_t bytes = BytesOf(key, records);
    if (bytes > kMostOfOne || (mkdir(Folder().c_str(), 0700) != 0 && errno != EEXIST)) {
        return;
    }
    MakeRoom(*version.songs, bytes);
    std::string temporary = FileOf(key) + "-XXXXXX";
    const varn::UniqueFd file(mkostemp(temporary.data(), O_CLOEXEC));
    if (file && (!WriteList(file, key, version, records) ||
                 rename(temporary.c_str(), FileOf(key).c_str()) != 0)) {
        unlink(temporary.c_str());
    }
}

ListPart ComputePart(const ListKey &key, int offset, int limit, const Compute &compute) {
    const Version before = ReadVersion(key.uid);
    std::vector<std::string> all = compute();
    ListPart part;
    part.total = static_cast<std::int64_t>(all.size());
    part.computed = std::time(nullptr);
    // Versions only grow: equal before and after means that nothing changed in between.
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

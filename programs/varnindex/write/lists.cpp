#include "varnindex/write/lists.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "varnindex/compare/held_back.h"
#include "varnindex/descriptor.h"
#include "varnindex/hash.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/write/moved_lists.h"

namespace varnindex {
namespace {

// Of a longer list the beginning and the size tell it from others.
constexpr std::size_t kMostBytes = 16U << 20;

// A hash of what is in a list; 0 where that cannot be read, or may not be what was seen.
std::int64_t ContentsOf(const std::string &path, const SeenFile &seen) {
    const Descriptor fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!fd || ::fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode) || !seen.MayBe(info)) {
        return 0;
    }
    std::string text(std::min<std::size_t>(info.st_size, kMostBytes), '\0');
    if (::read(fd.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        return 0;  // it is being written
    }
    return Hasher().Add(text).Add(static_cast<std::int64_t>(info.st_size)).Value();
}

// Notes a list that stays without a file with the folder that was emptied.
void CountLeft(EmptiedFolder &folder, const std::string &path) {
    ++folder.lists;
    folder.sheets += IsSheetName(path) ? 1 : 0;
}

std::optional<std::size_t> NumberOrNone(std::int64_t number) {
    return number < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(number));
}

}  // namespace

ListCounts &Lists::CountsOf(const std::string &path) {
    return IsSheetName(path) ? sheets_ : playlists_;
}

void Lists::Found(const Work &work) {
    ListCounts &counts = CountsOf(work.path);
    const bool isNew = work.known.id == 0;
    const bool isSame = !isNew && work.known.modified == work.modified;
    const std::int64_t contents =
        isSame && work.known.contents != 0 ? work.known.contents : ContentsOf(work.path, work.seen);
    places_.NoteList(work.path, work.modified, work.userid, contents);
    if (work.sheets && !isSame) {
        for (const std::string &problem : work.sheets->TakeProblemsWithoutSongs()) {
            reporter_.Warn(problem);
        }
    }
    if (isNew) {
        ++counts.added;
        if (reporter_.ListsChanges()) {
            added_.insert(work.path);
        }
    } else if (!isSame) {
        reporter_.Tell("changed", work.path);
        ++counts.changed;
    } else {
        ++counts.unchanged;
    }
}

void Lists::Gone(const KnownRow &row, std::optional<std::size_t> emptied) {
    places_.NoteGoneList(row.id, emptied);
}

void Lists::Settle(std::vector<EmptiedFolder> &emptied) {
    places_.Flush();
    SettleThoseBack(emptied);
    SettleMoved();
    SettleLeft(emptied);
}

// What lies in the mount point of a disk that is away was never gone, and stays with what was.
void Lists::SettleThoseBack(std::vector<EmptiedFolder> &emptied) {
    const Rows rows = places_.GoneLists();
    std::vector<int> back;
    for (int row = 0; row < rows.Count(); ++row) {
        KnownRow list;
        list.id = static_cast<int>(rows.Number(row, "id"));
        list.path = rows.Field(row, "path");
        list.userid = static_cast<unsigned>(rows.Number(row, "userid"));
        list.isList = true;
        if (!secondLook_.IsBack(list)) {
            continue;
        }
        const auto folder = NumberOrNone(rows.Number(row, "emptied"));
        if (folder) {
            CountLeft(emptied.at(*folder), list.path);
        } else {
            ++CountsOf(list.path).unchanged;
            places_.KeepList(list.id);
        }
        back.push_back(list.id);
    }
    places_.ForgetGoneLists(back);
}

void Lists::SettleMoved() {
    std::vector<int> moved;
    for (const MovedList &list : FindMovedLists(database_)) {
        reporter_.Tell("moved to", list.to);
        added_.erase(list.to);
        moved.push_back(list.id);
        --CountsOf(list.to).added;
        ++CountsOf(list.to).moved;
    }
    places_.ForgetGoneLists(moved);
    for (const std::string &path : added_) {
        reporter_.Tell("added", path);
    }
}

void Lists::SettleLeft(std::vector<EmptiedFolder> &emptied) {
    const Rows rows = places_.GoneLists();
    for (int row = 0; row < rows.Count(); ++row) {
        if (const auto folder = NumberOrNone(rows.Number(row, "emptied"))) {
            CountLeft(emptied.at(*folder), rows.Field(row, "path"));
        } else {
            reporter_.Tell("removed", rows.Field(row, "path"));
            ++CountsOf(rows.Field(row, "path")).removed;
        }
    }
}

}  // namespace varnindex

#include "varnindex/settle/shared_lists.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_map>

#include "tonvale/paths.h"
#include "varn/account.h"
#include "varn/playlistsvc.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varnindex/descriptor.h"
#include "varnindex/hash.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr const char kLinks[] =
    "SELECT DISTINCT user_id, path FROM playlist_sharing"
    " WHERE playlist_id = 'playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__'";
constexpr const char kName[] = "/__VARN_AUDIO_SHARED_SONGS__.m3u";
constexpr const char kEntries[] =
    "SELECT path || track AS old, moved_to || track AS new FROM (SELECT *, CASE WHEN number < 0"
    " THEN '' ELSE '_' || number END AS track FROM outbox WHERE moved_to IS NOT NULL AND ";
constexpr const char kNoteWritten[] =
    "INSERT INTO due_list (path, contents) VALUES ('@VARN:VAR', @VARN:NEVAR)"
    " ON CONFLICT (path) DO UPDATE SET contents = excluded.contents";

// A list that somebody else writes is tried for five seconds.
constexpr int kMostTries = 100;
constexpr std::chrono::milliseconds kPause(50);

using Entries = std::unordered_map<std::string, std::string>;  // old to new

// None with errno set.
Descriptor OpenList(const std::string &list) {
    Descriptor file(::open(list.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat info {};
    if (file && (::fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode))) {
        file = Descriptor();
        errno = EINVAL;
    }
    return file;
}

// None with errno set, which is EAGAIN while somebody else writes it. The library's writers empty a
// list before they ask for its lock, and give up where they do not get it: the lock is not kept
// while it is read, and a list without a line, which none of them leaves, is being written.
std::optional<std::string> ReadList(const std::string &list) {
    const varn::RunAs account(varn::Who::kPackage);
    if (!account) {
        errno = EPERM;
        return std::nullopt;
    }
    const Descriptor file = OpenList(list);
    struct stat info {};
    if (!file || ::fstat(file.Get(), &info) != 0) {
        return std::nullopt;
    }
    if (info.st_size == 0) {
        errno = EAGAIN;
        return std::nullopt;
    }
    if (::flock(file.Get(), LOCK_SH | LOCK_NB) != 0 || ::flock(file.Get(), LOCK_UN) != 0) {
        return std::nullopt;
    }
    return ReadWhole(file, varn::kMostPlaylistBytes);
}

bool IsAt(const std::string &path, const Descriptor &file) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(file.Get(), &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Into the same file, whose lock is held: a writer that waits for it has opened this one. One that
// gives up may have emptied it meanwhile. False with errno set.
bool WriteInPlace(const Descriptor &file, std::string_view text) {
    const auto size = static_cast<off_t>(text.size());
    if (::fallocate(file.Get(), FALLOC_FL_KEEP_SIZE, 0, std::max<off_t>(size, 1)) != 0 &&
        errno != EOPNOTSUPP) {
        return false;  // no room for it: the old one stays whole
    }
    for (int tries = 0; tries < kMostTries; ++tries) {
        if (::lseek(file.Get(), 0, SEEK_SET) != 0 || !varn::WriteAll(file.Get(), text) ||
            ::ftruncate(file.Get(), size) != 0) {
            return false;
        }
        if (ReadWhole(file, varn::kMostPlaylistBytes) == text) {
            return true;
        }
    }
    errno = EIO;
    return false;
}

// Writes a list that holds `old` still, or nothing because a writer has given up. False with errno
// set, which is EAGAIN where somebody else writes it or has written it.
bool ReplaceList(const std::string &list, std::string_view old, std::string_view text) {
    const varn::RunAs account(varn::Who::kPackage);
    if (!account) {
        errno = EPERM;
        return false;
    }
    const Descriptor file = OpenList(list);
    if (!file || ::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    const std::optional<std::string> now = ReadWhole(file, varn::kMostPlaylistBytes);
    if (!now) {
        return false;
    }
    if (!IsAt(list, file) || (!now->empty() && *now != old)) {
        errno = EAGAIN;
        return false;
    }
    return WriteInPlace(file, text);
}

// With its entries that move.
std::string Renamed(const std::string &list, std::string_view text, const Entries &moves) {
    const std::string folder = varn::PlaylistFolder(list);
    std::string renamed;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::string_view entry = line.substr(0, line.find('\r'));
        const std::string path = entry.empty() || entry.front() == '#'
                                     ? ""
                                     : AudioFile::GetAbsolutePath(folder, std::string(entry));
        const auto move = moves.find(path);
        renamed += move != moves.end() ? std::string_view(move->second) : entry;
        renamed += text.substr(entry.size(), line.size() + 1 - entry.size());
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    return renamed;
}

// True when a scan that was killed has come as far as this content.
bool IsWritten(Database &database, const std::string &list, std::int64_t contents) {
    return database
               .Query(Made(varn::Sql("SELECT FROM due_list WHERE path = '@VARN:VAR'"
                                     " AND contents = @VARN:NEVAR",
                                     list, std::to_string(contents))))
               .Count() > 0;
}

// False with errno set. A list that is not there has nothing to follow.
bool MoveIn(Database &database, const std::string &list, const Entries &moves) {
    const auto hashOf = [](std::string_view text) { return Hasher().Add(text).Value(); };
    for (int tries = 0; tries < kMostTries; ++tries) {
        if (const std::optional<std::string> text = ReadList(list)) {
            const std::string renamed = Renamed(list, *text, moves);
            if (renamed == *text || IsWritten(database, list, hashOf(*text))) {
                return true;
            }
            database.Execute(Made(varn::Sql(kNoteWritten, list, std::to_string(hashOf(renamed)))));
            if (ReplaceList(list, *text, renamed)) {
                return true;
            }
        }
        if (errno != EAGAIN) {
            return errno == ENOENT;
        }
        std::this_thread::sleep_for(kPause);
    }
    errno = EAGAIN;
    return false;
}

// Where a user's list belongs; "" for what is no user.
std::string ListOf(std::int64_t userid) {
    PVARN_USER found = nullptr;
    VARNUserGetByUID(static_cast<uid_t>(userid), &found);
    const std::unique_ptr<VARN_USER, decltype(&VARNUserFree)> user(found, VARNUserFree);
    std::array<char, PATH_MAX> folder;
    return user && VARNUserPreferenceDirGet(user->szName, folder.data(), folder.size()) == 0
               ? std::string(folder.data()) + kName
               : "";
}

// Links with other paths are those of another root's users, or nobody's.
std::set<std::string> OwnLists(Database &database) {
    std::set<std::string> lists;
    const Rows links = database.Query(kLinks);
    for (int row = 0; row < links.Count(); ++row) {
        std::string list = ListOf(links.Number(row, "user_id"));
        if (!list.empty() && list == links.Field(row, "path")) {
            lists.insert(std::move(list));
        }
    }
    return lists;
}

// No line can have a path with a line break.
Entries EntriesThatMove(Database &database, const std::string &condition) {
    const Rows rows = database.Query(kEntries + condition + ") due");
    Entries moves;
    for (int row = 0; row < rows.Count(); ++row) {
        const std::string_view to = rows.Field(row, "new");
        if (to.find_first_of("\r\n") == to.npos) {
            moves.emplace(rows.Field(row, "old"), to);
        }
    }
    return moves;
}

}  // namespace

std::set<std::string> SettleSharedLists(Database &database, const std::string &condition,
                                        std::vector<std::string> &problems) {
    const std::set<std::string> lists = OwnLists(database);
    const Entries moves = lists.empty() ? Entries() : EntriesThatMove(database, condition);
    for (const std::string &list : lists) {
        if (!MoveIn(database, list, moves)) {
            problems.push_back(Printable(list) + ": songs that have moved are lost from it: " +
                               std::generic_category().message(errno));
        }
    }
    return lists;
}

void ForgetWritten(Database &database, const std::set<std::string> &lists) {
    for (const std::string &list : lists) {
        database.Execute(Made(varn::Sql("DELETE FROM due_list WHERE path = '@VARN:VAR'", list)));
    }
}

}  // namespace varnindex

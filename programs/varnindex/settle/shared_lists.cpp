#include "varnindex/settle/shared_lists.h"

#include <sys/file.h>

#include <algorithm>
#include <set>
#include <thread>
#include <unordered_map>

#include "tonvale/paths.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "varn/path.h"
#include "varn/playlistsvc.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varnindex/descriptor.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

constexpr const char kLinks[] =
    "SELECT DISTINCT user_id, path FROM playlist_sharing WHERE playlist_id = '@VARN:VAR'";
constexpr const char kEntries[] =
    "SELECT path || track AS old, moved_to || track AS new FROM (SELECT *, CASE WHEN number < 0"
    " THEN '' ELSE '_' || number END AS track FROM outbox WHERE moved_to IS NOT NULL AND ";
// A list that somebody else writes is tried for five seconds.
constexpr int kMostTries = 100;
constexpr std::chrono::milliseconds kPause(50);

using Tonvale::webapi::playlist::kSharedSongsId;
using Tonvale::webapi::playlist::kSharedSongsKey;
using Entries = std::unordered_map<std::string, std::string>;  // old to new

bool IsAt(const std::string &path, const struct stat &opened) {
    struct stat named {};
    return ::lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
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

// False with errno set, which is EAGAIN while somebody else writes the list. The library's writers
// empty a list before they ask for its lock, and give up where they do not get it: a list without a
// line, which none of them leaves, is being written.
bool TryMoveIn(const std::string &list, const Entries &moves) {
    const varn::RunAs account(varn::Who::kPackage);
    struct stat info {};
    const Descriptor file = account ? OpenPlain(list, O_RDWR | O_NOFOLLOW, info) : Descriptor();
    if (!file || ::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    const std::optional<std::string> text = ReadWhole(file, varn::kMostPlaylistBytes);
    if (!text) {
        return false;
    }
    if (text->empty() || !IsAt(list, info)) {
        errno = EAGAIN;
        return false;
    }
    const std::string renamed = Renamed(list, *text, moves);
    return renamed == *text || WriteInPlace(file, renamed);
}

// False with errno set. A list that is not there has nothing to follow.
bool MoveIn(const std::string &list, const Entries &moves) {
    for (int tries = 0; tries < kMostTries; ++tries) {
        if (TryMoveIn(list, moves)) {
            return true;
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
    const varn::User user = varn::UserByUid(static_cast<uid_t>(userid));
    varn::PathBuffer folder;
    return user && VARNUserPreferenceDirGet(user->szName, folder.data(), folder.size()) == 0
               ? std::string(folder.data()) + "/" + kSharedSongsKey + ".m3u"
               : "";
}

// Links with other paths are those of another root's users, or nobody's.
std::set<std::string> OwnLists(Database &database) {
    std::set<std::string> lists;
    for (const varn::Row link : database.Query(Made(varn::Sql(kLinks, kSharedSongsId)))) {
        const std::string list = ListOf(link.Number("user_id"));
        if (!list.empty() && list == link.Text("path")) {
            lists.insert(list);
        }
    }
    return lists;
}

// No line can have a path with a line break.
Entries EntriesThatMove(Database &database, const std::string &condition) {
    Entries moves;
    for (const varn::Row row : database.Query(kEntries + condition + ") due")) {
        const std::string_view to = row.Text("new");
        if (to.find_first_of("\r\n") == to.npos) {
            moves.emplace(row.Text("old"), to);
        }
    }
    return moves;
}

}  // namespace

void SettleSharedLists(Database &database, const std::string &condition, Reporter &reporter) {
    const std::set<std::string> lists = OwnLists(database);
    const Entries moves = lists.empty() ? Entries() : EntriesThatMove(database, condition);
    for (const std::string &list : lists) {
        if (!MoveIn(list, moves)) {
            reporter.Warn(Printable(list) + ": songs that have moved are lost from it: " +
                          std::generic_category().message(errno));
        }
    }
}

}  // namespace varnindex

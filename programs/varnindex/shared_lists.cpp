#include "shared_lists.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>

#include "descriptor.h"
#include "ea_folder.h"
#include "names.h"
#include "stars.h"
#include "varn/playlistsvc.h"

namespace varnindex {
namespace {

constexpr const char kLists[] =
    "SELECT DISTINCT path FROM playlist_sharing"
    " WHERE playlist_id = 'playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__'";
constexpr std::size_t kMostBytes = 64U << 20;
constexpr const char kTemporary[] = ".shared-songs.tmp";
constexpr mode_t kMode = 0777;  // as the library makes them

// None with errno set.
std::optional<std::string> ReadWhole(const Descriptor &file) {
    struct stat info {};
    if (::fstat(file.Get(), &info) != 0) {
        return std::nullopt;
    }
    if (static_cast<std::size_t>(info.st_size) > kMostBytes) {
        errno = EFBIG;
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(info.st_size), '\0');
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t got = ::read(file.Get(), text.data() + done, text.size() - done);
        if (got == 0) {
            break;
        }
        if (got < 0 && errno != EINTR) {
            return std::nullopt;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    text.resize(done);
    return text;
}

}  // namespace

std::vector<std::string> SharedLists::Move(const std::vector<MovedSong> &songs) {
    std::vector<std::string> problems;
    if (songs.empty()) {
        return problems;
    }
    const Rows lists = database_.Query(kLists);
    const Entries moves = lists.Count() > 0 ? EntriesOf(songs) : Entries();
    for (int row = 0; row < lists.Count(); ++row) {
        const std::string list = lists.Field(row, "path");
        if (!MoveIn(list, moves)) {
            problems.push_back(Printable(list) + ": songs that have moved are lost from it: " +
                               std::generic_category().message(errno));
        }
    }
    return problems;
}

SharedLists::Entries SharedLists::EntriesOf(const std::vector<MovedSong> &songs) {
    Entries moves;
    for (const MovedSong &song : songs) {
        if (song.to.find_first_of("\r\n") != song.to.npos) {
            continue;  // no line can have that
        }
        moves.emplace(song.from, song.to);
        for (const int number : song.numbers) {
            moves.emplace(TrackRecordPath(song.from, number), TrackRecordPath(song.to, number));
        }
    }
    return moves;
}

// False with errno set. A list that is not there has nothing to follow.
bool SharedLists::MoveIn(const std::string &list, const Entries &moves) {
    const std::size_t slash = list.rfind('/');
    const Descriptor folder(
        ::open(list.substr(0, slash + 1).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::string name = list.substr(slash + 1);
    const Descriptor file = folder ? OpenEaFile(folder, name) : Descriptor();
    if (!file) {
        return errno == ENOENT;
    }
    const std::optional<std::string> text = ReadWhole(file);
    if (!text) {
        return false;
    }
    std::multiset<std::string> settled = settled_[list];
    const std::string renamed = Renamed(list, *text, moves, settled);
    if (renamed == *text) {
        return true;
    }
    if (!WriteEaFile(folder, name, kTemporary, renamed, kMode)) {
        return false;
    }
    settled_[list] = std::move(settled);
    return true;
}

// With its entries that move, whose new names are added to `settled`.
std::string SharedLists::Renamed(const std::string &list, std::string_view text,
                                 const Entries &moves, std::multiset<std::string> &settled) {
    const std::filesystem::path folder = varn::PlaylistFolder(list);
    std::multiset<std::string> left = settled;  // not to be renamed once more
    std::string renamed;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        const std::string_view entry = line.substr(0, line.find('\r'));
        const std::string path = entry.empty() || entry.front() == '#'
                                     ? ""
                                     : (folder / entry).lexically_normal().string();
        const auto move = moves.find(path);
        const bool isMoving = move != moves.end() && left.extract(path).empty();
        renamed += isMoving ? std::string_view(move->second) : entry;
        renamed += text.substr(entry.size(), line.size() + 1 - entry.size());
        if (isMoving) {
            settled.insert(move->second);
        }
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    return renamed;
}

}  // namespace varnindex

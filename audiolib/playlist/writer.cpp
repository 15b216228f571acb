#include "playlist/writer.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>

#include "playlist/entry_path.h"
#include "playlist/source.h"
#include "support/boundary.h"
#include "support/fd.h"
#include "support/log.h"
#include "support/numbers.h"
#include "tonvale/playlists.h"
#include "varn/descriptor.h"
#include "varn/handles.h"
#include "varn/path.h"
#include "varn/run_as.h"

namespace Tonvale::playlist {

namespace {

constexpr std::size_t kLongestLine = 4127;
constexpr mode_t kMode = 0777;

// What stands round the entries of a format, and round each of them.
struct Layout {
    const char *extension;
    const char *header;
    const char *before;
    bool numbered;  // the entry's number and "=" after `before`
    const char *after;
    const char *trailer;
    bool tagged;  // tags of entries that the library does not know
};

constexpr std::array kLayouts = {
    Layout{"m3u", "#EXTM3U\r\n", "", false, "\r\n", "", true},
    Layout{"pls", "[playlist]\r\n", "File", true, "\r\n", "Version=2\r\n", false},
    Layout{"wpl", "<?wpl version=\"1.0\"?>\r\n<smil>\r\n<head></head>\r\n<body>\r\n<seq>\r\n",
           "<media src=\"", false, "\"/>\r\n", "</seq>\r\n</body>\r\n</smil>\n\n", false}};

std::string_view Extension(std::string_view path) {
    const std::size_t dot = path.rfind('.');
    return dot == path.npos ? std::string_view() : path.substr(dot + 1);
}

// Null for an extension whose file stays empty.
const Layout *LayoutOf(std::string_view path) {
    const std::string extension(Extension(path));
    const auto *const found = std::find_if(
        kLayouts.begin(), kLayouts.end(),
        [&](const Layout &layout) { return strcasecmp(layout.extension, extension.c_str()) == 0; });
    return found == kLayouts.end() ? nullptr : found;
}

// A link in a shared folder must not make root empty another file: the name that it leads to must
// be a playlist's of the same format. Empty, with errno set, otherwise.
std::optional<std::string> FileToOpen(const std::string &path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
        return path;
    }
    std::string real = varn::RealPath(path);
    if (real.empty()) {
        return std::nullopt;
    }
    if (LayoutOf(real) == nullptr || LayoutOf(real) != LayoutOf(path)) {
        errno = EPERM;
        return std::nullopt;
    }
    return real;
}

// The path that tells the format. Of a playlist that is held open it is the one that it has now.
std::string NameOf(const std::string &path) {
    const std::string open = varn::PathOfDescriptor(path);
    return open.empty() ? path : open;
}

// Makes or empties the file. Only a regular file is accepted, and a FIFO is not waited for. Another
// writer may empty the file before it finds the lock taken: with O_APPEND the rest follows without
// a hole. A file that is held open must be of a known layout.
support::Fd Open(const std::string &path, const Layout *layout) {
    constexpr int kFlags = O_WRONLY | O_TRUNC | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const bool isHeld = !varn::PathOfDescriptor(path).empty();
    const auto file = !isHeld             ? FileToOpen(path)
                      : layout != nullptr ? std::optional(path)
                                          : std::nullopt;
    const int more = isHeld ? 0 : O_CREAT | O_NOFOLLOW;
    support::Fd fd(file ? open(file->c_str(), kFlags | more, kMode) : -1);
    struct stat info {};
    if (fd && (fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode))) {
        return support::Fd();
    }
    return fd;
}

// As much of a line as may be written. A part of a character would leave a line that is not UTF-8.
std::size_t LengthToWrite(std::string_view line) {
    constexpr std::size_t kMostFollowing = 3;
    std::size_t length = std::min(line.size(), kLongestLine);
    while (length < line.size() && kLongestLine - length < kMostFollowing &&
           (static_cast<unsigned char>(line[length]) & 0xC0U) == 0x80U) {
        --length;
    }
    return length;
}

// Writes lines until one fails.
class Lines {
  public:
    explicit Lines(int fd) : fd_(fd) {}

    void Write(std::string_view line) {
        line = line.substr(0, LengthToWrite(line));
        failed_ = failed_ || !support::WriteAll(fd_, line.data(), line.size());
    }
    void WriteText(const char *name, const char *text) {
        if (NonEmptyStr(text)) {
            Write(std::string(name) + ":" + text + "\r\n");
        }
    }
    void WriteNumber(const char *name, int number) {
        if (number != 0) {
            WriteText(name, std::to_string(number).c_str());
        }
    }
    bool Failed() const { return failed_; }

  private:
    int fd_;
    bool failed_ = false;
};

void WriteTags(const VARN_MEDIA_INFO &song, Lines &lines) {
    if (NonEmptyStr(song.title)) {
        lines.Write("#EXTINF:" + std::to_string(support::WholeSeconds(song.duration)) + "," +
                    song.title + "\r\n");
    }
    lines.WriteText("#EXTINFARTIST", song.artist);
    lines.WriteText("#EXTINFALBUM", song.album);
    lines.WriteText("#EXTINFGENRE", song.genre);
    lines.WriteNumber("#EXTINFYEAR", song.year);
    lines.WriteNumber("#EXTINFDISC", song.disc);
    lines.WriteNumber("#EXTINFTRACK", song.track);
}

// False for a song that has no path in this playlist: it is left out.
bool WriteEntry(const VARN_MEDIA_INFO &song, const Layout &layout, int number, EntryPaths &paths,
                Lines &lines) {
    const std::optional<std::string> path = paths.Of(song.path);
    if (!path) {
        return false;
    }
    if (layout.tagged && song.id == 0) {
        WriteTags(song, lines);
    }
    std::string line = layout.before;
    line += layout.numbered ? std::to_string(number) + "=" : "";
    line += *path;
    line += IsVirtualMusic(&song) ? "_" + std::to_string(song.virtual_track) : "";
    line += layout.after;
    lines.Write(line);
    return true;
}

// False with errno set.
bool WriteAll(const NextRecord &next, const std::string &path, const Layout &layout, int fd) {
    Lines lines(fd);
    EntryPaths paths(path);
    lines.Write(layout.header);
    int written = 0;
    for (const VARN_MEDIA_INFO *song = next(); song != nullptr && !lines.Failed(); song = next()) {
        written += WriteEntry(*song, layout, written + 1, paths, lines) ? 1 : 0;
    }
    if (layout.numbered) {
        lines.Write("NumberOfEntries=" + std::to_string(written) + "\r\n");
    }
    lines.Write(layout.trailer);
    return !lines.Failed();
}

int WriteAsRoot(const NextRecord &next, const std::string &path) {
    // Asked once: what is held open may get a name of another kind at any time.
    const Layout *const layout = LayoutOf(NameOf(path));
    support::Fd file = Open(path, layout);
    if (!file) {
        LOG_ERROR_OLDEST(kSource, ": Failed to open %s.", path.c_str());
        return -1;
    }
    if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
        LOG_ERROR_OLD(kSource, "Failed to lock file.");
        return -1;
    }
    int result = 0;
    // Emptied again: another writer may have written a whole list before this one got the lock.
    if (ftruncate(file.Get(), 0) != 0 ||
        (layout != nullptr && !WriteAll(next, path, *layout, file.Get()))) {
        LOG_ERROR_OLD(kSource, "Failed to write %s. %m", path.c_str());
        result = -1;
    }
    // Every user's programs may write it, whatever the umask made of the mode at first. By the
    // descriptor: another process may have put a link at the path.
    if (fchmod(file.Get(), kMode) != 0) {
        LOG_ERROR(kSource, "Failed to chmod [%s] %m", path.c_str());
    }
    if (flock(file.Get(), LOCK_UN) != 0) {
        LOG_ERROR_OLD(kSource, "Failed to unlock file.");
        result = -1;
    }
    if (close(file.Release()) != 0) {
        LOG_ERROR_OLD(kSource, "Failed to write %s. %m", path.c_str());
        result = -1;
    }
    return result;
}

}  // namespace

int WritePlaylist(const NextRecord &next, const std::string &path) {
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
    return WriteAsRoot(next, path);
}

}  // namespace Tonvale::playlist

using Tonvale::playlist::kSource;
using Tonvale::playlist::WritePlaylist;

int VARNWriteMusicPlaylist(const PLAYLIST_REC *list, const char *playlistPath) noexcept {
    if (playlistPath == nullptr) {
        LOG_ERROR_OLD(kSource, "Bad parameter.");
        return -1;
    }
    const auto next = [&]() -> const VARN_MEDIA_INFO * {
        const PLAYLIST_REC *const entry = list;
        list = entry != nullptr ? entry->next : nullptr;
        return entry != nullptr ? &entry->info : nullptr;
    };
    return Tonvale::support::Guarded(kSource, -1,
                                     [&] { return WritePlaylist(next, playlistPath); });
}

int VARNWriteMusicPlaylistWithMediaList(const VARN_MEDIA_INFO *const *records,
                                        const char *playlistPath) noexcept {
    if (records == nullptr || playlistPath == nullptr) {
        LOG_ERROR_OLD(kSource, "Bad parameter.");
        return -1;
    }
    const auto next = [&] { return *records != nullptr ? *records++ : nullptr; };
    return Tonvale::support::Guarded(kSource, -1,
                                     [&] { return WritePlaylist(next, playlistPath); });
}

#include "varn/playlistsvc.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "linux/credentials.h"
#include "linux/error.h"
#include "linux/files.h"
#include "linux/indexed_paths.h"
#include "linux/memory.h"
#include "linux/playlist_format.h"
#include "linux/playlist_places.h"
#include "linux/playlist_text.h"
#include "linux/utf8.h"
#include "varn/path.h"
#include "varn/run_as.h"

namespace varn::playlist {

namespace {

constexpr int kMostRemote = 100000;

using Root = std::optional<RunAs>;

// Never waits for the other end of a FIFO.
UniqueFd Open(const std::string &path) {
    return UniqueFd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// The path that tells what a playlist is. Of one that is held open it is the one that it has now.
std::string NameOf(const std::string &path) {
    const std::string open = PathOfDescriptor(path);
    return open.empty() ? path : open;
}

// A link in a shared folder must not make root show another file: the name that it leads to also
// has to be a playlist's.
UniqueFd OpenAsRoot(const std::string &path, Root &root) {
    if (geteuid() == 0 || !MaySwitchUser() || !root.emplace(Who::kRoot)) {
        return UniqueFd();
    }
    const std::string real = RealPath(path);
    return FormatOf(real) ? UniqueFd(open(real.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY |
                                                            O_NOFOLLOW | O_CLOEXEC))
                          : UniqueFd();
}

// False with the error state set.
bool ReadFile(const std::string &path, Root &root, std::string &bytes) {
    UniqueFd file = Open(path);
    if (!file && (errno == EACCES || errno == EPERM)) {
        file = OpenAsRoot(path, root);
        errno = file ? errno : EACCES;
    }
    struct stat info {};
    if (!file || fstat(file.Get(), &info) != 0) {
        SetSystemError();
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
        SetSystemError();
        return false;
    }
    bytes.reserve(std::min(static_cast<std::size_t>(info.st_size), kMostPlaylistBytes));
    if (!ReadToEnd(file.Get(), kMostPlaylistBytes, bytes)) {
        SetSystemError();
        return false;
    }
    return true;
}

// What the caller gets, gathered entry by entry.
class Candidates {
  public:
    Candidates() : paths_(VLIBCSzListAlloc(0)) {
        if (!paths_) {
            throw std::bad_alloc();
        }
    }

    void Add(const std::string &path, const Tags &tags) {
        const bool isRemote = !path.starts_with('/');
        if (isRemote && remoteCount_ < kMostRemote) {
            AddRemote(path, tags);
        }
        PVLIBSZLIST list = paths_.get();
        if (VLIBCSzListPush(&list, path.c_str()) < 0) {
            throw std::bad_alloc();
        }
    }

    int Release(PVLIBSZLIST *paths, PLAYLIST_REC **remote) {
        *paths = paths_.release();
        *remote = remote_.release();
        return (*paths)->nItem;
    }

  private:
    void AddRemote(const std::string &url, const Tags &tags) {
        auto *const entry = static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC)));
        if (entry == nullptr) {
            throw std::bad_alloc();
        }
        (last_ != nullptr ? last_->next : first_) = entry;
        if (last_ == nullptr) {
            remote_.reset(first_);
        }
        last_ = entry;
        ++remoteCount_;
        VARN_MEDIA_INFO &info = entry->info;
        info.id = static_cast<uint32_t>(paths_->nItem);
        CopyCut(url, info.path);
        CopyCut(tags.title, info.title);
        CopyCut(tags.artist, info.artist);
        CopyCut(tags.album, info.album);
        CopyCut(tags.genre, info.genre);
        info.duration = static_cast<float>(tags.duration);
        info.year = tags.year;
        info.disc = tags.disc;
        info.track = tags.track;
    }

    StringList paths_;
    OwnedSongs remote_;
    PLAYLIST_REC *first_ = nullptr;
    PLAYLIST_REC *last_ = nullptr;
    int remoteCount_ = 0;
};

// What the entries of one playlist mean in the library.
class Meanings {
  public:
    Meanings(const std::string &list, bool isForAnother)
        : indexed_(list),
          files_(isForAnother ? std::optional(indexed_.Music()) : std::nullopt),
          places_(indexed_.Folder(), indexed_.Roots(), files_) {
        if (indexed_.RealFolder() != indexed_.Folder()) {
            real_.emplace(indexed_.RealFolder(), indexed_.Roots(), files_);
        }
    }

    bool IsThere(std::string_view entry) const { return places_.IsThere(entry); }

    bool AskAsPackage() { return files_.AskAsPackage(); }

    // Other programs count from where the links lead to.
    std::string Of(std::string_view entry) {
        std::string path = places_.Resolve(entry);
        if (real_ && !places_.IsThere(path)) {
            const std::string other = real_->Resolve(entry);
            path = real_->IsThere(other) ? other : path;
        }
        return indexed_.Of(path);
    }

  private:
    IndexedPaths indexed_;
    Files files_;
    Places places_;
    std::optional<Places> real_;
};

Candidates Gather(Format format, std::string_view bytes, Meanings &meanings) {
    Candidates candidates;
    ParseEntries(format, bytes, [&](const Entry &entry) {
        if (!entry.mayBeComment || meanings.IsThere(entry.text) ||
            meanings.IsThere(Trimmed(entry.text))) {
            const bool isText = entry.otherwise.empty() || meanings.IsThere(entry.text);
            candidates.Add(meanings.Of(isText ? entry.text : entry.otherwise), entry.tags);
        }
    });
    return candidates;
}

int Read(const std::string &path, PVLIBSZLIST *paths, PLAYLIST_REC **remote) {
    const auto format = FormatOf(NameOf(path));
    if (!format) {
        SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    // Entries are looked for with the rights that the list is read with. In a home that is closed
    // to this process they would look as if they were not there, and the next edit would drop them.
    // A list that its holder has opened is read as root, even if this process may read the file. Outside
    // the music root's rights would tell the list's writer which files are there.
    const bool isForRoot = geteuid() == 0;
    Root root;
    if (!PathOfDescriptor(path).empty()) {
        root.emplace(Who::kRoot);
    }
    std::string bytes;
    if (!ReadFile(path, root, bytes)) {
        return -1;
    }
    Meanings meanings(path, !isForRoot && geteuid() == 0);
    Candidates candidates = Gather(*format, bytes, meanings);
    if (meanings.AskAsPackage()) {
        candidates = Gather(*format, bytes, meanings);
    }
    return candidates.Release(paths, remote);
}

}  // namespace

}  // namespace varn::playlist

std::string varn::PlaylistFolder(const std::string &playlist) {
    return varn::playlist::IndexedPaths(playlist).Folder();
}

int GetCandidateListByPlaylistParse(const char *path, PVLIBSZLIST *candidates,
                                    PLAYLIST_REC **remote) {
    if (candidates != nullptr) {
        *candidates = nullptr;
    }
    if (remote != nullptr) {
        *remote = nullptr;
    }
    if (!NonEmptyStr(path) || candidates == nullptr || remote == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        try {
            return varn::playlist::Read(path, candidates, remote);
        } catch (const varn::playlist::NoPlaylist &refusal) {
            errno = refusal.code().value();
            varn::SetSystemError();
            return -1;
        }
    });
}

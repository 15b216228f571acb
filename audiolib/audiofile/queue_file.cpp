// The player's queue files.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "audiofile/source.h"
#include "support/boundary.h"
#include "support/fd.h"
#include "support/log.h"
#include "support/song_list.h"
#include "tonvale/library.h"
#include "tonvale/playlists.h"

PlaylistInfo::PlaylistInfo() : state_(new __tag_PlayerInfo__{{0, 1, 0, 0, 0, 0}}) {}

PlaylistInfo::~PlaylistInfo() = default;

void PlaylistInfo::setPlayerInfo(const __tag_PlayerInfo__ &info) {
    *state_ = info;
}

void PlaylistInfo::addSong(const VARN_MEDIA_INFO &song) {
    songs_.push_back(std::make_unique<VARN_MEDIA_INFO>(song));
}

namespace AudioFile {

namespace {

using Tonvale::support::Fd;
using Tonvale::support::Guarded;

constexpr mode_t kMode = 0644;
constexpr off_t kHeaderSize = sizeof(__tag_PlayerInfo__);
constexpr off_t kRecordSize = sizeof(VARN_MEDIA_INFO);

// Opens a file, or a device in its place. Does not wait for the other end of a FIFO.
Fd Open(const char *path, int flags) {
    Fd file(open(path, flags | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kMode));
    struct stat info {};
    if (file &&
        (fstat(file.Get(), &info) != 0 || (!S_ISREG(info.st_mode) && !S_ISCHR(info.st_mode)))) {
        file = Fd();
    }
    if (!file) {
        LOG_ERROR(kSource, "Failed to open %s.", path);
    }
    return file;
}

bool Lock(int fd) {
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        LOG_ERROR(kSource, "Failed to lock file.");
        return false;
    }
    return true;
}

bool Write(int fd, const void *block, std::size_t size) {
    if (!Tonvale::support::WriteAll(fd, block, size)) {
        LOG_ERROR(kSource, "Failed to write the playlist to file.(%s)", std::strerror(errno));
        return false;
    }
    return true;
}

bool WriteQueue(int fd, const PlaylistInfo &queue) {
    return Write(fd, &queue.playerInfo(), sizeof(__tag_PlayerInfo__)) &&
           std::all_of(queue.songs().begin(), queue.songs().end(), [&](const auto &song) {
               return Write(fd, song.get(), sizeof(VARN_MEDIA_INFO));
           });
}

bool Save(const char *path, const PlaylistInfo &queue) {
    Fd file = Open(path, O_WRONLY | O_TRUNC);
    if (!file || !Lock(file.Get()) || !WriteQueue(file.Get(), queue)) {
        return false;
    }
    if (flock(file.Get(), LOCK_UN) != 0) {
        LOG_ERROR(kSource, "Failed to unlock file.");
        return false;
    }
    // A full disk far away may show only now.
    if (close(file.Release()) != 0) {
        LOG_ERROR(kSource, "Failed to write the playlist to file.(%s)", std::strerror(errno));
        return false;
    }
    return true;
}

// Reads a block at its place; what the file ends before stays as it is. False with errno set.
bool ReadAt(int fd, void *block, std::size_t size, off_t offset) {
    char *at = static_cast<char *>(block);
    while (size > 0) {
        const ssize_t got = pread(fd, at, size, offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return got == 0;
        }
        at += got;
        size -= static_cast<std::size_t>(got);
        offset += got;
    }
    return true;
}

bool ReadQueue(int fd, off_t start, off_t count, PlaylistInfo &queue) {
    const off_t size = lseek(fd, 0, SEEK_END);
    __tag_PlayerInfo__ state = {};
    if (size < 0 || !ReadAt(fd, &state, sizeof state, 0)) {
        return false;
    }
    queue.setPlayerInfo(state);
    const off_t songs = std::max<off_t>(size - kHeaderSize, 0) / kRecordSize;
    const off_t end = std::min(songs, start + std::max<off_t>(count, 0));
    for (off_t i = start; start >= 0 && i < end; ++i) {
        const auto song = std::make_unique<VARN_MEDIA_INFO>();
        if (!ReadAt(fd, song.get(), sizeof *song, kHeaderSize + i * kRecordSize)) {
            return false;
        }
        queue.addSong(*song);
    }
    return true;
}

std::unique_ptr<PlaylistInfo> Load(const char *path, int start, int count) {
    auto queue = std::make_unique<PlaylistInfo>();
    const Fd file = Open(path, O_RDONLY);
    if (!file || !Lock(file.Get())) {
        return nullptr;
    }
    if (!ReadQueue(file.Get(), start, count, *queue)) {
        LOG_ERROR(kSource, "Failed to read %s. (%s)", path, std::strerror(errno));
        return nullptr;
    }
    if (flock(file.Get(), LOCK_UN) != 0) {
        LOG_ERROR(kSource, "Failed to unlock file.");
    }
    return queue;
}

// False, with a log line, when the library does not answer or the queue cannot be written.
bool SaveRandom(uid_t uid, const char *library, const char *path, int count) {
    PLAYLIST_REC *list = nullptr;
    if (VARNMusicListAll(library, uid, nullptr, nullptr, "random", 0, 0, count, &list, nullptr) <
        0) {
        return false;
    }
    const varn::OwnedSongs songs(list);
    PlaylistInfo queue;
    for (const PLAYLIST_REC *song = songs.get(); song != nullptr; song = song->next) {
        queue.addSong(song->info);
    }
    return PlaylistFileSave(path, &queue) == 0;
}

bool CreateRandom(uid_t uid, const char *library, const char *path, int count) {
    unlink(path);  // the old queue is gone whatever becomes of the new one
    if (!SaveRandom(uid, library, path, count)) {
        LOG_ERROR(kSource, "Failed to create playlist %s", path);
        return false;
    }
    return true;
}

}  // namespace

int PlaylistFileSave(const char *path, const PlaylistInfo *queue) noexcept {
    if (path == nullptr || queue == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        if (Save(path, *queue)) {
            return 0;
        }
        unlink(path);  // whatever is there, it is no whole queue
        return -1;
    });
}

PlaylistInfo *PlaylistFileLoad(const char *path, int start, int count) noexcept {
    if (path == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return nullptr;
    }
    return Guarded(kSource, static_cast<PlaylistInfo *>(nullptr),
                   [&] { return Load(path, start, count).release(); });
}

bool PlaylistRandomCreate(uid_t uid, const char *library, const char *path, int count) noexcept {
    if (path == nullptr || library == nullptr || count < 1) {
        LOG_ERROR(kSource, "Bad parameters.");
        return false;
    }
    return Guarded(kSource, false, [&] { return CreateRandom(uid, library, path, count); });
}

}  // namespace AudioFile

#include "queue_writer.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "mpd.h"
#include "tonvale/playlists.h"

namespace varnplayer {

namespace {

constexpr mode_t kMode = 0644;
constexpr char kTemporary[] = ".queue.XXXXXX";

// The queue file that is there, its lock held; nothing where there is none.
varn::UniqueFd LockedQueue(const std::string &path) {
    varn::UniqueFd file(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.Get() < 0 && errno == ENOENT) {
        return file;
    }
    struct stat info {};
    if (file.Get() < 0 || fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        throw Refused("the queue file " + path + " cannot be written");
    }
    // The old queue goes only when nobody reads it.
    if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
        throw Refused("the queue file " + path + " is in use");
    }
    return file;
}

// What a file that takes another's place may be opened for is what the other could be.
mode_t ModeLike(const varn::UniqueFd &before) {
    struct stat info {};
    return before.Get() >= 0 && fstat(before.Get(), &info) == 0 ? info.st_mode & 0777 : kMode;
}

}  // namespace

QueueWriter::QueueWriter(const std::string &path) : QueueWriter(path, LockedQueue(path)) {
    const PlaylistInfo fresh;
    Write(&fresh.playerInfo(), sizeof(__tag_PlayerInfo__));
}

QueueWriter::QueueWriter(const std::string &path, varn::UniqueFd before)
    : path_(path),
      temporary_(path.substr(0, path.rfind('/') + 1) + kTemporary),
      before_(std::move(before)),
      file_(mkostemp(temporary_.data(), O_CLOEXEC)) {
    if (file_.Get() < 0) {
        throw Refused("no queue file can be written beside " + path + ": " + std::strerror(errno));
    }
    fchmod(file_.Get(), ModeLike(before_));
}

QueueWriter::~QueueWriter() {
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
    }
}

void QueueWriter::Add(const VARN_MEDIA_INFO &song) {
    Write(&song, sizeof song);
}

void QueueWriter::Finish() {
    // A full disk far away may show only now.
    if (close(file_.Release()) != 0 || rename(temporary_.c_str(), path_.c_str()) != 0) {
        throw Refused("the queue file " + path_ + ": " + std::strerror(errno));
    }
    temporary_.clear();
}

void QueueWriter::Write(const void *block, std::size_t size) {
    const char *at = static_cast<const char *>(block);
    while (size > 0) {
        const ssize_t put = write(file_.Get(), at, size);
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            throw Refused("the queue file " + path_ + ": " + std::strerror(errno));
        }
        at += put;
        size -= static_cast<std::size_t>(put);
    }
}

}  // namespace varnplayer

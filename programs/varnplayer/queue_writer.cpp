#include "queue_writer.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "mpd.h"
#include "tonvale/playlists.h"

namespace varnplayer {

namespace {

constexpr mode_t kMode = 0644;

}  // namespace

QueueWriter::QueueWriter(const std::string &path)
    : path_(path),
      file_(open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kMode)) {
    struct stat info {};
    if (file_.Get() < 0 || fstat(file_.Get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        throw Refused("the queue file " + path + " cannot be written");
    }
    // The old queue goes only when nobody reads it.
    if (flock(file_.Get(), LOCK_EX | LOCK_NB) != 0) {
        throw Refused("the queue file " + path + " is in use");
    }
    if (ftruncate(file_.Get(), 0) != 0) {
        throw Refused("the queue file " + path + ": " + std::strerror(errno));
    }
    const PlaylistInfo fresh;
    Write(&fresh.playerInfo(), sizeof(__tag_PlayerInfo__));
}

QueueWriter::~QueueWriter() {
    if (!isWhole_) {
        unlink(path_.c_str());
    }
}

void QueueWriter::Add(const VARN_MEDIA_INFO &song) {
    Write(&song, sizeof song);
}

void QueueWriter::Finish() {
    // A full disk far away may show only now.
    if (close(file_.Release()) != 0) {
        throw Refused("the queue file " + path_ + ": " + std::strerror(errno));
    }
    isWhole_ = true;
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

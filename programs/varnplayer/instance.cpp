#include "instance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "mpd.h"
#include "tonvale/players.h"
#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace varnplayer {

namespace {

constexpr char kLock[] = "/var/run/Tonvale/player.lock";
// Whoever can open it can keep every player from starting.
constexpr mode_t kLockMode = 0600;
constexpr int kBacklog = 16;

// Started by root, what is made belongs to the package: it must be able to do the same. The
// package's own group need not be the one of its user's number.
void GiveToPackage(int lock, const char *socket) {
    PVARN_USER package = nullptr;
    if (geteuid() != 0 || VARNUserGet(varn::kPackageAccount, &package) != 0) {
        return;
    }
    const int failed = socket != nullptr ? chown(socket, package->uid, package->gid)
                                         : fchown(lock, package->uid, package->gid);
    if (failed != 0) {
        syslog(LOG_ERR, "cannot give %s to %s: %m", socket != nullptr ? socket : kLock,
               varn::kPackageAccount);
    }
    VARNUserFree(package);
}

}  // namespace

Lock::Lock()
    : file_(
          open(SystemPath(kLock).c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kLockMode)) {
    if (file_.Get() < 0) {
        throw Refused("cannot open " + SystemPath(kLock) + ": " + std::strerror(errno) +
                      "; 'tonvale init' makes its folder");
    }
    if (flock(file_.Get(), LOCK_EX | LOCK_NB) != 0) {
        throw Refused("another varnplayer runs on this system; end that one first");
    }
    GiveToPackage(file_.Get(), nullptr);
}

ControlSocket::ControlSocket()
    : path_(SystemPath(varn::path::kPlayerSocket)),
      listener_(DomainSocketCreate(path_.c_str(), kBacklog)) {
    struct stat made {};
    if (listener_.Get() < 0 || lstat(path_.c_str(), &made) != 0) {
        throw Refused("cannot listen at " + path_);
    }
    device_ = made.st_dev;
    inode_ = made.st_ino;
    GiveToPackage(-1, path_.c_str());
}

ControlSocket::~ControlSocket() {
    struct stat now {};
    if (lstat(path_.c_str(), &now) == 0 && now.st_dev == device_ && now.st_ino == inode_) {
        unlink(path_.c_str());
    }
}

}  // namespace varnplayer

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
#include "varn/process.h"
#include "varn/systempath.h"

namespace varnplayer {

namespace {

constexpr char kLock[] = "/var/run/Tonvale/player.lock";
// An account that can open it can keep every player from starting.
constexpr mode_t kLockMode = 0600;
constexpr int kBacklog = 16;

// Started by root, what is made belongs to the package: it must be able to do the same. The
// package's own group need not be the one of its user's number. Whatever the name leads to by now,
// it is the opened file that is given away.
void GiveToPackage(const varn::UniqueFd &file, const std::string &name) {
    const varn::User package = geteuid() == 0 ? varn::UserByName(varn::kPackageAccount) : nullptr;
    if (package && fchownat(file.Get(), "", package->uid, package->gid, AT_EMPTY_PATH) != 0) {
        syslog(LOG_ERR, "cannot give %s to %s: %m", name.c_str(), varn::kPackageAccount);
    }
}

}  // namespace

Lock::Lock()
    : file_(open(SystemPath(kLock).c_str(),
                 O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kLockMode)) {
    const std::string path = SystemPath(kLock);
    if (file_.Get() < 0) {
        throw Refused("cannot open " + path + ": " + std::strerror(errno) +
                      "; 'tonvale init' makes its folder");
    }
    // The package may write to the folder: another's file, by a further name, is not to become its.
    struct stat info {};
    if (fstat(file_.Get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1) {
        throw Refused(path + " is no lock of a player; remove it");
    }
    if (flock(file_.Get(), LOCK_EX | LOCK_NB) != 0) {
        throw Refused("another varnplayer runs on this system; end that one first");
    }
    GiveToPackage(file_, path);
}

ControlSocket::ControlSocket()
    : path_(SystemPath(varn::path::kPlayerSocket)),
      listener_(DomainSocketCreate(path_.c_str(), kBacklog)) {
    const varn::UniqueFd file(open(path_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat made {};
    if (listener_.Get() < 0 || file.Get() < 0 || fstat(file.Get(), &made) != 0) {
        throw Refused("cannot listen at " + path_);
    }
    if (!S_ISSOCK(made.st_mode) || made.st_nlink != 1 || made.st_uid != geteuid()) {
        throw Refused("somebody put something else in the place of " + path_);
    }
    device_ = made.st_dev;
    inode_ = made.st_ino;
    GiveToPackage(file, path_);
}

ControlSocket::~ControlSocket() {
    struct stat now {};
    if (lstat(path_.c_str(), &now) == 0 && now.st_dev == device_ && now.st_ino == inode_) {
        unlink(path_.c_str());
    }
}

}  // namespace varnplayer

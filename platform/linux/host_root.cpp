#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "linux/files.h"
#include "linux/host_support.h"
#include "varn/account.h"
#include "varn/handles.h"
#include "varn/process.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varn::host {

namespace {

namespace fs = std::filesystem;

constexpr char kHomesFolder[] = "/volume1/homes";

constexpr char kVersionText[] = "buildnumber=\"5516\"\n";

constexpr char kPackageConfText[] =
    "enable_personal_library=\"yes\"\n"
    "audio_show_virtual_library=\"yes\"\n"
    "support_transcode_mp3=\"yes\"\n"
    "prefer_using_html5=\"yes\"\n";

// The writers of these files keep what a file has, and there must be one.
constexpr char kNoSettings[] = "{}\n";

// Extension and type of what a library of music holds.
constexpr char kMimeTypesText[] =
    "aac audio/aac\naif audio/aiff\naiff audio/aiff\nape audio/x-monkeys-audio\n"
    "flac audio/flac\nm3u audio/x-mpegurl\nm3u8 audio/x-mpegurl\nm4a audio/mp4\n"
    "m4b audio/mp4\nmp2 audio/mpeg\nmp3 audio/mpeg\nmpc audio/x-musepack\noga audio/ogg\n"
    "ogg audio/ogg\nopus audio/ogg\npls audio/x-scpls\ntta audio/x-tta\nwav audio/wav\n"
    "wma audio/x-ms-wma\nwpl application/vnd.ms-wpl\nwv audio/x-wavpack\n"
    "bmp image/bmp\ngif image/gif\njpeg image/jpeg\njpg image/jpeg\npng image/png\n"
    "webp image/webp\n";

constexpr gid_t kUsersGroup = 100;

constexpr std::string_view kLockedFolder = "/var/lib/Tonvale";

struct HomeAccount {
    const char *name;
    uid_t uid;
};
constexpr HomeAccount kHomeAccounts[] = {{"admin", 1024}, {"guest", 1025}};

// The length at which the database's socket still fits into a socket address.
constexpr std::size_t RootLimit() {
    return sizeof(sockaddr_un::sun_path) - 1 - path::kDatabaseSocket.size();
}

// A colon ends a field of the accounts' file, the database splits its folders at commas, and its
// start program puts the path between the double quotes of a shell.
bool HasUnusableCharacter(const std::string &root) {
    return std::any_of(root.begin(), root.end(), [](unsigned char c) {
        return c < 0x20 || c == 0x7F || std::strchr(":,\"$`\\", c) != nullptr;
    });
}

Outcome CheckRootName(const std::string &root) {
    if (root.empty()) {
        return Outcome::Problem(
            "no root to prepare: name its folder with --root DIR or TONVALE_ROOT");
    }
    if (root.front() != '/') {
        return Outcome::Problem("the root must be an absolute path, which " + root + " is not");
    }
    if (HasUnusableCharacter(root)) {
        return Outcome::Problem(
            "the root's path may hold no control characters and none of "
            ": , \" $ ` \\ : " +
            root);
    }
    if (root.size() > RootLimit()) {
        return Outcome::Problem("the root's path may be " + std::to_string(RootLimit()) +
                                " bytes long, so that a socket's address still holds the one " +
                                "below it, but this one has " + std::to_string(root.size()) + ": " +
                                root);
    }
    return Outcome::Good();
}

// The ids that the package account gets: those of an account of the host that the database server
// agrees to run as, or this process's own.
std::optional<Owner> HostIds() {
    if (geteuid() != 0) {
        return Owner{geteuid(), getegid()};
    }
    for (const char *name : {kPackageAccount, "postgres"}) {
        const passwd *entry = getpwnam(name);
        if (entry != nullptr && entry->pw_uid != 0) {
            return Owner{entry->pw_uid, entry->pw_gid};
        }
    }
    return std::nullopt;
}

// Writes a file unless there is one: that may be an administrator's.
Outcome WriteMissing(const std::string &path, std::string_view text,
                     std::optional<Owner> owner = std::nullopt, mode_t mode = 0644) {
    struct stat info {};
    if (lstat(path.c_str(), &info) == 0) {
        return Outcome::Good();
    }
    return errno == ENOENT ? WriteFile(path, text, mode, owner) : Failed("read", path);
}

// Makes a symbolic link unless something is there. A link that leads elsewhere is turned round when
// `refresh` says so.
Outcome MakeLink(const std::string &target, const std::string &path, bool refresh) {
    std::error_code error;
    const fs::file_status there = fs::symlink_status(path, error);
    if (fs::exists(there)) {
        if (!refresh || !fs::is_symlink(there) || fs::read_symlink(path, error) == target) {
            return Outcome::Good();
        }
        if (unlink(path.c_str()) != 0) {
            return Failed("replace", path);
        }
    }
    // Another process may be preparing the same root.
    if (symlink(target.c_str(), path.c_str()) != 0 && errno != EEXIST) {
        return Failed("make the link", path);
    }
    return Outcome::Good();
}

// The account of a user id is the first that has it: the package account stands last, so that a
// process that runs as user 1024 leaves that id to the administrator.
std::string PasswdText(const std::string &root, const Owner &package) {
    const auto entry = [](const std::string &name, const Owner &ids, const std::string &home) {
        return name + ":x:" + std::to_string(ids.uid) + ":" + std::to_string(ids.gid) + ":" + name +
               ":" + home + ":/usr/sbin/nologin\n";
    };
    std::string text = entry("root", {0, 0}, "/root");
    for (const HomeAccount &account : kHomeAccounts) {
        text += entry(account.name, {account.uid, kUsersGroup},
                      root + kHomesFolder + "/" + account.name);
    }
    return text + entry(kPackageAccount, package, root + "/var/packages/Tonvale");
}

std::string GroupText(const Owner &package) {
    return "root:x:0:\nusers:x:" + std::to_string(kUsersGroup) +
           ":admin,guest\nadministrators:x:101:admin\n" + kPackageAccount +
           ":x:" + std::to_string(package.gid) + ":\n";
}

// Writes the accounts, and checks those that were there: this process must be able to run as the
// package account of the root.
Outcome PrepareAccounts(const std::string &root) {
    const std::optional<Owner> ids = HostIds();
    if (!ids) {
        return Outcome::Problem(
            "the database needs an account to run as: install the package "
            "postgresql-15, which brings one, or create an account Tonvale");
    }
    for (const auto &[fixed, text] :
         {std::pair(path::kPasswd, PasswdText(root, *ids)), {path::kGroup, GroupText(*ids)}}) {
        const std::string file = SystemPath(fixed);
        if (Outcome done = MakeFolder(fs::path(file).parent_path()); !done) {
            return done;
        }
        if (Outcome done = WriteMissing(file, text); !done) {
            return done;
        }
    }
    const uid_t package = GetUserIdFromName(kPackageAccount);
    if (package == kNoUser) {
        return Outcome::Problem(SystemPath(path::kPasswd) + " has no account Tonvale: add it, or " +
                                "remove the file to have it made anew");
    }
    if (geteuid() != 0 && package != geteuid()) {
        return Outcome::Problem("the root " + root + " was prepared for the user id " +
                                std::to_string(package) + ": run this as that user or as root, " +
                                "or choose another root");
    }
    return Outcome::Good();
}

// The database server runs as the package account, which must be able to come to its folders.
Outcome CheckPassable(const std::string &root) {
    const RunAs account(Who::kPackage);
    if (!account) {
        return Outcome::Problem("cannot switch to the account Tonvale of " +
                                SystemPath(path::kPasswd));
    }
    for (std::size_t end = root.find('/', 1);; end = root.find('/', end + 1)) {
        const std::string folder = root.substr(0, end);
        if (faccessat(AT_FDCWD, folder.c_str(), X_OK, AT_EACCESS) != 0) {
            return Outcome::Problem("the database's account (user id " + std::to_string(geteuid()) +
                                    ") cannot pass " + folder + ": " + std::strerror(errno) +
                                    ". Allow it, or choose a root " +
                                    "elsewhere, such as /var/lib/tonvale");
        }
        if (end == std::string::npos) {
            return Outcome::Good();
        }
    }
}

Outcome MakeFolders(const std::string &root) {
    for (const std::string_view fixed :
         {std::string_view("/etc.defaults"), std::string_view("/usr/bin"), path::kAppPrivileges,
          std::string_view("/usr/varn/etc.defaults"), std::string_view("/usr/varn/bin"),
          std::string_view("/var/services"), std::string_view("/var/packages/Tonvale/target/etc"),
          std::string_view("/var/packages/Tonvale/target/bin"),
          std::string_view("/var/packages/Tonvale/target/www/webapi")}) {
        if (Outcome done = MakeFolder(SystemPath(fixed)); !done) {
            return done;
        }
    }
    for (const std::string_view fixed :
         {std::string_view("/var/packages/Tonvale/etc"), std::string_view("/var/log/Tonvale"),
          path::kPreferences, path::kDatabaseSocketDir, path::kSpoolDir}) {
        if (Outcome done = MakeFolder(SystemPath(fixed), PackageOwner()); !done) {
            return done;
        }
    }
    if (Outcome done = MakeFolder(SystemPath(kLockedFolder), PackageOwner(), 0700); !done) {
        return done;
    }
    if (Outcome done = PrepareWebFolders(); !done) {
        return done;
    }
    for (const HomeAccount &account : kHomeAccounts) {
        std::optional<Owner> owner;
        if (geteuid() == 0) {
            owner = Owner{account.uid, kUsersGroup};
        }
        if (Outcome done = MakeFolder(root + kHomesFolder + "/" + account.name, owner); !done) {
            return done;
        }
    }
    return Outcome::Good();
}

Outcome WriteFiles(const std::string &root) {
    struct File {
        std::string_view path;
        std::string_view text;
        std::optional<Owner> owner = std::nullopt;
        mode_t mode = 0644;
    };
    const std::optional<Owner> package = PackageOwner();
    const std::string privileges =
        std::string(path::kAppPrivileges) + "/VARN.XDK.Tonvale.Application";
    for (const File &file :
         {File{path::kVersion, kVersionText}, File{path::kMimeTypes, kMimeTypesText},
          File{path::kPackageDefaultConf, kPackageConfText},
          File{path::kPackageConf, kPackageConfText, package},
          File{path::kPasswords, kNoSettings, package, 0600},
          File{path::kMultiAirplay, kNoSettings, package},
          File{path::kMultiBluetooth, kNoSettings, package}, File{privileges, "*=\"allow\"\n"}}) {
        const std::string full = SystemPath(file.path);
        if (Outcome done = WriteMissing(full, file.text, file.owner, file.mode); !done) {
            return done;
        }
    }
    if (Outcome done = MakeLink(root + kHomesFolder, SystemPath(path::kHomes), false); !done) {
        return done;
    }
    return ShareHomes();
}

// Links the programs that have fixed places; one that `programDir` does not have is left out.
Outcome LinkPrograms(const std::string &programDir) {
    for (const auto &[name, fixed] : {std::pair("/varnindex", path::kIndexer),
                                      {"/tonvale-encoder", path::kEncoder},
                                      {"/entry.cgi", path::kWebApi}}) {
        const std::string program = programDir + name;
        if (access(program.c_str(), X_OK) != 0) {
            continue;
        }
        if (Outcome done = MakeLink(program, SystemPath(fixed), true); !done) {
            return done;
        }
    }
    return Outcome::Good();
}

// An administrator may have put another converter in its place. The host's own, which stood there
// in earlier versions, makes room for the program that gives its rights up first.
Outcome LinkConverter(const std::string &programDir) {
    const std::string place = SystemPath(path::kConvert);
    const fs::path program = programDir + "/tonvale-converter";
    std::error_code error;
    const fs::path there = fs::read_symlink(place, error);
    const bool isOurs = there == path::kConvert || there.filename() == program.filename();
    return MakeLink(
        access(program.c_str(), X_OK) == 0 ? program.native() : std::string(path::kConvert), place,
        isOurs);
}

// The workers' socket, beside the web server's configuration, gets the folder's group: that of
// nginx.
Outcome GiveSocketToWebServer() {
    const std::string folder = fs::path(SystemPath(path::kWebSocket)).parent_path();
    const group *const nginx = geteuid() == 0 ? getgrnam("www-data") : nullptr;
    if (nginx != nullptr && (lchown(folder.c_str(), 0, nginx->gr_gid) != 0 ||
                             chmod(folder.c_str(), S_ISGID | 0755) != 0)) {
        return Failed("change", folder);
    }
    return Outcome::Good();
}

}  // namespace

Outcome PrepareWebFolders() {
    for (const std::string &folder :
         {fs::path(SystemPath(path::kWebConf)).parent_path().string(),
          SystemPath(path::kWebTemporary), SystemPath(path::kWebLogDir)}) {
        if (Outcome done = MakeFolder(folder); !done) {
            return done;
        }
    }
    if (Outcome done = GiveSocketToWebServer(); !done) {
        return done;
    }
    for (const std::string_view folder : {path::kEncoderSlots, path::kCoverCopies}) {
        if (Outcome done = MakeFolder(SystemPath(folder), PackageOwner()); !done) {
            return done;
        }
    }
    return Outcome::Good();
}

Outcome PrepareRoot(const std::string &programDir) {
    const std::string &root = SystemRoot();
    if (Outcome done = CheckRootName(root); !done) {
        return done;
    }
    std::error_code error;
    const bool fresh = !fs::exists(root, error);
    if (Outcome done = MakeFolder(root); !done) {
        return done;
    }
    if (Outcome done = PrepareAccounts(root); !done) {
        return done;
    }
    if (Outcome done = CheckPassable(root); !done) {
        if (fresh) {
            fs::remove_all(root, error);
        }
        return done;
    }
    if (Outcome done = MakeFolders(root); !done) {
        return done;
    }
    if (Outcome done = WriteFiles(root); !done) {
        return done;
    }
    if (Outcome done = LinkConverter(programDir); !done) {
        return done;
    }
    return LinkPrograms(programDir);
}

// ---- shared with the other parts ---------------------------------------------------------------

std::optional<Owner> PackageOwner() {
    const User package = geteuid() == 0 ? UserByName(kPackageAccount) : nullptr;
    if (!package) {
        return std::nullopt;
    }
    return Owner{package->uid, package->gid};
}

std::string RootOption() {
    const std::string &root = SystemRoot();
    if (root.empty()) {
        return "";
    }
    const bool plain = std::all_of(root.begin(), root.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || std::strchr("/._+-@%", c) != nullptr;
    });
    if (plain) {
        return " --root " + root;
    }
    std::string quoted = " --root '";
    for (const char c : root) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

RootLock::RootLock()
    : folder_(open(SystemPath(kLockedFolder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (folder_ && !held_) {
        held_ = flock(folder_.Get(), LOCK_EX | LOCK_NB) == 0;
        if (held_ || errno != EWOULDBLOCK || std::chrono::steady_clock::now() > deadline) {
            break;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    error_ = errno;
}

Outcome RootLock::Problem() const {
    if (error_ == EWOULDBLOCK) {
        return Outcome::Problem("another process is preparing, starting or stopping " +
                                SystemRoot() + "; try again when it is done");
    }
    errno = error_;
    return Failed("lock", SystemPath(kLockedFolder));
}

}  // namespace varn::host

// Finding a song's cover: the picture that the indexer extracted, or one in the song's folder.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <optional>
#include <string>

#include "misc/places.h"
#include "misc/source.h"
#include "support/boundary.h"
#include "support/fd.h"
#include "support/log.h"
#include "tonvale/media.h"
#include "varn/base.h"
#include "varn/eadir.h"
#include "varn/handles.h"
#include "varn/path.h"
#include "varn/run_as.h"
#include "varn/share.h"

namespace Tonvale::misc {

namespace {

using support::Fd;
using support::Guarded;
using varn::StringList;

using varn::PathBuffer;

constexpr char kEmbedded[] = "*APIC*";

// The patterns themselves take any case: the folder may be on a file system that does not. Any
// character may stand for the dot.
constexpr std::array kFolderCovers = {
    "[cC][oO][vV][eE][rR]?[jJ][pP][gG]",
    "[fF][oO][lL][dD][eE][rR]?[jJ][pP][gG]",
    "[aA][lL][bB][uU][mM][aA][rR][tT]?[jJ][pP][gG]",
};

bool IsBadCall(const char *path, const char *buffer, int size) {
    return path == nullptr || buffer == nullptr || size < 0;
}

int Answer(const char *folder, const char *name, char *buffer, int size) {
    std::snprintf(buffer, static_cast<std::size_t>(size), "%s/%s", folder, name);
    return 0;
}

int EmbeddedCover(const char *song, char *buffer, int size) {
    PathBuffer eaDir = {};
    if (VARNEADirPath(song, eaDir.data(), eaDir.size()) != 0) {
        LOG_ERROR(kSource, "Failed to get eaDir path of [%s].[0x%04X %s:%d]", song, VLIBCErrGet(),
                  VLIBCErrFile(), VLIBCErrLine());
        return -1;
    }
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
    if (!HasCurrentFolder()) {
        return -1;
    }
    // A song without pictures has no such folder. Every user may write where it stands: root must
    // follow no link there to another user's files.
    const Visit visit(varn::OpenEADir(eaDir.data()));
    if (!visit) {
        return -1;
    }
    const Matches matches(kEmbedded);
    return matches.Names().empty() ? -1
                                   : Answer(eaDir.data(), matches.Names().front(), buffer, size);
}

StringList Patterns() {
    constexpr int kBytes = 128;
    PVLIBSZLIST list = VLIBCSzListAlloc(kBytes);
    for (const char *pattern : kFolderCovers) {
        if (list == nullptr || VLIBCSzListPush(&list, pattern) < 0) {
            VLIBCSzListFree(list);
            return nullptr;
        }
    }
    return StringList(list);
}

std::optional<std::string> InvalidPath(const std::string &path) {
    LOG_ERROR(kSource, "Invalid path: %s", path.c_str());
    return std::nullopt;
}

// The folder to look into for a song or folder; none when the song's marker says that it has no
// cover, or the path cannot be taken apart, which is logged.
std::optional<std::string> FolderToSearch(const std::string &path) {
    struct stat info = {};
    const bool exists = stat(path.c_str(), &info) == 0;
    if (exists && S_ISDIR(info.st_mode)) {
        return path;
    }
    if (exists) {
        const std::size_t dot = path.rfind('.');
        if (dot == std::string::npos) {
            return InvalidPath(path);
        }
        const std::string marker = path.substr(0, dot) + ".no_image";
        if (stat(marker.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
            return std::nullopt;
        }
    }
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash + 1 == path.size()) {
        return InvalidPath(path);
    }
    return path.substr(0, slash);
}

int FolderCover(const char *path, char *buffer, int size) {
    const StringList patterns = Patterns();
    if (!patterns) {
        LOG_ERROR(kSource, "Memory allocation failed.");
        return -1;
    }
    const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
    const std::optional<std::string> folder = FolderToSearch(path);
    if (!folder) {
        return -1;
    }
    if (!HasCurrentFolder()) {
        return -1;
    }
    // Patterns are matched from inside, so that no character of the folder's name counts as one.
    const Visit visit(folder->c_str());
    if (!visit) {
        LOG_ERROR(kSource, "Failed to chdir [%s],", folder->c_str());
        return -1;
    }
    for (int i = 0; i < patterns->nItem; ++i) {
        const Matches matches(VLIBCSzListGet(patterns.get(), i), GLOB_NOESCAPE);
        if (!matches.Names().empty()) {
            return Answer(folder->c_str(), matches.Names().front(), buffer, size);
        }
    }
    return -1;
}

}  // namespace

}  // namespace Tonvale::misc

int VARNAudioGetEmbeddedCoverPath(const char *song, char *buffer, int size) noexcept {
    using namespace Tonvale::misc;
    if (IsBadCall(song, buffer, size)) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return EmbeddedCover(song, buffer, size); });
}

int VARNAudioGetFolderCoverPath(const char *path, char *buffer, int size) noexcept {
    using namespace Tonvale::misc;
    if (IsBadCall(path, buffer, size)) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return FolderCover(path, buffer, size); });
}

// Folders of music: shared, and indexed.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "linux/accounts.h"
#include "linux/files.h"
#include "linux/host_support.h"
#include "linux/utf8.h"
#include "varn/host.h"
#include "varn/keyfile.h"
#include "varn/path.h"
#include "varn/share.h"
#include "varn/systempath.h"

namespace varn::host {

namespace {

namespace fs = std::filesystem;

constexpr char kHomes[] = "homes";

constexpr std::string_view kIndexFoldersHead =
    "# One absolute path a line: the folders to index.\n";

// Finds a folder's true path and checks that this process can read it.
Outcome CheckMusicFolder(const std::string &folder, std::string &path) {
    path = RealPath(folder);
    if (path.empty()) {
        return Failed("find the music folder", folder);
    }
    if (!IsUtf8(path)) {
        return Outcome::Problem("the library cannot hold names that are not UTF-8; rename " + path);
    }
    if (path.find_first_of("\r\n") != std::string::npos) {
        return Outcome::Problem("a music folder's path may hold no line break: " + path);
    }
    if (path == "/") {
        return Outcome::Problem("the whole system cannot be one music folder: name one below /");
    }
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd || faccessat(fd.Get(), ".", R_OK | X_OK, AT_EACCESS) != 0) {
        return Failed("read the music folder", path);
    }
    return Outcome::Good();
}

bool IsShareName(const std::string &name) {
    return ShareByName(name.c_str()) != nullptr;
}

// A name for a share, free of what the shares' file and library paths give a meaning to.
std::string ShareNameFor(const std::string &path) {
    std::string base = path.substr(path.find_last_of('/') + 1);
    for (char &c : base) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || std::strchr("='\"\\", c) != nullptr) {
            c = '_';
        }
    }
    for (char *end : {&base.front(), &base.back()}) {
        *end = *end == ' ' || *end == '#' ? '_' : *end;
    }
    const auto taken = [](const std::string &name) {
        return name == "home" || name == kHomes || IsShareName(name);
    };
    std::string name = base;
    for (int number = 2; taken(name); ++number) {
        name = base + "-" + std::to_string(number);
    }
    return name;
}

bool IsShare(const std::string &path) {
    PathBuffer name;
    PathBuffer sharePath;
    return VARNShareNamePathGet(path.c_str(), name.data(), name.size(), sharePath.data(),
                                sharePath.size()) == 0 &&
           path == sharePath.data();
}

// Shares the folders that are not shared yet; the names of the new shares go into `added`.
Outcome AddShares(const std::vector<std::string> &paths, std::vector<std::string> &added) {
    const std::string file = SystemPath(path::kShares);
    for (const std::string &path : paths) {
        if (IsShare(path)) {
            continue;
        }
        const std::string name = ShareNameFor(path);
        if (VLIBCFileSetKeyValue(file.c_str(), name.c_str(), path.c_str()) != 0) {
            return Failed("write", file);
        }
        added.push_back(name);
    }
    return Outcome::Good();
}

Outcome AddIndexedFolders(const std::vector<std::string> &paths) {
    const std::string file = SystemPath(path::kIndexFolders);
    std::vector<std::string> known = IndexedFolders();
    std::error_code error;
    std::string text(kIndexFoldersHead);
    if (fs::exists(file, error)) {
        std::optional<std::string> present = ReadTextFile(file);
        if (!present) {
            return Failed("read", file);
        }
        text = std::move(*present);
    }
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    const std::size_t before = known.size();
    for (const std::string &path : paths) {
        if (std::find(known.begin(), known.end(), path) == known.end()) {
            text += path + '\n';
            known.push_back(path);
        }
    }
    return known.size() == before ? Outcome::Good() : WriteFile(file, text, 0644);
}

}  // namespace

std::vector<std::string> HomesFolders() {
    const fs::path link = SystemPath(path::kHomes);
    std::error_code error;
    fs::path named = fs::read_symlink(link, error);
    if (error) {
        named = fs::is_directory(link, error) ? link : fs::path();
    } else if (named.is_relative()) {
        named = (link.parent_path() / named).lexically_normal();
    }
    if (named.empty()) {
        return {};
    }
    const std::string real = RealPath(link);
    return {link.string(), named.string(), real.empty() ? named.string() : real};
}

Outcome ShareHomes() {
    const std::string homes = RealPath(SystemPath(path::kHomes));
    if (homes.empty() || IsShare(homes)) {
        return Outcome::Good();  // a disk that is away is shared when it is back
    }
    const std::string file = SystemPath(path::kShares);
    const std::string name = IsShareName(kHomes) ? ShareNameFor(homes) : kHomes;
    return VLIBCFileSetKeyValue(file.c_str(), name.c_str(), homes.c_str()) == 0
               ? Outcome::Good()
               : Failed("write", file);
}

Outcome AddMusicFolders(const std::vector<std::string> &folders) {
    std::vector<std::string> paths(folders.size());
    for (std::size_t i = 0; i < folders.size(); ++i) {
        if (Outcome done = CheckMusicFolder(folders[i], paths[i]); !done) {
            return done;
        }
    }
    const RootLock lock;  // over the choice of names and the rewriting of both files
    if (!lock) {
        return lock.Problem();
    }
    std::vector<std::string> added;
    Outcome done = AddShares(paths, added);
    if (done) {
        done = AddIndexedFolders(paths);
    }
    if (!done) {
        for (const std::string &name : added) {
            VLIBCFileRemoveKey(SystemPath(path::kShares).c_str(), name.c_str());
        }
    }
    return done;
}

std::vector<std::string> IndexedFolders() {
    std::vector<std::string> folders;
    std::istringstream lines(ReadTextFile(SystemPath(path::kIndexFolders)).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with('/')) {
            folders.emplace_back(line == "/" ? line : WithoutTrailingSlashes(line));
        }
    }
    return folders;
}

std::optional<std::vector<HomeOwner>> HomeOwners() {
    const std::vector<std::string> homes = HomesFolders();
    if (homes.empty()) {
        return std::nullopt;
    }
    const auto accounts = AllAccounts();
    if (!accounts) {
        return std::nullopt;
    }
    std::vector<HomeOwner> owners;
    for (const Account &account : *accounts) {
        const auto holds = [&](const std::string &folder) {
            return LiesBelow(folder, account.home);
        };
        if (std::any_of(homes.begin(), homes.end(), holds)) {
            owners.push_back({account.name, account.uid, account.home});
        }
    }
    return owners;
}

}  // namespace varn::host

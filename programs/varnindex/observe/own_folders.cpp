#include "varnindex/observe/own_folders.h"

#include <fcntl.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "varn/host.h"
#include "varn/path.h"
#include "varn/replace_file.h"
#include "varn/systempath.h"
#include "varnindex/descriptor.h"
#include "varnindex/observe/walk.h"

namespace varnindex {
namespace {

constexpr std::size_t kMostBytes = 16U << 20;

bool IsOnlyRoot() {
    return varn::host::ChosenDatabase() == varn::host::DatabaseKind::kPrivate;
}

std::string ReadText(const std::string &path) {
    const Descriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd && errno == ENOENT) {
        return {};
    }
    auto text = fd ? ReadWhole(fd, kMostBytes) : std::nullopt;
    if (!text) {
        throw SystemError(path);
    }
    return std::move(*text);
}

std::vector<std::string> Remembered() {
    std::istringstream text(ReadText(SystemPath(varn::path::kIndexedList)));
    std::vector<std::string> folders;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with('/')) {
            folders.push_back(line);
        }
    }
    return folders;
}

std::vector<std::string> RegisteredAnd(const Folders &folders, std::vector<std::string> more) {
    const std::vector<std::string> registered = folders.Roots();
    more.insert(more.end(), registered.begin(), registered.end());
    return OrderedFolders(more);
}

// A line cannot hold every path; where a folder has such a name, its rows go only while it is
// registered.
void Write(const std::vector<std::string> &folders, Reporter &reporter) {
    const std::string path = SystemPath(varn::path::kIndexedList);
    std::string text;
    for (const std::string &folder : folders) {
        text += folder.find('\n') == folder.npos ? folder + "\n" : "";
    }
    try {
        if (text != ReadText(path)) {
            std::filesystem::create_directories(varn::FolderOf(path));
            if (!varn::ReplaceFile(path, text, 0644)) {
                throw SystemError(path);
            }
        }
    } catch (const std::system_error &error) {
        reporter.Warn(std::string("the list of indexed folders cannot be kept: ") + error.what());
    }
}

}  // namespace

Scope AnsweredFor(const Folders &folders) {
    return IsOnlyRoot() ? Scope::WholeLibrary() : Scope(RegisteredAnd(folders, Remembered()));
}

void RememberFolders(const Folders &folders, Reporter &reporter) {
    if (!IsOnlyRoot()) {
        Write(RegisteredAnd(folders, Remembered()), reporter);
    }
}

void ForgetFolders(Database &database, const Folders &folders, Reporter &reporter) {
    if (!IsOnlyRoot()) {
        std::vector<std::string> left = Remembered();
        std::erase_if(left, [&](const std::string &folder) {
            return folders.Of(folder) != nullptr || !HasRows(database, folder);
        });
        Write(RegisteredAnd(folders, std::move(left)), reporter);
    }
}

}  // namespace varnindex

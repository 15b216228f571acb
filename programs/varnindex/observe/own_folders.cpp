#include "varnindex/observe/own_folders.h"

#include <filesystem>
#include <fstream>

#include "varn/host.h"
#include "varn/path.h"
#include "varn/replace_file.h"
#include "varn/systempath.h"
#include "varnindex/descriptor.h"
#include "varnindex/observe/walk.h"

namespace varnindex {
namespace {

bool IsOnlyRoot() {
    return varn::host::ChosenDatabase() == varn::host::DatabaseKind::kPrivate;
}

std::vector<std::string> Remembered() {
    const std::string path = SystemPath(varn::path::kIndexedList);
    std::ifstream file(path);
    std::vector<std::string> folders;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('/')) {
            folders.push_back(line);
        }
    }
    if (file.bad() || (!file.is_open() && errno != ENOENT)) {
        throw SystemError(path);
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
    if (folders == Remembered()) {
        return;
    }
    const std::string path = SystemPath(varn::path::kIndexedList);
    std::string text;
    for (const std::string &folder : folders) {
        text += folder.find('\n') == folder.npos ? folder + "\n" : "";
    }
    std::error_code error;
    std::filesystem::create_directories(varn::FolderOf(path), error);
    if (!varn::ReplaceFile(path, text, 0644)) {
        reporter.Warn("the list of indexed folders cannot be kept: " + path + ": " +
                      std::generic_category().message(errno));
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

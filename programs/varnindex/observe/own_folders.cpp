#include "varnindex/observe/own_folders.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "varn/host.h"
#include "varn/replace_file.h"
#include "varn/systempath.h"
#include "varnindex/descriptor.h"
#include "varnindex/observe/walk.h"

namespace varnindex {
namespace {

constexpr const char kAllPlaces[] =
    "SELECT FROM (SELECT path, userid FROM track UNION ALL SELECT path, 0 FROM directory"
    " UNION ALL SELECT path, 0 FROM playlist"
    " UNION ALL SELECT path, userid FROM personal_directory"
    " UNION ALL SELECT path, userid FROM personal_playlist) t WHERE ";

constexpr std::size_t kMostBytes = 16U << 20;

std::string ListPath() {
    return SystemPath(varn::path::kIndexedList);
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

std::vector<std::string> ReadList() {
    const std::string text = ReadText(ListPath());
    std::vector<std::string> folders;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        if (text[start] == '/') {
            folders.push_back(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return OrderedFolders(folders);
}

std::vector<std::string> Both(std::vector<std::string> folders,
                              const std::vector<std::string> &more) {
    folders.insert(folders.end(), more.begin(), more.end());
    return OrderedFolders(folders);
}

}  // namespace

OwnFolders::OwnFolders(const Folders &folders)
    : folders_(folders), registered_(folders.Roots()), remembered_(ReadList()) {}

Scope OwnFolders::Answered() const {
    return Scope(Both(registered_, remembered_));
}

void OwnFolders::Remember(Reporter &reporter) const {
    std::vector<std::string> both = Both(registered_, remembered_);
    if (both != remembered_) {
        Write(both, reporter);
    }
}

void OwnFolders::ForgetRemoved(Database &database, bool purge, Reporter &reporter) const {
    std::vector<std::string> left = registered_;
    for (const std::string &folder : remembered_) {
        const bool isRegistered = folders_.Of(folder) != nullptr;
        if (!isRegistered && !purge && IsHeldBack(database, folder)) {
            left.push_back(folder);
        }
    }
    Write(OrderedFolders(left), reporter);
}

bool OwnFolders::IsHeldBack(Database &database, const std::string &folder) const {
    const std::string below = ScopeCondition(Scope({folder}), true);
    return database
               .Query(kAllPlaces + ("(" + below + ") AND ") + folders_.UnseenCondition() +
                      " LIMIT 1")
               .Count() > 0;
}

// A line cannot hold every path; where a folder has such a name, its rows go only while it is
// registered.
void OwnFolders::Write(const std::vector<std::string> &folders, Reporter &reporter) const {
    std::string text;
    for (const std::string &folder : folders) {
        text += folder.find('\n') == folder.npos ? folder + "\n" : "";
    }
    try {
        if (text != ReadText(ListPath())) {
            const std::string path = ListPath();
            std::filesystem::create_directories(std::filesystem::path(path).parent_path());
            if (!varn::ReplaceFile(path, text, 0644)) {
                throw SystemError(path);
            }
        }
    } catch (const std::system_error &error) {
        reporter.Warn(std::string("the list of indexed folders cannot be kept: ") + error.what());
    }
}

}  // namespace varnindex

#include "list_version.h"

#include <sys/stat.h>

#include <array>
#include <string_view>

#include "action.h"
#include "route.h"
#include "service/base/validators.h"
#include "service/lists/kept_list.h"
#include "varn/systempath.h"

namespace tonvale_entry {

namespace {

// A client asks before each use of an answer that it keeps.
constexpr char kCache[] = "Cache-Control: private, no-cache\r\n";

// The versions of the files that decide, with the library, what a list shows: preferences, names of
// shares, code page, and this program.
std::string Settings() {
    constexpr std::array kFiles = {varn::path::kUsersFile,    varn::path::kPackageConf,
                                   varn::path::kShares,       varn::path::kSystemInfo,
                                   varn::path::kIndexFolders, varn::path::kPackageDefaultConf,
                                   varn::path::kPasswd,       varn::path::kHomes};
    std::string all;
    const auto add = [&](const std::string &path) {
        struct stat info {};
        all += stat(path.c_str(), &info) == 0 ? tonvale_service::ValidatorsOf(info).etag : "-";
    };
    for (const std::string_view file : kFiles) {
        add(SystemPath(file));
    }
    add("/proc/self/exe");
    return all;
}

// A hash of everything that decides the answer; "" if that is not known.
std::string EtagOf(const Request &request, const std::string &shows) {
    const std::string method = Variable("REQUEST_METHOD");
    if (shows.empty() || (method != "GET" && method != "HEAD")) {
        return "";
    }
    const std::string all = shows + '\n' + std::to_string(request.User().GetLoginUID()) + '\n' +
                            request.User().GetLoginUserName() + '\n' + Settings() + '\n' +
                            RoutedQuery();
    return tonvale_service::EtagOf(all);
}

}  // namespace

std::string ListHeader(const Request &request, const std::string &shows) {
    const std::string etag = EtagOf(request, shows);
    const std::string type = std::string(kJsonType) + "\r\n";
    return etag.empty() ? type : type + "ETag: " + etag + "\r\n" + kCache;
}

bool HasList(const Request &request, std::string &header) {
    const std::string known = Variable("HTTP_IF_NONE_MATCH");
    if (known.empty()) {
        return false;
    }
    const uid_t uid = request.User().GetLoginUID();
    const std::string library = tonvale_service::ReadVersion(uid).Text();
    const auto isUnchanged = [&](const std::string &shows) {
        const std::string etag = EtagOf(request, shows);
        header = "Status: 304 Not Modified\r\nETag: " + etag + "\r\n" + kCache;
        return !etag.empty() && tonvale_service::IsUnchanged({etag, ""}, known, "");
    };
    // The client's own tag tells whether the list shows favourites.
    return isUnchanged(library) ||
           (!library.empty() && isUnchanged(library + tonvale_service::FavouritesVersion(uid)));
}

}  // namespace tonvale_entry

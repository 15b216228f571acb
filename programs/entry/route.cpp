#include "route.h"

#include <string>
#include <string_view>

#include "parameters.h"
#include "request.h"

namespace tonvale_entry {

namespace {

constexpr std::string_view kPages = "/as/sharing";
constexpr std::string_view kPageQuery = "api=VARN.Tonvale.Sharing.Page&version=1&method=page";
constexpr std::string_view kOffset = "offset=";
constexpr std::string_view kDescription = "openapi.json";
constexpr std::string_view kDescriptionQuery = "api=VARN.Tonvale.Description&version=1&method=get";
constexpr std::string_view kApis = "VARN.";

bool IsWord(std::string_view text, std::string_view alsoIn) {
    for (const char c : text) {
        const bool isPlain =
            (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        if (!isPlain && alsoIn.find(c) == alsoIn.npos) {
            return false;
        }
    }
    return !text.empty();
}

// `rest` is what follows "/as/sharing".
std::string PageQuery(std::string_view rest, std::string_view query) {
    rest.remove_prefix(rest.empty() ? 0 : 1);
    const std::size_t slash = rest.find('/');
    const std::string_view link = rest.substr(0, slash);
    const std::string_view song = slash == rest.npos ? "" : rest.substr(slash + 1);
    std::string page(kPageQuery);
    if (!IsWord(link, "") || (slash != rest.npos && !IsWord(song, "_=-"))) {
        return page;
    }
    page.append("&sharing_id=").append(link);
    if (!song.empty()) {
        page.append("&song=").append(song);
    } else if (query.starts_with(kOffset) &&
               ParseNumber(query.substr(kOffset.size()), 0, 999'999'999)) {
        page.append("&").append(query);
    }
    return page;
}

std::string Path() {
    return Variable("SCRIPT_NAME") + Variable("PATH_INFO");
}

// What a path ends with.
struct Ending {
    std::string_view folder;
    std::string query;  // "" for a path that names no method
};
Ending EndingOf(std::string_view path) {
    const std::size_t slash = std::min(path.rfind('/'), path.size());
    const std::string_view last = path.substr(std::min(slash + 1, path.size()));
    if (last == kDescription) {
        return {path.substr(0, slash), std::string(kDescriptionQuery)};
    }
    const std::string_view before = path.substr(0, slash);
    const std::size_t end = before.rfind('/');
    const std::string_view api = end == before.npos ? "" : before.substr(end + 1);
    if (!api.starts_with(kApis) || !IsWord(api, "._") || !IsWord(last, "_")) {
        return {path, ""};
    }
    return {path.substr(0, end),
            "api=" + std::string(api) + "&version=1&method=" + std::string(last)};
}

}  // namespace

std::string RoutedQuery() {
    const std::string path = Path();
    std::string query = Variable("QUERY_STRING");
    if (path.starts_with(kPages)) {
        const std::string_view rest = std::string_view(path).substr(kPages.size());
        return rest.empty() || rest.front() == '/' ? PageQuery(rest, query) : query;
    }
    const Ending ending = EndingOf(path);
    return ending.query + (ending.query.empty() || query.empty() ? "" : "&") + query;
}

std::string RoutedFolder() {
    return std::string(EndingOf(Path()).folder);
}

}  // namespace tonvale_entry

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

}  // namespace

std::string RoutedQuery() {
    const std::string path = Variable("SCRIPT_NAME") + Variable("PATH_INFO");
    std::string query = Variable("QUERY_STRING");
    if (!path.starts_with(kPages)) {
        return query;
    }
    const std::string_view rest = std::string_view(path).substr(kPages.size());
    return rest.empty() || rest.front() == '/' ? PageQuery(rest, query) : query;
}

}  // namespace tonvale_entry

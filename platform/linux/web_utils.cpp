#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "varn/webapi.h"

namespace {

// scheme = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." )
bool IsScheme(std::string_view text) {
    return !text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0 &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '+' || c == '-' || c == '.';
           });
}

bool HasBlankOrControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](unsigned char c) { return c <= 0x20 || c == 0x7F; });
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

}  // namespace

bool WebUtils::ParseURL(const std::string &url, std::string &scheme, std::string &host,
                        std::string &path) {
    return varn::Guarded(false, [&] {
        const std::string_view text = url;
        const std::size_t colon = text.find("://");
        if (colon == text.npos || !IsScheme(text.substr(0, colon)) || HasBlankOrControl(text)) {
            varn::SetError(VLIB_ERR_BAD_PARAMETER);
            return false;
        }
        const std::string_view rest = text.substr(colon + 3);
        const std::size_t end = std::min(rest.find_first_of("/?#"), rest.size());
        std::string_view authority = rest.substr(0, end);
        authority.remove_prefix(authority.rfind('@') + 1);  // npos + 1 is 0
        if (authority.empty() || authority.front() == ':') {
            varn::SetError(VLIB_ERR_BAD_PARAMETER);
            return false;
        }
        std::string schemeOut = LowerCase(text.substr(0, colon));
        std::string hostOut(authority);
        path = rest.substr(end);
        scheme = std::move(schemeOut);
        host = std::move(hostOut);
        return true;
    });
}

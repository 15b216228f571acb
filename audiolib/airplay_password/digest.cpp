#include "airplay_password/digest.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "tonvale/settings.h"

namespace Tonvale::airplay {

namespace {

constexpr char kUser[] = "iTunes";
constexpr char kMethod[] = "OPTIONS";
constexpr char kUri[] = "*";

// Every text of the computation is cut to what this holds, which speakers and their other clients
// have always agreed on.
constexpr std::size_t kTextSize = 1024;

__attribute__((format(printf, 1, 2))) std::string Text(const char *format, ...) {
    std::array<char, kTextSize> text;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

std::string Md5(const std::string &text, bool upperCase) {
    std::array<char, 33> digest{};
    VARNAudioGetMd5(text.c_str(), digest.data(), upperCase);  // a failure leaves it empty
    return digest.data();
}

}  // namespace

std::string AuthorizationLine(const Challenge &challenge, const char *password) {
    if (password == nullptr) {
        return "";
    }
    const char *realm = challenge.realm.c_str();
    const char *nonce = challenge.nonce.c_str();
    const bool upper = challenge.hasJack;
    const std::string ha1 = Md5(Text("%s:%s:%s", kUser, realm, password), upper);
    const std::string ha2 = Md5(Text("%s:%s", kMethod, kUri), upper);
    if (ha1.empty() || ha2.empty()) {
        return "";
    }
    const std::string response = Md5(Text("%s:%s:%s", ha1.c_str(), nonce, ha2.c_str()), upper);
    if (response.empty()) {
        return "";
    }
    return Text(
        "Authorization: Digest username=\"%s\", realm=\"%s\", nonce=\"%s\", uri=\"%s\", "
        "response=\"%s\"",
        kUser, realm, nonce, kUri, response.c_str());
}

}  // namespace Tonvale::airplay

#include "login.h"

#include <strings.h>

#include <array>
#include <charconv>

#include "entry/login.h"
#include "request.h"
#include "service/people/keys.h"
#include "tonvale/settings.h"

namespace tonvale_subsonic {

namespace {

using tonvale_service::FindHolder;
using tonvale_service::Holder;

constexpr char kWrong[] =
    "wrong user name or key: a program signs in with a key of its own, which the settings of the "
    "page make, and never with the account's password";

// "enc:" and hexadecimal digits in place of the text; empty for bad ones.
std::optional<std::string> Plain(const std::string &given) {
    constexpr std::string_view kEncoded = "enc:";
    if (!given.starts_with(kEncoded)) {
        return given;
    }
    std::string plain;
    const char *const end = given.data() + given.size();
    for (const char *pair = given.data() + kEncoded.size(); pair < end; pair += 2) {
        unsigned char byte = 0;
        if (pair + 2 > end || std::from_chars(pair, pair + 2, byte, 16).ptr != pair + 2) {
            return std::nullopt;
        }
        plain += static_cast<char>(byte);
    }
    return plain;
}

FindHolder ByDigest(const std::string &user, const std::string &token, const std::string &salt) {
    return [=] {
        return tonvale_service::FindKeyOf(user, [&](const std::string &key) {
            std::array<char, 33> digest = {};
            return VARNAudioGetMd5((key + salt).c_str(), digest.data(), false) == 0 &&
                   strcasecmp(digest.data(), token.c_str()) == 0;
        });
    };
}

FindHolder ByKeyOf(const std::string &user, const std::string &given) {
    return [=]() -> std::optional<Holder> {
        const auto key = Plain(given);
        auto holder = key ? tonvale_service::FindKey(*key) : std::nullopt;
        return holder && holder->name == user ? std::move(holder) : std::nullopt;
    };
}

void Take(tonvale_entry::Request &entry, const std::string &user, const FindHolder &find,
          int code) {
    entry.SignIn(entry.From().ByKey(user, find));
    if (!entry.IsLoggedIn()) {
        throw Fault{code, kWrong};
    }
    if (entry.Rights() == 0) {
        throw Fault{kNotPermitted, "this user may not use the server"};
    }
}

}  // namespace

void SignIn(tonvale_entry::Request &entry) {
    const Request asked(entry);
    const auto user = asked.Given("u");
    const auto password = asked.Given("p");
    const auto token = asked.Given("t");
    const auto salt = asked.Given("s");
    const auto key = asked.Given("apiKey");
    if (key ? user || password || token || salt : password && (token || salt)) {
        throw Fault{kTwoLogins, "give one of apiKey, u with p, and u with t and s"};
    }
    if (key) {
        const FindHolder find = [&] { return tonvale_service::FindKey(*key); };
        return Take(entry, "", find, kWrongKey);
    }
    if (!user && entry.From().HasField()) {
        throw Fault{kUnknownLogin,
                    "this API takes keys in parameters: apiKey, u with p, or u with "
                    "t and s"};
    }
    const std::string name = asked.Required("u");
    if (password) {
        return Take(entry, name, ByKeyOf(name, *password), kWrongLogin);
    }
    const FindHolder find = ByDigest(name, asked.Required("t"), asked.Required("s"));
    Take(entry, name, find, kWrongLogin);
}

}  // namespace tonvale_subsonic

#include "login.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "refusal.h"
#include "request.h"
#include "service/base/failure.h"
#include "turn.h"
#include "varn/handles.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Proof;
using tonvale_service::SignIn;
using tonvale_service::Standing;

std::string Taken(const char *name) {
    char *const value = std::getenv(name);
    if (value == nullptr) {
        return "";
    }
    std::string taken = value;
    explicit_bzero(value, std::strlen(value));
    unsetenv(name);
    return taken;
}

// The user that the web server has let in. An account that only the web server knows is nobody.
SignIn LetIn(const std::string &name) {
    const varn::User account = varn::UserByName(name.c_str());
    return account ? SignIn{Standing::kKnown, Proof::kPassword, {account->uid, account->szName, 0}}
                   : SignIn{Standing::kRefused, Proof::kNone, {}};
}

// Throws a Refusal after too many wrong passwords, and when the login cannot be checked. A worker
// leaves a slow check to a handler.
template <typename Find>
SignIn Counted(const Find &find) {
    try {
        SignIn found = find();
        if (found.standing == Standing::kSlow) {
            LeaveWorker();
        }
        return found.standing != Standing::kTooMany ? std::move(found)
                                                    : throw Refusal{Code::kTooMany};
    } catch (const tonvale_service::Failure &failure) {
        throw RefusalOf(failure);
    }
}

// The cookie goes with each request of the page, and never with one of another site's. The server
// ends the session before the browser does.
std::string CookieField(const std::string &token, const char *seconds) {
    const bool isSecure = strcasecmp(Variable("HTTPS").c_str(), "on") == 0;
    return std::string("\r\nSet-Cookie: ") + tonvale_service::kSessionCookie + "=" + token +
           "; Path=/; Max-Age=" + seconds + "; HttpOnly; SameSite=Strict" +
           (isSecure ? "; Secure" : "");
}

}  // namespace

Login Login::Take() {
    Login login;
    login.credentials_ = {Taken("HTTP_AUTHORIZATION"), Taken("HTTP_COOKIE"),
                          Variable("REMOTE_ADDR")};
    login.agent_ = Variable("HTTP_USER_AGENT");
    return login;
}

SignIn Login::Decide() const {
    const bool isOurs = IsOfServer();
    if (const std::string user = Variable("REMOTE_USER"); !isOurs && !user.empty()) {
        return LetIn(user);
    }
    tonvale_service::Credentials credentials = credentials_;
    if (!isOurs && strncasecmp(credentials.authorization.c_str(), "Basic ", 6) == 0) {
        credentials.authorization.clear();  // the web server checks it
    }
    return Counted([&] { return IsWorker() ? SignInNow(credentials) : SignInSlowly(credentials); });
}

SignIn Login::ByPassword(const std::string &name, const std::string &password) const {
    GiveTurnBack();  // earlier wrong passwords may make this wait
    return Counted([&] { return tonvale_service::SignInByPassword(name, password, Address()); });
}

SignIn Login::ByKey(const std::string &name, const tonvale_service::FindHolder &find) const {
    return Counted(
        [&] { return tonvale_service::SignInByKey(name, find, Address(), !IsWorker()); });
}

void ForgetQuery() {
    Taken("QUERY_STRING");
    Taken("REQUEST_URI");
}

const char *LoginChallenge() {
    const bool isPage = std::getenv("HTTP_SEC_FETCH_MODE") != nullptr ||
                        std::getenv("HTTP_X_REQUESTED_WITH") != nullptr ||
                        Variable("HTTP_USER_AGENT").starts_with("Mozilla/");
    return isPage ? "" : "WWW-Authenticate: Basic realm=\"Tonvale\", charset=\"UTF-8\"\r\n";
}

std::string SessionField(const std::string &token) {
    return CookieField(token, "34560000");
}

std::string NoSessionField() {
    return CookieField("", "0");
}

}  // namespace tonvale_entry

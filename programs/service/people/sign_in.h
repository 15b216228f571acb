// Who a client is, by the password, key or cookie that it sends.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "service/people/holder.h"

namespace tonvale_service {

inline constexpr char kSessionCookie[] = "tonvale_session";

struct Credentials {
    std::string authorization;  // the header field of this name
    std::string cookie;         // the header field of this name
    std::string address;        // where the client is
};

enum class Proof { kNone, kSession, kKey, kPassword };

enum class Standing {
    kNobody,   // there is nothing that would prove anything
    kKnown,    // it is `who`
    kRefused,  // what was sent proves nothing
    kSlow,     // a password hash has to be computed first: SignInSlowly tells
    kTooMany,  // wrong passwords from there; not looked at
};

struct SignIn {
    Standing standing = Standing::kNobody;
    Proof proof = Proof::kNone;
    Holder who{};
};

// Each of these throws a Failure when the database or the logins cannot be read.

// By "Authorization: Bearer KEY", else "Authorization: Basic", else the session's cookie: the first
// of them that is there decides. Of four cookies of that name the first valid one decides. Takes
// little time.
SignIn SignInNow(const Credentials &credentials);

// The same, and computes the hash of a password that is not known to be right. It may take some
// seconds: from the fifth wrong password for a name from a network on, each next one waits longer.
// Other networks do not wait, so that nobody is shut out.
SignIn SignInSlowly(const Credentials &credentials);

// By a key that `find` looks up, of the user of this name ("" where the key tells). A wrong one is
// counted and waits as a wrong password does, where there is time; without, it is kSlow.
using FindHolder = std::function<std::optional<Holder>()>;
SignIn SignInByKey(const std::string &user, const FindHolder &find, const std::string &address,
                   bool hasTime);

// A name and its password, in the same way.
SignIn SignInByPassword(const std::string &user, const std::string &password,
                        const std::string &address);

// A login that lasts, and what it is bound to.
struct Lasting {
    Proof proof;
    Holder who;
    std::string stamp;  // LoginStamp
};
Lasting MakeLasting(Proof proof, const Holder &who);

// Which of them still hold, in their order: the session or key is there, the user has the same
// password, and may use the server. One statement for all.
std::vector<bool> WhichLast(std::span<const Lasting *const> logins);

}  // namespace tonvale_service

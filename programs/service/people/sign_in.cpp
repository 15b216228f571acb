#include "service/people/sign_in.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include "service/base/slot.h"
#include "service/people/keys.h"
#include "service/people/login_store.h"
#include "service/people/network.h"
#include "service/people/sessions.h"
#include "service/people/settings.h"
#include "tonvale/settings.h"
#include "varn/crypt.h"
#include "varn/handles.h"
#include "varn/logins.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

using namespace std::chrono_literals;

// Counts an attempt before its password is checked: otherwise many at once would all be the first.
// Those that have to wait do so one after the other. Gives no row when the line is too long. After
// a quarter of an hour without attempts all are forgotten.
constexpr char kCountAttempt[] =
    "INSERT INTO failed_login AS known (who, failures) VALUES ('@VARN:VAR', 1) "
    "ON CONFLICT (who) DO UPDATE SET last = now(), failures = "
    "CASE WHEN known.last < now() - interval '15 minutes' THEN 1 ELSE known.failures + 1 END, "
    "next = CASE WHEN known.last < now() - interval '15 minutes' OR known.failures < 4 THEN now() "
    "ELSE greatest(known.next, now()) + "
    "interval '1 second' * least(power(2, known.failures - 4), 4) END "
    "WHERE known.next < now() + interval '8 seconds' "
    "RETURNING ceil(greatest(extract(epoch FROM next - now()), 0) * 1000)::integer AS wait";

constexpr char kForgetAttempts[] =
    "DELETE FROM failed_login WHERE last < now() - interval '15 minutes' OR who IN ("
    "SELECT who FROM failed_login ORDER BY last DESC OFFSET 10000)";

// How many attempts wait at once, and how many hashes are computed.
constexpr unsigned kWaiting = 64;
constexpr unsigned kComputing = 4;
constexpr std::chrono::seconds kPatience{10};

SignIn Refused() {
    return {Standing::kRefused, Proof::kNone, {}};
}

SignIn Known(Proof proof, const std::optional<Holder> &holder) {
    return holder ? SignIn{Standing::kKnown, proof, *holder} : Refused();
}

struct Login {
    std::string user;
    std::string password;
    std::string hash;  // "" for a user without a login
};

// Empty for what no login can be.
std::optional<Login> LoginOf(const std::string &user, const std::string &password) {
    constexpr std::string_view kNone("\0:\n\r", 4);
    if (user.empty() || user.size() > kLongestPassword || password.size() > kLongestPassword ||
        user.find_first_of(kNone) != user.npos || password.find('\0') != password.npos) {
        return std::nullopt;
    }
    return Login{user, password, PasswordHashOf(user)};
}

std::string ProofOf(const Login &login) {
    return LoginHashOf("login", login.user + ":" + login.hash + ":" + login.password);
}

// The account of a login; none for one that is gone from the system.
SignIn Owner(const Login &login) {
    const varn::User account = varn::UserByName(login.user.c_str());
    return account ? Known(Proof::kPassword, Holder{account->uid, account->szName, 0,
                                                    LoginStamp(account->szName, login.hash)})
                   : Refused();
}

bool IsVerified(const Login &login) {
    return RunOnLogins(varn::Sql("SELECT 1 FROM verified_login WHERE proof = '@VARN:VAR' "
                                 "AND checked_at > now() - interval '1 minute'",
                                 ProofOf(login)))
               .Count() == 1;
}

void NoteVerified(const Login &login, const std::string &who) {
    RunOnLogins(
        varn::Sql("DELETE FROM verified_login WHERE checked_at < now() - interval '1 minute'; "
                  "DELETE FROM failed_login WHERE who = '@VARN:VAR'; "
                  "INSERT INTO verified_login (proof) VALUES ('@VARN:VAR') "
                  "ON CONFLICT (proof) DO UPDATE SET checked_at = now()",
                  who, ProofOf(login)));
}

SignIn TooMany() {
    return {Standing::kTooMany, Proof::kNone, {}};
}

// How long this attempt has to wait; empty where too many do.
std::optional<std::chrono::milliseconds> CountAttempt(const std::string &who) {
    const varn::Rows rows = RunOnLogins(varn::Sql(kCountAttempt, who));
    return rows.Count() == 1 ? std::optional(std::chrono::milliseconds(rows[0].Number("wait")))
                             : std::nullopt;
}

bool Wait(std::chrono::milliseconds wait) {
    const Slot slot("login-wait-", kWaiting);
    if (slot) {
        std::this_thread::sleep_for(wait);
    }
    return static_cast<bool>(slot);
}

// What the attempts for a name from a network are counted by.
std::string Attempts(const std::string &user, const std::string &address) {
    return LoginHashOf("attempt", user + "\n" + NetworkOf(address));
}

SignIn Verified(const Login &login, const std::string &address) {
    const std::string who = Attempts(login.user, address);
    std::optional<Slot> slot(std::in_place, "login-", kComputing, kPatience);
    if (!*slot) {
        return TooMany();
    }
    if (IsVerified(login)) {
        return Owner(login);  // another request was faster
    }
    const auto wait = CountAttempt(who);
    if (!wait) {
        return TooMany();
    }
    if (*wait > 0ms) {
        slot.reset();
        if (!Wait(*wait) || !slot.emplace("login-", kComputing, kPatience)) {
            return TooMany();
        }
    }
    if (!varn::IsPasswordOf(login.hash, login.password)) {
        RunOnLogins(std::string(kForgetAttempts));
        return Refused();
    }
    NoteVerified(login, who);
    return Owner(login);
}

// What follows the scheme of an Authorization field; empty for another scheme.
std::optional<std::string> After(const std::string &field, std::string_view scheme) {
    if (field.size() <= scheme.size() || field[scheme.size()] != ' ' ||
        strncasecmp(field.c_str(), scheme.data(), scheme.size()) != 0) {
        return std::nullopt;
    }
    const std::size_t begin = std::min(field.find_first_not_of(' ', scheme.size()), field.size());
    return field.substr(begin, field.find_last_not_of(' ') + 1 - begin);
}

// NAME:PASSWORD in base64 (RFC 7617).
std::optional<Login> BasicLogin(const std::string &encoded) {
    std::array<unsigned char, 1024> text{};
    std::size_t length = 0;
    if (VLIBCBase64Decode(encoded.c_str(), text.data(), text.size(), &length) != 0) {
        return std::nullopt;
    }
    const std::string decoded(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    const std::size_t colon = decoded.find(':');
    return colon == decoded.npos ? std::nullopt
                                 : LoginOf(decoded.substr(0, colon), decoded.substr(colon + 1));
}

// The values of our cookie (RFC 6265, 4.2). One of an earlier server at this address may be beside
// it.
std::vector<std::string> SessionsIn(std::string_view cookies) {
    constexpr std::string_view kName = kSessionCookie;
    constexpr std::size_t kMost = 4;
    std::vector<std::string> sessions;
    while (!cookies.empty() && sessions.size() < kMost) {
        std::string_view one = cookies.substr(0, cookies.find(';'));
        cookies.remove_prefix(std::min(one.size() + 1, cookies.size()));
        one.remove_prefix(std::min(one.find_first_not_of(' '), one.size()));
        if (one.starts_with(kName) && one.substr(kName.size()).starts_with('=')) {
            one.remove_prefix(kName.size() + 1);
            sessions.emplace_back(one.substr(0, one.find_last_not_of(' ') + 1));
        }
    }
    return sessions;
}

SignIn Find(const Credentials &credentials, bool hasTime) {
    if (const auto key = After(credentials.authorization, "Bearer")) {
        return Known(Proof::kKey, FindKey(*key));
    }
    if (const auto basic = After(credentials.authorization, "Basic")) {
        const auto login = BasicLogin(*basic);
        if (!login) {
            return Refused();
        }
        if (IsVerified(*login)) {
            return Owner(*login);
        }
        return hasTime ? Verified(*login, credentials.address)
                       : SignIn{Standing::kSlow, Proof::kNone, {}};
    }
    SignIn found;
    for (const std::string &session : SessionsIn(credentials.cookie)) {
        found = Known(Proof::kSession, FindSession(session));
        if (found.standing == Standing::kKnown) {
            break;
        }
    }
    return found;
}

// Of those with this proof, as PostgreSQL writes an array.
std::string IdsOf(std::span<const Lasting *const> logins, Proof proof) {
    std::string ids = "{";
    for (const Lasting *login : logins) {
        if (login->proof == proof) {
            ids += (ids.size() > 1 ? "," : "") + std::to_string(login->who.id);
        }
    }
    return ids + "}";
}

constexpr char kLeft[] =
    "SELECT 1 AS proof, id FROM session WHERE id = ANY('@VARN:VAR'::integer[]) "
    "AND last_used > now() - interval '30 days' "
    "UNION ALL SELECT 2, id FROM access_key WHERE id = ANY('@VARN:VAR'::integer[])";

}  // namespace

SignIn SignInNow(const Credentials &credentials) {
    return Find(credentials, false);
}

SignIn SignInSlowly(const Credentials &credentials) {
    return Find(credentials, true);
}

SignIn SignInByKey(const std::string &user, const FindHolder &find, const std::string &address,
                   bool hasTime) {
    if (const auto holder = find()) {
        return Known(Proof::kKey, holder);
    }
    if (!hasTime) {
        return {Standing::kSlow, Proof::kNone, {}};
    }
    // Nobody guesses 260 bits: the pause spares the server those who try.
    const auto wait = CountAttempt(Attempts(user, address));
    if (!wait || (*wait > 0ms && !Wait(*wait))) {
        return TooMany();
    }
    RunOnLogins(std::string(kForgetAttempts));
    return Refused();
}

SignIn SignInByPassword(const std::string &user, const std::string &password,
                        const std::string &address) {
    const auto login = LoginOf(user, password);
    return login ? Verified(*login, address) : Refused();
}

Lasting MakeLasting(Proof proof, const Holder &who) {
    return {proof, who, LoginStamp(who.name)};
}

std::vector<bool> WhichLast(std::span<const Lasting *const> logins) {
    std::set<std::pair<Proof, int>> left = {{Proof::kPassword, 0}};
    for (const varn::Row row : RunOnLogins(
             varn::Sql(kLeft, IdsOf(logins, Proof::kSession), IdsOf(logins, Proof::kKey)))) {
        left.emplace(row.Number("proof") == 1 ? Proof::kSession : Proof::kKey,
                     static_cast<int>(row.Number("id")));
    }
    std::map<std::string, std::string> stamps;  // of users who may use the server
    std::vector<bool> last;
    for (const Lasting *login : logins) {
        const std::string &name = login->who.name;
        const auto [stamp, isNew] = stamps.try_emplace(name);
        if (isNew && AccountName(login->who.uid) == name &&
            AudioUsers::GetUserPermission(name) != 0) {
            stamp->second = LoginStamp(name);
        }
        last.push_back(stamp->second == login->stamp &&
                       left.contains({login->proof, login->who.id}));
    }
    return last;
}

}  // namespace tonvale_service

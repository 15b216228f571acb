#include "service/people/login_store.h"

#include <syslog.h>

#include "service/base/failure.h"
#include "service/people/settings.h"
#include "varn/crypt.h"
#include "varn/logins.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

constexpr std::size_t kTokenLength = 52;
static_assert(kTokenLength * varn::kRandomTextBits >= 256);

}  // namespace

varn::Rows RunOnLogins(const std::optional<std::string> &sql) {
    try {
        varn::Database database(varn::ConnectLibrary());
        return database.Query(varn::Made(sql));
    } catch (const varn::DatabaseError &error) {
        syslog(LOG_ERR, "The logins' tables cannot be asked: %s", error.what());
        throw Failure(Reason::kLibraryAway);
    }
}

std::string LoginHashOf(std::string_view purpose, std::string_view text) {
    const varn::RunAs package(varn::Who::kPackage);
    const auto hash = varn::KeyedHash(purpose, text);
    if (!hash) {
        throw Failure(Reason::kLoginsNotRead, SystemPath(varn::path::kCryptKey));
    }
    return *hash;
}

std::string PasswordHashOf(const std::string &user) {
    const varn::RunAs package(varn::Who::kPackage);
    const auto hash = varn::LoginHash(user);
    if (!hash) {
        throw Failure(Reason::kLoginsNotRead, SystemPath(varn::path::kLogins));
    }
    return *hash;
}

std::string LoginStamp(const std::string &user) {
    return LoginStamp(user, PasswordHashOf(user));
}

std::string LoginStamp(const std::string &user, const std::string &hash) {
    return LoginHashOf("stamp", user + ":" + hash);
}

std::optional<Holder> HolderOf(const varn::Row &row) {
    const auto uid = static_cast<uid_t>(row.Number("user_id"));
    const std::string name = AccountName(uid);
    return name.empty() || LoginStamp(name) != row.Text("login")
               ? std::nullopt
               : std::optional(Holder{uid, name, static_cast<int>(row.Number("id"))});
}

std::string NewToken() {
    std::string token = varn::RandomText(kTokenLength);
    if (token.empty()) {
        throw Failure(Reason::kLoginsNotRead, "/dev/urandom");
    }
    return token;
}

bool IsToken(std::string_view text) {
    return text.size() == kTokenLength &&
           text.find_first_not_of(varn::kRandomLetters) == std::string_view::npos;
}

}  // namespace tonvale_service

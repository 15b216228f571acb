#include "service/people/keys.h"

#include <array>
#include <utility>

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/people/login_store.h"
#include "varn/crypt.h"
#include "varn/handles.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

constexpr char kHash[] = "key";
constexpr std::size_t kLongestPurpose = 200;
constexpr int kMostKeys = 100;

using Secret = std::array<char, 256>;

std::string Encrypted(const std::string &key) {
    const varn::RunAs package(varn::Who::kPackage);
    Secret secret{};
    if (!VLIBCCryptSzEncrypt(key.c_str(), secret.data(), secret.size())) {
        throw Failure(Reason::kLoginsNotRead, SystemPath(varn::path::kCryptKey));
    }
    return secret.data();
}

// "" for one that another platform's key encrypted.
std::string Decrypted(const char *secret) {
    const varn::RunAs package(varn::Who::kPackage);
    Secret key{};
    VLIBCCryptSzDecrypt(secret, key.data(), key.size());
    return key.data();
}

void NoteUse(int id) {
    RunOnLogins(
        varn::Sql("UPDATE access_key SET last_used = now() WHERE id = @VARN:INT "
                  "AND (last_used IS NULL OR last_used < now() - interval '5 minutes')",
                  id));
}

}  // namespace

std::string NewKey(uid_t uid, const std::string &user, const std::string &purpose) {
    if (!IsLine(purpose, kLongestPurpose)) {
        throw Failure(Reason::kNotAPurpose);
    }
    const std::string key = NewToken();
    const int owner = static_cast<int>(uid);
    const std::string stamp = LoginStamp(user);
    RunOnLogins(varn::Sql(
        "DELETE FROM access_key WHERE user_id = @VARN:INT AND login <> '@VARN:VAR'", owner, stamp));
    const varn::Rows added = RunOnLogins(varn::Sql(
        "INSERT INTO access_key (token, user_id, login, purpose, secret) "
        "SELECT '@VARN:VAR', @VARN:INT, '@VARN:VAR', '@VARN:VAR', '@VARN:VAR' "
        "WHERE (SELECT count(*) FROM access_key WHERE user_id = @VARN:INT) < @VARN:INT",
        LoginHashOf(kHash, key), owner, stamp, purpose, Encrypted(key), owner, kMostKeys));
    if (added.Count() != 1) {
        throw Failure(Reason::kTooManyKeys);
    }
    return key;
}

std::optional<Holder> FindKey(const std::string &key) {
    if (!IsToken(key)) {
        return std::nullopt;
    }
    const varn::Rows rows =
        RunOnLogins(varn::Sql("SELECT id, user_id, login, (last_used IS NULL OR "
                              "last_used < now() - interval '5 minutes')::integer AS is_stale "
                              "FROM access_key WHERE token = '@VARN:VAR'",
                              LoginHashOf(kHash, key)));
    if (rows.Count() != 1) {
        return std::nullopt;
    }
    const auto holder = HolderOf(rows[0]);
    if (holder && rows[0].Number("is_stale") != 0) {
        NoteUse(holder->id);
    }
    return holder;
}

std::optional<Holder> FindKeyOf(const std::string &user,
                                const std::function<bool(const std::string &key)> &isMeant) {
    const varn::User account = varn::UserByName(user.c_str());
    if (!account) {
        return std::nullopt;
    }
    const varn::Rows rows =
        RunOnLogins(varn::Sql("SELECT id, secret FROM access_key WHERE user_id = @VARN:INT AND "
                              "login = '@VARN:VAR' ORDER BY id",
                              static_cast<int>(account->uid), LoginStamp(account->szName)));
    for (const varn::Row row : rows) {
        const std::string key = Decrypted(row.Text("secret"));
        if (!key.empty() && isMeant(key)) {
            const int id = static_cast<int>(row.Number("id"));
            NoteUse(id);
            return Holder{account->uid, account->szName, id};
        }
    }
    return std::nullopt;
}

std::vector<Key> KeysOf(uid_t uid, const std::string &user) {
    const varn::Rows rows = RunOnLogins(
        varn::Sql("SELECT id, purpose, extract(epoch FROM made)::bigint AS made, "
                  "coalesce(extract(epoch FROM last_used), 0)::bigint AS used FROM access_key "
                  "WHERE user_id = @VARN:INT AND login = '@VARN:VAR' ORDER BY id",
                  static_cast<int>(uid), LoginStamp(user)));
    std::vector<Key> keys;
    for (const varn::Row row : rows) {
        keys.push_back({static_cast<int>(row.Number("id")), row.Text("purpose"), row.Number("made"),
                        row.Number("used")});
    }
    return keys;
}

Json::Value KeyList(const std::vector<Key> &keys) {
    Json::Value list(Json::arrayValue);
    for (const Key &key : keys) {
        Json::Value entry(Json::objectValue);
        entry["id"] = key.id;
        entry["for"] = key.purpose;
        entry["made"] = Json::Int64{key.made};
        entry["last_used"] = Json::Int64{key.lastUsed};
        list.append(std::move(entry));
    }
    return list;
}

void RemoveKey(uid_t uid, int id) {
    const varn::Rows rows =
        RunOnLogins(varn::Sql("DELETE FROM access_key WHERE user_id = @VARN:INT AND id = @VARN:INT",
                              static_cast<int>(uid), id));
    if (rows.Count() == 0) {
        throw Failure(Reason::kNoSuchKey, std::to_string(id));
    }
}

void RemoveKeys(uid_t uid) {
    RunOnLogins(
        varn::Sql("DELETE FROM access_key WHERE user_id = @VARN:INT", static_cast<int>(uid)));
}

}  // namespace tonvale_service

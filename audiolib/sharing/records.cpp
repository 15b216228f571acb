#include <utility>

#include "sharing/sharing.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/statement.h"
#include "tonvale/settings.h"
#include "tonvale/sharing.h"
#include "varn/account.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using sharing::kSource;
using support::Guarded;

constexpr unsigned kSharingPermission = 0x20;

constexpr char kIdInUse[] = "SELECT id FROM playlist_sharing WHERE id = '@VARN:VAR'";
constexpr char kInsert[] =
    "INSERT INTO playlist_sharing(id, user_id, user_name, playlist_id, path, avail_date, exp_date, "
    "status) VALUES ('@VARN:VAR', @VARN:INT, '@VARN:VAR', '@VARN:VAR', '@VARN:VAR', '@VARN:VAR', "
    "'@VARN:VAR', '@VARN:VAR')";
constexpr char kUpdate[] =
    "UPDATE playlist_sharing SET avail_date = '@VARN:VAR', exp_date = '@VARN:VAR', status = "
    "'@VARN:VAR' WHERE user_id = @VARN:INT AND playlist_id = '@VARN:VAR'";
constexpr char kDelete[] =
    "DELETE FROM playlist_sharing WHERE user_id = @VARN:INT AND playlist_id = '@VARN:VAR'";
constexpr char kById[] =
    "SELECT id, user_name, user_id, playlist_id, avail_date, exp_date, path FROM playlist_sharing "
    "WHERE id = '@VARN:VAR'";
constexpr char kByOwner[] =
    "SELECT id, user_name, avail_date, exp_date, path FROM playlist_sharing WHERE user_id = "
    "@VARN:INT AND playlist_id = '@VARN:VAR'";

// True when `rec` names a user's playlist.
bool NamesPlaylist(const SharingData &rec) {
    if (rec.user_id != varn::kNoUser && !rec.playlist_id.empty()) {
        return true;
    }
    LOG_ERROR(kSource, "Bad parameter.");
    return false;
}

// Half a range of dates is none.
void DefaultDates(SharingData &rec) {
    if (rec.avail_date.empty() || rec.exp_date.empty()) {
        rec.avail_date = SharingManager::DATE_DEFAULT;
        rec.exp_date = SharingManager::DATE_DEFAULT;
    }
}

// The row's columns that every look-up selects.
void ReadRow(const varn::Row &row, SharingData &rec) {
    rec.id = row.Text("id");
    rec.avail_date = row.Text("avail_date");
    rec.exp_date = row.Text("exp_date");
    rec.path = row.Text("path");
    rec.user_name = row.Text("user_name");
    rec.status = sharing::Status(rec.avail_date, rec.exp_date);
}

}  // namespace

void SharingData::Reset() noexcept {
    for (std::string *text :
         {&id, &playlist_id, &user_name, &path, &avail_date, &exp_date, &status}) {
        text->clear();
    }
    user_id = varn::kNoUser;
}

SharingManager::~SharingManager() {
    VARNDBClose(conn_);
}

bool SharingManager::GetDBConnection(DBConnect_tag *&out) noexcept {
    if (!Connected()) {
        return false;
    }
    out = conn_;
    return true;
}

bool SharingManager::Connected() {
    if (conn_ == nullptr) {
        conn_ = support::Connect(kSource).release();
    }
    return conn_ != nullptr;
}

std::optional<varn::Rows> SharingManager::Run(const std::optional<std::string> &statement,
                                              int line) {
    return Connected() ? support::Execute(kSource, conn_, statement, line) : std::nullopt;
}

bool SharingManager::IsUserAllowSharing(const unsigned int &uid) noexcept {
    return Guarded(kSource, false, [&] {
        const varn::User user = varn::UserByUid(uid);
        if (!user) {
            LOG_ERROR(kSource, "Fail to get user by id.");
            return false;
        }
        return (AudioUsers::GetUserPermission(user->szName) & kSharingPermission) != 0;
    });
}

bool SharingManager::CheckSharingIdExist(std::string id) noexcept {
    return Guarded(kSource, true, [&] {
        if (id.empty()) {
            LOG_ERROR(kSource, "Bad parameter.");
            return true;
        }
        const auto rows = Run(varn::Sql(kIdInUse, id));
        return !rows || rows->IsEmpty();
    });
}

bool SharingManager::AddSharingRecord(SharingData &rec) noexcept {
    return Guarded(kSource, false, [&] {
        if (!NamesPlaylist(rec)) {
            return false;
        }
        DefaultDates(rec);
        if (rec.id.empty()) {
            rec.id = GetSharingHashString();
        }
        if (!Run(varn::Sql(kInsert, rec.id, static_cast<int>(rec.user_id), rec.user_name,
                           rec.playlist_id, rec.path, rec.avail_date, rec.exp_date, rec.status))) {
            return false;
        }
        rec.status = sharing::Status(rec.avail_date, rec.exp_date);
        return true;
    });
}

bool SharingManager::UpdateSharingRecord(SharingData &rec) noexcept {
    return Guarded(kSource, false, [&] {
        if (!NamesPlaylist(rec)) {
            return false;
        }
        DefaultDates(rec);
        rec.status.clear();  // the stored one is of no account: readers look at the dates
        if (!Run(varn::Sql(kUpdate, rec.avail_date, rec.exp_date, rec.status,
                           static_cast<int>(rec.user_id), rec.playlist_id))) {
            return false;
        }
        rec.status = sharing::Status(rec.avail_date, rec.exp_date);
        return true;
    });
}

bool SharingManager::DeleteSharingRecord(SharingData &rec) noexcept {
    return Guarded(kSource, false, [&] {
        if (!NamesPlaylist(rec) ||
            !Run(varn::Sql(kDelete, static_cast<int>(rec.user_id), rec.playlist_id))) {
            return false;
        }
        rec.id.clear();
        rec.avail_date = DATE_DEFAULT;
        rec.exp_date = DATE_DEFAULT;
        rec.status = "none";
        return true;
    });
}

bool SharingManager::FindRecord(SharingData &rec) {
    const bool byId = !rec.id.empty();
    if (!byId && !NamesPlaylist(rec)) {
        return false;
    }
    if (!(byId && rec.user_id == varn::kNoUser) && !IsUserAllowSharing(rec.user_id)) {
        return false;
    }
    const auto statement =
        byId ? varn::Sql(kById, rec.id)
             : varn::Sql(kByOwner, static_cast<int>(rec.user_id), rec.playlist_id);
    const auto rows = Run(statement);
    if (!rows || rows->IsEmpty()) {
        return false;
    }
    const varn::Row row = (*rows)[0];
    if (byId) {
        const auto owner = static_cast<uint32_t>(varn::LeadingNumber<int64_t>(row.Text("user_id")));
        if (!IsUserAllowSharing(owner)) {
            return false;
        }
        rec.user_id = owner;
        rec.playlist_id = row.Text("playlist_id");
    }
    ReadRow(row, rec);
    CheckAndUpdateRecord(rec.playlist_id, rec.path);
    return true;
}

bool SharingManager::GetSharingRecord(SharingData &rec, bool onlyValid) noexcept {
    return Guarded(kSource, false,
                   [&] { return FindRecord(rec) && (!onlyValid || rec.status == "valid"); });
}

void SharingManager::ConvertSharingInfoObj(const SharingData &rec, Json::Value &out) noexcept {
    Guarded(kSource, [&] {
        out = Json::Value(Json::objectValue);
        out["id"] = rec.id;
        out["url"] = GetUrl(rec.id);
        out["date_available"] = sharing::ShownDate(rec.avail_date);
        out["date_expired"] = sharing::ShownDate(rec.exp_date);
        out["status"] = rec.status;
    });
}

}  // namespace Tonvale

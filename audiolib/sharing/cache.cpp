#include <utility>

#include "sharing/sharing.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/sharing.h"
#include "varn/account.h"
#include "varn/database.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using sharing::kSource;
using support::Guarded;

constexpr char kOfUser[] =
    "SELECT id, playlist_id, path, avail_date, exp_date FROM playlist_sharing WHERE user_id = "
    "@VARN:INT";

constexpr char kSharedNormal[] = "playlist_shared_normal";

bool IsSharedNormal(const std::string &playlistId) {
    return playlistId.find(kSharedNormal) != std::string::npos;
}

// The answer for a playlist that is not shared.
Json::Value NotShared() {
    Json::Value out(Json::objectValue);
    out["id"] = "";
    out["url"] = "";
    out["date_available"] = "0";
    out["date_expired"] = "0";
    out["status"] = "none";
    return out;
}

}  // namespace

bool SharingManager::PrepareSharingCache(unsigned int uid) noexcept {
    return Guarded(kSource, false, [&] {
        if (uid == varn::kNoUser) {
            LOG_ERROR(kSource, "Bad parameter.");
            return false;
        }
        if (!IsUserAllowSharing(uid)) {
            return true;
        }
        const auto rows = Run(varn::Sql(kOfUser, static_cast<int>(uid)));
        if (!rows) {
            return false;
        }
        cache_ = Json::Value(Json::objectValue);
        for (const varn::Row row : *rows) {
            Json::Value &entry = cache_[row.Text("playlist_id")];
            entry["id"] = row.Text("id");
            entry["path"] = row.Text("path");
            entry["date_available"] = row.Text("avail_date");
            entry["date_expired"] = row.Text("exp_date");
        }
        return true;
    });
}

bool SharingManager::GetSharingRecordFromCache(const std::string &playlistId,
                                               const std::string &path, Json::Value &out) noexcept {
    return Guarded(kSource, false, [&] {
        if (playlistId.empty()) {
            return false;
        }
        out = NotShared();
        if (cache_.empty() ||
            (!cache_.isMember(playlistId) && !CheckAndUpdateCacheRecord(playlistId, path))) {
            return false;
        }
        const Json::Value &entry = cache_[playlistId];
        SharingData rec;
        rec.id = entry["id"].asString();
        rec.avail_date = entry["date_available"].asString();
        rec.exp_date = entry["date_expired"].asString();
        rec.status = sharing::Status(rec.avail_date, rec.exp_date);
        ConvertSharingInfoObj(rec, out);
        return true;
    });
}

bool SharingManager::CheckAndUpdateCacheRecord(const std::string &playlistId,
                                               const std::string &path) noexcept {
    return Guarded(kSource, false, [&] {
        if (!IsSharedNormal(playlistId)) {
            return false;
        }
        for (const std::string &key : cache_.getMemberNames()) {
            if (cache_[key]["path"] == path) {
                const Json::Value entry = cache_[key];
                cache_.removeMember(key);
                cache_[playlistId] = entry;
                UpdatePlsId(playlistId, path);
                return true;
            }
        }
        return false;
    });
}

bool SharingManager::CheckAndUpdateRecord(const std::string &playlistId,
                                          const std::string &path) noexcept {
    return Guarded(kSource, false, [&] {
        if (playlistId.empty() || path.empty() || !IsSharedNormal(playlistId)) {
            return false;
        }
        const auto rows = Run(varn::Sql("SELECT id FROM playlist WHERE path = '@VARN:VAR'", path));
        if (rows && !rows->IsEmpty()) {
            UpdatePlsId(std::string(kSharedNormal) + "/" + (*rows)[0].Text("id"), path);
        }
        return rows.has_value();
    });
}

bool SharingManager::UpdatePlsId(const std::string &playlistId, const std::string &path) noexcept {
    return Guarded(kSource, false, [&] {
        Run(varn::Sql(
            "UPDATE playlist_sharing SET playlist_id = '@VARN:VAR'WHERE path = '@VARN:VAR'",
            playlistId, path));
        return false;
    });
}

}  // namespace Tonvale

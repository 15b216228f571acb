#include <utility>

#include "sharing/sharing.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/statement.h"
#include "tonvale/sharing.h"
#include "varn/account.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using sharing::kSource;
using support::Field;
using support::Guarded;

constexpr char kOfUser[] =
    "SELECT id, playlist_id, path, avail_date, exp_date FROM playlist_sharing WHERE user_id = "
    "@VARN:INT";
constexpr char kPlaylistByPath[] = "SELECT id FROM playlist WHERE path = '@VARN:VAR'";
constexpr char kNewPlaylistId[] =
    "UPDATE playlist_sharing SET playlist_id = '@VARN:VAR'WHERE path = '@VARN:VAR'";

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
        support::Result rows;
        if (!Connected() ||
            !support::Execute(kSource, conn_, varn::Sql(kOfUser, static_cast<int>(uid)), &rows)) {
            return false;
        }
        cache_ = Json::Value(Json::objectValue);
        while (const auto row = support::NextRow(rows)) {
            Json::Value &entry = cache_[Field(rows, *row, "playlist_id")];
            entry["id"] = Field(rows, *row, "id");
            entry["path"] = Field(rows, *row, "path");
            entry["date_available"] = Field(rows, *row, "avail_date");
            entry["date_expired"] = Field(rows, *row, "exp_date");
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
        support::Result rows;
        if (!Connected() ||
            !support::Execute(kSource, conn_, varn::Sql(kPlaylistByPath, path), &rows)) {
            return false;
        }
        if (const auto row = support::NextRow(rows)) {
            UpdatePlsId(std::string(kSharedNormal) + "/" + Field(rows, *row, "id"), path);
        }
        return true;
    });
}

bool SharingManager::UpdatePlsId(const std::string &playlistId, const std::string &path) noexcept {
    return Guarded(kSource, false, [&] {
        if (Connected()) {
            support::Execute(kSource, conn_, varn::Sql(kNewPlaylistId, playlistId, path));
        }
        return false;
    });
}

}  // namespace Tonvale

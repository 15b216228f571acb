#include <algorithm>
#include <memory>
#include <utility>

#include "pin/operation.h"
#include "pin/source.h"
#include "support/handles.h"
#include "support/log.h"
#include "support/run_as.h"
#include "tonvale/library.h"
#include "tonvale/paths.h"
#include "tonvale/pins.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using pin::kSource;
using pin::Operation;

constexpr int kPathSize = 4096;
constexpr char kShared[] = "shared";
constexpr char kPersonal[] = "personal";

constexpr std::string_view kFolderPrefix = "dir_";
constexpr std::string_view kPersonalFolderMark = "dir_p";
constexpr std::string_view kPersonalFolderPrefix = "dir_p_";

constexpr std::string_view kSharedSongs = "playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__";
constexpr std::string_view kSharedSmart = "playlist_shared_smart";
constexpr std::string_view kPersonalSmart = "playlist_personal_smart";

// A member as text; nothing when it is missing, no text, or one that the functions for plain texts
// would cut at a NUL.
std::optional<std::string> Member(const Json::Value &criteria, const char *key) {
    if (!criteria.isObject() || !criteria.isMember(key) || !criteria[key].isString()) {
        return std::nullopt;
    }
    std::string text = criteria[key].asString();
    return text.find('\0') == text.npos ? std::optional(std::move(text)) : std::nullopt;
}

std::string AfterFirstSlash(const std::string &text) {
    const std::size_t slash = text.find('/');
    return slash == std::string::npos ? "" : text.substr(slash + 1);
}

bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// The row id of a folder by its path.
enum class Found { kYes, kNo, kFailed };

Found FolderId(const std::string &library, unsigned uid, const std::string &path, uint32_t &id) {
    const auto condition = varn::Sql(" path='@VARN:VAR' ", path);
    if (!condition) {
        LOG_ERROR(kSource, "Failed to escape string [%s]", path.c_str());
        return Found::kFailed;
    }
    const support::MediaHandle handle(AudioInfoDBOpen(library.c_str(), uid, VARN_TABLE_DIRECTORY,
                                                      "*", condition->c_str(), nullptr, nullptr, 0,
                                                      0, 0));
    if (!handle) {
        LOG_ERROR(kSource, "Failed to open media database.");
        return Found::kFailed;
    }
    const auto folder = std::make_unique<VARN_MEDIA_INFO>();
    if (MediaInfoDBGet(handle.get(), folder.get()) != 0) {
        return Found::kNo;
    }
    id = folder->id;
    return Found::kYes;
}

// The name that clients show for a playlist row.
std::string PlaylistName(const std::string &path, unsigned uid) {
    char title[kPathSize] = "";
    if (VARNPlaylistTitleGetByPath(path.c_str(), title, sizeof(title), uid) == 0 &&
        title[0] != '\0') {
        return title;
    }
    return VARNAudioWebapiUtilsGetFileName(path, true);
}

void Describe(Json::Value &criteria, const char *library, const char *type,
              const std::optional<std::string> &name) {
    criteria[PinData::LIBRARY] = library;
    criteria[PinData::TYPE] = type;
    if (name) {
        criteria[PinData::NAME] = *name;
    }
}

// Playlists that are stored by their identifier. True when `id` was one of them.
bool DescribeKeptId(const std::string &id, Json::Value &criteria) {
    if (id.starts_with(kSharedSmart)) {
        Describe(criteria, kShared, "smart", AfterFirstSlash(id));
    } else if (id.starts_with(kPersonalSmart)) {
        Describe(criteria, kPersonal, "smart", AfterFirstSlash(id));
    } else if (id.starts_with(kSharedSongs)) {
        Describe(criteria, kPersonal, "normal", std::nullopt);
    } else {
        return false;
    }
    return true;
}

}  // namespace

bool PinManager::ConvertFolderIdToPath(Json::Value &criteria) noexcept {
    return Operation(*this, false, [&] {
        const auto id = Member(criteria, PinData::FOLDER);
        if (!id) {
            return Fail(PIN_ERROR_PARAMETER);
        }
        const bool personal = id->starts_with(kPersonalFolderMark);
        const char *const library = personal ? kPersonal : kShared;
        const std::size_t prefix = (personal ? kPersonalFolderPrefix : kFolderPrefix).size();
        const std::string number = id->substr(std::min(prefix, id->size()));
        const auto folder = std::make_unique<VARN_MEDIA_INFO>();
        // The number goes into the statement as it is.
        if (!IsNumber(number) || VARNMusicGetOneById(library, uid_, VARN_TABLE_DIRECTORY,
                                                     folder.get(), nullptr, number.c_str()) < 0) {
            return Fail(PIN_ERROR_FOLDER);
        }
        criteria[PinData::PATH] = folder->path;
        criteria[PinData::FOLDER] = library;
        return true;
    });
}

bool PinManager::ConvertFolderPathToID(Json::Value &criteria) noexcept {
    return Operation(*this, false, [&] {
        const auto library = Member(criteria, PinData::FOLDER);
        const auto path = Member(criteria, PinData::PATH);
        if (!library || !path) {
            return Fail(PIN_ERROR_PARAMETER);
        }
        uint32_t id = 0;
        switch (FolderId(*library, uid_, *path, id)) {
            case Found::kYes:
                break;
            case Found::kNo:
                return Fail(PIN_ERROR_FOLDER);
            case Found::kFailed:
                return Fail(PIN_ERROR_DATABASE);
        }
        criteria[PinData::FOLDER] =
            std::string(*library == kPersonal ? kPersonalFolderPrefix : kFolderPrefix) +
            std::to_string(id);
        criteria[PinData::PATH] = AudioFile::GetSharePathByVolPath(path->c_str());
        return true;
    });
}

bool PinManager::ConvertPlaylistIdToPath(Json::Value &criteria) noexcept {
    return Operation(*this, false, [&] {
        const auto id = Member(criteria, PinData::PLAYLIST);
        bool shared = false;
        bool smart = false;
        std::string key;
        if (!id || VARNAudioWebapiUtilsParsePlaylistId(*id, shared, smart, key) != 1) {
            return Fail(PIN_ERROR_PARAMETER);
        }
        if (*id == kSharedSongs) {
            return true;
        }
        char preferences[kPathSize] = "";
        if (VARNUserPreferenceDirGet(userName_.c_str(), preferences, sizeof(preferences)) != 0) {
            return Fail(PIN_ERROR_PREFERENCE_DIR);
        }
        const bool personalLibrary = IsPersonalLibEnabled(userName_.c_str());
        std::string name;
        std::string path;
        // The look-up of a file leaves the process as root or as the package's account.
        const support::SameAccount account(kSource);
        if (VARNAudioWebapiUtilsGetPlaylistNamePath(*id, uid_, preferences, personalLibrary, name,
                                                    path) != 1) {
            return Fail(PIN_ERROR_PLAYLIST);
        }
        if (smart || (!shared && !personalLibrary)) {
            return true;
        }
        criteria[PinData::PATH] = path;
        criteria[PinData::PLAYLIST] = shared ? kShared : kPersonal;
        return true;
    });
}

bool PinManager::ConvertPlaylistPathToID(Json::Value &criteria) noexcept {
    return Operation(*this, false, [&] {
        const auto value = Member(criteria, PinData::PLAYLIST);
        if (!value) {
            return Fail(PIN_ERROR_PARAMETER);
        }
        if (DescribeKeptId(*value, criteria)) {
            return true;
        }
        if (const auto path = Member(criteria, PinData::PATH)) {
            char id[kPathSize] = "";
            if (VARNPlaylistIDGet(path->c_str(), uid_, id, sizeof(id)) != 0) {
                return Fail(PIN_ERROR_PLAYLIST);
            }
            const bool shared = *value == kShared;
            criteria[PinData::PLAYLIST] =
                std::string(shared ? "playlist_shared_normal/" : "playlist_personal_normal/") + id;
            Describe(criteria, value->c_str(), "normal", PlaylistName(*path, uid_));
            criteria[PinData::PATH] = AudioFile::GetSharePathByVolPath(path->c_str());
        } else if (!IsPersonalLibEnabled(userName_.c_str())) {
            Describe(criteria, kPersonal, "normal", AfterFirstSlash(*value));
        }
        return true;
    });
}

}  // namespace Tonvale

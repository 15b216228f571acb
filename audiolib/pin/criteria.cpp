#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "pin/operation.h"
#include "pin/path_index.h"
#include "pin/source.h"
#include "tonvale/library.h"
#include "tonvale/paths.h"
#include "tonvale/pins.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/number.h"
#include "varn/path.h"
#include "varn/process.h"
#include "varn/run_as.h"

namespace Tonvale {

namespace {

using pin::kSource;
using pin::Operation;

constexpr char kShared[] = "shared";
constexpr char kPersonal[] = "personal";

constexpr std::string_view kFolderPrefix = "dir_";
constexpr std::string_view kPersonalFolderMark = "dir_p";
constexpr std::string_view kPersonalFolderPrefix = "dir_p_";

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

// Where the path of stored criteria is looked for; nothing for criteria that have none, and for
// playlists that are kept by their identifier.
struct StoredPath {
    pin::Place place;
    std::string path;
};

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
    } else if (id.starts_with(webapi::playlist::kSharedSongsId)) {
        Describe(criteria, kPersonal, "normal", std::nullopt);
    } else {
        return false;
    }
    return true;
}

std::optional<StoredPath> PathOfFolder(const Json::Value &criteria) {
    const auto library = Member(criteria, PinData::FOLDER);
    const auto path = Member(criteria, PinData::PATH);
    return library && path ? std::optional(StoredPath{{*library, VARN_TABLE_DIRECTORY}, *path})
                           : std::nullopt;
}

std::optional<StoredPath> PathOfPlaylist(const Json::Value &criteria) {
    const auto path = Member(criteria, PinData::PATH);
    return path ? std::optional(StoredPath{{"all", VARN_TABLE_PLAYLIST}, *path}) : std::nullopt;
}

// Each turns stored criteria into those of clients. An error code, with the criteria unchanged.
int ShowFolder(Json::Value &criteria, pin::PathIndex &index) {
    const auto stored = PathOfFolder(criteria);
    if (!stored) {
        return PIN_ERROR_PARAMETER;
    }
    pin::Row row;
    const pin::Found found = index.Find(stored->place, stored->path, row);
    if (found != pin::Found::kYes) {
        return found == pin::Found::kNo ? PIN_ERROR_FOLDER : PIN_ERROR_DATABASE;
    }
    const bool isPersonal = stored->place.library == kPersonal;
    criteria[PinData::FOLDER] =
        std::string(isPersonal ? kPersonalFolderPrefix : kFolderPrefix) + row.id;
    criteria[PinData::PATH] = AudioFile::GetSharePathByVolPath(stored->path.c_str());
    return PIN_ERROR_NONE;
}

int ShowPlaylist(Json::Value &criteria, const std::string &user, pin::PathIndex &index) {
    const auto value = Member(criteria, PinData::PLAYLIST);
    if (!value) {
        return PIN_ERROR_PARAMETER;
    }
    if (DescribeKeptId(*value, criteria)) {
        return PIN_ERROR_NONE;
    }
    if (const auto stored = PathOfPlaylist(criteria)) {
        const std::string &path = stored->path;
        pin::Row row;
        if (index.Find(stored->place, path, row) != pin::Found::kYes) {
            return PIN_ERROR_PLAYLIST;
        }
        const bool shared = *value == kShared;
        criteria[PinData::PLAYLIST] =
            (shared ? "playlist_shared_normal/" : "playlist_personal_normal/") + row.id;
        Describe(criteria, value->c_str(), "normal",
                 row.title.empty() ? VARNAudioWebapiUtilsGetFileName(path, true) : row.title);
        criteria[PinData::PATH] = AudioFile::GetSharePathByVolPath(path.c_str());
    } else if (!IsPersonalLibEnabled(user.c_str())) {
        Describe(criteria, kPersonal, "normal", AfterFirstSlash(*value));
    }
    return PIN_ERROR_NONE;
}

void Want(const std::optional<StoredPath> &stored, pin::PathIndex &index) {
    if (stored) {
        index.Want(stored->place, stored->path);
    }
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
        if (!varn::IsNumber(number) ||
            VARNMusicGetOneById(library, uid_, VARN_TABLE_DIRECTORY, folder.get(), nullptr,
                                number.c_str()) < 0) {
            return Fail(PIN_ERROR_FOLDER);
        }
        criteria[PinData::PATH] = folder->path;
        criteria[PinData::FOLDER] = library;
        return true;
    });
}

bool PinManager::ConvertFolderPathToID(Json::Value &criteria) noexcept {
    return Operation(*this, false, [&] {
        pin::PathIndex index(*this, uid_);
        Want(PathOfFolder(criteria), index);
        const int error = ShowFolder(criteria, index);
        return error == PIN_ERROR_NONE || Fail(error);
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
        if (*id == webapi::playlist::kSharedSongsId) {
            return true;
        }
        varn::PathBuffer preferences = {};
        if (GetUserIdFromName(userName_.c_str()) == varn::kNoUser ||
            VARNUserPreferenceDirGet(userName_.c_str(), preferences.data(), preferences.size()) !=
                0) {
            return Fail(PIN_ERROR_PREFERENCE_DIR);
        }
        const bool personalLibrary = IsPersonalLibEnabled(userName_.c_str());
        std::string name;
        std::string path;
        // The look-up of a file leaves the process as root or as the package's account.
        const varn::RunAs before(varn::Who::kCaller);
        if (VARNAudioWebapiUtilsGetPlaylistNamePath(*id, uid_, preferences.data(), personalLibrary,
                                                    name, path) != 1) {
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
        pin::PathIndex index(*this, uid_);
        Want(PathOfPlaylist(criteria), index);
        const int error = ShowPlaylist(criteria, userName_, index);
        return error == PIN_ERROR_NONE || Fail(error);
    });
}

// A view that is gone is still a pin: it can be listed, renamed and removed.
void PinManager::ShowCriteria(std::vector<PinData> &pins) {
    pin::PathIndex index(*this, uid_);
    for (const PinData &pin : pins) {
        Want(pin.type == PinData::FOLDER     ? PathOfFolder(pin.criteria)
             : pin.type == PinData::PLAYLIST ? PathOfPlaylist(pin.criteria)
                                             : std::nullopt,
             index);
    }
    for (PinData &pin : pins) {
        if (pin.type == PinData::FOLDER) {
            ShowFolder(pin.criteria, index);
        } else if (pin.type == PinData::PLAYLIST) {
            ShowPlaylist(pin.criteria, userName_, index);
        }
    }
}

}  // namespace Tonvale

#include <array>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/boundary.h"
#include "support/log.h"
#include "support/numbers.h"
#include "support/remote_path.h"
#include "tonvale/webapi.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/handles.h"
#include "varn/path.h"
#include "webapi_library/source.h"

namespace Tonvale::webapi {

namespace {

using support::Guarded;
using support::IsRemotePath;
using support::WholeSeconds;

using varn::PathBuffer;

constexpr std::size_t kHomeBytes = 1024;
constexpr std::size_t kMostTitleBytes = 254;

// The folder of a file, with a slash at its end; "" for what is not in a folder by its own name.
std::string_view FolderOf(std::string_view path) {
    const std::string_view folder = path.substr(0, path.rfind('/') + 1);
    const std::string_view name = path.substr(folder.size());
    return name.empty() || name == "." || name == ".." ? "" : folder;
}

// What the objects of one answer have in common, each asked for once.
class Listener {
  public:
    explicit Listener(const WebapiLibrary &library)
        : library_(library), home_(library.GetUserHome()) {}

    // Of the files of one folder this holds for all or for none.
    bool OwnsMusicAt(const char *path) {
        const std::string_view folder = FolderOf(path);
        if (folder.empty() || folder != askedFolder_) {
            isOwn_ = IsUnderPersonalLibPath(home_.c_str(), path);
            askedFolder_ = folder;
        }
        return isOwn_;
    }

    bool HasPersonalLibrary() {
        if (!hasPersonalLibrary_) {
            hasPersonalLibrary_ = IsPersonalLibEnabled(library_.userName.c_str());
        }
        return *hasPersonalLibrary_;
    }

    // The share-relative path of a file. Most songs lie in the folder of the one before, and so in
    // the same share, which is then not looked up again. No song is a share itself.
    std::string SharePath(const char *volPath) {
        const std::string_view path = volPath;
        const std::string_view folder = FolderOf(path);
        const std::string_view name = path.substr(folder.size());
        const bool plain = !folder.empty();
        if (plain && folder == folder_) {
            return (shownFolder_ + std::string(name)).substr(0, varn::kPathSize - 1);
        }
        PathBuffer out = {};
        if (VARNAudioWebapiUtilsGetSharePathByVolPath(volPath, out.data(), out.size()) == 0) {
            LOG_ERROR(kLibrarySource, "Failed to get share path of [%s]", volPath);
            return volPath;
        }
        const std::string_view shown = out.data();
        const bool inShare = shown.size() <= path.size() || shown.substr(1) != path;
        if (plain && inShare && shown.ends_with(name)) {
            folder_ = folder;
            shownFolder_ = shown.substr(0, shown.size() - name.size());
        }
        return out.data();
    }

  private:
    const WebapiLibrary &library_;
    std::string home_;
    std::string askedFolder_;  // "" before the first, as below
    bool isOwn_ = false;
    std::optional<bool> hasPersonalLibrary_;
    std::string folder_;  // with a slash at its end; "" before the first
    std::string shownFolder_;
};

// A cue sheet's last track has no end in the sheet: its duration is known once somebody asks.
void CompleteDuration(VARN_MEDIA_INFO &record) {
    if (record.duration <= 0 && !IsRemotePath(record.path) &&
        VARNAudioWebapiCorrectVirtualMusicDuration(&record) == 0) {
        LOG_ERROR(kLibrarySource, "Failed to correct duration of [%s]", record.path);
    }
}

std::string KnownSongId(VARN_MEDIA_INFO &record, const char *prefix) {
    const bool isVirtual = IsVirtualMusic(&record);
    if (isVirtual) {
        CompleteDuration(record);
    }
    return prefix + std::string(isVirtual ? "v_" : "") + std::to_string(record.id);
}

std::string SongId(VARN_MEDIA_INFO &record, Listener &listener) {
    const bool underPersonal = listener.OwnsMusicAt(record.path);
    const char *prefix = underPersonal ? "music_p_" : "music_";
    std::string id;
    if (record.id != 0 && (!underPersonal || listener.HasPersonalLibrary())) {
        id = KnownSongId(record, prefix);
    } else if (record.id == 0 && IsRemotePath(record.path)) {
        id = "remote_" + VARNAudioWebapiUtilsGetInfoJsonStringByInfo(&record) + " " + record.path;
    } else {
        id = std::string(prefix) + record.path;
    }
    return id.substr(0, varn::kPathSize - 1);
}

std::string ShownPath(const VARN_MEDIA_INFO &record, Listener &listener) {
    if (IsRemotePath(record.path)) {
        return record.path;
    }
    return listener.SharePath(record.path);
}

// May end within a character, as clients know it.
std::string Title(const VARN_MEDIA_INFO &record, const std::string &path) {
    std::string trimmed = record.title;
    const bool blank = *VLIBCStrTrimSpace(trimmed.data()) == '\0';
    const std::string title =
        blank ? VARNAudioWebapiUtilsGetFileName(path, false) : std::string(record.title);
    return title.substr(0, kMostTitleBytes);
}

void FillTrack(const WebapiLibrary &library, Listener &listener, VARN_MEDIA_INFO &record,
               unsigned rating, const _REPLAYGAIN_METADATA_ *gain, Json::Value &track) {
    track["id"] = SongId(record, listener);
    const std::string path = ShownPath(record, listener);
    track["title"] = Title(record, path);
    track["path"] = path;
    track["type"] = record.id == 0 && IsRemotePath(record.path) ? "remote" : "file";
    if (library.addSongTag) {
        track["additional"]["song_tag"] = GetSongTagObject(&record, gain);
    }
    if (library.addSongAudio) {
        track["additional"]["song_audio"] = GetSongAudioObject(&record);
    }
    if (library.addSongRating) {
        track["additional"]["song_rating"]["rating"] = rating;
    }
}

// The replay gain that GetSongHashValue allocates, fills anew and frees.
struct GainBuffer {
    GainBuffer() = default;
    GainBuffer(const GainBuffer &) = delete;
    GainBuffer &operator=(const GainBuffer &) = delete;
    ~GainBuffer() { std::free(gain); }

    _REPLAYGAIN_METADATA_ *gain = nullptr;
};

unsigned LookUpRating(PVLIBSZHASH *hash, const PLAYLIST_REC &entry, GainBuffer &buffer) {
    std::string text;
    GetSongHashValue(hash, &entry, text, &buffer.gain);
    unsigned rating = 0;
    std::from_chars(text.data(), text.data() + text.size(), rating);
    return rating;
}

void AppendTracks(const WebapiLibrary &library, PVLIBSZHASH *hash, PLAYLIST_REC *first,
                  Json::Value &tracks) {
    Listener listener(library);
    GainBuffer buffer;
    for (PLAYLIST_REC *entry = first; entry != nullptr; entry = entry->next) {
        VARN_MEDIA_INFO &record = entry->info;
        unsigned rating = 0;
        if (record.path[0] != '\0' && !IsRemotePath(record.path) && record.id != 0) {
            rating = LookUpRating(hash, *entry, buffer);
        }
        Json::Value track(Json::objectValue);
        // An entry that was not looked up gets the replay gain of the one before: players of a
        // mixed list know it so.
        FillTrack(library, listener, record, rating, buffer.gain, track);
        tracks.append(std::move(track));
    }
}

}  // namespace

WebapiLibrary::WebapiLibrary(const VARN::APIRequest &request) noexcept
    : WebapiLibrary(request.GetLoginUID(), request.GetLoginUserName(), request.GetPreferenceDir()) {
}

WebapiLibrary::WebapiLibrary(unsigned userId, const std::string &user,
                             const std::string &preferenceFolder) noexcept
    : uid(userId) {
    Guarded(kLibrarySource, [&] {
        userName = user;
        preferenceDir = preferenceFolder;
    });
}

void WebapiLibrary::GetSingleTrackJson(VARN_MEDIA_INFO *record, unsigned rating,
                                       const _REPLAYGAIN_METADATA_ *gain,
                                       Json::Value &track) const noexcept {
    if (record == nullptr) {
        return;
    }
    Guarded(kLibrarySource, [&] {
        Listener listener(*this);
        FillTrack(*this, listener, *record, rating, gain, track);
    });
}

void WebapiLibrary::GetTrackJson(PVLIBSZHASH *hash, PLAYLIST_REC *first,
                                 Json::Value &tracks) const noexcept {
    if (first == nullptr) {
        return;
    }
    Guarded(kLibrarySource, [&] { AppendTracks(*this, hash, first, tracks); });
}

bool WebapiLibrary::IsRemoteTrack(const std::string &path) noexcept {
    return IsRemotePath(path);
}

std::string WebapiLibrary::TranslateContentTypeToFormat(const std::string &contentType) noexcept {
    struct Format {
        std::string_view contentType;
        const char *name;
    };
    static constexpr Format kFormats[] = {
        {"audio/mpeg", "mp3"},  {"audio/mp3", "mp3"},   {"audio/aacp", "aacp"},
        {"audio/aac", "aac"},   {"audio/mp4", "mp4"},   {"audio/wav", "wav"},
        {"audio/x-wav", "wav"}, {"audio/aiff", "aiff"}, {"audio/x-aiff", "aiff"},
    };
    return Guarded(kLibrarySource, std::string(), [&]() -> std::string {
        for (const Format &format : kFormats) {
            if (contentType == format.contentType) {
                return format.name;
            }
        }
        return "raw";
    });
}

std::string WebapiLibrary::GetUserHome() const noexcept {
    return Guarded(kLibrarySource, std::string(), [&]() -> std::string {
        std::array<char, kHomeBytes> home = {};
        return GetUserHomePath(userName.c_str(), home.data(), home.size()) == 0 ? home.data() : "";
    });
}

Json::Value GetSongTagObject(const VARN_MEDIA_INFO *record,
                             const _REPLAYGAIN_METADATA_ *gain) noexcept {
    return Guarded(kLibrarySource, Json::Value(), [&] {
        Json::Value tag;
        if (record == nullptr) {
            return tag;
        }
        tag["album"] = record->album;
        tag["artist"] = record->artist;
        tag["album_artist"] = record->album_artist;
        tag["composer"] = record->composer;
        tag["genre"] = record->genre;
        tag["disc"] = record->disc;
        tag["track"] = record->track;
        tag["year"] = record->year;
        tag["comment"] = record->comment;
        if (gain != nullptr) {
            tag["rg_track_gain"] = VARNAudioWebapiUtilsGetStringFromFloat(gain->track_gain);
            tag["rg_track_peak"] = VARNAudioWebapiUtilsGetStringFromFloat(gain->track_peak);
            tag["rg_album_gain"] = VARNAudioWebapiUtilsGetStringFromFloat(gain->album_gain);
            tag["rg_album_peak"] = VARNAudioWebapiUtilsGetStringFromFloat(gain->album_peak);
        }
        return tag;
    });
}

Json::Value GetSongAudioObject(const VARN_MEDIA_INFO *record) noexcept {
    return Guarded(kLibrarySource, Json::Value(), [&] {
        Json::Value audio;
        if (record == nullptr) {
            return audio;
        }
        audio["duration"] = WholeSeconds(record->duration);
        audio["frequency"] = record->frequency;
        audio["bitrate"] = record->bitrate;
        audio["channel"] = record->channel;
        audio["filesize"] = record->filesize;
        audio["container"] = record->container;
        audio["codec"] = record->codec;
        return audio;
    });
}

}  // namespace Tonvale::webapi

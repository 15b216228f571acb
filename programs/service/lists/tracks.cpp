#include "service/lists/tracks.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

#include "service/playlists/playlist_songs.h"
#include "service/songs/song_marks.h"
#include "service/songs/songs.h"

namespace tonvale_service {

namespace {

using Tonvale::webapi::HashRating;
using Tonvale::webapi::WebapiLibrary;

constexpr int kSongsAtATime = 256;

struct Addition {
    const char *name;
    bool WebapiLibrary::*wanted;
};
constexpr Addition kAdditions[] = {{"song_tag", &WebapiLibrary::addSongTag},
                                   {"song_audio", &WebapiLibrary::addSongAudio},
                                   {"song_rating", &WebapiLibrary::addSongRating}};
constexpr char kFavourite[] = "song_favourite";
constexpr char kPlays[] = "song_plays";

// Reads the next songs of a query; none at the end.
varn::OwnedSongs ReadSome(MEDIA_DB_HANDLE *rows, HashRating &ratings) {
    varn::OwnedSongs songs;
    PLAYLIST_REC *last = nullptr;
    for (int count = 0; count < kSongsAtATime; ++count) {
        auto *entry = static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC)));
        varn::OwnedSongs owned(entry);
        if (!owned || *ratings.Get() == nullptr) {
            throw std::bad_alloc();
        }
        if (MediaInfoDBGet(rows, &entry->info) != 0) {
            break;
        }
        if (SetSongHashValueByDBHandler(ratings.Get(), rows, &entry->info) != 0) {
            throw std::bad_alloc();
        }
        if (last == nullptr) {
            songs = std::move(owned);
        } else {
            last->next = owned.release();
        }
        last = entry;
    }
    return songs;
}

bool IsForeignAddress(const std::string &path) {
    return !path.starts_with('/') && path.find("://") != path.npos &&
           !WebapiLibrary::IsRemoteTrack(path);
}

}  // namespace

const std::vector<std::string> &AdditionNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Addition &addition : kAdditions) {
            all.emplace_back(addition.name);
        }
        all.emplace_back(kFavourite);
        all.emplace_back(kPlays);
        return all;
    }();
    return names;
}

MarksWanted Apply(const std::vector<std::string> &additions, WebapiLibrary &writer) {
    MarksWanted marks;
    for (const std::string &name : additions) {
        for (const Addition &addition : kAdditions) {
            writer.*addition.wanted |= name == addition.name;
        }
        marks.favourite |= name == kFavourite;
        marks.plays |= name == kPlays;
    }
    return marks;
}

void AddMarks(uid_t uid, const MarksWanted &wanted, Json::Value &tracks) {
    if (!wanted.favourite && !wanted.plays) {
        return;
    }
    std::vector<int> rows;
    for (const Json::Value &track : tracks) {
        const auto song = ParseSongId(track["id"].asString());
        rows.push_back(song ? song->row : 0);
    }
    std::map<int, SongMarks> known = MarksOf(uid, rows);
    for (Json::ArrayIndex i = 0; i < tracks.size(); ++i) {
        const SongMarks &marks = known[rows[i]];
        Json::Value &additional = tracks[i]["additional"];
        if (wanted.favourite) {
            additional[kFavourite]["favourite"] = marks.favouriteSince != 0;
            additional[kFavourite]["since"] = Json::Int64{marks.favouriteSince};
        }
        if (wanted.plays) {
            additional[kPlays]["count"] = marks.plays;
            additional[kPlays]["last"] = Json::Int64{marks.lastPlayed};
        }
    }
}

std::string TrackColumns(const WebapiLibrary &writer) {
    std::string columns = kSongColumns;
    // The replay gain belongs to the tags, and costs a join like the rating.
    if (writer.addSongTag) {
        columns += ", rg_track_gain, rg_track_peak, rg_album_gain, rg_album_peak";
    }
    return columns + (writer.addSongRating ? ", star" : "");
}

void AppendTracks(const WebapiLibrary &writer, PVLIBSZHASH *ratings, PLAYLIST_REC *first,
                  Json::Value &tracks) {
    std::map<Json::ArrayIndex, std::string> addresses;
    Json::ArrayIndex place = tracks.size();
    for (PLAYLIST_REC *entry = first; entry != nullptr; entry = entry->next, ++place) {
        if (IsForeignAddress(entry->info.path)) {
            addresses.emplace(place, entry->info.path);
            std::strcpy(entry->info.path, "http://");  // no share is looked for
        }
    }
    writer.GetTrackJson(ratings, first, tracks);
    for (const auto &[at, address] : addresses) {
        Json::Value &track = tracks[at];
        track["id"] = "music_" + address;
        track["path"] = address;
        track["type"] = "file";
        if (track["title"].asString().empty()) {
            track["title"] = VARNAudioWebapiUtilsGetFileName(address, false);
        }
    }
}

SongPage::SongPage(Tonvale::MediaHandle rows, const TrackWriter &writer, int offset, int64_t total)
    : Page("songs", offset, total),
      rows_(std::move(rows)),
      writer_(writer),
      favourites_(writer.marks.favourite ? FavouritesVersion(writer.uid) : "") {}

void SongPage::SetVersion(const Version &version) {
    const std::string text = version.Text();
    SetShows(text.empty() || writer_.marks.plays ? "" : text + favourites_);
}

Json::Value SongPage::Next() {
    Json::Value tracks(Json::arrayValue);
    HashRating ratings;
    const varn::OwnedSongs songs = ReadSome(rows_.get(), ratings);
    writer_.GetTrackJson(ratings.Get(), songs.get(), tracks);
    AddMarks(writer_.uid, writer_.marks, tracks);
    return tracks;
}

}  // namespace tonvale_service

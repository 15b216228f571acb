#include "track_output.h"

#include <cstdlib>
#include <iostream>
#include <memory>

#include "display.h"
#include "page_output.h"
#include "varn/mediaindex.h"

namespace tonvale_cli {

namespace {

using Tonvale::webapi::HashRating;
using Tonvale::webapi::WebapiLibrary;

constexpr int kSongsAtATime = 256;

struct SongsFree {
    void operator()(PLAYLIST_REC *list) const noexcept { VARNPlaylistRecFree(list); }
};
using Songs = std::unique_ptr<PLAYLIST_REC, SongsFree>;

struct Addition {
    const char *name;
    bool WebapiLibrary::*wanted;
};
constexpr Addition kAdditions[] = {{"song_tag", &WebapiLibrary::addSongTag},
                                   {"song_audio", &WebapiLibrary::addSongAudio},
                                   {"song_rating", &WebapiLibrary::addSongRating}};

// Reads the next songs of a query. False when memory is short; no songs at the end.
bool ReadSome(MEDIA_DB_HANDLE *rows, HashRating &ratings, Songs &songs) {
    PLAYLIST_REC *last = nullptr;
    songs.reset();
    for (int count = 0; count < kSongsAtATime; ++count) {
        auto *entry = static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC)));
        Songs owned(entry);
        if (!owned || *ratings.Get() == nullptr) {
            return false;
        }
        if (MediaInfoDBGet(rows, &entry->info) != 0) {
            return true;
        }
        if (SetSongHashValueByDBHandler(ratings.Get(), rows, &entry->info) != 0) {
            return false;
        }
        if (last == nullptr) {
            songs = std::move(owned);
        } else {
            last->next = owned.release();
        }
        last = entry;
    }
    return true;
}

void Write(const Json::Value &tracks, bool &first) {
    const std::unique_ptr<Json::StreamWriter> writer = JsonWriter();
    for (const Json::Value &track : tracks) {
        std::cout << (first ? "" : ",");
        writer->write(track, &std::cout);
        first = false;
    }
}

}  // namespace

CLI::Option *AddAdditions(CLI::App &verb, Additions &additions) {
    std::vector<std::string> names;
    for (const Addition &addition : kAdditions) {
        names.emplace_back(addition.name);
    }
    return verb
        .add_option("--additional", additions,
                    "Print the web API's track objects, with these: song_tag, song_audio, "
                    "song_rating")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember(names))
        ->type_name("NAMES");
}

void Apply(const Additions &additions, WebapiLibrary &writer) {
    for (const std::string &name : additions) {
        for (const Addition &addition : kAdditions) {
            writer.*addition.wanted |= name == addition.name;
        }
    }
}

WebapiLibrary TrackWriter(uid_t uid, const std::string &user, const Additions &additions) {
    WebapiLibrary writer(uid, user, "");
    Apply(additions, writer);
    return writer;
}

bool PrintTracks(MEDIA_DB_HANDLE *rows, const WebapiLibrary &writer, int offset, int64_t total) {
    std::cout << "{\"offset\":" << offset << ",\"songs\":[";
    for (bool first = true;;) {
        HashRating ratings;
        Songs songs;
        if (!ReadSome(rows, ratings, songs)) {
            return false;
        }
        if (!songs) {
            break;
        }
        Json::Value tracks(Json::arrayValue);
        writer.GetTrackJson(ratings.Get(), songs.get(), tracks);
        Write(tracks, first);
    }
    std::cout << "],\"total\":" << total << "}\n";
    return true;
}

void PrintTracksJson(const Json::Value &tracks, int offset, int64_t total) {
    std::cout << "{\"offset\":" << offset << ",\"songs\":[";
    bool first = true;
    Write(tracks, first);
    std::cout << "],\"total\":" << total << "}\n";
}

void PrintTracksTable(const Json::Value &tracks, int offset, int64_t total) {
    Table table({{"ID", false, true}, {"TITLE", false, true}, {"PATH", false, true}});
    for (const Json::Value &track : tracks) {
        table.AddRow({track["id"].asString(), track["title"].asString(), track["path"].asString()});
    }
    PrintPage(table, offset, tracks.size(), total, {"track", "tracks"});
}

}  // namespace tonvale_cli

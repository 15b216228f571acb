// A page of track objects with all additions, against the same rows fetched through libpq and
// written by jsoncpp with nothing else done. Both connect, fetch, build and write, in turn.
#include <benchmark/benchmark.h>
#include <json/value.h>
#include <json/writer.h>

#include <cstdlib>
#include <iterator>
#include <string>

#include "baseline.h"
#include "compare.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/systempath.h"

namespace {

using Tonvale::webapi::HashRating;
using Tonvale::webapi::WebapiLibrary;
using tonvale_bench::Clock;
using tonvale_bench::Connection;
using tonvale_bench::Die;
using tonvale_bench::PgResult;
using tonvale_bench::SecondsSince;

constexpr uid_t kUser = 1024;  // the first account of a new system
constexpr char kUserName[] = "admin";
constexpr int kPage = 1000;

struct Case {
    const char *name;
    const char *condition;
    const char *order;
};

// The first costs the server next to nothing: what is made of the rows shows most.
constexpr Case kCases[] = {{"1000 track objects, found by id", "id <= 2000", "id"},
                           {"1000 track objects of all, by album", "", "album, disc, track, path"}};

// What a track object is made of.
constexpr const char *kTexts[] = {"path",     "title", "album",     "artist", "album_artist",
                                  "composer", "genre", "container", "codec",  "comment"};
constexpr const char *kNumbers[] = {"id",      "disc",      "track",   "year",     "duration",
                                    "bitrate", "frequency", "channel", "filesize", "star"};

// The statement that the page's reader runs.
std::string Statement(const Case &c) {
    const int flags[VARN_JOIN_TABLES] = {1, 1, 1, 1, 0, 1, 1};
    std::string table(4096, '\0');
    std::string where(1024, '\0');
    if (GenerateTableString("all", kUser, VARN_TABLE_MUSIC, table.data(), table.size(),
                            where.data(), where.size(), flags, 0) != 0) {
        Die("no track view");
    }
    const std::string condition = *c.condition != '\0' ? std::string("WHERE ") + c.condition : "";
    return "SELECT * FROM " + std::string(table.c_str()) + " " + condition + "  ORDER BY " +
           c.order + " LIMIT " + std::to_string(kPage) + " OFFSET 0";
}

std::string Written(const Json::Value &json) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, json);
}

double Baseline(const std::string &statement) {
    const Clock::time_point start = Clock::now();
    {
        Connection connection;
        const PgResult rows = connection.Run(statement);
        if (PQntuples(rows.get()) != kPage) {
            Die("the library is too small");
        }
        Json::Value tracks(Json::arrayValue);
        for (int row = 0; row < PQntuples(rows.get()); ++row) {
            Json::Value track(Json::objectValue);
            for (const char *name : kTexts) {
                track[name] = PQgetvalue(rows.get(), row, PQfnumber(rows.get(), name));
            }
            for (const char *name : kNumbers) {
                track[name] = std::atoi(PQgetvalue(rows.get(), row, PQfnumber(rows.get(), name)));
            }
            tracks.append(std::move(track));
        }
        benchmark::DoNotOptimize(Written(tracks));
    }
    return SecondsSince(start);
}

// The list of a query's songs, with what is kept of each.
PLAYLIST_REC *ReadSongs(const Case &c, HashRating &ratings) {
    MEDIA_DB_HANDLE *rows =
        AudioInfoDBOpen("all", kUser, VARN_TABLE_MUSIC, "*", c.condition, "", c.order, 0, kPage, 0);
    if (rows == nullptr) {
        Die("the page could not be opened");
    }
    PLAYLIST_REC *first = nullptr;
    PLAYLIST_REC **end = &first;
    for (int row = 0; row < rows->rowCount; ++row) {
        *end = static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC)));
        MediaInfoDBGet(rows, &(*end)->info);
        SetSongHashValueByDBHandler(ratings.Get(), rows, &(*end)->info);
        end = &(*end)->next;
    }
    AudioInfoDBClose(rows);
    return first;
}

double Objects(const Case &c) {
    const Clock::time_point start = Clock::now();
    HashRating ratings;
    PLAYLIST_REC *songs = ReadSongs(c, ratings);
    WebapiLibrary library(kUser, kUserName, "");
    library.addSongTag = library.addSongAudio = library.addSongRating = true;
    Json::Value tracks(Json::arrayValue);
    library.GetTrackJson(ratings.Get(), songs, tracks);
    VARNPlaylistRecFree(songs);
    if (tracks.size() != kPage || tracks[0]["path"].asString().rfind("/music/", 0) != 0) {
        Die("the page is not whole");
    }
    benchmark::DoNotOptimize(Written(tracks));
    return SecondsSince(start);
}

void Tracks(benchmark::State &state) {
    const Case &c = kCases[state.range(0)];
    const std::string statement = Statement(c);
    state.SetLabel(c.name);
    tonvale_bench::Compare(
        state, [&] { return Baseline(statement); }, [&] { return Objects(c); });
}

BENCHMARK(Tracks)
    ->DenseRange(0, static_cast<int>(std::size(kCases)) - 1)
    ->UseManualTime()
    ->Iterations(50)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

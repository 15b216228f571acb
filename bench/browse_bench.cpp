// What the lists of groups, the searches and the ratings cost through the library, against the same
// statements through the database's own client library, in turn. Each side connects, runs the
// statement, reads every field of every row, and closes.
//
// Needs TONVALE_ROOT with a running database; bench/run prepares one. With --statements the
// statements are printed instead, a name and a statement a line. With --plans each is run under
// other settings of the planner, each of which rules something out, and the best is shown.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "baseline.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/systempath.h"

namespace {

using tonvale_bench::Clock;
using tonvale_bench::Connection;
using tonvale_bench::Die;
using tonvale_bench::RunStatement;
using tonvale_bench::SecondsSince;
using Flags = std::array<int, VARN_JOIN_TABLES>;

constexpr uid_t kUser = 1024;  // the first account of a new system
constexpr int kPage = 100;

// Two keywords: one title has the first, and a tenth of all titles the second, which is in artists'
// and albums' names too.
constexpr char kRare[] = "of 77777";
constexpr char kCommon[] = "1 of";
// The same for names of artists and albums.
constexpr char kRareName[] = "st 777";
constexpr char kCommonName[] = "1";

// ---- statements --------------------------------------------------------------------------------

std::string View(Flags flags, const std::string &words, int genreJoin) {
    UpdateJoinTableArgs(flags.data(), words.c_str());
    std::array<char, 4096> table = {};
    std::array<char, 1024> where = {};
    if (GenerateTableString("all", kUser, VARN_TABLE_MUSIC, table.data(), table.size(),
                            where.data(), where.size(), flags.data(), genreJoin) != 0) {
        Die("no track view");
    }
    return table.data();
}

std::string Where(const std::string &condition) {
    return condition.empty() ? "" : "WHERE " + condition;
}

std::string Paged(const std::string &statement) {
    return statement + " LIMIT " + std::to_string(kPage) + " OFFSET 0";
}

std::string AlbumPage(const std::string &condition, const std::string &order) {
    return Paged(
        "SELECT *, COUNT(*) OVER() AS result_count FROM (SELECT album AS path, album AS title, "
        "album, album_artist, album_sort, album_artist_sort, MAX(date) AS create_date, CASE WHEN "
        "MAX(year) = MIN(year) THEN MAX(year) ELSE 0 END AS year, COALESCE(AVG(CAST(NULLIF(star, "
        "0) AS INT)), 0) AS star FROM " +
        View({1, 0, 0, 0, 0, 1, 0}, condition, 1) + " " + Where(condition) +
        " GROUP BY album, album_artist, album_sort, album_artist_sort ) tb ORDER BY " + order);
}

std::string AlbumCount(const std::string &condition) {
    return "SELECT COUNT(*) AS result_count FROM (SELECT album, album_artist FROM " +
           View({1, 0, 0, 0, 0, 0, 0}, condition, 1) + " " + Where(condition) +
           " GROUP BY album, album_artist) tb";
}

// The filters of the album artist's half and of the artist's.
std::array<std::string, 2> ArtistFilters(const std::string &pattern) {
    if (pattern.empty()) {
        return {"WHERE has_album_artist = 'TRUE'", "WHERE has_album_artist = 'FALSE'"};
    }
    return {"WHERE album_artist " + pattern, "WHERE artist " + pattern};
}

std::string ArtistPage(const std::string &pattern, const std::string &order) {
    const std::string view = View({1, 1, 0, 0, 0, 1, 0}, pattern, 1);
    const auto [albumArtist, artist] = ArtistFilters(pattern);
    return Paged(
        "SELECT MAX(artist) AS title, MAX(artist) AS path, MAX(artist) AS artist, artist_sort, "
        "(case SUM(starNum) when 0 then 0 else SUM(starSum)/SUM(starNum) end) AS star, COUNT(*) "
        "OVER() AS result_count FROM ( SELECT MAX(album_artist) AS artist, album_artist_search AS "
        "artist_search, album_artist_sort AS artist_sort, SUM(star) AS starSum, COUNT(case star "
        "when 0 then null else star end) AS starNum FROM " +
        view + " " + albumArtist +
        " GROUP BY album_artist_search, album_artist_sort UNION ALL SELECT MAX(artist) AS artist, "
        "artist_search, artist_sort, SUM(star) AS starSum, COUNT(case star when 0 then null else "
        "star end) AS starNum FROM " +
        view + " " + artist +
        " GROUP BY artist_search, artist_sort ) tb1 GROUP BY artist_search, artist_sort ORDER "
        "BY " +
        order + " ");
}

std::string ArtistCount(const std::string &pattern) {
    const std::string view = View({1, 1, 0, 0, 0, 0, 0}, pattern, 1);
    const auto [albumArtist, artist] = ArtistFilters(pattern);
    return "SELECT COUNT(DISTINCT artist_search) AS result_count FROM (SELECT DISTINCT "
           "artist_search FROM " +
           view + " " + artist +
           " UNION ALL SELECT DISTINCT album_artist_search AS artist_search FROM " + view + " " +
           albumArtist + " ) all_artist ";
}

std::string ValuePage(const std::string &column, const std::string &condition,
                      const std::string &order) {
    const std::string sort = column + "_sort";
    return Paged("SELECT " + column + " AS path, " + column + " AS title, " + column + ", " + sort +
                 ", COALESCE(AVG(CAST(NULLIF(star, 0) AS INT)), 0) AS star, COUNT(*) OVER() AS "
                 "result_count FROM " +
                 View({0, 0, 0, 0, 0, 1, 0}, condition + column, 1) + " " + Where(condition) +
                 " GROUP BY " + column + ", " + sort + " ORDER BY " + order);
}

// As the query frame does: what names a genre picks tracks by id.
std::string SongWhere(const std::string &condition, const Flags &flags) {
    if (condition.find("genre") == std::string::npos) {
        return Where(condition);
    }
    return "WHERE id IN (SELECT id FROM " + View(flags, "", 1) + " WHERE " + condition + ")";
}

std::string SongPage(const std::string &condition, const std::string &order) {
    constexpr Flags kJoins = {1, 1, 1, 1, 0, 1, 1};
    return Paged("SELECT * FROM " + View(kJoins, "", 0) + " " + SongWhere(condition, kJoins) +
                 "  ORDER BY " + order);
}

std::string SongCount(const std::string &condition) {
    Flags flags = {};
    UpdateJoinTableArgs(flags.data(), condition.c_str());
    return "SELECT COUNT(*) as result_count FROM " + View(flags, "", 0) + " " +
           SongWhere(condition, flags) + " ";
}

std::string Everywhere(const std::string &keyword) {
    std::string condition;
    for (const char *column : {"title", "artist", "album", "album_artist", "composer", "genre"}) {
        condition +=
            std::string(condition.empty() ? "" : " or ") + column + " ilike '%" + keyword + "%'";
    }
    return "(" + condition + ")";
}

std::string Named(const char *column, const char *keyword) {
    return std::string(column) + " ILIKE '%" + keyword + "%'";
}

// ---- other plans -------------------------------------------------------------------------------

// A connection whose server process tells how long it has been running, which other work on the
// machine does not change. Parallel workers would not be counted.
class Server : private Connection {
  public:
    explicit Server(const std::string &settings) {
        Run("SET max_parallel_workers_per_gather = 0" + settings);
        path_ = "/proc/" + std::string(PQgetvalue(Run("SELECT pg_backend_pid()").get(), 0, 0)) +
                "/schedstat";
    }

    // Milliseconds of the shortest of some runs, with the planning.
    double Shortest(const std::string &statement) {
        double shortest = std::numeric_limits<double>::max();
        for (int run = 0; run < 2; ++run) {
            const double before = Milliseconds();
            Run(statement);
            shortest = std::min(shortest, Milliseconds() - before);
        }
        return shortest;
    }

    // The same of its plan alone, which a prepared statement without parameters keeps.
    double ShortestOfPlan(const std::string &statement) {
        Run("PREPARE measured AS " + statement);
        Run("EXECUTE measured");
        const double shortest = Shortest("EXECUTE measured");
        Run("DEALLOCATE measured");
        return shortest;
    }

  private:
    double Milliseconds() const {
        double nanoseconds = 0;
        if (!(std::ifstream(path_) >> nanoseconds)) {
            Die("cannot read " + path_);
        }
        return nanoseconds / 1e6;
    }

    std::string path_;
};

struct Planner {
    const char *name;
    const char *settings;
};
constexpr Planner kPlanners[] = {
    {"as it is", ""},
    {"more memory", "; SET work_mem = '64MB'"},
    {"no nested loops", "; SET enable_nestloop = off"},
    {"no merge joins", "; SET enable_mergejoin = off"},
    {"no hash joins", "; SET enable_hashjoin = off"},
    {"no sorting", "; SET enable_sort = off"},
    {"no hash groups", "; SET enable_hashagg = off"},
    {"no whole tables", "; SET enable_seqscan = off"},
    {"no indexes",
     "; SET enable_indexscan = off; SET enable_bitmapscan = off; SET enable_indexonlyscan = off"},
};

// ---- both sides --------------------------------------------------------------------------------

struct Case {
    std::string name;
    std::string statement;
    std::function<MEDIA_DB_HANDLE *()> open;  // either this, for a page,
    std::function<int64_t()> count;           // or this
};

void ReadAll(MEDIA_DB_HANDLE *handle) {
    if (handle == nullptr) {
        Die("the page could not be opened");
    }
    for (int row = 0; row < handle->rowCount; ++row) {
        const char *field = nullptr;
        for (int column = 0; (field = VARNDBFetchFieldAt(handle->result, row, column)) != nullptr;
             ++column) {
            benchmark::DoNotOptimize(field);
        }
    }
    AudioInfoDBClose(handle);
}

double Library(const Case &c) {
    const Clock::time_point start = Clock::now();
    if (c.open) {
        ReadAll(c.open());
    } else if (c.count() < 0) {
        Die("the count failed");
    }
    return SecondsSince(start);
}

Case Albums(const char *name, const std::string &condition, const char *order) {
    const std::string full = std::string(order) + ", album_artist_sort";
    return {name, AlbumPage(condition, full),
            [=] {
                return AudioInfoDBOpenWithAlbumList("all", kUser, condition.c_str(), order, 0,
                                                    kPage);
            },
            nullptr};
}

Case Artists(const char *name, const std::string &pattern, const char *order) {
    return {name, ArtistPage(pattern, order),
            [=] {
                return AudioInfoDBOpenWithArtistList("all", kUser, pattern.c_str(), order, 0,
                                                     kPage);
            },
            nullptr};
}

Case Values(const char *name, const char *column, const std::string &condition, const char *order) {
    return {name, ValuePage(column, condition, order),
            [=] {
                return AudioInfoDBOpenWithContainerList("all", kUser, column, condition.c_str(),
                                                        order, 0, kPage);
            },
            nullptr};
}

Case Songs(const char *name, const std::string &condition) {
    constexpr char kOrder[] = "lower(title)";
    return {name, SongPage(condition, kOrder),
            [=] {
                return AudioInfoDBOpen("all", kUser, VARN_TABLE_MUSIC, "*", condition.c_str(), "",
                                       kOrder, 0, kPage, 0);
            },
            nullptr};
}

Case Count(const char *name, const std::string &statement, std::function<int64_t()> count) {
    return {name, statement, nullptr, std::move(count)};
}

Case SongsCount(const char *name, const std::string &condition) {
    return Count(name, SongCount(condition), [=] {
        return AudioInfoDBGetCount("all", kUser, VARN_TABLE_MUSIC, "*", condition.c_str(), "", 0);
    });
}

Case ArtistsCount(const char *name, const std::string &pattern) {
    return Count(name, ArtistCount(pattern),
                 [=] { return AudioInfoDBGetCountWithArtistList("all", kUser, pattern.c_str()); });
}

Case AlbumsCount(const char *name, const std::string &condition) {
    return Count(name, AlbumCount(condition),
                 [=] { return AudioInfoDBGetCountWithAlbumList("all", kUser, condition.c_str()); });
}

#define BY(column) column "_sort COLLATE \"en_US_varnel\""

std::vector<Case> Cases() {
    const auto pattern = [](const char *keyword) {
        return std::string(" ILIKE '%") + keyword + "%'";
    };
    return {
        Albums("albums: page", "", BY("album")),
        AlbumsCount("albums: count", ""),
        Albums("albums: page, rare name", Named("album", kRareName), BY("album")),
        Albums("albums: page, common name", Named("album", kCommonName), BY("album")),
        AlbumsCount("albums: count, rare name", Named("album", kRareName)),
        AlbumsCount("albums: count, common name", Named("album", kCommonName)),
        Albums("albums: page, one artist", "artist_search = UPPER('Artist 77')", BY("album")),
        Albums("albums: page, one genre", "genre = 'Genre 7'", BY("album")),
        Artists("artists: page", "", BY("artist")),
        ArtistsCount("artists: count", ""),
        Artists("artists: page, rare name", pattern(kRareName), BY("artist")),
        Artists("artists: page, common name", pattern(kCommonName), BY("artist")),
        ArtistsCount("artists: count, rare name", pattern(kRareName)),
        ArtistsCount("artists: count, common name", pattern(kCommonName)),
        Values("genres: page", "genre", "", BY("genre")),
        Values("genres: page, rare name", "genre", Named("genre", "re 17"), BY("genre")),
        Values("genres: page, common name", "genre", Named("genre", kCommonName), BY("genre")),
        Values("composers: page", "composer", "", BY("composer")),
        Values("composers: page, rare name", "composer", Named("composer", "r 77"), BY("composer")),
        Values("composers: page, common name", "composer", Named("composer", kCommonName),
               BY("composer")),
        Songs("songs: page", ""),
        SongsCount("songs: count", ""),
        Songs("search: page, rare", Everywhere(kRare)),
        SongsCount("search: count, rare", Everywhere(kRare)),
        Songs("search: page, common", Everywhere(kCommon)),
        SongsCount("search: count, common", Everywhere(kCommon)),
        Songs("search titles: page, rare", Named("title", kRare)),
        SongsCount("search titles: count, rare", Named("title", kRare)),
        Songs("search titles: page, common", Named("title", kCommon)),
        SongsCount("search titles: count, common", Named("title", kCommon)),
        Songs("search artists: page, rare", Named("artist", kRareName)),
        SongsCount("search artists: count, rare", Named("artist", kRareName)),
        Songs("search artists: page, common", Named("artist", kCommonName)),
        SongsCount("search artists: count, common", Named("artist", kCommonName)),
        Songs("search albums: page, rare", Named("album", kRareName)),
        SongsCount("search albums: count, rare", Named("album", kRareName)),
        Songs("search albums: page, common", Named("album", kCommonName)),
        SongsCount("search albums: count, common", Named("album", kCommonName)),
        Songs("search composers: page, rare", Named("composer", "r 77")),
        SongsCount("search composers: count, rare", Named("composer", "r 77")),
        Songs("search composers: page, common", Named("composer", kCommonName)),
        SongsCount("search composers: count, common", Named("composer", kCommonName)),
        Songs("search genres: page, rare", Named("genre", "re 17")),
        SongsCount("search genres: count, rare", Named("genre", "re 17")),
        Songs("search genres: page, common", Named("genre", kCommonName)),
        SongsCount("search genres: count, common", Named("genre", kCommonName)),
    };
}

#undef BY

// Each statement's shortest time, its plan's, and that of the best plan. The settings take turns,
// because the machine's caches are not always as quick.
void ShowPlans(const std::vector<Case> &cases) {
    std::vector<std::unique_ptr<Server>> servers;
    for (const Planner &planner : kPlanners) {
        servers.push_back(std::make_unique<Server>(planner.settings));
    }
    std::printf("%-28s %8s %8s %8s %6s\n", "", "ms", "plan", "best", "ratio");
    for (const Case &c : cases) {
        double whole = std::numeric_limits<double>::max();
        std::vector<double> plans(servers.size(), whole);
        for (int round = 0; round < 4; ++round) {
            whole = std::min(whole, servers[0]->Shortest(c.statement));
            for (std::size_t i = 0; i < servers.size(); ++i) {
                plans[i] = std::min(plans[i], servers[i]->ShortestOfPlan(c.statement));
            }
        }
        const auto best = std::min_element(plans.begin(), plans.end());
        std::printf("%-28s %8.1f %8.1f %8.1f %6.2f  %s\n", c.name.c_str(), whole, plans[0], *best,
                    plans[0] / *best, kPlanners[best - plans.begin()].name);
        std::fflush(stdout);
    }
}

void Browse(benchmark::State &state, const Case &c) {
    double baseline = 0;
    double measured = 0;
    bool libraryFirst = false;
    for (auto _ : state) {
        // In turn, so that neither side always finds what the other has warmed.
        double seconds = libraryFirst ? Library(c) : 0;
        baseline += RunStatement(c.statement);
        if (!libraryFirst) {
            seconds = Library(c);
        }
        libraryFirst = !libraryFirst;
        measured += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = measured / baseline;
}

}  // namespace

int main(int argc, char **argv) {
    const std::vector<Case> cases = Cases();
    if (argc > 1 && std::strcmp(argv[1], "--statements") == 0) {
        for (const Case &c : cases) {
            std::printf("%s\t%s\n", c.name.c_str(), c.statement.c_str());
        }
        return 0;
    }
    if (argc > 1 && std::strcmp(argv[1], "--plans") == 0) {
        ShowPlans(cases);
        return 0;
    }
    for (const Case &c : cases) {
        benchmark::RegisterBenchmark(c.name.c_str(),
                                     [&c](benchmark::State &state) { Browse(state, c); })
            ->UseManualTime()
            ->MinTime(3)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

// The plans of common statements.
#include <array>
#include <regex>

#include "support/eventually.h"
#include "support/fixture.h"
#include "tonvale/library.h"

namespace {

using namespace tonvale_test;

class LibraryPlan : public DatabaseTest {
  protected:
    static void FillLibrary() {
        Query(ReadFile(TONVALE_SOURCE_DIR "/bench/generated_library.sql") +
              "; SELECT pg_temp.generate_library(20000, " + std::to_string(kAlice) + ")");
        Settle();
    }

    // Makes statistics, and the visibility map, without which no index answers alone. A page counts
    // as visible when all transactions from before it have ended, those of autovacuum included.
    static void Settle() {
        EXPECT_TRUE(Eventually([] {
            Query(
                "VACUUM ANALYZE track, album_track, artist_track, composer_track, genre_track, "
                "virtual_info_track, rating_track");
            return Value(
                       "SELECT relallvisible >= relpages FROM pg_class WHERE relname = 'track'") ==
                   "t";
        })) << "the visibility map is not complete";
    }

    // The FROM part that the frame puts in front of a condition.
    static std::string View(const char *library, std::array<int, VARN_JOIN_TABLES> flags,
                            int genreJoin = 0) {
        std::array<char, 4096> table = {};
        std::array<char, 1024> where = {};
        EXPECT_EQ(GenerateTableString(library, kAlice, VARN_TABLE_MUSIC, table.data(), table.size(),
                                      where.data(), where.size(), flags.data(), genreJoin),
                  0);
        return table.data();
    }
    static std::string Page(const char *library, const std::string &rest) {
        return "SELECT * FROM " + View(library, {1, 1, 1, 1, 0, 1, 1}) + " " + rest;
    }
    static std::string Count(const char *library, const char *condition) {
        std::array<int, VARN_JOIN_TABLES> flags = {};
        UpdateJoinTableArgs(flags.data(), condition);
        return "SELECT COUNT(*) as result_count FROM " + View(library, flags) + " " +
               (*condition != '\0' ? std::string("WHERE ") + condition : "");
    }
    // What a list of groups does with a condition.
    static std::string Groups(const char *column, const std::string &condition) {
        std::array<int, VARN_JOIN_TABLES> flags = {0, 0, 0, 0, 0, 1, 0};
        UpdateJoinTableArgs(flags.data(), column);
        UpdateJoinTableArgs(flags.data(), condition.c_str());
        return std::string("SELECT ") + column + ", AVG(star) FROM " + View("all", flags, 1) +
               " WHERE " + condition + " GROUP BY " + column;
    }
    static std::string Plan(const std::string &statement) {
        std::string plan;
        for (const auto &row : Query("EXPLAIN " + statement)) {
            plan += row.front() + "\n";
        }
        return plan;
    }
};

TEST_F(LibraryPlan, CommonStatementsUseTheirIndex) {
    FillLibrary();
    using Case = std::pair<std::string, const char *>;
    const std::string path = "/volume1/music/Artist 9/Album 27/270.mp3";
    for (const auto &[statement, uses] :
         {Case{Page("all", "WHERE  id=17 "), "Index Scan using track_pkey"},
          Case{Page("all", "WHERE path like '" + path + "'"),
               "(Index Scan using|Bitmap Index Scan on) track_path"},
          Case{Page("actual", "WHERE path like '/volume1/music/Artist 9/%'"), "track_path_below"},
          Case{Page("all", "ORDER BY lower(title) LIMIT 100 OFFSET 0"),
               "Index Scan using track_title_lower"},
          Case{Page("all",
                    "ORDER BY title_sort COLLATE \"en_US_varnel\", album, disc, track "
                    "LIMIT 100 OFFSET 300"),
               "Index Scan using track_title on"},
          Case{Page("shared", "WHERE artist_search = UPPER('artist 9') LIMIT 100"),
               "artist_track_search"},
          Case{Page("shared", "WHERE album = 'Album 27' LIMIT 100"), "album_track_album"},
          Case{Page("all", "WHERE id IN (SELECT id FROM " + View("all", {1, 1, 0, 1, 0, 1, 1}) +
                               " WHERE id = 5)"),
               "track_pkey"},
          Case{Count("actual_shared", ""), "Index Only Scan using track_owner"},
          Case{Count("all", "artist_search = UPPER('artist 9')"), "artist_track_search"},
          Case{Count("all", "title ilike '%of 17771%'"), "track_title_text"},
          Case{Count("all", "composer = 'Composer 7'"), "composer_track_composer"},
          Case{Groups("album", "album ILIKE '%um 1777%'"), "album_track_album_text"},
          Case{Groups("album_artist", "album_artist ILIKE '%st 177%'"), "album_track_artist_text"},
          Case{Groups("artist", "artist ILIKE '%st 177%'"), "artist_track_text"},
          Case{Groups("composer", "composer ILIKE '%er 77%'"), "composer_track_text"},
          Case{Groups("genre", "genre ILIKE '%re 17%'"), "genre_track_text"},
          Case{Groups("composer", "genre = 'Genre 7' AND album = 'Album 7'"), "album_track_album "},
          Case{"SELECT id, path, star, track.track AS track, is_virtual FROM track LEFT JOIN "
               "rating_track ON track.id = rating_track.track AND rating_track.userid = 1030 "
               "WHERE id IN ( 17, 18, 19 )",
               "track_pkey(.|\\n)*rating_track_pkey|rating_track_pkey(.|\\n)*track_pkey"}}) {
        const std::string plan = Plan(statement);
        EXPECT_TRUE(std::regex_search(plan, std::regex(uses))) << uses << " is not used by\n"
                                                               << statement << "\n"
                                                               << plan;
    }
}

TEST_F(LibraryPlan, UnusedSideTablesAreNotRead) {
    const std::string plan =
        Plan("SELECT id, title FROM " + View("all", {1, 1, 1, 1, 1, 1, 1}) + " LIMIT 10");
    for (const char *table : {"album_track", "artist_track", "composer_track", "virtual_info_track",
                              "rating_track", "replaygain_track"}) {
        EXPECT_EQ(plan.find(table), std::string::npos) << plan;
    }
}

}  // namespace

// Searches, and the texts that they look at.
#include "service/search/search.h"

#include <algorithm>
#include <random>

#include "programs/command.h"
#include "service/base/failure.h"
#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/sql.h"

namespace {

using namespace tonvale_test;
using namespace tonvale_service;
using Texts = std::vector<std::string>;

class SearchTest : public DatabaseTest {
  protected:
    // A statement that adds songs whose names are written in many ways.
    static std::string DifficultSongs() {
        std::string sql;
        for (const TrackRow &row : {
                 TrackRow{.id = 1, .title = "D\u00E4mmerung", .album = "Wei\u00DF & Blau"},
                 {.id = 2, .title = "Am Abend", .artist = "Wei\u00DF"},
                 {.id = 3, .title = "100%_ \\o/ 'quoted'", .composer = "Antonio Dvo\u0159a\u0301k"},
                 {.id = 4,
                 .title = "\u6771\u4EAC\u306E\u591C",
                 .genres = {"J-Pop", "\u30ED\u30C3\u30AF"}},
                 {.id = 5, .title = "Love", .album = "Ones"},
                 {.id = 6, .title = "Love Me Do", .artist = "\uFF21\uFF22\uFF23"},
                 {.id = 7, .title = "All You Need (Love)"},
                 {.id = 8, .title = "Glove", .artist = "\u0141\u00F3d\u017A \U0001F3B5"},
                 {.id = 9, .title = "\u05E9\u05C1\u05B8\u05DC\u05D5\u05B9\u05DD"},
                 {.id = 10, .userid = kBob, .title = "Love of Bob"},
             }) {
            sql += InsertSql(row);
        }
        return sql;
    }
    static ListRequest RequestOf(uid_t uid) {
        ListRequest request;
        request.library = "all";
        request.uid = uid;
        return request;
    }
    static std::vector<int> Songs(const ListRequest &request, const std::string &keyword,
                                  const std::string &field = "all") {
        const auto page = SearchSongs(request, keyword, field,
                                      Tonvale::webapi::WebapiLibrary(request.uid, "alice", ""));
        std::vector<int> ids;
        VARN_MEDIA_INFO song;
        while (MediaInfoDBGet(page->Rows(), &song) == 0) {
            ids.push_back(static_cast<int>(song.id));
        }
        EXPECT_TRUE(request.limit > 0 || page->Total() == static_cast<int64_t>(ids.size()));
        return ids;
    }
    static Texts Names(const std::string &kind, const std::string &keyword) {
        return Each(SearchGroups(kind, RequestOf(kAlice), keyword)->Next(), "name");
    }
};

TEST_F(SearchTest, FindsSongsInEverySpellingBestFirst) {
    Query(DifficultSongs());
    using Ids = std::vector<int>;
    for (const auto &[keyword, field, ids] :
         {std::tuple<std::string, const char *, Ids>("dammerung", "all", {1}),
          {"WEISS da\u0308mm", "all", {1}},
          {"blau weiss", "album", {1}},
          {"weiss", "all", {2, 1}},
          {"weiss", "title", {}},
          {"weiss", "artist", {2}},
          {"%_", "all", {3}},
          {"\\O/ '", "title", {3}},
          {"dvorak", "composer", {3}},
          {"\u4EAC\u306E", "all", {4}},
          {"\u591C", "title", {4}},
          {"\uFF9B\uFF6F\uFF78", "genre", {4}},
          {"\uFF4Cove", "all", {5, 6, 7, 8}},
          {"abc do", "all", {6}},
          {"(love", "all", {7}},
          {"lodz \U0001F3B5", "all", {8}},
          {"\u200F\u05E9\u05DC\u05D5\u05DD", "all", {9}},
          {"love bob", "all", {}}}) {
        EXPECT_EQ(Songs(RequestOf(kAlice), keyword, field), ids) << keyword << " in " << field;
    }
    ListRequest page = RequestOf(kAlice);
    page.limit = page.offset = 2;
    EXPECT_EQ(Songs(page, "love"), (Ids{7, 8}));
    page.filters.album = "Ones";
    page.offset = 0;
    EXPECT_EQ(Songs(page, "love"), Ids{5});
    page.filters.album.reset();
    page.sortBy = "title";
    page.descending = true;
    EXPECT_EQ(Songs(page, "love"), (Ids{6, 5}));

    EXPECT_EQ(Names("albums", "blau"), Texts{"Wei\u00DF & Blau"});
    EXPECT_EQ(Names("artists", "weiss"), Texts{"Wei\u00DF"});
    EXPECT_EQ(Names("artists", "love"), Texts());
    EXPECT_EQ(Names("composers", "ANTONIO dvor"), Texts{"Antonio Dvo\u0159a\u0301k"});
    for (const std::string &nothing :
         {std::string(), std::string(" \t\u3000"), std::string("\u0301\u200F"),
          std::string("a\0b", 3), std::string("\xFF"), std::string(401, 'a')}) {
        EXPECT_THROW(Songs(RequestOf(kAlice), nothing), Failure) << nothing;
    }
    EXPECT_EQ(Songs(RequestOf(kAlice), std::string(400, '%')), Ids());
}

class ChangingSongs : public SearchTest {
  protected:
    std::string RandomText() {
        const Texts parts = {"a", "B", "\u00C4", "a\u0308", " ", "\u00DF", "(", "'", "\u4EAC"};
        std::string all;
        for (std::size_t count = random_() % 5 + 1; count > 0; --count) {
            all += parts[random_() % parts.size()];
        }
        return all;
    }
    TrackRow RandomRow() {
        return {.id = static_cast<int>(random_() % 12 + 1),
                .userid = random_() % 2 == 0 ? 0 : kAlice,
                .path = "/m/" + std::to_string(random_() % 4),
                .title = RandomText(),
                .album = RandomText(),
                .artist = RandomText(),
                .composer = RandomText(),
                .genres = {RandomText() + "1", RandomText() + "2"},
                .is_virtual = random_() % 3 == 0};
    }
    // A statement that adds, changes or deletes a song.
    std::string RandomChange() {
        const TrackRow row = RandomRow();
        const std::string gone = *varn::Sql("DELETE FROM track WHERE id = @VARN:INT;", row.id);
        const auto update = [&](const std::string &table, const char *key, const std::string &set) {
            return "UPDATE " + table + " SET " + set + " WHERE " + key + " = " +
                   std::to_string(row.id);
        };
        const std::string changes[] = {
            gone, gone + InsertSql(row), update("track", "id", "userid = 1030 - userid"),
            update("track", "id",
                   "path = CASE WHEN has_virtual THEN '/m/' || 9 + id ELSE '" + row.path + "' END"),
            // Two such files of one path would show each of its tracks twice.
            update("track", "id",
                   "has_virtual = NOT is_virtual AND NOT EXISTS (SELECT FROM track f WHERE "
                   "f.path = track.path AND f.has_virtual)"),
            update("track", "id", *varn::Sql("title = '@VARN:VAR'", row.title)),
            update("album_track", "track", *varn::Sql("album = '@VARN:VAR'", row.album)),
            update("artist_track", "track", *varn::Sql("artist = '@VARN:VAR'", row.artist)),
            update("composer_track", "track", *varn::Sql("composer = '@VARN:VAR'", row.composer))};
        return changes[random_() % std::size(changes)] + ";";
    }

    std::mt19937 random_{20};
};

TEST_F(ChangingSongs, AreFoundByTextsThatEqualThoseMadeFromNothing) {
    const auto kept = [] {
        return std::pair(Query("SELECT * FROM song_text ORDER BY track"),
                         Query("SELECT * FROM tag_text ORDER BY id"));
    };
    for (int round = 0; round < 25; ++round) {
        std::string sql;
        for (int changes = 0; changes < 8; ++changes) {
            sql += RandomChange();
        }
        Query(sql);
        std::vector<int> found = Songs(RequestOf(kAlice), "a");
        std::sort(found.begin(), found.end());
        std::vector<int> expected;
        for (const auto &song : Query("SELECT track FROM song_text WHERE form LIKE '%a%' AND kind "
                                      "IN ('f', 'v') AND userid IN (0, 1030) ORDER BY track")) {
            expected.push_back(std::stoi(song[0]));
        }
        EXPECT_EQ(found, expected) << round;
        const auto before = kept();
        Query("TRUNCATE song_text, tag_text; SELECT renew_song_text(ARRAY(SELECT id FROM track))");
        ASSERT_EQ(kept(), before) << round;
    }
}

}  // namespace

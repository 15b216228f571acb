// Lists of the web API that are computed once for each change of the library.
#include <filesystem>
#include <functional>
#include <iterator>
#include <random>

#include "service/lists/folders.h"
#include "service/lists/groups.h"
#include "service/songs/songs.h"
#include "varn/sql.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;

// Compares kept lists with the same lists computed anew.
class KeptLists : public ApiTest {
  protected:
    using Page = tonvale_service::Page;

    void SetUp() override {
        ApiTest::SetUp();
        VARNDBKeepConnections(2);
    }
    void TearDown() override {
        VARNDBKeepConnections(0);
        ApiTest::TearDown();
    }
    unsigned Random(unsigned below) { return static_cast<unsigned>(random_() % below); }
    // The objects of a page, and after them the total.
    static Texts Objects(Page &page) {
        Texts objects;
        for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
            for (const Json::Value &object : part) {
                objects.push_back(Json::FastWriter().write(object));
            }
        }
        objects.push_back(std::to_string(page.Total()));
        return objects;
    }
    static std::vector<fs::path> Files() {
        std::vector<fs::path> files;
        std::error_code none;
        for (fs::directory_iterator file(At(varn::path::kKeptLists), none), end; file != end;
             ++file) {
            files.push_back(file->path());
        }
        return files;
    }
    // Lists that change while the library is scanned are not kept. Those of a clock that was put
    // back count as old.
    void MakeOld() {
        for (const auto &file : Files()) {
            fs::last_write_time(file, fs::file_time_type::clock::now() +
                                          std::chrono::seconds(Random(2) == 0 ? 30 : -30));
        }
    }
    void ChangeSomething() {
        const std::string id = std::to_string(Random(30) + 1);
        const std::string word(1, static_cast<char>('a' + Random(4)));
        const unsigned owners[] = {0, 0, kAlice, kBob};
        TrackRow row{.id = static_cast<int>(Random(30) + 31)};
        row.userid = owners[Random(4)];
        row.path = "/m/" + std::to_string(row.id);
        row.title = row.album = row.artist = word;
        row.album_artist = Random(2) == 0 ? "" : word;
        row.genres = {word, "z"};
        const std::string changes[] = {
            "DELETE FROM track WHERE id = " + std::to_string(row.id) + ";" + InsertSql(row),
            "DELETE FROM track WHERE id = " + id,
            "UPDATE track SET title_sort = '" + word + "', year = 7 WHERE id = " + id,
            "UPDATE album_track SET album = '" + word + "' WHERE track = " + id,
            "UPDATE directory SET title = '" + word + "' WHERE id = 1 + 7 * " + id,
            "UPDATE genre_track SET genre = '" + word + "y' WHERE genre = 'z'",
            "INSERT INTO rating_track VALUES (1030, " + id +
                ", 3) ON CONFLICT (track, userid) DO UPDATE SET star = rating_track.star % 5 + 1"};
        Query(changes[Random(std::size(changes))]);
    }
    tonvale_service::ListRequest AnyRequest() {
        const char *const kinds[] = {"all", "shared", "personal", "actual", "actual_shared"};
        tonvale_service::ListRequest request;
        request.library = kinds[Random(std::size(kinds))];
        request.uid = Random(2) == 0 ? kAlice : kBob;
        request.descending = Random(2) == 0;
        if (Random(3) == 0) {
            request.filters.genre = "z";
        }
        request.offset = static_cast<int>(Random(12));
        request.limit = static_cast<int>(Random(12) + 1);
        return request;
    }
    // A page of the kept songs, and the same part of all songs as the library lists them.
    void CompareSongs(tonvale_service::ListRequest request) {
        const auto &keys = tonvale_service::SongSortKeys();
        request.sortBy = keys[Random(static_cast<unsigned>(keys.size()))];
        Tonvale::webapi::WebapiLibrary writer(request.uid, "", "");
        writer.addSongTag = writer.addSongRating = true;
        const Texts shown = Objects(*ListSongs(request, writer));
        const auto first = static_cast<std::size_t>(std::exchange(request.offset, 0));
        const auto limit = static_cast<std::size_t>(std::exchange(request.limit, 0));
        Texts expected = Objects(*ListSongs(request, writer));
        const std::size_t total = expected.size() - 1;
        const std::size_t end = std::min(first + limit, total);
        expected.erase(expected.begin() + ssize_t(end), expected.end() - 1);
        expected.erase(expected.begin(), expected.begin() + ssize_t(std::min(first, end)));
        EXPECT_EQ(shown, expected) << request.library << " " << request.sortBy;
    }
    void CompareGroups(tonvale_service::ListRequest request) {
        using namespace tonvale_service;
        const Group *const groups[] = {&kAlbums, &kArtists, &kGenres, &kComposers};
        const Group &group = *groups[Random(4)];
        request.sortBy = group.sorts[Random(static_cast<unsigned>(group.sorts.size()))].name;
        CompareAnew([&] { return Objects(*ListGroups(group, request, std::nullopt)); });
    }
    // The page on which folders end and songs begin. There are too many folders to read them each
    // time.
    void CompareFolder(tonvale_service::ListRequest request) {
        request.library = "all";
        request.offset += Random(2) == 0 ? 0 : 205;
        const Tonvale::webapi::WebapiLibrary writer(request.uid, "", "");
        CompareAnew([&] {
            const auto page = ListInside(request, 1, writer);
            Texts objects = Objects(*page);
            objects.push_back(Json::FastWriter().write(page->Head()["folders"]));
            return objects;
        });
    }
    // A list, and the same while no list is kept.
    void CompareAnew(const std::function<Texts()> &list) {
        const Texts shown = list();
        fs::rename(At(varn::path::kKeptLists), scratch() / "aside");
        EXPECT_EQ(shown, list());
        fs::remove_all(At(varn::path::kKeptLists));
        fs::rename(scratch() / "aside", At(varn::path::kKeptLists));
    }

    std::mt19937 random_{18};
};

TEST_F(KeptLists, AgreeWithTheLibrary) {
    std::string rows;
    for (int id = 1; id <= 30; ++id) {
        TrackRow row{.id = id, .path = "/m/" + std::to_string(id)};
        row.title = std::string(1, static_cast<char>('a' + Random(4)));
        row.album = Random(2) == 0 ? "A" : "B";
        row.genres = {"z"};
        rows += InsertSql(row);
    }
    Query(rows +
          "INSERT INTO directory (id, path, title) SELECT n, '/m' || CASE WHEN n > 1 THEN '/' || n "
          "ELSE '' END, md5(n::text) FROM generate_series(1, 211) n");
    for (int step = 0; step < 12; ++step) {
        ChangeSomething();
        MakeOld();
        for (int n = 0; n < 4; ++n) {
            CompareSongs(AnyRequest());
            CompareGroups(AnyRequest());
            CompareFolder(AnyRequest());
        }
    }
    EXPECT_GT(Files().size(), 3U) << "the comparison needs kept lists";

    // Lists that cannot be read or written are computed.
    const auto expectLists = [&] {
        const auto page = ListGroups(tonvale_service::kGenres, AnyRequest(), std::nullopt);
        EXPECT_FALSE(page->Shows().empty());
        CompareSongs(AnyRequest());
    };
    for (const int damage : {0, 1, 2}) {
        for (const auto &file : Files()) {
            const std::string text = ReadFile(file);
            Touch(file, damage == 2 ? std::string(text.size(), 'x')
                                    : text.substr(0, text.size() / 2 * damage));
        }
        expectLists();
    }
    fs::remove_all(At(varn::path::kKeptLists));
    WriteFile(varn::path::kKeptLists, "a file in place of the folder");
    expectLists();
    fs::remove(At(varn::path::kKeptLists));
}

TEST_F(KeptLists, AreSentOnceForEachChange) {
    Query(InsertSql({.id = 1, .path = "/m/1", .title = "one"}));
    const std::string query = QueryOf("Song/list");
    const auto tag = [&](const std::string &user, const std::string &known = "",
                         const std::string &more = "") {
        MakeOld();
        const std::string text =
            GetCgi(query + more, {{"REMOTE_USER", user}, {"HTTP_IF_NONE_MATCH", known}});
        if (text.starts_with("Status: 304")) {
            EXPECT_TRUE(text.ends_with("\r\n\r\n")) << text;
            return std::string("unchanged");
        }
        EXPECT_TRUE(Contains(text, "\r\nCache-Control: private, no-cache\r\n"));
        return FieldOf(text, "ETag");
    };
    const std::string first = tag("alice");
    EXPECT_NE(first, "");
    EXPECT_EQ(tag("alice", "W/" + first), "unchanged");
    EXPECT_NE(tag("bob", first), "unchanged");
    EXPECT_NE(tag("alice", first, "&limit=7"), "unchanged");
    Query("INSERT INTO rating_track VALUES (1031, 1, 3)");
    EXPECT_EQ(tag("alice", first), "unchanged") << "the stars are bob's";
    for (const char *change : {"INSERT INTO rating_track VALUES (1030, 1, 3)",
                               "UPDATE track SET year = 8", "TRUNCATE rating_track"}) {
        const std::string before = tag("alice");
        Query(change);
        EXPECT_NE(tag("alice", before), "unchanged") << change;
    }
    // A list that shows favourites changes with those of its user alone.
    const std::string shown = "&additional=song_favourite";
    for (const char *change : {"INSERT INTO favourite_song VALUES (1030, 1)",
                               "DELETE FROM favourite_song WHERE userid = 1030"}) {
        const std::string before = tag("alice", "", shown);
        Query(
            "INSERT INTO song_play VALUES (1030, 1, 2) ON CONFLICT DO NOTHING;"
            "INSERT INTO favourite_song VALUES (1031, 1) ON CONFLICT DO NOTHING");
        EXPECT_EQ(tag("alice", before, shown), "unchanged");
        Query(change);
        EXPECT_NE(tag("alice", before, shown), "unchanged") << change;
    }
    const std::string last = tag("alice");
    WriteFile(varn::path::kSystemInfo, "codepage=\"12\"\n");
    EXPECT_NE(tag("alice", last), "unchanged") << "another order";
}

}  // namespace

// Lists of artists, albums and of one column's values.
#include <tuple>

#include "musiclib/library_rows.h"
#include "varn/sql.h"

namespace {

using namespace tonvale_test;

class LibraryBrowse : public LibraryRows {
  protected:
    static Handle Artists(const char *condition = nullptr, const char *order = "artist",
                          uid_t uid = kAlice, const char *library = "all") {
        return Handle(AudioInfoDBOpenWithArtistList(library, uid, condition, order, 0, -1));
    }
    static Handle Albums(const char *condition = nullptr, const char *order = "album_sort",
                         uid_t uid = kAlice, const char *library = "all") {
        return Handle(AudioInfoDBOpenWithAlbumList(library, uid, condition, order, 0, -1));
    }
    static Handle Values(const char *column, const char *condition = nullptr, uid_t uid = kAlice) {
        const std::string order = std::string(column) + "_sort";
        return Handle(
            AudioInfoDBOpenWithContainerList("all", uid, column, condition, order.c_str(), 0, -1));
    }
};

TEST_F(LibraryBrowse, AnArtistIsOneRowOverBothRoles) {
    Rate(kAlice, Add({.artist = "Abba"}), 3);
    Rate(kAlice, Add({.artist = "Björn", .album_artist = "Abba"}), 4);
    Add({.artist = "Abba", .album_artist = "Abba"});
    Rate(kBob, Add({.artist = "Zoë"}), 5);
    Handle artists = Artists();
    EXPECT_EQ(Column(artists, "artist"), Texts({"Abba", "Zoë"})) << "a guest has no row";
    EXPECT_EQ(Column(artists, "title"), Column(artists, "path"));
    EXPECT_EQ(Column(artists, "title"), Column(artists, "artist"));
    EXPECT_EQ(Column(artists, "artist_sort"), Texts({"Abba", "Zoë"}));
    EXPECT_EQ(Column(artists, "result_count"), Texts({"2", "2"}));
    EXPECT_EQ(Stars(artists), std::vector({3.5, 0.0})) << "the unrated song does not count";
    EXPECT_EQ(Stars(Artists(nullptr, "artist", kBob)), std::vector({0.0, 5.0}));
    EXPECT_EQ(AudioInfoDBGetCountWithArtistList("all", kAlice, nullptr), 2);

    // A name pattern also finds a guest.
    EXPECT_EQ(Column(Artists(" ILIKE 'BJ%'"), "artist"), Texts({"Björn"}));
    EXPECT_EQ(Column(Artists(" ILIKE '%b%'"), "artist"), Texts({"Abba", "Björn"}));
    EXPECT_EQ(AudioInfoDBGetCountWithArtistList("all", kAlice, " ILIKE '%b%'"), 2);
    EXPECT_FALSE(Artists(" ilike 'BJ%'")) << "only in this spelling";
}

TEST_F(LibraryBrowse, ARowIsASortNameAndACountIsOfNames) {
    Add({.artist = "Mina"});
    Add({.artist = "MINA"});
    EXPECT_EQ(Artists()->rowCount, 2) << "a row for each sort name";
    EXPECT_EQ(AudioInfoDBGetCountWithArtistList("all", kAlice, ""), 1) << "the count knows names";
    Query("UPDATE artist_track SET artist_sort = 'Mina'");
    EXPECT_EQ(Column(Artists(), "result_count"), Texts({"1"}));
}

TEST_F(LibraryBrowse, AnAlbumIsANameAndAnArtistOverAllItsYears) {
    Rate(kAlice, Add({.album = "Gold", .album_artist = "Abba", .year = 1992}), 2);
    Rate(kAlice, Add({.album = "Gold", .album_artist = "Abba", .year = 1993}), 5);
    Add({.album = "Gold", .album_artist = "Abba", .year = 1992});
    Add({.album = "Gold", .album_artist = "Zoë", .year = 2001});
    Add({.album = "Aa", .album_artist = "Zoë", .year = 2001});
    Query(
        "UPDATE track SET date = '2020-01-01'; UPDATE track SET date = '2024-05-06' WHERE id = 2");
    const Handle albums = Albums();
    EXPECT_EQ(Column(albums, "album"), Texts({"Aa", "Gold", "Gold"}));
    EXPECT_EQ(Column(albums, "album_artist"), Texts({"Zoë", "Abba", "Zoë"}));
    EXPECT_EQ(Column(albums, "title"), Column(albums, "album"));
    EXPECT_EQ(Column(albums, "path"), Column(albums, "album"));
    EXPECT_EQ(Column(albums, "year"), Texts({"2001", "0", "2001"}));
    EXPECT_EQ(Column(albums, "create_date").at(1), "2024-05-06 00:00:00");
    EXPECT_EQ(Stars(albums), std::vector({0.0, 3.5, 0.0}));
    EXPECT_EQ(Column(albums, "result_count"), Texts({"3", "3", "3"}));
    EXPECT_EQ(AudioInfoDBGetCountWithAlbumList("all", kAlice, nullptr), 3);
    EXPECT_EQ(AudioInfoDBGetCountWithAlbumList("all", kAlice, "star > 0"), 1);
    EXPECT_EQ(AudioInfoDBGetCountWithAlbumList("all", kBob, "star > 0"), 0);
    EXPECT_EQ(AudioInfoDBGetCountWithAlbumList("all", kAlice, "genre = 'None'"), 0);
}

TEST_F(LibraryBrowse, EqualAlbumsHaveAFixedOrder) {
    for (const auto &[album, artist, year] :
         {std::tuple{"B", "y", 1}, {"A", "y", 1}, {"A", "x", 2}, {"B", "x", 2}}) {
        Add({.album = album, .album_artist = artist, .year = year});
    }
    for (const auto &[order, expected] :
         {std::pair("year", "Ay By Ax Bx "),
          {"year DESC", "Ax Bx Ay By "},
          {"album_artist_sort", "Ax Bx Ay By "},
          {"album_sort DESC", "Bx By Ax Ay "},
          {"album_sort, album_artist_sort DESC", "Ay Ax By Bx "},
          {"album_sort COLLATE \"en_US_varnel\" ", "Ax Ay Bx By "}}) {
        const Handle handle = Albums(nullptr, order);
        const Texts artists = Column(handle, "album_artist");
        std::string albums;
        for (std::size_t i = 0; i < artists.size(); ++i) {
            albums += Column(handle, "album")[i] + artists[i] + " ";
        }
        EXPECT_EQ(albums, expected) << order;
    }
}

TEST_F(LibraryBrowse, AGenreHasEachOfItsTracks) {
    Rate(kAlice, Add({.composer = "Bach", .genres = {"Jazz", "Rock"}}), 5);
    Rate(kAlice, Add({.genres = {"Rock"}}), 2);
    Add({.composer = "Bach", .genres = {}});
    const Handle genres = Values("genre");
    EXPECT_EQ(Column(genres, "genre"), Texts({"", "Jazz", "Rock"}));
    EXPECT_EQ(Column(genres, "genre_sort"), Texts({"", "Jazz", "Rock"}));
    EXPECT_EQ(Column(genres, "title"), Column(genres, "path"));
    EXPECT_EQ(Stars(genres), std::vector({0.0, 5.0, 3.5}));
    EXPECT_EQ(Column(genres, "result_count"), Texts({"3", "3", "3"}));
    EXPECT_EQ(Column(Values("genre", "composer = 'Bach'"), "genre"), Texts({"", "Jazz", "Rock"}));
    EXPECT_EQ(Column(Values("composer"), "composer"), Texts({"", "Bach"}));
    // A condition on genres makes a row of each genre, and the average weighs them so.
    EXPECT_EQ(Stars(Values("composer", "genre != ''")), std::vector({2.0, 5.0}));
    EXPECT_EQ(Column(Values("album_artist"), "album_artist"), Texts({""}));
}

TEST_F(LibraryBrowse, PagesAndLibraries) {
    for (const char *name : {"c", "a", "b"}) {
        Add({.album = name, .artist = name, .composer = name});
    }
    Add({.userid = kAlice, .album = "hers", .artist = "hers", .composer = "hers"});
    const auto page = [](auto open, const char *order, int offset, int limit) {
        return Handle(open("all", kAlice, nullptr, order, offset, limit));
    };
    const auto composers = [](const char *library, uid_t uid, const char *condition,
                              const char *order, int offset, int limit) {
        return AudioInfoDBOpenWithContainerList(library, uid, "composer", condition, order, offset,
                                                limit);
    };
    const struct {
        Handle handle;
        Texts titles;
    } kPages[] = {{page(AudioInfoDBOpenWithArtistList, "artist_sort", 1, 2), {"b", "c"}},
                  {page(AudioInfoDBOpenWithAlbumList, "album_sort", 1, 2), {"b", "c"}},
                  {page(composers, "composer", 1, 2), {"b", "c"}},
                  {page(AudioInfoDBOpenWithAlbumList, "album DESC", 3, 7), {"a"}},
                  {page(composers, "composer", 9, -1), {"a", "b", "c", "hers"}}};
    for (const auto &[handle, titles] : kPages) {
        EXPECT_EQ(Column(handle, "title"), titles);
        EXPECT_EQ(Column(handle, "result_count"), Texts(titles.size(), "4"));
    }
    EXPECT_EQ(Column(Artists(nullptr, "artist", kAlice, "personal"), "artist"), Texts({"hers"}));
    EXPECT_EQ(Albums(nullptr, "album", kBob)->rowCount, 3);
}

TEST_F(LibraryBrowse, EveryFailureIsLogged) {
    Add({.album = "a", .artist = "b"});
    EXPECT_EQ(AudioInfoDBOpenWithArtistList(nullptr, kAlice, "", "", 0, 1), nullptr);
    EXPECT_EQ(AudioInfoDBOpenWithAlbumList("all", 4294967295U, "", "", 0, 1), nullptr);
    EXPECT_EQ(AudioInfoDBGetCountWithArtistList("all", 4294967295U, ""), -1);
    EXPECT_EQ(AudioInfoDBGetCountWithAlbumList(nullptr, kAlice, ""), -1);
    for (const char *column : {"", "a_column_of_more_than_31_characters"}) {
        EXPECT_EQ(AudioInfoDBOpenWithContainerList("all", kAlice, column, "", "", 0, 1), nullptr);
    }
    EXPECT_EQ(Log().size(), 6U);
    for (const std::string &line : Log()) {
        EXPECT_TRUE(line.ends_with(" Bad parameters.")) << line;
    }
    EXPECT_FALSE(Albums(nullptr, "no_such_column"));
    EXPECT_FALSE(Artists(nullptr, "title DESC NULLS"));
    EXPECT_FALSE(Artists("(")) << "as a condition";
    EXPECT_EQ(AudioInfoDBGetCountWithAlbumList("all", kAlice, "album'"), -1);
    EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Failed to exec \\[SELECT .*\\] \\(ERROR.*"));
    EXPECT_FALSE(Values("year")) << "it has no sort column";
    // Filters on artists are bounded; others are not.
    const std::string fits = "artist != '" + std::string(970, 'x') + "'";
    const std::string tooLong = "artist != '" + std::string(10000, 'x') + "'";
    EXPECT_TRUE(Artists(fits.c_str()));
    EXPECT_FALSE(Artists(tooLong.c_str()));
    EXPECT_TRUE(Logged("A filter of 10[0-9]{3} bytes does not fit into 1024\\.$"));
    EXPECT_TRUE(Albums(tooLong.c_str()));
}

}  // namespace

// Single songs, folders and keyword lists.
#include <array>
#include <filesystem>
#include <functional>

#include "musiclib/library_rows.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class LibrarySongs : public LibraryRows {
  protected:
    // The arguments of a keyword list.
    struct Wish {
        std::string keyword = {};
        const char *field = nullptr;
        const char *order = nullptr;
        bool descending = false;
        int offset = 0;
        int limit = -1;
    };
    static Texts Find(const Wish &wish, int expected = -2) {
        PLAYLIST_REC *list = nullptr;
        const int count =
            VARNMusicListAll("all", kAlice, wish.keyword.c_str(), wish.field, wish.order,
                             wish.descending ? 1 : 0, wish.offset, wish.limit, &list, nullptr);
        const List owned(list);
        const Texts titles = Titles(owned);
        EXPECT_EQ(count, expected == -2 ? static_cast<int>(titles.size()) : expected);
        return titles;
    }
};

TEST_F(LibrarySongs, ASongIsReadById) {
    Add({.title = "first", .artist = "A", .genres = {"Jazz", "Rock"}, .year = 1999});
    Add({.userid = kAlice, .title = "hers"});
    Rate(kAlice, 1, 4);
    Query("INSERT INTO playlist (id, path, title) VALUES (7, '/m/p.m3u', 'p')");
    PLAYLIST_REC entry = {};
    VARN_MEDIA_INFO &song = entry.info;
    PVLIBSZHASH hash = VLIBCSzHashAlloc(0);
    ASSERT_EQ(VARNMusicGetOneById("all", kAlice, 0, &song, &hash, "1"), 0);
    EXPECT_EQ(std::string(song.title) + song.genre + std::to_string(song.year),
              "firstJazz, Rock1999");
    std::string rating;
    EXPECT_EQ(GetSongHashValue(&hash, &entry, rating, nullptr), 0);
    EXPECT_EQ(rating, "4");
    VLIBCSzHashFree(hash);
    ASSERT_EQ(VARNMusicGetOneById("shared", kBob, VARN_TABLE_PLAYLIST, &song, nullptr, "7"), 0);
    EXPECT_STREQ(song.path, "/m/p.m3u");
    EXPECT_TRUE(Log().empty());
    hash = nullptr;
    EXPECT_EQ(VARNMusicGetOneById("all", kAlice, 0, &song, &hash, "1"), -1);
    const auto get = [&](const char *library, uid_t uid, const std::string &id) {
        return VARNMusicGetOneById(library, uid, 0, &song, nullptr, id.c_str());
    };
    EXPECT_EQ(get("all", kBob, "2"), -1);
    EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Failed to get song of id=2$"));
    for (const char *id : {"x", "1,2", "'", "1e", "--"}) {
        ClearLog();
        EXPECT_EQ(get("all", kAlice, id), -1) << id;
        EXPECT_TRUE(
            Logged("audiolib/musiclib \\([0-9]+\\) Failed to open media database \\(all\\)\\.$"));
    }
    ClearLog();
    EXPECT_EQ(get(nullptr, kAlice, "1"), -1);
    EXPECT_EQ(get("all", kAlice, std::string(8192, '1')), -1);
    EXPECT_EQ(Log().size(), 2U);
    EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Bad parameter\\.$"));
    EXPECT_EQ(get("all", 7777, "1"), -1) << "an unknown user";
    EXPECT_STREQ(song.path, "/m/p.m3u") << "a failure wrote the record";
    EXPECT_EQ(get("all", kAlice, "2"), 0);
    VARNAudioConfSet("enable_personal_library", "no");
    EXPECT_EQ(get("all", kAlice, "2"), -1);
}

TEST_F(LibrarySongs, AFoldersPathIsReadById) {
    Query("INSERT INTO directory (id, path) VALUES (1, '/m/it''s 100%_\\')");
    Query("INSERT INTO personal_directory (userid, id, path) VALUES (1030, 2, '/h/alice/music')");
    const auto get = [](const char *library, const char *id, int escape, std::size_t size = 32) {
        std::array<char, 32> path = {'?'};
        const int result = VARNMusicGetPathById(library, kAlice, path.data(), size, id, escape);
        return std::string(path.data()) + (result == 0 ? "" : "failed");
    };
    EXPECT_EQ(get("shared", "1", 0), "/m/it's 100%_\\");
    EXPECT_EQ(get("shared", "1", 1), "/m/it''s 100\\%\\_\\\\");
    EXPECT_EQ(get("personal", "2", 2), "/h/alice/music") << "only 1 escapes";
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(get("shared", "1", 0, 14), "failed");
    for (const auto &[library, id] : {std::pair("personal", "1"),
                                      {"shared", "2"},
                                      {"shared", "x"},
                                      {"all", "1"},
                                      {"actual_shared", "1"},
                                      {"shared", ""}}) {
        EXPECT_EQ(get(library, id, 0), "failed") << library << id;
    }
    EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Wrong library type\\.$"));
    EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Bad parameter\\.$"));
}

TEST_F(LibrarySongs, ASongIsReadByItsExactPath) {
    Texts names = kHostile;
    names.push_back(std::string(4095 - 3, 'n'));
    for (const Texts *texts : {&std::as_const(names), &kDecoys}) {
        for (const std::string &name : *texts) {
            Add({.path = "/m/" + name, .title = name.substr(0, 200)});
        }
    }
    VARN_MEDIA_INFO song = {};
    const auto get = [&](const char *library, const std::string &name) {
        return AudioInfoDBGetOneByPath(library, kAlice, 0, ("/m/" + name).c_str(), &song);
    };
    for (const std::string &name : names) {
        ASSERT_EQ(get("all", name), 0) << name;
        EXPECT_EQ(song.path, "/m/" + name);
    }
    EXPECT_EQ(get("all", "%"), -1);
    EXPECT_EQ(get("personal", "ab"), -1);
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(get("all", "\xFF"), -1);
    EXPECT_TRUE(Logged("Failed to VLIBCStrGetEx\\(\\)\\[0x0D00 .*db_escape.cpp:[0-9]+\\]$"));
    for (const char *keyword : {"\xFF", "caf\xE9"}) {
        EXPECT_TRUE(Find({.keyword = keyword}, -1).empty()) << keyword;
        EXPECT_TRUE(Logged("audiolib/musiclib \\([0-9]+\\) Failed to escape condition\\."));
    }
    for (const std::string &text : {kHostile[0], kHostile[4], kHostile[5], kHostile[8]}) {
        EXPECT_EQ(Find({.keyword = text, .field = "title"}), Texts({text}));
    }
}

TEST_F(LibrarySongs, AListOfIdsKeepsItsOrder) {
    for (const char *title : {"one", "two", "three"}) {
        Add({.title = title});
    }
    Add({.userid = kBob, .title = "his"});
    const auto list = [](const std::string &ids, int expected) {
        PLAYLIST_REC *songs = nullptr;
        EXPECT_EQ(VARNMusicListGetByID(kAlice, ids.c_str(), &songs), expected) << ids;
        return Titles(List(songs));
    };
    EXPECT_EQ(list(" 3,1 , 2", 3), Texts({"three", "one", "two"}));
    EXPECT_EQ(list("2,77,4,2,002", 3), Texts({"two", "two", "two"})) << "unknown, and bob's";
    EXPECT_EQ(list("99999999999999999999999", 0), Texts());
    std::string many;
    Texts titles;
    for (int i = 0; i < 12000; ++i) {
        many += (i == 0 ? "" : ",") + std::to_string(i % 5 + 1);
        for (const auto &[id, title] :
             {std::pair(1, "one"), std::pair(2, "two"), std::pair(3, "three")}) {
            titles.insert(titles.end(), i % 5 + 1 == id ? 1 : 0, title);
        }
    }
    EXPECT_EQ(list(many, 7200), titles) << "read in pieces, in one order";
    EXPECT_TRUE(Log().empty());
    ClearLog();
    EXPECT_EQ(list(many + ",", -1), Texts());
    for (const char *bad : {"x", "1;2", "1,-2", "1) OR (1=1", "1,2\n", "0x1", "1,,2"}) {
        ClearLog();
        list(bad, -1);
        EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Failed to open media database \\(all\\)\\.$"))
            << bad;
    }
    PLAYLIST_REC *songs = nullptr;
    EXPECT_EQ(VARNMusicListGetByID(4294967295U, "1", &songs), -1);
}

TEST_F(LibrarySongs, AKeywordIsFoundInItsField) {
    Add({.title = "Title one", .artist = "A", .genres = {"Jazz", "Rock"}});
    Add({.title = "two", .album = "ONE album", .album_artist = "Guest"});
    Add({.title = "three", .artist = "Someone", .composer = "Bach"});
    Add({.userid = kBob, .title = "one of bob"});
    EXPECT_EQ(Find({.keyword = "ONE"}), Texts({"three", "Title one", "two"}));
    EXPECT_EQ(Find({.keyword = "one", .field = "title"}), Texts({"Title one"}));
    EXPECT_EQ(Find({.keyword = "one", .field = "artist"}), Texts({"three"}));
    EXPECT_EQ(Find({.keyword = "one", .field = "album"}), Texts({"two"}));
    EXPECT_EQ(Find({.keyword = "bac", .field = "composer"}), Texts({"three"}));
    EXPECT_EQ(Find({.keyword = "ock", .field = "genre"}), Texts({"Title one"}));
    EXPECT_EQ(Find({.keyword = "z, R"}), Texts()) << "each genre is looked at alone";
    EXPECT_EQ(Find({.keyword = "Guest"}), Texts({"two"}));
    // No other text names a field.
    for (const char *field : {"", "album_artist", "path", "1=1 or title", "TITLE"}) {
        EXPECT_EQ(Find({.keyword = "guest", .field = field}), Texts({"two"})) << field;
    }
    EXPECT_EQ(Find({.keyword = "t_o", .field = "title"}), Texts({"two"})) << "a wildcard";
    EXPECT_EQ(Find({.keyword = "t%e", .field = "title"}), Texts({"three", "Title one"}));
    EXPECT_TRUE(Log().empty());
}

TEST_F(LibrarySongs, OrdersAndPagesOfKeywordLists) {
    for (const auto &[title, artist] : {std::tuple{"b", "X"}, {"C", "Y"}, {"a", "Z"}}) {
        Add({.title = title, .artist = artist});
    }
    EXPECT_EQ(Find({}), Texts({"a", "b", "C"}));
    EXPECT_EQ(Find({.order = "artist"}), Texts({"b", "C", "a"}));
    EXPECT_EQ(Find({.order = "artist", .descending = true}), Texts({"a", "C", "b"}));
    EXPECT_EQ(Find({.offset = 1, .limit = 1}), Texts({"b"}));
    EXPECT_EQ(Find({.keyword = "no such", .order = "random", .limit = 2}).size(), 2U);
    EXPECT_TRUE(Find({.order = "no_such_column"}, -1).empty());
    EXPECT_TRUE(Find({.order = "title; DROP TABLE track"}, -1).empty());
    EXPECT_EQ(Find({}).size(), 3U);

    PLAYLIST_REC *list = nullptr;
    int total = -7;
    EXPECT_EQ(VARNMusicListAll("all", kAlice, "", "", "", 0, 1, 1, &list, &total), 1);
    EXPECT_EQ(total, 3);
    VARNPlaylistRecFree(list);
    EXPECT_EQ(VARNMusicListAll("nothing", kAlice, "", "", "", 0, 1, 1, &list, &total), -1);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(total, 3) << "unchanged";
    EXPECT_EQ(VARNMusicListAll("all", kAlice, "", "", "", 0, 9, 1, &list, &total), 0);
    EXPECT_EQ(total, 0);
}

TEST_F(LibrarySongs, TheOlderBrowseCalls) {
    Add({.title = "b"});
    Add({.title = "a"});
    Add({.userid = kAlice, .title = "c"});
    PLAYLIST_REC *list = nullptr;
    EXPECT_EQ(VARNMusicBrowse("all", kAlice, "title != 'a'", "title", 1, 1, &list), 1);
    EXPECT_EQ(Titles(List(list)), Texts({"c"}));
    EXPECT_EQ(VARNMusicBrowseOne("all", kAlice, nullptr, "title desc", &list), 0);
    EXPECT_EQ(Titles(List(list)), Texts({"c"}));
    EXPECT_EQ(VARNMusicBrowseOne("all", kAlice, "title = 'x'", nullptr, &list), -1);
    VARNAudioConfSet("enable_personal_library", "no");
    EXPECT_EQ(VARNMusicBrowse("all", kAlice, "", "title", 0, 0, &list), 2) << "the shared songs";
    EXPECT_EQ(Titles(List(list)), Texts({"a", "b"}));
    EXPECT_EQ(VARNMusicBrowse("personal", kAlice, "", "title", 0, 0, &list), -1);
    EXPECT_TRUE(Log().empty());
}

TEST_F(LibrarySongs, ListsAreNullAfterEveryFailure) {
    using Out = PLAYLIST_REC **;
    const std::function<int(Out)> calls[] = {
        [](Out o) { return VARNMusicListAll(nullptr, kAlice, "", "", "", 0, 0, 0, o, nullptr); },
        [](Out o) { return VARNMusicBrowse(nullptr, kAlice, "", "", 0, 0, o); },
        [](Out o) { return VARNMusicBrowseOne(nullptr, kAlice, "", "", o); },
        [](Out o) { return VARNMusicListGetByID(kAlice, "", o); },
        [](Out o) { return VARNAudioWebapiUtilsGetMediaList(kAlice, Json::Value("text"), o); }};
    for (const auto &call : calls) {
        ClearLog();
        PLAYLIST_REC stale = {};
        PLAYLIST_REC *list = &stale;
        EXPECT_EQ(call(&list), -1);
        EXPECT_EQ(list, nullptr);
        EXPECT_EQ(call(nullptr), -1);
        EXPECT_EQ(Log().size(), 2U);
        EXPECT_TRUE(Logged("audiolib/[a-z_]+:[0-9]+ Bad parameter\\.$"));
    }
}

TEST_F(LibrarySongs, AnOrderNamesTheColumnsOfSortNames) {
    std::array<char, 32> out = {};
    for (const auto &[order, expected] : {std::pair("title", "title_sort"),
                                          {"  Album_Artist asc\t", "album_artist_sort asc"},
                                          {"albums", "album_sorts"},
                                          {"ARTIST DESC, album", "artist_sort DESC, album"},
                                          {"genre,x", "genre_sort,x"},
                                          {"title_sort", "title_sort_sort"},
                                          {" year desc ", " year desc "},
                                          {"lower(title)", "lower(title)"},
                                          {"", ""}}) {
        EXPECT_EQ(VARNGetIgnoredOrderString(order, out.data(), out.size()), 0);
        EXPECT_STREQ(out.data(), expected);
    }
    EXPECT_EQ(VARNGetIgnoredOrderString("title", out.data(), 10), -1) << "cut, it could still run";
    EXPECT_STREQ(out.data(), "");
    EXPECT_EQ(VARNGetIgnoredOrderString("title", out.data(), 11), 0);
}

TEST_F(LibrarySongs, APathBelowTheHomesIsPersonal) {
    VARN_MEDIA_INFO song = {};
    const auto isPersonal = [&song](const std::string &path) {
        song.path[path.copy(song.path, sizeof song.path - 1)] = '\0';
        return VARNMusicIsPersonalLibrary(&song);
    };
    const fs::path link = At(varn::path::kHomes);
    fs::remove(link);
    EXPECT_FALSE(isPersonal("/volume1/homes/alice/a.mp3")) << "no link";
    fs::create_symlink("/volume1/homes", link);
    EXPECT_TRUE(isPersonal("/volume1/homes/alice/music/a.mp3"));
    EXPECT_TRUE(isPersonal("/volume1/homes2/a.mp3")) << "bytes are compared";
    EXPECT_FALSE(isPersonal("/volume1/music/a.mp3"));
    EXPECT_FALSE(isPersonal("/volume1/home"));
    EXPECT_FALSE(VARNMusicIsPersonalLibrary(nullptr));
}

}  // namespace

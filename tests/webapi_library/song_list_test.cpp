// The condition and the order of a song list.
#include <unistd.h>

#include "musiclib/library_rows.h"
#include "tonvale/webapi.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using Tonvale::webapi::WebapiLibrary;
using Tonvale::webapi::playlist::EscapedKeyword;
using Tonvale::webapi::playlist::ListTrackCondition;

class SongList : public LibraryRows {
  protected:
    static Texts Find(const std::string &condition, const std::string &order = "title") {
        return Column(Handle(AudioInfoDBOpen("all", kAlice, VARN_TABLE_MUSIC, "*",
                                             condition.c_str(), nullptr, order.c_str(), 0, -1, 0)),
                      "title");
    }
    void UseCodePage(const std::string &number) {
        WriteFile(varn::path::kSystemInfo, "codepage=\"" + number + "\"\n");
    }
};

TEST_F(SongList, ConditionTexts) {
    EXPECT_EQ(ListTrackCondition::GetSingleCondition("artist", "\xFF"), "(artist_search = UPPER('");
    EXPECT_STREQ(EscapedKeyword("a'b\\").Get(), "a''b\\");
    EXPECT_EQ(EscapedKeyword(std::string("a\0b", 3)).Get(), nullptr);
    ListTrackCondition condition;
    condition.genre = {true, "Rock"};
    condition.album = {true, ""};
    condition.artist = {true, ""};
    EXPECT_EQ(condition.GetConditionString(),
              "album ='' AND (artist_search = UPPER('') AND album_artist_search = UPPER('')) AND "
              "genre ='Rock'");
}

TEST_F(SongList, FiltersFindExactlyTheirTag) {
    for (const auto *texts : {&kHostile, &kDecoys}) {
        for (const std::string &text : *texts) {
            Add({.title = text,
                 .album = text,
                 .artist = text,
                 .album_artist = text,
                 .composer = text,
                 .genres = {text}});
        }
    }
    std::pair<bool, std::string> ListTrackCondition::*const kFilters[] = {
        &ListTrackCondition::album, &ListTrackCondition::albumArtist, &ListTrackCondition::artist,
        &ListTrackCondition::composer, &ListTrackCondition::genre};
    for (const auto filter : kFilters) {
        for (const std::string &text : kHostile) {
            ListTrackCondition condition;
            condition.*filter = {true, text};
            EXPECT_EQ(Find(condition.GetConditionString()), Texts({text}));
        }
        ListTrackCondition without;
        without.*filter = {true, ""};
        EXPECT_EQ(Find(without.GetConditionString()), Texts({""}));
    }
    Add({.title = "role", .album_artist = "Kино"});
    EXPECT_EQ(Find(ListTrackCondition::GetSingleCondition("artist", "kИНО")), Texts({"role"}));
    ListTrackCondition broken;
    broken.album = {true, "\xFF"};
    broken.artist = {true, "x"};
    EXPECT_TRUE(Find(broken.GetConditionString()).empty());
    EXPECT_TRUE(Logged("Failed to exec")) << "a broken condition must fail";
}

TEST_F(SongList, CodePages) {
    int page = -7;
    EXPECT_EQ(VLIBCCodePageGet(1, &page), 0);
    EXPECT_EQ(page, 0) << "nothing is configured";
    for (const auto &[text, needed] : {std::pair("0", true),
                                       {"10", true},
                                       {"11", false},
                                       {"14", false},
                                       {"15", true},
                                       {"", false},
                                       {"x", false},
                                       {"-1", false},
                                       {"12 ", false},
                                       {"65536", false}}) {
        UseCodePage(text);
        EXPECT_EQ(WebapiLibrary::IsCollationSortNeeded(), needed) << text;
    }
    EXPECT_EQ(VLIBCCodePageGet(2, &page), -1);
    EXPECT_EQ(VLIBCCodePageGet(1, nullptr), -1);
}

TEST_F(SongList, OrderTexts) {
    constexpr char kCollate[] = "COLLATE \"en_US_varnel\"";
    for (const char *text :
         {"album", " Title , x", "ARTIST", "album_artist", "genre", "composer", "path,album"}) {
        EXPECT_EQ(WebapiLibrary::GetCollationSort(text), kCollate) << text;
    }
    for (const char *text :
         {"", " ", ",album", "year", "lower(title)", "title desc", "album_sort"}) {
        EXPECT_EQ(WebapiLibrary::GetCollationSort(text), "") << text;
    }

    const WebapiLibrary library(kAlice, "alice", "");
    EXPECT_EQ(library.GetSortOrderString("", "DESC"),
              "album_sort COLLATE \"en_US_varnel\" DESC, disc, track, path");
    EXPECT_EQ(library.GetSortOrderString("year", ""),
              " year  , album, disc, track, title, artist, genre, path, duration, star ");
    UseCodePage("12");
    EXPECT_EQ(WebapiLibrary::GetCollationSort("album"), "");
    EXPECT_EQ(library.GetSortOrderString("", "DESC"), "album_sort  DESC, disc, track, path");
}

TEST_F(SongList, OrdersWorkAndNonsenseFails) {
    for (const auto &[title, year] : {std::pair{"éa", 3}, {"Eb", 1}, {"f", 2}}) {
        Add({.title = title, .year = year});
    }
    const WebapiLibrary library(kAlice, "alice", "");
    const auto list = [&](const char *key, const char *direction) {
        return Find("", library.GetSortOrderString(key, direction));
    };
    EXPECT_EQ(list("title", "ASC"), Texts({"éa", "Eb", "f"}));
    EXPECT_EQ(list("title", "DESC"), Texts({"f", "Eb", "éa"}));
    EXPECT_EQ(list("year", "DESC"), Texts({"éa", "f", "Eb"}));
    EXPECT_EQ(list("", "").size(), 3U);
    UseCodePage("13");
    EXPECT_EQ(list("title", "ASC"), Texts({"Eb", "f", "éa"})) << "by bytes";
    for (const char *key : {"no_such_column", "title;", "'", "title sideways"}) {
        EXPECT_TRUE(list(key, "ASC").empty()) << key;
    }
    EXPECT_TRUE(list(std::string(3000, 'x').c_str(), "ASC").empty());
    EXPECT_TRUE(list("title", "sideways").empty());
}

}  // namespace

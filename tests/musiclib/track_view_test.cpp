// The texts that the query frame is made of.
#include <array>
#include <tuple>

#include "support/fixture.h"
#include "tonvale/library.h"
#include "tonvale/settings.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class TrackView : public SystemTest {
  protected:
    std::array<char, 4096> table_ = {};
    std::array<char, 1024> where_ = {};
    std::array<int, VARN_JOIN_TABLES> flags_ = {};

    int Generate(const char *library, uid_t uid, int type = VARN_TABLE_MUSIC, int genreJoin = 0) {
        return GenerateTableString(library, uid, type, table_.data(), table_.size(), where_.data(),
                                   where_.size(), flags_.data(), genreJoin);
    }
    std::string Order(const char *primary) {
        std::array<char, 2048> out = {};
        const int length = GenerateOrderString(primary, out.data(), out.size());
        EXPECT_EQ(static_cast<std::size_t>(length), std::string(out.data()).size());
        return out.data();
    }
};

TEST_F(TrackView, JoinsSideTablesInTheirOrder) {
    const std::string bare =
        "(SELECT track.userid, track.id, track.path, track.title, track.title_sort, "
        "track.title_search, track.filesize, track.year, track.frequency, track.channel, "
        "track.bitrate, track.duration, track.comment, track.track, track.disc, "
        "track.container, track.codec, track.is_virtual, track.has_virtual, track.covercount, "
        "track.date, track.mdate  FROM track  WHERE 1=1) music";
    std::array<char, 4096> out = {};
    EXPECT_EQ(CreateString(out.data(), out.size(), flags_.data(), 7, "WHERE 1=1", 0),
              static_cast<int>(bare.size()));
    EXPECT_EQ(out.data(), bare);
    EXPECT_EQ(CreateString(out.data(), 8, flags_.data(), 7, "WHERE 1=1", 0),
              static_cast<int>(bare.size()));
    EXPECT_STREQ(out.data(), "(SELECT");

    flags_.fill(1);
    CreateString(out.data(), out.size(), flags_.data(), 7, "", 1);
    const std::string full = out.data();
    EXPECT_NE(
        full.find(
            "track.mdate , album, album_sort, album_search, album_artist, album_artist_sort, "
            "album_artist_search , artist, artist_sort, artist_search, has_album_artist , "
            "composer, "
            "composer_sort, composer_search , genre, genre_sort, genre_search , audio_offset, "
            "cue_sheet_path , COALESCE(rating_track.star, 0) as star , rg_track_gain, "
            "rg_track_peak, rg_album_gain, rg_album_peak  FROM track LEFT JOIN album_track ON "
            "track.id = album_track.track LEFT JOIN artist_track ON track.id = artist_track.track "
            "LEFT JOIN composer_track ON track.id = composer_track.track LEFT JOIN genre_track ON "
            "track.id = genre_track.track LEFT JOIN virtual_info_track ON track.id = "
            "virtual_info_track.track LEFT JOIN rating_track ON track.id = rating_track.track AND "
            "rating_track.userid = 7 LEFT JOIN replaygain_track ON track.id = "
            "replaygain_track.track  ) music"),
        std::string::npos)
        << full;
}

TEST_F(TrackView, UnknownLibrariesAndTypesAreRefused) {
    for (const auto &[library, uid, type] :
         {std::tuple<const char *, uid_t, int>(nullptr, kAlice, 0),
          {"all", 4294967295U, 0},
          {"nothing", kAlice, 1},
          {"All", kAlice, 0},
          {"shared'; DROP TABLE track", kAlice, 4}}) {
        table_.fill('x');
        where_.fill('x');
        EXPECT_EQ(Generate(library, uid, type), -1);
        EXPECT_STREQ(table_.data(), "");
        EXPECT_STREQ(where_.data(), "");
    }
    EXPECT_EQ(
        LogTexts(Log()),
        "audiolib/musiclib:# Bad parameters.\naudiolib/musiclib:# Bad parameters.\n"
        "audiolib/musiclib:# Wrong table type [1]\naudiolib/musiclib:# Wrong library type [All]\n"
        "audiolib/musiclib:# Wrong library type [shared'; DROP TABLE track]\n");
    // A statement that is cut would be another statement.
    std::array<char, 40> small = {};
    EXPECT_EQ(GenerateTableString("all", 0, 0, small.data(), small.size(), where_.data(),
                                  where_.size(), flags_.data(), 0),
              -1);
    EXPECT_EQ(GenerateTableString("all", 0, 0, table_.data(), table_.size(), small.data(),
                                  small.size(), flags_.data(), 0),
              -1);
    EXPECT_STREQ(table_.data(), "");
}

TEST_F(TrackView, ATextSetsTheJoinFlagsOfItsColumns) {
    const auto flagsOf = [](const char *text) {
        std::array<int, VARN_JOIN_TABLES> flags = {};
        UpdateJoinTableArgs(flags.data(), text);
        return flags;
    };
    using Flags = std::array<int, VARN_JOIN_TABLES>;
    EXPECT_EQ(flagsOf(nullptr), Flags({}));
    EXPECT_EQ(flagsOf("title = 'x' AND year > 3"), Flags({}));
    EXPECT_EQ(flagsOf("album_artist = ''"), Flags({1, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(flagsOf("agg_genre, composer, stars"), Flags({0, 0, 1, 1, 0, 1, 0}));
    EXPECT_EQ(flagsOf("ARTIST"), Flags({})) << "names are in lower case";
    Flags kept = {0, 0, 0, 0, 1, 0, 1};
    UpdateJoinTableArgs(kept.data(), "artist");
    EXPECT_EQ(kept, Flags({0, 1, 0, 0, 1, 0, 1})) << "set, never cleared";
}

TEST_F(TrackView, OrderIsCompleted) {
    const char *all = " album, disc, track, title, artist, genre, year, path, duration, star ";
    EXPECT_EQ(Order(nullptr), all);
    EXPECT_EQ(Order("title desc"),
              " title desc, album, disc, track, artist, genre, year, path, duration, star ");
    EXPECT_EQ(Order("lower(title)"),
              " lower(title), album, disc, track, title, artist, genre, "
              "year, path, duration, star ");
    EXPECT_EQ(Order(std::string(3000, 'x').c_str()), " " + std::string(1023, 'x') + " ");
    std::array<char, 4> small = {};
    EXPECT_EQ(GenerateOrderString("", small.data(), small.size()),
              static_cast<int>(std::string(all).size()));
    EXPECT_STREQ(small.data(), " al");
}

}  // namespace

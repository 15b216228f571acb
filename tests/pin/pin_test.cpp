#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "pin/pin_fixture.h"
#include "support/socket_elsewhere.h"
#include "varn/systempath.h"

namespace {

using Tonvale::PinData;
using tonvale_test::Pins;

TEST_F(Pins, RefusesWhatIsNoView) {
    const struct {
        const char *type;
        Json::Value criteria;
        int error;
    } cases[] = {
        {"album_artist", Object({{"artist", "x"}}), 2},
        {"genre_filter", Object({}), 2},
        {"Album", Object({}), 2},
        {"", Object({}), 2},
        {"album", Object({{"album", "x"}, {"year", "1999"}}), 3},
        {"album", Object({{"path", "/x"}}), 3},
        {"album", Json::Value("text"), 3},
        {"album", Json::Value(Json::arrayValue), 3},
        {"album", Json::Value(7), 3},
        {"folder", Object({{"album", "x"}}), 1},
        {"folder", Object({{"folder", "dir_1 OR 1=1"}}), 6},
        {"folder", Object({{"folder", "dir_"}}), 6},
        {"folder", Object({{"folder", ""}}), 6},
        {"folder", Object({{"folder", "dir_p"}}), 6},
        {"playlist", Object({}), 1},
        {"playlist", Json::Value(), 1},
        {"playlist", Object({{"playlist", "nonsense"}}), 1},
        {"playlist", Object({{"playlist", "playlist_shared_normal/../x"}}), 1},
        {"playlist", Object({{"playlist", "playlist_shared_normal/4711"}}), 7},
        {"playlist", Object({{"playlist", "playlist_personal_normal/none"}}), 7},
        {"playlist", Object({{"playlist", "playlist_shared_smart/none"}}), 7},
    };
    for (const auto &[type, criteria, error] : cases) {
        PinData pin;
        pin.name = "untouched";
        EXPECT_FALSE(alice().Pin(type, criteria, "name", pin)) << type << criteria;
        EXPECT_EQ(alice().GetErrorCode(), error) << type << criteria;
        EXPECT_EQ(pin.name, "untouched");
    }
    Json::Value number;
    number["folder"] = 12;
    EXPECT_EQ(Pin("folder", number), "");
    EXPECT_EQ(alice().GetErrorCode(), 1);
    EXPECT_EQ(alice().GetPinTotalByUser(), 0);
    EXPECT_EQ(alice().GetErrorCode(), 0);
}

// What is found by its tags is the same before and after.
TEST_F(Pins, KeepsViewsInTheirOrder) {
    const Json::Value album = Object({{"album", "It's"}, {"album_artist", "\u00df"}});
    const struct {
        const char *type;
        Json::Value criteria, kept;
    } views[] = {
        {"album", album, album},
        {"random_100", Object({{"year", "x"}}), Object({})},
        {"recently_added", Json::Value(7), Object({})},
        {"genre", Json::Value(), Object({})},
        {"composer", album, album},
        {"artist", Object({{"artist", "A"}, {"genre_filter", "100%"}}),
         Object({{"artist", "A"}, {"genre_filter", "100%"}})},
    };
    for (const auto &[type, criteria, kept] : views) {
        EXPECT_NE(Pin(type, criteria, type), "") << type;
    }
    const std::string endless(10000, '\'');
    EXPECT_NE(Pin("artist", Object({}), endless), "");
    PinData bobs;
    ASSERT_TRUE(bob().Pin("random_100", Json::Value(), "bob's", bobs));
    EXPECT_EQ(bobs.sort_key, 1);
    EXPECT_EQ(bobs.user_id, static_cast<int>(kBob));

    const std::vector<PinData> pins = List(alice());
    ASSERT_EQ(pins.size(), 7U);
    for (std::size_t i = 0; i < std::size(views); ++i) {
        EXPECT_EQ(pins[i].name, views[i].type);
        EXPECT_EQ(pins[i].criteria, views[i].kept) << views[i].type;
        EXPECT_EQ(pins[i].sort_key, static_cast<int>(i) + 1);
    }
    EXPECT_EQ(pins[6].name, endless);
    EXPECT_EQ(Names(List(alice(), 2, 2)), (std::vector<std::string>{"recently_added", "genre"}));
    EXPECT_TRUE(List(alice(), 0, 0).empty());
    EXPECT_EQ(alice().GetPinTotalByUser(), 7);
    EXPECT_EQ(bob().GetPinTotalByUser(), 1);

    // The same view twice: criteria of the lists without any are all the same.
    for (const auto &[type, criteria] :
         {std::pair("random_100", Object({{"album", "other"}})), std::pair("genre", Object({})),
          std::pair("album", Object({{"album_artist", "\u00df"}, {"album", "It's"}}))}) {
        EXPECT_EQ(Pin(type, criteria), "");
        EXPECT_EQ(alice().GetErrorCode(), 4);
    }
}

// Rows of before, when null was another view than an empty object.
TEST_F(Pins, OfEverythingAreBroughtInStep) {
    Query(
        "INSERT INTO pin (user_id, type, name, criteria, sort_key) VALUES"
        " (1, 'album', 'a', 'null', 1), (1, 'album', 'b', '{}', 2), (1, 'genre', 'c', '{}', 3),"
        " (1, 'genre', 'd', 'null', 3), (1, 'artist', 'e', 'null', 4),"
        " (1, 'album', 'f', '{\"album\":null}', 5), (2, 'album', 'g', 'null', 1)");
    Query(ReadFile(TONVALE_SOURCE_DIR "/platform/schema/011_pin_criteria.sql"));
    EXPECT_EQ(Value("SELECT string_agg(name || criteria, ' ' ORDER BY name) FROM pin"),
              R"(a{} c{} e{} f{"album":null} g{})");
}

TEST_F(Pins, BelongToOneUser) {
    const std::string mine = Pin("genre", Object({{"genre", "Rock"}}), "mine");
    for (const std::string &id : {mine, std::string("x"), std::string(),
                                  std::string("1' OR '1'='1"), std::string(10000, '9')}) {
        PinData pin;
        EXPECT_FALSE(bob().GetPinByUserId(id, pin));
        EXPECT_EQ(bob().GetErrorCode(), 5);
        EXPECT_FALSE(bob().Unpin(id));
        EXPECT_EQ(bob().GetErrorCode(), 5);
        EXPECT_FALSE(bob().Rename(id, "stolen"));
        EXPECT_EQ(bob().GetErrorCode(), 5);
    }
    EXPECT_FALSE(bob().Unpin("\xff"));
    EXPECT_EQ(bob().GetErrorCode(), 8);
    EXPECT_TRUE(alice().Rename(mine, "it's \\ 100%"));
    EXPECT_EQ(Names(List(alice())), std::vector<std::string>{"it's \\ 100%"});
    EXPECT_TRUE(alice().Unpin(mine));
    EXPECT_FALSE(alice().Unpin(mine));
    EXPECT_EQ(alice().GetErrorCode(), 5);
}

// Folders and playlists are found again after the library was indexed anew.
TEST_F(Pins, FollowTheLibraryByPath) {
    const std::string share = Share();
    const std::string folder = share + "/It's 100%";
    const std::string list = share + "/a_b.m3u";
    const auto index = [&](const std::string &n, const char *owner) {
        Query(
            "DELETE FROM directory; DELETE FROM playlist; DELETE FROM personal_directory; "
            "DELETE FROM personal_playlist");
        Query("INSERT INTO directory(id, path) VALUES (" + n + ", '" + share + "/It''s 100%')");
        Query("INSERT INTO playlist(id, path, title) VALUES (" + n + ", '" + list + "', 'A & B')");
        Query("INSERT INTO personal_directory(userid, id, path) VALUES (" + std::string(owner) +
              ", 5" + n + ", '/homes/alice/music')");
        Query("INSERT INTO personal_playlist(userid, id, path, title) VALUES (" +
              std::string(owner) + ", 6" + n + ", '" + share + "/It''s mine.m3u', '')");
    };
    index("12", "1030");
    const struct {
        const char *type, *id;
        Json::Value stored, shown;
    } cases[] = {
        {"folder", "dir_12", Object({{"folder", "shared"}, {"path", folder.c_str()}}),
         Object({{"folder", "dir_34"}, {"path", "/music/It's 100%"}})},
        {"playlist", "playlist_shared_normal/12",
         Object({{"playlist", "shared"}, {"path", list.c_str()}}),
         Object({{"library", "shared"},
                 {"type", "normal"},
                 {"name", "A & B"},
                 {"path", "/music/a_b.m3u"},
                 {"playlist", "playlist_shared_normal/34"}})},
        {"folder", "dir_p_512", Object({{"folder", "personal"}, {"path", "/homes/alice/music"}}),
         Json::Value()},
        {"playlist", "playlist_personal_normal/612",
         Object({{"playlist", "personal"}, {"path", (share + "/It's mine.m3u").c_str()}}),
         Object({{"library", "personal"},
                 {"type", "normal"},
                 {"name", "It's mine"},  // without a title the file's
                 {"path", "/music/It's mine.m3u"},
                 {"playlist", "playlist_personal_normal/634"}})},
    };
    for (const auto &[type, id, stored, shown] : cases) {
        PinData made;
        EXPECT_TRUE(alice().Pin(type, Object({{type, id}}), "It's \n", made)) << id;
        EXPECT_EQ(made.name + made.type, std::string("It's \n") + type);
        EXPECT_EQ(made.criteria[type], id);
        EXPECT_EQ(Pin(type, Object({{type, id}})), "");
        EXPECT_EQ(alice().GetErrorCode(), 4) << id;
    }
    index("34", "1030");
    std::vector<PinData> pins;
    {
        const tonvale_test::SocketElsewhere down;  // the one connection that is open has to do
        pins = List(alice());
    }
    ASSERT_EQ(pins.size(), std::size(cases));
    EXPECT_EQ(Stored(pins[0].id), R"({"folder":"shared","path":")" + folder + "\"}");
    EXPECT_EQ(pins[2].criteria["folder"], "dir_p_534");
    for (std::size_t i : {0, 1, 3}) {
        EXPECT_EQ(pins[i].criteria, cases[i].shown);
    }

    // What is gone keeps its pin, in the form in which it is stored; another user's does not stand
    // in for it.
    index("56", "1031");
    Query("DELETE FROM directory; DELETE FROM playlist");
    pins = List(alice());
    ASSERT_EQ(pins.size(), std::size(cases));
    EXPECT_EQ(alice().GetErrorCode(), 0);
    for (std::size_t i = 0; i < pins.size(); ++i) {
        EXPECT_EQ(pins[i].criteria, cases[i].stored);
    }
    EXPECT_EQ(Pin("playlist", Object({{"playlist", "playlist_personal_normal/656"}})), "");
    EXPECT_EQ(alice().GetErrorCode(), 7);
    EXPECT_TRUE(alice().Rename(pins[0].id, "gone"));
    EXPECT_TRUE(alice().Unpin(pins[1].id));
}

// Playlists without a row keep their identifier, stored and shown.
TEST_F(Pins, KeepPlaylistsWithoutARowByIdentifier) {
    WriteFile(varn::path::kPackageConf, "enable_personal_library=\"no\"\n");
    WriteFile("/usr/varn/etc/preference/alice/playlists/It's.m3u", "");
    WriteFile("/usr/varn/etc/preference/alice/playlists/smart.playlist",
              "\"Top/25\" { genre = \"Rock\" }\n");
    WriteFile(varn::path::kSmartPlaylists, "\"Top/25\" { genre = \"Rock\" }\n");
    const struct {
        const char *id, *library, *type, *name;
    } cases[] = {
        {"playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__", "personal", "normal", nullptr},
        {"playlist_personal_normal/It's", "personal", "normal", "It's"},
        {"playlist_personal_smart/Top/25", "personal", "smart", "Top/25"},
        {"playlist_shared_smart/Top/25", "shared", "smart", "Top/25"},
    };
    for (const auto &[id, library, type, name] : cases) {
        Json::Value shown = Object({{"library", library}, {"type", type}, {"playlist", id}});
        if (name != nullptr) {
            shown["name"] = name;
        }
        PinData made;
        ASSERT_TRUE(alice().Pin("playlist", Object({{"playlist", id}}), "n", made)) << id;
        EXPECT_EQ(Stored(made.id), std::string(R"({"playlist":")") + id + "\"}");
        EXPECT_EQ(made.criteria, shown);
        EXPECT_EQ(List(alice()).back().criteria, shown);
    }
}

class PinOrder : public Pins {
  protected:
    // Three pins "a", "b", "c" of alice with the keys 4, 7 and 9, and one of bob().
    void SetUp() override {
        Pins::SetUp();
        for (const char *name : {"a", "b", "c"}) {
            ids.push_back(Pin("album", Object({{"album", name}}), name));
        }
        Query("UPDATE pin SET sort_key = CASE name WHEN 'a' THEN 4 WHEN 'b' THEN 7 ELSE 9 END");
        PinData pin;
        ASSERT_TRUE(bob().Pin("random_100", Json::Value(), "bob's", pin));
        bobs = pin.id;
    }
    static std::string Keys() {
        return Value(
            "SELECT string_agg(name || sort_key, ' ' ORDER BY name) FROM pin WHERE "
            "user_id = 1030");
    }
    std::vector<std::string> ids;
    std::string bobs;
};

TEST_F(PinOrder, NumbersAPageFromItsFirstKey) {
    EXPECT_TRUE(alice().Reorder({ids[2], ids[0], ids[1]}, 0, -1));
    EXPECT_EQ(Keys(), "a5 b6 c4");
    EXPECT_TRUE(alice().Reorder({ids[1], ids[0]}, 1, 2));
    EXPECT_EQ(Keys(), "a6 b5 c4");
    EXPECT_TRUE(alice().Reorder({}, 9, 5));
    EXPECT_EQ(Keys(), "a6 b5 c4");
}

// A new pin stands behind the last one, wherever that is and however many there are.
TEST_F(PinOrder, NewPinsComeLast) {
    Query("UPDATE pin SET sort_key = 40 WHERE name = 'a'; DELETE FROM pin WHERE name = 'b'");
    Query("UPDATE pin SET sort_key = 90 WHERE id = '" + bobs + "'");
    EXPECT_NE(Pin("genre", Object({}), "d"), "");
    EXPECT_EQ(Keys(), "a40 c9 d41");
}

TEST_F(PinOrder, TakesExactlyThePagesPins) {
    const std::vector<std::string> wrong[] = {
        {},
        {ids[0], ids[1]},
        {ids[0], ids[1], ids[1]},
        {ids[0], ids[1], ids[2], ids[2]},
        {ids[0], ids[1], bobs},
        {ids[0], ids[1], "'; DROP TABLE pin; --"},
    };
    for (const auto &order : wrong) {
        EXPECT_FALSE(alice().Reorder(order, 0, -1));
        EXPECT_EQ(alice().GetErrorCode(), 1);
    }
    EXPECT_FALSE(alice().Reorder({ids[0], ids[1], ids[2]}, 0, 2));
    EXPECT_FALSE(alice().Reorder({ids[0]}, -1, 1));
    EXPECT_EQ(alice().GetErrorCode(), 8);
    EXPECT_EQ(Keys(), "a4 b7 c9");
}

}  // namespace

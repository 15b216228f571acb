#include <climits>
#include <iterator>
#include <utility>

#include "pin/pin_fixture.h"
#include "support/socket_elsewhere.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using Tonvale::PinData;

TEST_F(Pins, RefusesInvalidViews) {
    Json::Value number;
    number["folder"] = 12;
    const struct {
        const char *type;
        Json::Value criteria;
        int error;
    } cases[] = {
        {"genre_filter", Object({}), 2},
        {"", Object({}), 2},
        {"album", Object({{"album", "x"}, {"year", "1999"}}), 3},
        {"album", "text", 3},
        {"album", 7, 3},
        {"folder", Object({{"album", "x"}}), 1},
        {"folder", number, 1},
        {"folder", Object({{"folder", "dir_1 OR 1=1"}}), 6},
        {"folder", Object({{"folder", "dir_p"}}), 6},
        {"playlist", Json::Value(), 1},
        {"playlist", Object({{"playlist", "playlist_shared_normal/../x"}}), 1},
        {"playlist", Object({{"playlist", "playlist_shared_normal/4711"}}), 7},
        {"playlist", Object({{"playlist", "playlist_shared_smart/none"}}), 7},
    };
    for (const auto &[type, criteria, error] : cases) {
        PinData pin;
        pin.name = "untouched";
        EXPECT_EQ(CodeOf(alice().Pin(type, criteria, "name", pin)), error) << type << criteria;
        EXPECT_EQ(pin.name, "untouched");
    }
    EXPECT_EQ(alice().GetPinTotalByUser(), 0);
    EXPECT_EQ(alice().GetErrorCode(), 0);
}

TEST_F(Pins, KeepsViewsInTheirOrder) {
    const Json::Value album = Object({{"album", "It's"}, {"album_artist", "\u00df"}});
    const std::string endless(10000, '\'');
    const struct {
        const char *type;
        std::string name;
        Json::Value criteria, kept;
    } views[] = {
        {"album", "a", album, album},
        {"random_100", "b", Object({{"year", "x"}}), Object({})},
        {"recently_added", "c", 7, Object({})},
        {"genre", "d", Json::Value(), Json::Value()},
        {"artist", endless, Object({{"genre_filter", "100%"}}), Object({{"genre_filter", "100%"}})},
    };
    for (const auto &[type, name, criteria, kept] : views) {
        EXPECT_NE(Pin(type, criteria, name), "") << type;
    }
    PinData bobs;
    ASSERT_TRUE(bob().Pin("random_100", Json::Value(), "bob's", bobs));
    EXPECT_EQ(bobs.sort_key, 1);
    const std::vector<PinData> pins = List(alice());
    ASSERT_EQ(pins.size(), std::size(views));
    for (std::size_t i = 0; i < std::size(views); ++i) {
        EXPECT_EQ(pins[i].name, views[i].name);
        EXPECT_EQ(pins[i].criteria, views[i].kept) << views[i].type;
        EXPECT_EQ(pins[i].sort_key, static_cast<int>(i) + 1);
    }
    EXPECT_EQ(Names(List(alice(), 2, 2)), (Texts{"c", "d"}));
    EXPECT_TRUE(List(alice(), 0, 0).empty());
    EXPECT_EQ(alice().GetPinTotalByUser(), 5);

    // The same view twice. Some lists have no criteria, so all of theirs are the same.
    for (const auto &[type, criteria] :
         {std::pair("random_100", Object({{"album", "other"}})), std::pair("genre", Json::Value()),
          std::pair("album", Object({{"album_artist", "\u00df"}, {"album", "It's"}}))}) {
        EXPECT_EQ(Pin(type, criteria), "");
        EXPECT_EQ(alice().GetErrorCode(), 4);
    }
}

// Changes by others are tested with the web API.
TEST_F(Pins, AreShownToTheirUserOnly) {
    const std::string mine = Pin("genre", Object({{"genre", "Rock"}}), "mine");
    for (const std::string &id : {mine, std::string(), std::string("1' OR '1'='1")}) {
        PinData pin;
        EXPECT_EQ(CodeOf(bob(), bob().GetPinByUserId(id, pin)), 5);
    }
    EXPECT_EQ(CodeOf(bob(), bob().Unpin("\xff")), 8);
}

class PinsByPath : public Pins {
  protected:
    // The rows of a new scan: their ids end in `n`, and the personal ones are `owner`'s.
    void Index(const std::string &n, const std::string &owner) {
        Query(*varn::Sql(
            "DELETE FROM directory; DELETE FROM playlist; DELETE FROM personal_directory; "
            "DELETE FROM personal_playlist;"
            "INSERT INTO directory(id, path) VALUES (@VARN:VAR, '@VARN:VAR');"
            "INSERT INTO playlist(id, path, title) VALUES (@VARN:VAR, '@VARN:VAR', 'A & B');"
            "INSERT INTO personal_directory(userid, id, path) VALUES (@VARN:VAR, 5@VARN:VAR, "
            "'@VARN:VAR/own');"
            "INSERT INTO personal_playlist(userid, id, path, title) VALUES (@VARN:VAR, "
            "6@VARN:VAR, '@VARN:VAR', '')",
            n, folder, n, list, owner, n, share, owner, n, own));
    }

    const std::string share = scratch() / "share";
    const std::string folder = share + "/It's 100%";
    const std::string list = share + "/a_b.m3u";
    const std::string own = share + "/It's mine.m3u";
};

// A new scan gives folders and playlists other row ids.
TEST_F(PinsByPath, FollowTheLibrary) {
    WriteFile(varn::path::kShares, "music=\"" + share + "\"\n");
    Index("12", "1030");
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
        {"folder", "dir_p_512",
         Object({{"folder", "personal"}, {"path", (share + "/own").c_str()}}),
         Object({{"folder", "dir_p_534"}, {"path", "/music/own"}})},
        {"playlist", "playlist_personal_normal/612",
         Object({{"playlist", "personal"}, {"path", own.c_str()}}),
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
    Index("34", "1030");
    std::vector<PinData> pins;
    {
        const SocketElsewhere down;  // the open connection is enough
        pins = List(alice());
    }
    ASSERT_EQ(pins.size(), std::size(cases));
    for (std::size_t i = 0; i < pins.size(); ++i) {
        EXPECT_EQ(pins[i].criteria, cases[i].shown);
    }

    // A folder or playlist that is gone keeps its pin, shown in its stored form. Another user's row
    // does not replace it.
    Index("56", "1031");
    Query("DELETE FROM directory; DELETE FROM playlist");
    pins = List(alice());
    ASSERT_EQ(pins.size(), std::size(cases));
    for (std::size_t i = 0; i < pins.size(); ++i) {
        EXPECT_EQ(pins[i].criteria, cases[i].stored);
    }
    EXPECT_TRUE(alice().Rename(pins[0].id, "gone"));
    EXPECT_TRUE(alice().Unpin(pins[1].id));
}

TEST_F(Pins, KeepPlaylistsWithoutARowByIdentifier) {
    WriteFile(varn::path::kPackageConf, "enable_personal_library=\"no\"\n");
    WriteFile("/usr/varn/etc/preference/alice/playlists/It's.m3u", "");
    WriteFile("/usr/varn/etc/preference/alice/playlists/smart.playlist",
              "\"Top/25\" { genre = \"Rock\" }\n");
    WriteFile(varn::path::kSmartPlaylists, "\"Top/25\" { genre = \"Rock\" }\n");
    const std::pair<const char *, Json::Value> cases[] = {
        {"playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__",
         Object({{"library", "personal"}, {"type", "normal"}})},
        {"playlist_personal_normal/It's",
         Object({{"library", "personal"}, {"type", "normal"}, {"name", "It's"}})},
        {"playlist_personal_smart/Top/25",
         Object({{"library", "personal"}, {"type", "smart"}, {"name", "Top/25"}})},
        {"playlist_shared_smart/Top/25",
         Object({{"library", "shared"}, {"type", "smart"}, {"name", "Top/25"}})},
    };
    for (auto [id, shown] : cases) {
        shown["playlist"] = id;
        PinData made;
        ASSERT_TRUE(alice().Pin("playlist", Object({{"playlist", id}}), "n", made)) << id;
        EXPECT_EQ(Value("SELECT criteria FROM pin WHERE id = '" + made.id + "'"),
                  std::string(R"({"playlist":")") + id + "\"}");
        EXPECT_EQ(made.criteria, shown);
        EXPECT_EQ(List(alice()).back().criteria, shown);
    }
}

class PinOrder : public Pins {
  protected:
    // alice's pins "a", "b" and "c" with the keys 4, 7 and 9, and one of bob's.
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
    Texts ids;
    std::string bobs;
};

TEST_F(PinOrder, NumbersAPageFromItsFirstKey) {
    EXPECT_TRUE(alice().Reorder({ids[2], ids[0], ids[1]}, 0, -1));
    EXPECT_EQ(Keys(), "a5 b6 c4");
    EXPECT_TRUE(alice().Reorder({ids[1], ids[0]}, 1, 2));
    EXPECT_EQ(Keys(), "a6 b5 c4");
    // A new pin comes after the user's last one.
    Query("UPDATE pin SET sort_key = 40 WHERE name = 'a'; DELETE FROM pin WHERE name = 'b'");
    Query("UPDATE pin SET sort_key = 90 WHERE id = '" + bobs + "'");
    EXPECT_NE(Pin("genre", Object({}), "d"), "");
    EXPECT_EQ(Keys(), "a40 c4 d41");
}

TEST_F(PinOrder, TakesExactlyThePagesPins) {
    for (const Texts &order : {Texts{},
                               {ids[0], ids[1]},
                               {ids[0], ids[1], ids[1]},
                               {ids[0], ids[1], ids[2], ids[2]},
                               {ids[0], ids[1], bobs}}) {
        EXPECT_EQ(CodeOf(alice().Reorder(order, 0, -1)), 1);
    }
    EXPECT_EQ(CodeOf(alice().Reorder({ids[0], ids[1], ids[2]}, 0, 2)), 1);
    EXPECT_EQ(CodeOf(alice().Reorder({ids[0]}, -1, 1)), 8);
    EXPECT_EQ(Keys(), "a4 b7 c9");
}

TEST_F(PinOrder, CountsNoKeyPastTheLargest) {
    const auto setKeys = [](int key) { Query("UPDATE pin SET sort_key = " + std::to_string(key)); };
    setKeys(INT_MAX);
    EXPECT_EQ(Pin("artist", Object({})), "");
    EXPECT_EQ(CodeOf(alice().Reorder(ids, 0, -1)), 8);
    setKeys(INT_MAX - 2);
    EXPECT_TRUE(alice().Reorder({ids[1], ids[0], ids[2]}, 0, -1));
    EXPECT_EQ(Names(List(alice())), (Texts{"b", "a", "c"}));
}

}  // namespace

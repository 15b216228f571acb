#include "sharing/sharing_fixture.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

class SharingCache : public SharingTest {
  protected:
    static constexpr char kSmart[] = "playlist_shared_smart/x";

    static void Add(const std::string &id, const std::string &playlist, const std::string &path,
                    unsigned user = kAlice) {
        AddDated(Link(user, playlist, path), id, "", "");
    }
    static void AddDated(SharingData rec, const std::string &id, const char *first,
                         const char *last) {
        rec.id = id;
        rec.avail_date = first;
        rec.exp_date = last;
        ASSERT_TRUE(SharingManager().AddSharingRecord(rec));
    }
    static std::string PlaylistOf(const std::string &id) {
        return Value("SELECT playlist_id FROM playlist_sharing WHERE id = '" + id + "'");
    }
    static std::string IdOf(SharingManager &manager, const std::string &playlist,
                            const std::string &path = "") {
        Json::Value out;
        const bool found = manager.GetSharingRecordFromCache(playlist, path, out);
        EXPECT_EQ(found, out["id"] != "");
        return out["id"].asString();
    }
};

// The status is that of the moment of asking, from the dates that were read.
TEST_F(SharingCache, AnswersForThePlaylistsOfAUser) {
    AddDated(Link(kAlice, kSmart, "/v/smart"), "aaaaaaaa", "2024-06-01", "2024-06-30");
    Add("bbbbbbbb", "playlist_shared_normal/1", "/v/one.m3u");
    Add("cccccccc", "playlist_shared_normal/3", "/v/three.m3u", kBob);
    SharingManager manager;
    EXPECT_EQ(IdOf(manager, kSmart), "") << "nothing is read yet";
    FixedClock clock(LocalTime(2024, 5, 31, 23, 59, 59));
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    Json::Value expected;
    expected["id"] = "aaaaaaaa";
    expected["url"] = manager.GetUrl("aaaaaaaa");
    expected["date_available"] = "2024-06-01";
    expected["date_expired"] = "2024-06-30";
    Json::Value out;
    for (const auto &[now, status] : {std::pair(LocalTime(2024, 5, 31, 23, 59, 59), "invalid"),
                                      std::pair(LocalTime(2024, 6, 1, 0, 0, 0), "valid"),
                                      std::pair(LocalTime(2024, 7, 1, 0, 0, 0), "expired")}) {
        clock.Set(now);
        expected["status"] = status;
        ASSERT_TRUE(manager.GetSharingRecordFromCache(kSmart, "", out));
        EXPECT_EQ(out, expected);
    }
    expected["id"] = "bbbbbbbb";
    expected["url"] = manager.GetUrl("bbbbbbbb");
    expected["date_available"] = expected["date_expired"] = "0";
    expected["status"] = "valid";
    ASSERT_TRUE(manager.GetSharingRecordFromCache("playlist_shared_normal/1", "", out));
    EXPECT_EQ(out, expected);

    expected["id"] = expected["url"] = "";
    expected["status"] = "none";
    EXPECT_FALSE(
        manager.GetSharingRecordFromCache("playlist_shared_normal/3", "/v/three.m3u", out));
    EXPECT_EQ(out, expected);
    out = "untouched";
    EXPECT_FALSE(manager.GetSharingRecordFromCache("", "/v/one.m3u", out));
    EXPECT_EQ(out, "untouched");
}

TEST_F(SharingCache, IsReadAnewOnlyForUsersWithTheRight) {
    Add("aaaaaaaa", kSmart, "/v/smart");
    SharingManager manager;
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    Query("DELETE FROM playlist_sharing");
    EXPECT_TRUE(manager.PrepareSharingCache(kBob));
    EXPECT_FALSE(manager.PrepareSharingCache(UINT32_MAX));
    EXPECT_TRUE(Logged("Bad parameter\\."));
    EXPECT_EQ(IdOf(manager, kSmart), "aaaaaaaa") << "kept as it was";
    Query("ALTER TABLE playlist_sharing RENAME TO elsewhere");
    EXPECT_FALSE(manager.PrepareSharingCache(kAlice));
    EXPECT_EQ(IdOf(manager, kSmart), "aaaaaaaa");
    Query("ALTER TABLE elsewhere RENAME TO playlist_sharing");
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    EXPECT_EQ(IdOf(manager, kSmart), "");
}

// Of two links to one file the first in the order of their identifiers has the new number.
TEST_F(SharingCache, FollowsASharedPlaylistToItsNewRow) {
    Add("bbbbbbbb", "playlist_shared_normal/3", kFile);
    Add("aaaaaaaa", "playlist_shared_normal/20", kFile);
    Add("cccccccc", "playlist_shared_normal/9", "/v/other.m3u");
    Add("dddddddd", "playlist_personal_normal/mine", "/v/mine.m3u");
    SharingManager manager;
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    EXPECT_FALSE(manager.CheckAndUpdateCacheRecord("playlist_shared_normal/77", "/v/none.m3u"));
    EXPECT_FALSE(manager.CheckAndUpdateCacheRecord(kSmart, kFile));
    EXPECT_EQ(IdOf(manager, "playlist_personal_normal/new", "/v/mine.m3u"), "");
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(IdOf(manager, "playlist_shared_normal/77", kFile), "aaaaaaaa");
    }
    EXPECT_EQ(IdOf(manager, "playlist_shared_normal/20"), "") << "moved away";
    EXPECT_EQ(IdOf(manager, "playlist_shared_normal/3"), "bbbbbbbb");
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), "playlist_shared_normal/77");
    EXPECT_EQ(PlaylistOf("cccccccc"), "playlist_shared_normal/9");
}

// Reading a link stores the row id that its playlist has now.
TEST_F(SharingCache, ReadingALinkRekeysIt) {
    Add("aaaaaaaa", kList, kFile);
    Query(
        "INSERT INTO playlist(id, path) VALUES (81, E'/volume1/music/playlists/"
        "It''s 100%_a\\\\b.m3u')");
    SharingManager manager;
    SharingData rec;
    rec.id = "aaaaaaaa";
    ASSERT_TRUE(manager.GetSharingRecord(rec, true));
    EXPECT_EQ(rec.playlist_id, kList);
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), "playlist_shared_normal/81");
    EXPECT_TRUE(manager.CheckAndUpdateRecord(kList, "/v/unknown.m3u"));
    EXPECT_FALSE(manager.CheckAndUpdateRecord("playlist_personal_normal/x", kFile));
    EXPECT_FALSE(manager.CheckAndUpdateRecord(kList, ""));
    EXPECT_FALSE(manager.CheckAndUpdateRecord("", kFile));
    EXPECT_FALSE(manager.UpdatePlsId(kList, kFile));
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), kList);
}

TEST_F(SharingCache, LinksFollowWhatHappensToPlaylists) {
    Add("aaaaaaaa", kList, kFile);
    Add("bbbbbbbb", "playlist_personal_smart/it's", "/v/smart");
    Add("cccccccc", "playlist_personal_normal/mine", "/v/mine.m3u");
    Add("dddddddd", "playlist_personal_normal/bobs", "/v/bobs.m3u", kBob);
    Add("eeeeeeee", "playlist_shared_smart/%", "/v/store", kBob);

    SharingManager manager;
    EXPECT_FALSE(manager.HandleNormalPlaylistRename("", "/v", "/w"));
    EXPECT_FALSE(manager.HandleNormalPlaylistRename("x", "/v", ""));
    EXPECT_FALSE(manager.HandleSmartPlaylistRename("x", ""));
    EXPECT_FALSE(manager.HandlePlaylistDelete(""));
    EXPECT_FALSE(manager.HandleDeleteUserPrivilege(UINT32_MAX));
    EXPECT_EQ(Log().size(), 5U);

    EXPECT_TRUE(
        manager.HandleNormalPlaylistRename("playlist_shared_normal/90", "/v/new.m3u", kFile));
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), "playlist_shared_normal/90");
    EXPECT_EQ(Value("SELECT path FROM playlist_sharing WHERE id = 'aaaaaaaa'"), "/v/new.m3u");
    EXPECT_TRUE(manager.HandleSmartPlaylistRename("playlist_personal_smart/2",
                                                  "playlist_personal_smart/it's"));
    EXPECT_EQ(PlaylistOf("bbbbbbbb"), "playlist_personal_smart/2");
    EXPECT_TRUE(manager.HandlePersonalLibChange());
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist_sharing"), "3");
    EXPECT_TRUE(manager.HandlePlaylistDelete("playlist_shared_normal/90"));
    EXPECT_EQ(PlaylistOf("eeeeeeee"), "playlist_shared_smart/%");
    EXPECT_TRUE(manager.HandleDeleteUserPrivilege(kBob));
    EXPECT_EQ(Value("SELECT id FROM playlist_sharing"), "bbbbbbbb");
}

}  // namespace

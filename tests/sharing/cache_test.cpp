#include "sharing/sharing_fixture.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

class SharingCache : public SharingTest {
  protected:
    static void Add(SharingManager &manager, const std::string &id, const std::string &playlist,
                    const std::string &path, unsigned user = kAlice) {
        SharingData rec = Link(user, playlist, path);
        rec.id = id;
        ASSERT_TRUE(manager.AddSharingRecord(rec));
    }
    static std::string PlaylistOf(const std::string &id) {
        return Value("SELECT playlist_id FROM playlist_sharing WHERE id = '" + id + "'");
    }
};

TEST_F(SharingCache, AnswersForThePlaylistsOfAUser) {
    SharingManager manager;
    Add(manager, "aaaaaaaa", "playlist_shared_normal/1", "/v/one.m3u");
    Add(manager, "bbbbbbbb", "playlist_personal_smart/x", "/v/smart");
    Add(manager, "cccccccc", "playlist_shared_normal/3", "/v/three.m3u", kBob);
    Json::Value out;
    EXPECT_FALSE(manager.GetSharingRecordFromCache("playlist_shared_normal/1", "/v/one.m3u", out));
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));

    ASSERT_TRUE(manager.GetSharingRecordFromCache("playlist_shared_normal/1", "", out));
    EXPECT_EQ(out["id"], "aaaaaaaa");
    EXPECT_EQ(out["status"], "valid");
    EXPECT_EQ(out["date_expired"], "0");

    Json::Value none;
    none["id"] = none["url"] = "";
    none["date_available"] = none["date_expired"] = "0";
    none["status"] = "none";
    EXPECT_FALSE(
        manager.GetSharingRecordFromCache("playlist_shared_normal/3", "/v/three.m3u", out));
    EXPECT_EQ(out, none);
    out = "untouched";
    EXPECT_FALSE(manager.GetSharingRecordFromCache("", "/v/one.m3u", out));
    EXPECT_EQ(out, "untouched");

    EXPECT_TRUE(SharingManager().PrepareSharingCache(kBob));
    ClearLog();
    EXPECT_FALSE(manager.PrepareSharingCache(UINT32_MAX));
    EXPECT_TRUE(Logged("Bad parameter\\."));
}

TEST_F(SharingCache, FollowsASharedPlaylistToItsNewRow) {
    SharingManager manager;
    Add(manager, "aaaaaaaa", kList, kFile);
    Add(manager, "bbbbbbbb", "playlist_personal_normal/mine", "/v/mine.m3u");
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    Json::Value out;
    EXPECT_FALSE(
        manager.GetSharingRecordFromCache("playlist_personal_normal/new", "/v/mine.m3u", out));
    for (int again = 0; again < 2; ++again) {
        ASSERT_TRUE(manager.GetSharingRecordFromCache("playlist_shared_normal/77", kFile, out));
        EXPECT_EQ(out["id"], "aaaaaaaa");
    }
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), "playlist_shared_normal/77");
    EXPECT_FALSE(manager.GetSharingRecordFromCache(kList, "/v/other.m3u", out));
}

// Reading a link stores the row id that its playlist has now.
TEST_F(SharingCache, ReadingALinkRekeysIt) {
    SharingManager manager;
    Add(manager, "aaaaaaaa", kList, kFile);
    Query(
        "INSERT INTO playlist(id, path) VALUES (81, E'/volume1/music/playlists/"
        "It''s 100%_a\\\\b.m3u')");
    SharingData rec;
    rec.id = "aaaaaaaa";
    ASSERT_TRUE(manager.GetSharingRecord(rec, true));
    EXPECT_EQ(rec.playlist_id, kList);
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), "playlist_shared_normal/81");
    EXPECT_TRUE(manager.CheckAndUpdateRecord(kList, "/v/unknown.m3u"));
    EXPECT_FALSE(manager.CheckAndUpdateRecord("playlist_personal_normal/x", kFile));
    EXPECT_FALSE(manager.CheckAndUpdateRecord(kList, ""));
    EXPECT_FALSE(manager.UpdatePlsId(kList, kFile));
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), kList);
}

TEST_F(SharingCache, LinksFollowWhatHappensToPlaylists) {
    SharingManager manager;
    Add(manager, "aaaaaaaa", kList, kFile);
    Add(manager, "bbbbbbbb", "playlist_personal_smart/it's", "/v/smart");
    Add(manager, "cccccccc", "playlist_personal_normal/mine", "/v/mine.m3u");
    Add(manager, "dddddddd", "playlist_personal_normal/bobs", "/v/bobs.m3u", kBob);
    Add(manager, "eeeeeeee", "playlist_shared_smart/%", "/v/store", kBob);

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

    ClearLog();
    EXPECT_FALSE(manager.HandleNormalPlaylistRename("", "/v", "/w"));
    EXPECT_FALSE(manager.HandleNormalPlaylistRename("x", "", "/w"));
    EXPECT_FALSE(manager.HandleNormalPlaylistRename("x", "/v", ""));
    EXPECT_FALSE(manager.HandleSmartPlaylistRename("", "y"));
    EXPECT_FALSE(manager.HandleSmartPlaylistRename("x", ""));
    EXPECT_FALSE(manager.HandlePlaylistDelete(""));
    EXPECT_FALSE(manager.HandleDeleteUserPrivilege(UINT32_MAX));
    EXPECT_EQ(Log().size(), 7U);
}

}  // namespace

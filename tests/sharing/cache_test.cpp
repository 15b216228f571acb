#include "sharing/sharing_fixture.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

class SharingCache : public SharingTest {
  protected:
    static constexpr char kSmart[] = "playlist_shared_smart/x";

    static void Add(const std::string &id, const std::string &playlist, const std::string &path,
                    unsigned user = kAlice, const char *first = "", const char *last = "") {
        SharingData rec = Link(user, playlist, path);
        rec.id = id;
        rec.avail_date = first;
        rec.exp_date = last;
        ASSERT_TRUE(SharingManager().AddSharingRecord(rec));
    }
    static std::string PlaylistOf(const std::string &id) {
        return Value("SELECT playlist_id FROM playlist_sharing WHERE id = '" + id + "'");
    }
    static Json::Value Found(SharingManager &manager, const std::string &playlist,
                             const std::string &path = "") {
        Json::Value out;
        const bool found = manager.GetSharingRecordFromCache(playlist, path, out);
        EXPECT_EQ(found, out["id"] != "");
        EXPECT_EQ(out["url"], found ? manager.GetUrl(out["id"].asString()) : "");
        return out;
    }
    static std::string IdOf(SharingManager &manager, const std::string &playlist,
                            const std::string &path = "") {
        return Found(manager, playlist, path)["id"].asString();
    }
    static std::string Dates(const Json::Value &link) {
        return link["date_available"].asString() + " " + link["date_expired"].asString() + " " +
               link["status"].asString();
    }
};

// The dates are those that were read; the status is that of the moment.
TEST_F(SharingCache, AnswersForThePlaylistsOfAUser) {
    Add("aaaaaaaa", kSmart, "/v/smart", kAlice, "2024-06-01", "2024-06-30");
    Add("bbbbbbbb", "playlist_shared_normal/1", "/v/one.m3u");
    Add("cccccccc", "playlist_shared_normal/3", "/v/three.m3u", kBob);
    SharingManager manager;
    EXPECT_EQ(IdOf(manager, kSmart), "") << "nothing is read yet";
    FixedClock clock(LocalTime("2024-05-31"));
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    EXPECT_EQ(Dates(Found(manager, kSmart)), "2024-06-01 2024-06-30 invalid");
    clock.Set(LocalTime("2024-07-01"));
    EXPECT_EQ(Dates(Found(manager, kSmart)), "2024-06-01 2024-06-30 expired");
    EXPECT_EQ(IdOf(manager, kSmart), "aaaaaaaa");
    EXPECT_EQ(Dates(Found(manager, "playlist_shared_normal/1")), "0 0 valid");
    EXPECT_EQ(Dates(Found(manager, "playlist_shared_normal/3", "/v/three.m3u")), "0 0 none");
    Json::Value out = "untouched";
    EXPECT_FALSE(manager.GetSharingRecordFromCache("", "/v/one.m3u", out));
    EXPECT_EQ(out, "untouched");
}

TEST_F(SharingCache, IsReadAgainOnlyForUsersWithTheRight) {
    Add("aaaaaaaa", kSmart, "/v/smart");
    SharingManager manager;
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    Query("ALTER TABLE playlist_sharing RENAME TO elsewhere");
    EXPECT_TRUE(manager.PrepareSharingCache(kBob));
    EXPECT_FALSE(manager.PrepareSharingCache(UINT32_MAX));
    EXPECT_FALSE(manager.PrepareSharingCache(kAlice));
    EXPECT_EQ(IdOf(manager, kSmart), "aaaaaaaa") << "kept as it was";
    Query("ALTER TABLE elsewhere RENAME TO playlist_sharing; DELETE FROM playlist_sharing");
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    EXPECT_EQ(IdOf(manager, kSmart), "");
}

// Of two links to one file the one with the lower identifier follows.
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

TEST_F(SharingCache, ReadingALinkStoresItsPlaylistsNewRowId) {
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
}

}  // namespace

#include <string>

#include "sharing/sharing_fixture.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

class SharingCacheLife : public SharingTest {
  protected:
    static constexpr char kSmart[] = "playlist_shared_smart/x";

    static void Add(const std::string &id, const std::string &playlist, const std::string &path,
                    const std::string &first = "", const std::string &last = "") {
        SharingData rec = Link(kAlice, playlist, path);
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
        manager.GetSharingRecordFromCache(playlist, path, out);
        return out["id"].asString();
    }
};

// The status is that of the moment of asking, from the dates that were read.
TEST_F(SharingCacheLife, AnswersWithDatesAddressAndStatus) {
    Add("aaaaaaaa", kSmart, "/v/smart", "2024-06-01", "2024-06-30");
    Add("bbbbbbbb", "playlist_shared_smart/open", "/v/smart", "2024-06-01", "1970-01-01");
    SharingManager manager;
    FixedClock clock(LocalTime(2024, 5, 31, 23, 59, 59));
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    Json::Value out;
    for (const auto &[now, status] : {std::pair(LocalTime(2024, 5, 31, 23, 59, 59), "invalid"),
                                      std::pair(LocalTime(2024, 6, 1, 0, 0, 0), "valid"),
                                      std::pair(LocalTime(2024, 6, 30, 23, 59, 59), "valid"),
                                      std::pair(LocalTime(2024, 7, 1, 0, 0, 0), "expired")}) {
        clock.Set(now);
        ASSERT_TRUE(manager.GetSharingRecordFromCache(kSmart, "", out));
        EXPECT_EQ(out["status"], status);
        EXPECT_EQ(out["date_available"], "2024-06-01");
        EXPECT_EQ(out["date_expired"], "2024-06-30");
        EXPECT_EQ(out["url"], manager.GetUrl("aaaaaaaa"));
        EXPECT_EQ(out.size(), 5U);
    }
    ASSERT_TRUE(manager.GetSharingRecordFromCache("playlist_shared_smart/open", "", out));
    EXPECT_EQ(out["date_available"], "2024-06-01");
    EXPECT_EQ(out["date_expired"], "0");
    EXPECT_EQ(out["status"], "valid");
}

TEST_F(SharingCacheLife, IsReadAnewOnlyForUsersWithTheRight) {
    Add("aaaaaaaa", kSmart, "/v/smart");
    SharingManager manager;
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    Query("DELETE FROM playlist_sharing");
    EXPECT_TRUE(manager.PrepareSharingCache(kBob));
    EXPECT_EQ(IdOf(manager, kSmart), "aaaaaaaa") << "kept as it was";
    Query("ALTER TABLE playlist_sharing RENAME TO elsewhere");
    EXPECT_FALSE(manager.PrepareSharingCache(kAlice));
    EXPECT_EQ(IdOf(manager, kSmart), "aaaaaaaa");
    Query("ALTER TABLE elsewhere RENAME TO playlist_sharing");
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    EXPECT_EQ(IdOf(manager, kSmart), "");
}

// Of two links to one file the first in the order of their identifiers has the new number.
TEST_F(SharingCacheLife, MovesTheFirstOfTwoLinks) {
    Add("bbbbbbbb", "playlist_shared_normal/3", kFile);
    Add("aaaaaaaa", "playlist_shared_normal/20", kFile);
    Add("cccccccc", "playlist_shared_normal/9", "/v/other.m3u");
    SharingManager manager;
    ASSERT_TRUE(manager.PrepareSharingCache(kAlice));
    EXPECT_FALSE(manager.CheckAndUpdateCacheRecord("playlist_shared_normal/77", "/v/none.m3u"));
    EXPECT_FALSE(manager.CheckAndUpdateCacheRecord(kSmart, kFile));
    EXPECT_EQ(IdOf(manager, "playlist_shared_normal/77", kFile), "aaaaaaaa");
    EXPECT_EQ(IdOf(manager, "playlist_shared_normal/20"), "") << "moved away";
    EXPECT_EQ(IdOf(manager, "playlist_shared_normal/3"), "bbbbbbbb");
    EXPECT_EQ(PlaylistOf("aaaaaaaa"), "playlist_shared_normal/77");
    EXPECT_EQ(PlaylistOf("cccccccc"), "playlist_shared_normal/9");
    EXPECT_FALSE(manager.CheckAndUpdateRecord("", kFile));
}

}  // namespace

#include <random>
#include <tuple>

#include "sharing/sharing_fixture.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

class SharingRecords : public SharingTest {};

TEST_F(SharingRecords, AreAddedReadChangedAndDeleted) {
    SharingManager manager;
    SharingData made = Link(kAlice);
    made.avail_date = "2024-01-01";  // half a range is none
    ASSERT_TRUE(manager.AddSharingRecord(made));
    EXPECT_EQ(made.avail_date + made.exp_date + made.status, "1970-01-011970-01-01valid");
    EXPECT_FALSE(manager.CheckSharingIdExist(made.id));
    EXPECT_TRUE(manager.CheckSharingIdExist("forged'--"));

    SharingData byId;
    byId.id = made.id;
    ASSERT_TRUE(manager.GetSharingRecord(byId, true));
    EXPECT_EQ(byId.user_id, kAlice);
    EXPECT_EQ(byId.user_name + byId.playlist_id + byId.path, std::string("alice") + kList + kFile);

    const FixedClock clock(LocalTime("2024-07-01"));
    byId.avail_date = "2024-06-01";
    byId.exp_date = "2024-06-30";
    ASSERT_TRUE(manager.UpdateSharingRecord(byId));
    EXPECT_EQ(byId.status, "expired");
    SharingData byOwner = Link(kAlice);
    EXPECT_FALSE(manager.GetSharingRecord(byOwner, true));
    EXPECT_TRUE(manager.GetSharingRecord(byOwner, false));
    EXPECT_EQ(byOwner.id + byOwner.exp_date, made.id + "2024-06-30");

    ASSERT_TRUE(manager.DeleteSharingRecord(byOwner));
    EXPECT_EQ(byOwner.id + byOwner.exp_date + byOwner.status, "1970-01-01none");
    EXPECT_FALSE(manager.GetSharingRecord(byId, false));
}

TEST_F(SharingRecords, NeedAnOwnerAPlaylistAndTheRight) {
    SharingManager manager;
    for (SharingData rec : {Link(UINT32_MAX), Link(kAlice, "")}) {
        EXPECT_FALSE(manager.AddSharingRecord(rec) || manager.UpdateSharingRecord(rec) ||
                     manager.DeleteSharingRecord(rec) || manager.GetSharingRecord(rec, false));
    }
    EXPECT_EQ(Log().size(), 8U);
    EXPECT_TRUE(manager.CheckSharingIdExist(""));
    // Both the owner and the user who asks must have the right.
    SharingData alices = Link(kAlice);
    SharingData bobs = Link(kBob);
    alices.id = "abcdefgh";
    bobs.id = "bcdefghi";
    ASSERT_TRUE(manager.AddSharingRecord(alices) && manager.AddSharingRecord(bobs));
    EXPECT_FALSE(manager.GetSharingRecord(bobs, false));
    bobs.user_id = kAlice;
    EXPECT_FALSE(manager.GetSharingRecord(bobs, false));
    alices.user_id = kBob;
    EXPECT_FALSE(manager.GetSharingRecord(alices, false));
}

TEST_F(SharingRecords, KeepHostileTextsAndRefuseInvalidUtf8) {
    std::minstd_rand random(1);
    std::string name;  // the server cannot compress it
    while (name.size() < 10000) {
        name += static_cast<char>('!' + random() % 90);
    }
    SharingManager manager;
    SharingData made = Link(kAlice, "playlist_personal_smart/" + name,
                            "/v/" + name + "'; DROP TABLE pin; --\\%_\r\nß\u65e5");
    ASSERT_TRUE(manager.AddSharingRecord(made));
    SharingData read = Link(kAlice, made.playlist_id);
    ASSERT_TRUE(manager.GetSharingRecord(read, true));
    EXPECT_EQ(read.id, made.id);
    EXPECT_EQ(read.path, made.path);

    SharingData broken = Link(kAlice, "\xff\xfe");
    broken.id = "abcdefgh";
    EXPECT_FALSE(manager.AddSharingRecord(broken) || manager.GetSharingRecord(broken, false));
    EXPECT_TRUE(manager.DeleteSharingRecord(read));
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist_sharing"), "0");
}

// A link works from the start of its first day to the end of its last one, in the server's time.
TEST_F(SharingRecords, StatusFollowsTheLocalDay) {
    SharingManager manager;
    SharingData rec = Link(kAlice);
    rec.avail_date = "2024-03-31";
    rec.exp_date = "2024-10-27";  // both are days on which European clocks change
    ASSERT_TRUE(manager.AddSharingRecord(rec));
    for (const char *zone :
         {"UTC0", "America/New_York", "Pacific/Kiritimati", "CET-1CEST,M3.5.0,M10.5.0/3"}) {
        SCOPED_TRACE(zone);
        const TimeZone here(zone);
        for (const auto &[now, status] : {std::pair(LocalTime("2024-03-30", "23:59:59"), "invalid"),
                                          {LocalTime("2024-03-31", "00:00:00"), "valid"},
                                          {LocalTime("2024-10-27", "23:59:59"), "valid"},
                                          {LocalTime("2024-10-28", "00:00:00"), "expired"}}) {
            const FixedClock clock(now);
            SharingData read = Link(kAlice);
            const bool works = manager.GetSharingRecord(read, true);
            EXPECT_EQ(works, read.status == "valid");
            EXPECT_EQ(read.status, status) << now;
        }
    }
}

TEST_F(SharingRecords, InvalidDatesAreNoLimit) {
    const FixedClock clock(LocalTime("2024-07-01"));
    SharingManager manager;
    const std::tuple<const char *, const char *, bool> cases[] = {
        {"1970-01-01", "2020-01-01", false}, {"2030-01-01", "1970-01-01", false},
        {"2020/01/01", "2020-02-01", true},  {"2020-01-01", "2020-02-01 12:00", true},
        {"2020-13-01", "2020-02-01", true},  {"2020-01-01", "soon", true}};
    for (const auto &[first, last, logged] : cases) {
        SharingData rec = Link(kAlice, "playlist_shared_normal/" + std::string(first) + last);
        rec.id = rec.playlist_id;
        rec.avail_date = first;
        rec.exp_date = last;
        ClearLog();
        ASSERT_TRUE(manager.AddSharingRecord(rec));
        EXPECT_EQ(rec.status, "valid") << first << last;
        EXPECT_EQ(Logged("strptime fails\\. \\["), logged) << first << last;
    }
}

// An identifier is computed from the current second, as in earlier versions. A second link within
// that second has to wait.
TEST_F(SharingRecords, WaitForAFreeIdentifier) {
    SharingManager manager;
    FixedClock clock(1700001000);
    EXPECT_EQ(manager.GetSharingHashString(), "0mFYHHVn");
    clock.Set(1700000000);
    SharingData first = Link(kAlice);
    ASSERT_TRUE(manager.AddSharingRecord(first));
    EXPECT_EQ(first.id, "7h1nFnpQ");
    clock.Set(1700000000);
    SharingData second = Link(kAlice, "playlist_shared_normal/13");
    ASSERT_TRUE(manager.AddSharingRecord(second));
    EXPECT_NE(second.id, first.id);
    EXPECT_EQ(clock.Waits(), std::vector<unsigned>{1000});

    const FixedClock stopped(1700000000, false);
    SharingData third = Link(kAlice, "playlist_shared_normal/14");
    EXPECT_FALSE(manager.AddSharingRecord(third));
    EXPECT_EQ(third.id, first.id);
    EXPECT_EQ(stopped.Waits(), std::vector<unsigned>(5, 1000));
}

}  // namespace

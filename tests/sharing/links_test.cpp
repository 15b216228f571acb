// Share links as the command line and the web API answer them.
#include "service/sharing/links.h"

#include <array>

#include "service/base/failure.h"
#include "sharing/shared_library.h"
#include "support/clock.h"

namespace {

using namespace tonvale_test;
using tonvale_service::CheckedDays;
using tonvale_service::Days;
using tonvale_service::Failure;
using tonvale_service::Links;
using tonvale_service::Reason;

constexpr char kNone[] = "1970-01-01";

// The reason of a refusal.
template <typename Call>
std::optional<Reason> Refused(const Call &call) {
    try {
        call();
    } catch (const Failure &failure) {
        return failure.Why();
    }
    return std::nullopt;
}

TEST(LinkDays, AreDaysOfTheCalendar) {
    const TimeZone zone("Pacific/Kiritimati");
    const FixedClock clock(LocalTime("2024-02-29", "00:00:01"));
    const std::array<const char *, 4> good[] = {
        {"", "", kNone, kNone},
        {"0", "1970-01-01", kNone, kNone},
        {"2024-02-29", "2024-02-29", "2024-02-29", "2024-02-29"},
        {"1970-01-02", "9999-12-31", "1970-01-02", "9999-12-31"},
        {"", "2024-03-01", "2024-02-29", "2024-03-01"},
    };
    for (const auto &[first, last, storedFirst, storedLast] : good) {
        const Days days = CheckedDays(first, last);
        EXPECT_EQ(days.first + days.last, std::string(storedFirst) + storedLast) << first << last;
    }
    for (const char *day :
         {"2023-02-29", "1900-02-29", "2024-04-31", "2024-13-01", "2024-00-01", "2024-01-00",
          "1969-12-31", "2024-1-1", "2024/01/01", "24-01-01", "2024-01-01 ", " 2024-01-01",
          "10000-01-01", "2024-01-0x", "-024-01-01", "2024-01-01' OR 1=1"}) {
        EXPECT_EQ(Refused([&] { CheckedDays(day, "2030-01-01"); }), Reason::kNotADay) << day;
        EXPECT_EQ(Refused([&] { CheckedDays("2020-01-01", day); }), Reason::kNotADay) << day;
    }
    EXPECT_EQ(Refused([] { CheckedDays("2024-01-02", "2024-01-01"); }),
              Reason::kLastDayBeforeFirst);
    EXPECT_EQ(Refused([] { CheckedDays("2024-01-02", ""); }), Reason::kFirstDayAlone)
        << "it would count as no limit";
    EXPECT_EQ(Refused([] { CheckedDays("", "2024-02-28"); }), Reason::kLastDayBeforeFirst);
}

class ShareLinks : public SharedLibraryTest {
  protected:
    static constexpr char kList[] = "playlist_shared_normal/12";
    const Days always = {kNone, kNone};

    void TearDown() override {
        BackToRoot();
        SharedLibraryTest::TearDown();
    }
};

TEST_F(ShareLinks, OfOneSecondAreMadeWithoutAWait) {
    const FixedClock clock(1700000000, false);
    Links links(kAlice, "alice");
    std::set<std::string> ids;
    for (int number = 100; number < 120; ++number) {
        const std::string row = std::to_string(number);
        Query("INSERT INTO playlist (id, path) VALUES (" + row + ", '" + In(row) + ".m3u')");
        ids.insert(links.Create("playlist_shared_normal/" + row, always)["id"].asString());
    }
    ids.insert(links.ShareSong(Name(rock_))["id"].asString());
    EXPECT_EQ(ids.size(), 21U);
    EXPECT_TRUE(clock.Waits().empty());

    const Json::Value page = links.Page(19, 5);
    EXPECT_EQ(page["total"], 21);
    EXPECT_EQ(page["sharings"].size(), 2U);
}

TEST_F(ShareLinks, AreOfPlaylistsThatTheUserSees) {
    Touch(In("bobs.m3u"));
    const std::string bobs = "playlist_personal_normal/" + AddRow(In("bobs.m3u"), "b", "", kBob);
    Links links(kAlice, "alice");
    const std::pair<std::string, Reason> cases[] = {
        {bobs, Reason::kNoSuchPlaylist},
        {"playlist_shared_smart/none", Reason::kNoSuchSmartPlaylist},
        {"playlist_shared_normal/12 OR 1=1", Reason::kNoSuchPlaylist},
        {"playlist_shared_normal/99999999999", Reason::kNoSuchPlaylist},
        {"playlist_shared_normal/", Reason::kNotAPlaylistId},
        {"playlist_shared_normal/../../etc/passwd", Reason::kNotAPlaylistId},
        {"x_shared_normal/12", Reason::kNotAPlaylistId},
        {"playlist_other_normal/12", Reason::kNotAPlaylistId},
        {"12", Reason::kNotAPlaylistId},
    };
    for (const auto &[playlist, reason] : cases) {
        EXPECT_EQ(Refused([&] { links.Create(playlist, always); }), reason) << playlist;
    }
    ASSERT_EQ(VARNAudioConfSet("enable_personal_library", "no"), 0);
    for (const std::string &key : Words(".. a/b /etc/passwd a/../b none")) {
        EXPECT_TRUE(Refused([&] { links.Create("playlist_personal_normal/" + key, always); }))
            << key;
    }
    EXPECT_EQ(Refused([&] { links.UnshareSong(Name(rock_)); }), Reason::kNoSuchLink);
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist_sharing"), "0");
    const std::string own = "It's 100%_\\";
    WriteFile("/usr/varn/etc/preference/alice/playlists/" + own + ".m3u", "");
    EXPECT_EQ(links.Create("playlist_personal_normal/" + own, always)["name"], own);
    EXPECT_EQ(links.Create(kSharedSmart, always)["name"], "Rock & Roll");
    EXPECT_EQ(links.Create("playlist_shared_normal/012", always)["playlist_id"], kList);
    EXPECT_EQ(Refused([&] { links.Create(kList, always); }), Reason::kLinkExists);
    EXPECT_EQ(links.Create(kSongs, CheckedDays("", "2999-01-01"))["date_expired"], "2999-01-01");
}

// A new scan exchanges the numbers of playlists and removes some.
TEST_F(ShareLinks, FollowPlaylistsToOtherNumbers) {
    Query(
        "INSERT INTO playlist (id, path, title) VALUES (13, '/v/13', 'thirteen'), "
        "(14, '/v/14', 'fourteen')");
    Links links(kAlice, "alice");
    std::map<std::string, std::string> ids;
    for (const char *row : {"12", "13", "14"}) {
        ids[row] =
            links.Create(std::string("playlist_shared_normal/") + row, always)["id"].asString();
    }
    Query(
        "UPDATE playlist SET id = id + 100; DELETE FROM playlist WHERE path = '/v/14'; "
        "UPDATE playlist SET id = CASE path WHEN '/v/13' THEN 12 ELSE 14 END");
    const auto shown = [&](const std::string &row) {
        const Json::Value link = links.Get({"", "playlist_shared_normal/" + row});
        return link["id"].asString() + " " + link["name"].asString();
    };
    EXPECT_EQ(shown("12"), ids["13"] + " thirteen");
    EXPECT_EQ(shown("14"), ids["12"] + " A \"list\"");
    // Another playlist has the number of the one that is gone.
    EXPECT_EQ(links.Update({"", "playlist_shared_normal/14"}, {"2020-01-01", "2020-01-02"})["id"],
              ids["12"]);
    EXPECT_EQ(links.Get({ids["14"], ""})["status"], "valid");
    links.Delete({"", "playlist_shared_normal/14"});
    EXPECT_EQ(links.Page(0, 10)["total"], 2);
    EXPECT_EQ(links.Get({ids["14"], ""})["name"], "14");
    // It comes back under a third number.
    Query("INSERT INTO playlist (id, path, title) VALUES (90, '/v/14', 'back')");
    EXPECT_EQ(shown("90"), ids["14"] + " back");
    EXPECT_EQ(links.Get({ids["14"], ""})["playlist_id"], "playlist_shared_normal/90");
    links.Delete({ids["14"], ""});
    EXPECT_EQ(Value("SELECT id FROM playlist_sharing"), ids["13"]);
}

TEST_F(ShareLinks, ShareSingleSongs) {
    setenv("HTTP_HOST", "nas", 1);
    Links links(kAlice, "alice");
    EXPECT_EQ(Refused([&] { links.UnshareSong(Name(rock_)); }), Reason::kNoSuchLink);
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist_sharing"), "0");
    const Json::Value shared = links.ShareSong(TrackName(track1_));
    // "/music/cue.flac_1"
    EXPECT_EQ(shared["song_url"], shared["url"].asString() + "/L211c2ljL2N1ZS5mbGFjXzE=");
    EXPECT_EQ(Refused([&] { links.ShareSong(TrackName(rock_)); }), Reason::kNoSuchSong);
    EXPECT_EQ(Refused([&] { links.ShareSong("music_0"); }), Reason::kNotASongId);
    // A lost list is made again.
    fs::remove(Tonvale::SharingManager().GetPredefinedSharingPlsPath("alice"));
    EXPECT_EQ(links.ShareSong(Name(rock_))["id"], shared["id"]);
    EXPECT_EQ(links.GetSong(Name(rock_))["id"], shared["id"]);
    EXPECT_EQ(Refused([&] { links.GetSong(TrackName(track1_)); }), Reason::kNoSuchLink);
    EXPECT_FALSE(links.UnshareSong(Name(rock_)).isMember("song_url"));
    unsetenv("HTTP_HOST");
}

}  // namespace

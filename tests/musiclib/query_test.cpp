// Queries over a small library that has one of everything.
#include <algorithm>
#include <set>
#include <tuple>

#include "musiclib/library_rows.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

// Texts: s/a/b + r(eal) | f(ile that is split) | v(irtual), for shared, alice's and bob's; o is a
// virtual track whose file is not marked as split.
class LibraryQuery : public LibraryRows {
  protected:
    void SetUp() override {
        LibraryRows::SetUp();
        Add(0, "/m/sr.mp3", "sr");
        Add(0, "/m/sf.flac", "sf", 0, false, true);
        Add(0, "/m/sf.flac", "sv1", 1, true);
        Add(0, "/m/sf.flac", "sv2", 2, true);
        Add(0, "/m/orphan.flac", "o", 1, true);
        Add(kAlice, "/h/alice/ar.mp3", "ar");
        Add(kAlice, "/h/alice/af.flac", "af", 0, false, true);
        Add(kAlice, "/h/alice/af.flac", "av", 1, true);
        Add(kBob, "/h/bob/br.mp3", "br");
    }

    void Add(unsigned uid, const char *path, const char *title, int track = 0,
             bool isVirtual = false, bool hasVirtual = false) {
        Add({.userid = uid,
             .path = path,
             .title = title,
             .track = track,
             .is_virtual = isVirtual,
             .has_virtual = hasVirtual});
    }
    using LibraryRows::Add;

    static Texts Read(const Handle &handle) {
        Texts titles;
        for (VARN_MEDIA_INFO info; handle && MediaInfoDBGet(handle.get(), &info) == 0;) {
            titles.emplace_back(info.title);
        }
        return titles;
    }
    static Texts List(const char *library, uid_t uid, const char *condition = nullptr,
                      const char *order = "title", int offset = 0, int limit = -1) {
        return Read(Handle(AudioInfoDBOpen(library, uid, VARN_TABLE_MUSIC, nullptr, condition,
                                           nullptr, order, offset, limit, 0)));
    }
    static int64_t Count(const char *library, uid_t uid, const char *condition = nullptr,
                         const char *expression = "*", const char *groupBy = nullptr,
                         int escape = 0) {
        return AudioInfoDBGetCount(library, uid, VARN_TABLE_MUSIC, expression, condition, groupBy,
                                   escape);
    }
};

TEST_F(LibraryQuery, EachLibraryHasItsSongsForEachUser) {
    using Case = std::tuple<const char *, Texts, Texts, Texts, Texts>;
    const std::vector<Case> cases = {
        {"all",
         {"ar", "av", "sr", "sv1", "sv2"},
         {"br", "sr", "sv1", "sv2"},
         {"sr", "sv1", "sv2"},
         {"af", "ar", "sf", "sr"}},
        {"personal", {"ar", "av"}, {"br"}, {"ar", "av", "br"}, {"af", "ar"}},
        {"shared", {"sr", "sv1", "sv2"}, {"sr", "sv1", "sv2"}, {"sr", "sv1", "sv2"}, {"sf", "sr"}},
        {"actual",
         {"af", "ar", "sf", "sr"},
         {"br", "sf", "sr"},
         {"sf", "sr"},
         {"af", "ar", "sf", "sr"}},
        {"actual_personal", {"af", "ar"}, {"br"}, {"sf", "sr"}, {"af", "ar"}},
        {"actual_shared", {"sf", "sr"}, {"sf", "sr"}, {"sf", "sr"}, {"sf", "sr"}},
        {"virtual", {"av", "sv1", "sv2"}, {"sv1", "sv2"}, {"sv1", "sv2"}, {"av", "sv1", "sv2"}},
        {"virtual_personal", {"av"}, {}, {"sv1", "sv2"}, {"av"}},
        {"virtual_shared", {"sv1", "sv2"}, {"sv1", "sv2"}, {"sv1", "sv2"}, {"sv1", "sv2"}}};
    const auto expect = [](const char *library, uid_t uid, const Texts &titles) {
        EXPECT_EQ(List(library, uid), titles);
        EXPECT_EQ(Count(library, uid), static_cast<int64_t>(titles.size()));
    };
    for (const auto &[library, alice, bob, root, hidden] : cases) {
        SCOPED_TRACE(library);
        expect(library, kAlice, alice);
        expect(library, kBob, bob);
        expect(library, 0, root);
    }
    EXPECT_TRUE(Log().empty());
    WriteFile(varn::path::kUsersFile, R"({"1030": {"audio_show_virtual_library": false}})");
    for (const auto &[library, alice, bob, root, hidden] : cases) {
        SCOPED_TRACE(library);
        expect(library, kAlice, hidden);
        expect(library, kBob, bob);
    }
}

TEST_F(LibraryQuery, PagesAndTheirTotal) {
    EXPECT_EQ(List("actual_shared", kAlice, nullptr, "title desc", 1, 1), Texts({"sf"}));
    EXPECT_EQ(List("all", kAlice, nullptr, "title", 2, 2), Texts({"sr", "sv1"}));
    EXPECT_EQ(List("all", kAlice, nullptr, "title", 3, 0), Texts({"sv1", "sv2"}))
        << "limit 0 is no limit, and the offset counts";
    EXPECT_EQ(List("all", kAlice, nullptr, "title", 3, -1).size(), 5U) << "no page at all";
    EXPECT_TRUE(List("all", kAlice, nullptr, "title", 99, 10).empty());

    const Handle handle(
        AudioInfoDBOpen("all", kAlice, 0, "title", nullptr, nullptr, "title", 1, 2, 1));
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->rowCount, 2);
    EXPECT_EQ(handle->tableType, VARN_TABLE_MUSIC);
    EXPECT_EQ(VARNPageTotalRowCount(handle.get()), 5);
    EXPECT_EQ(Read(handle), Texts({"av", "sr"})) << "asking for the total moved the cursor";

    const Handle without(AudioInfoDBOpen("all", kAlice, 0, "", "", "", "", 0, 1, 0));
    ASSERT_TRUE(without);
    EXPECT_EQ(VARNPageTotalRowCount(without.get()), 0);
    EXPECT_NE(VARNDBFetchField(without->result, 0, "rg_album_peak"), nullptr);
    EXPECT_EQ(VARNDBFetchField(without->result, 0, "audio_offset"), nullptr);
}

TEST_F(LibraryQuery, GroupsAndCounts) {
    const Handle groups(AudioInfoDBOpen("actual", kAlice, 0, "userid, COUNT(*) AS n", nullptr,
                                        "userid", "userid", 0, -1, 1));
    ASSERT_TRUE(groups);
    EXPECT_EQ(groups->rowCount, 2);
    EXPECT_STREQ(VARNDBFetchField(groups->result, 1, "n"), "2");
    EXPECT_STREQ(VARNDBFetchField(groups->result, 1, "result_count"), "2");

    EXPECT_EQ(Count("all", kAlice, "track > 0"), 3);
    EXPECT_EQ(Count("all", kAlice, nullptr, "DISTINCT path"), 4);
    EXPECT_EQ(Count("actual", kAlice, "userid > 0", "*", "userid"), 2) << "of the first group";
    EXPECT_EQ(Count("all", kAlice, "artist = ''", "DISTINCT artist"), 1);
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(Count("actual", kAlice, "userid > 7000", "*", "userid"), -1) << "no group at all";
    EXPECT_TRUE(Logged("Failed to exec \\[SELECT COUNT\\(\\*\\) as .* GROUP BY userid\\] \\("));
    EXPECT_EQ(Count("all", kAlice, nullptr, "DISTINCT artist"), -1) << "artist is not joined";
    EXPECT_TRUE(
        Logged("audiolib/musiclib:[0-9]+ Failed to exec \\[SELECT COUNT\\(DISTINCT artist\\)"
               " as result_count FROM .*"));
    EXPECT_EQ(Count("all", kAlice, nullptr, ""), -1);
    EXPECT_EQ(Count("all", 7777), -1);
    EXPECT_TRUE(Logged("Fail to get user by id \\[7777\\]\\.$"));
    EXPECT_EQ(Count("nothing", kAlice), -1);
    EXPECT_TRUE(
        Logged("Generate table string failed\\. library:\\[nothing\\], uid:\\[1030\\] "
               "TableType:\\[0\\]$"));
}

TEST_F(LibraryQuery, WithoutAPersonalLibraryTheSharedOneIsCounted) {
    VARNAudioConfSet("enable_personal_library", "no");
    for (const char *refused : {"personal", "actual_personal", "virtual_personal"}) {
        EXPECT_EQ(Count(refused, kAlice), -1) << refused;
    }
    EXPECT_EQ(Count("all", kAlice), Count("shared", kAlice));
    EXPECT_EQ(Count("actual", kAlice), Count("actual_shared", kAlice));
    EXPECT_EQ(Count("virtual", kAlice), Count("virtual_shared", kAlice));
    EXPECT_TRUE(Log().empty());
}

TEST_F(LibraryQuery, RandomSampleReplacesTheCondition) {
    std::set<Texts> seen;
    for (int round = 0; round < 40; ++round) {
        seen.insert(List("all", kAlice, "title = 'none'", "RANDOM()", 0, 5));
    }
    EXPECT_GT(seen.size(), 1U);
    for (Texts sample : seen) {
        std::sort(sample.begin(), sample.end());
        EXPECT_EQ(sample, Texts({"ar", "av", "sr", "sv1", "sv2"}));
    }
    EXPECT_EQ(List("all", kAlice, nullptr, "random()", 0, 9).size(), 5U)
        << "another spelling is an ordinary order";
    EXPECT_TRUE(List("all", kAlice, nullptr, "RANDOM()", 0, 0).empty());
}

TEST_F(LibraryQuery, AConditionOnGenreIsTestedOnEachGenre) {
    Add({.path = "/m/g.mp3", .title = "two genres", .genres = {"Jazz", "Rock"}});
    EXPECT_EQ(List("all", kAlice, "genre = 'Rock'"), Texts({"two genres"}));
    EXPECT_EQ(List("all", kAlice, "genre IN ('Rock', 'Jazz')"), Texts({"two genres"})) << "once";
    EXPECT_TRUE(List("all", kAlice, "genre = 'Jazz, Rock'").empty());
    EXPECT_EQ(Count("all", kAlice, "genre IN ('Rock', 'Jazz')"), 1);
    EXPECT_EQ(List("all", kAlice, "title = 'genre'").size(), 0U) << "also inside a value";
    const Handle handle(
        AudioInfoDBOpen("all", kAlice, 0, "*", "genre = 'Jazz'", nullptr, nullptr, 0, 0, 0));
    ASSERT_TRUE(handle);
    EXPECT_STREQ(VARNDBFetchField(handle->result, 0, "genre"), "Jazz, Rock");
    EXPECT_STREQ(VARNDBFetchField(handle->result, 0, "genre_search"), "JAZZ, ROCK");
}

TEST_F(LibraryQuery, CountEscapesPatternsOnlyWhenAsked) {
    Add(0, "/m/backslash", "a\\b");
    EXPECT_EQ(Count("all", kAlice, "title LIKE 'a\\b'", "*", nullptr, 0), 0);
    EXPECT_EQ(Count("all", kAlice, "title LIKE 'a\\b'", "*", nullptr, 1), 1);
    EXPECT_EQ(Count("all", kAlice, "title LIKE 'open", "*", nullptr, 1), -1);
    EXPECT_TRUE(
        Logged("audiolib/musiclib:[0-9]+ Failed to escape condition \\[title LIKE 'open\\]\\.$"));
}

TEST_F(LibraryQuery, UserZeroSeesThePersonalListsOfAll) {
    Query(
        "INSERT INTO personal_playlist (userid, id, path, title) VALUES (1030, 2, '/h/b', 'B'), "
        "(1031, 3, '/h/c', 'C')");
    const Handle lists(AudioInfoDBOpen("personal", 0, VARN_TABLE_PLAYLIST, "*", nullptr, nullptr,
                                       "title", 0, -1, 0));
    EXPECT_EQ(Read(lists), Texts({"B", "C"}));
    EXPECT_EQ(AudioInfoDBGetCount("personal", kAlice, VARN_TABLE_PLAYLIST, "*", "", "", 0), 1);
}

TEST_F(LibraryQuery, FailuresLeaveNoConnection) {
    EXPECT_EQ(AudioInfoDBOpen(nullptr, kAlice, 0, "", "", "", "", 0, 0, 0), nullptr);
    EXPECT_EQ(AudioInfoDBOpen("all", 4294967295U, 0, "", "", "", "", 0, 0, 0), nullptr);
    EXPECT_TRUE(Logged("audiolib/musiclib:[0-9]+ Bad parameters\\.$"));
    EXPECT_EQ(AudioInfoDBOpen("all", kAlice, 2, "", "", "", "", 0, 0, 0), nullptr);
    EXPECT_TRUE(Logged("Wrong table type \\[2\\]$"));
    EXPECT_EQ(AudioInfoDBOpen("all", kAlice, 0, "", "no such column = 1", "", "", 0, -1, 0),
              nullptr);
    EXPECT_TRUE(Logged("Failed to exec \\[SELECT \\* FROM \\(SELECT .*\\) music WHERE no such"));
    EXPECT_EQ(List("all", kAlice, nullptr, "RANDOM()", 0, -1).size(), 0U);
    EXPECT_TRUE(Logged("LIMIT must not be negative"));
    AudioInfoDBClose(nullptr);
}

}  // namespace

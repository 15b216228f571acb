#include <functional>
#include <set>

#include "pin/pin_fixture.h"
#include "support/socket_elsewhere.h"

namespace {

using namespace tonvale_test;
using Tonvale::PinData;
using Tonvale::PinManager;

class PinFailures : public Pins {
  protected:
    // Every operation that needs the database.
    static void EverythingFails(PinManager &manager) {
        PinData pin;
        std::vector<PinData> pins;
        const std::function<bool()> operations[] = {
            [&] { return manager.GetPinTotalByUser() != -1; },
            [&] { return manager.Pin("random_100", Json::Value(), "n", pin); },
            [&] { return manager.GetPinByUserId("1", pin); },
            [&] { return manager.ListPinByUser(0, -1, pins); },
            [&] { return manager.Unpin("1"); },
            [&] { return manager.Rename("1", "n"); },
            [&] { return manager.Reorder({"1"}, 0, 1); },
        };
        for (const auto &operation : operations) {
            manager.SetErrorCode(0);
            EXPECT_EQ(CodeOf(manager, operation()), 8) << &operation - operations;
        }
    }
};

TEST_F(PinFailures, AManagerWorksAgainAfterTheDatabase) {
    PinManager manager(kAlice, "alice");
    {
        const SocketElsewhere down;
        EverythingFails(manager);
    }
    EXPECT_EQ(manager.GetPinTotalByUser(), 0) << "asked again";
}

// Each failing statement is logged with its own source line.
TEST_F(PinFailures, FailingStatementsAreReported) {
    Query("ALTER TABLE pin RENAME TO elsewhere");
    EverythingFails(alice());
    std::set<std::string> places;
    for (const std::string &line : Log()) {
        const std::size_t at = line.find("audiolib/pin:");
        const std::size_t end = line.find(" Failed to exec [", at);
        if (end != std::string::npos) {
            places.insert(line.substr(at, end - at));
        }
    }
    EXPECT_EQ(places.size(), 4U) << "of the count, a view, an id and a page";
    Query("ALTER TABLE elsewhere RENAME TO pin");

    const std::string id = Pin("genre", Object({}));
    Query(
        "CREATE RULE u AS ON UPDATE TO pin DO INSTEAD SELECT 1 / (sort_key - sort_key) FROM "
        "pin; CREATE RULE d AS ON DELETE TO pin DO INSTEAD SELECT 1 / (sort_key - sort_key) "
        "FROM pin");
    EXPECT_EQ(CodeOf(alice().Rename(id, "x")), 8);
    EXPECT_EQ(CodeOf(alice().Reorder({id}, 0, 1)), 8);
    EXPECT_EQ(CodeOf(alice().Unpin(id)), 8);
    Query("DROP RULE u ON pin; DROP RULE d ON pin");
    Query("ALTER TABLE pin ALTER sort_key DROP NOT NULL; UPDATE pin SET sort_key = NULL");
    ASSERT_EQ(List(alice()).size(), 1U) << "a pin without a place is still one";
    EXPECT_TRUE(alice().Unpin(id));
    EXPECT_EQ(alice().GetErrorCode(), 0) << "cleared";
}

TEST_F(PinFailures, TextsWithANulAreRefused) {
    using namespace std::string_literals;
    const std::string id = Pin("genre", Object({}), "mine");
    const std::string forged = id + "\0x"s;
    PinData pin;
    EXPECT_FALSE(alice().GetPinByUserId(forged, pin));
    EXPECT_FALSE(alice().Unpin(forged));
    EXPECT_FALSE(alice().Rename(forged, "x"));
    EXPECT_FALSE(alice().Reorder({forged}, 0, -1));
    EXPECT_FALSE(alice().Rename(id, "short\0ened"s));
    EXPECT_EQ(Pin("album", Object({}), "short\0ened"s), "");
    Json::Value playlist;
    playlist["playlist"] = "playlist_personal_normal/mine\0x"s;
    EXPECT_EQ(Pin("playlist", playlist), "");
    EXPECT_EQ(alice().GetErrorCode(), 1);
    EXPECT_EQ(Names(List(alice())), Texts{"mine"});
}

}  // namespace

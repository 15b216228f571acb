#include <climits>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "pin/pin_fixture.h"
#include "support/short_memory.h"
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
            EXPECT_FALSE(operation()) << &operation - operations;
            EXPECT_EQ(manager.GetErrorCode(), 8) << &operation - operations;
        }
    }
    static void SetKeys(int key) { Query("UPDATE pin SET sort_key = " + std::to_string(key)); }
};

TEST_F(PinFailures, ADatabaseThatIsDown) {
    PinManager manager(kAlice, "alice");
    {
        const SocketElsewhere down;
        EverythingFails(manager);
    }
    EXPECT_EQ(manager.GetPinTotalByUser(), 0) << "asked again";
    EXPECT_EQ(manager.GetErrorCode(), 0);
}

// Each failing statement is logged under a line of its own, by which it is told from the others.
TEST_F(PinFailures, StatementsThatFail) {
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
    EXPECT_EQ(places.size(), 4U) << "the count, a view, an id and a page";
    Query("ALTER TABLE elsewhere RENAME TO pin");

    const std::string id = Pin("genre", Object({}));
    for (const char *event : {"UPDATE", "DELETE"}) {
        Query(std::string("CREATE RULE refuse AS ON ") + event +
              " TO pin DO INSTEAD SELECT 1 / (sort_key - sort_key) FROM pin");
        EXPECT_FALSE(event[0] == 'U' ? alice().Rename(id, "x") : alice().Unpin(id)) << event;
        EXPECT_EQ(alice().GetErrorCode(), 8);
        if (event[0] == 'U') {
            EXPECT_FALSE(alice().Reorder({id}, 0, 1));
            EXPECT_EQ(alice().GetErrorCode(), 8);
        }
        Query("DROP RULE refuse ON pin");
    }
    EXPECT_TRUE(alice().Unpin(id));
}

TEST_F(PinFailures, CodesAreSetAndCleared) {
    alice().SetErrorCode(77);
    PinData pin;
    EXPECT_TRUE(alice().Pin("genre", Object({{"genre", "It's"}}), "n", pin));
    EXPECT_EQ(alice().GetErrorCode(), 0);
    PinData found;
    EXPECT_TRUE(alice().GetPinByUserTypeCriteria("genre", R"({"genre":"It's"})", found));
    EXPECT_EQ(found.id, pin.id);
    EXPECT_FALSE(alice().GetPinByUserTypeCriteria("genre", R"({"genre": "It's"})", found));
    EXPECT_EQ(alice().GetErrorCode(), 5) << "compared as the stored text";
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
    EXPECT_EQ(Names(List(alice())), std::vector<std::string>{"mine"});
}

// A database that others wrote into: no key is counted past the largest one.
TEST_F(PinFailures, KeysThatHaveNoSuccessor) {
    const std::string first = Pin("genre", Object({}), "first");
    const std::string second = Pin("album", Object({}), "second");
    SetKeys(INT_MAX);
    EXPECT_EQ(Pin("artist", Object({})), "");
    EXPECT_EQ(alice().GetErrorCode(), 8);
    EXPECT_FALSE(alice().Reorder({first, second}, 0, -1));
    EXPECT_EQ(alice().GetErrorCode(), 8);
    SetKeys(INT_MAX - 1);
    EXPECT_TRUE(alice().Reorder({second, first}, 0, -1));
    EXPECT_EQ(Names(List(alice())), (std::vector<std::string>{"second", "first"}));
    SetKeys(INT_MIN);
    EXPECT_TRUE(alice().Reorder({first, second}, 0, -1));
    EXPECT_NE(Pin("artist", Object({})), "");
}

TEST_F(PinFailures, MemoryThatIsShort) {
    const std::string endless(1 << 20, 'n');
    Json::Value folder = Object({{"folder", endless.c_str()}});
    std::optional<PinManager> nameless;
    {
        const ShortMemory shortly(endless.size());
        EXPECT_FALSE(alice().ConvertFolderIdToPath(folder));
        EXPECT_EQ(alice().GetErrorCode(), 8);
        EXPECT_TRUE(Logged("audiolib/pin:[0-9]+ Unexpected failure: "));
        nameless.emplace(kAlice, endless);
    }
    EXPECT_EQ(nameless->GetErrorCode(), 0);
    Json::Value playlist = Object({{"playlist", "playlist_shared_normal/1"}});
    EXPECT_FALSE(nameless->ConvertPlaylistIdToPath(playlist));
    EXPECT_EQ(nameless->GetErrorCode(), 9);
    PinData pin;
    EXPECT_TRUE(nameless->Pin("genre", Object({}), "n", pin));
}

}  // namespace

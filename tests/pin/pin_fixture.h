// Two users who pin views.
#pragma once

#include <json/value.h>
#include <json/writer.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/fixture.h"
#include "tonvale/pins.h"
#include "varn/systempath.h"

namespace tonvale_test {

class Pins : public DatabaseTest {
  protected:
    static Json::Value Object(
        std::initializer_list<std::pair<const char *, const char *>> members) {
        Json::Value object(Json::objectValue);
        for (const auto &[key, value] : members) {
            object[key] = value;
        }
        return object;
    }
    // Pins a view and returns its id; "" with the error code in `error`.
    std::string Pin(const char *type, const Json::Value &criteria, const std::string &name = "n") {
        Tonvale::PinData pin;
        return alice().Pin(type, criteria, name, pin) ? pin.id : "";
    }
    static std::vector<Tonvale::PinData> List(Tonvale::PinManager &manager, int offset = 0,
                                              int limit = -1) {
        std::vector<Tonvale::PinData> pins;
        EXPECT_TRUE(manager.ListPinByUser(offset, limit, pins));
        return pins;
    }
    static std::vector<std::string> Names(const std::vector<Tonvale::PinData> &pins) {
        std::vector<std::string> names;
        for (const Tonvale::PinData &pin : pins) {
            names.push_back(pin.name);
        }
        return names;
    }
    static std::string Stored(const std::string &id) {
        return Value("SELECT criteria FROM pin WHERE id = '" + id + "'");
    }

    // A shared folder with music.
    static std::string Share() {
        const std::string share = (scratch() / "share").string();
        std::filesystem::create_directories(share);
        WriteFile(varn::path::kShares, "music=\"" + share + "\"\n");
        return share;
    }

    void SetUp() override {
        DatabaseTest::SetUp();
        alice_.emplace(kAlice, "alice");
        bob_.emplace(kBob, "bob");
    }
    void TearDown() override {
        alice_.reset();
        bob_.reset();
        DatabaseTest::TearDown();
    }
    Tonvale::PinManager &alice() { return *alice_; }
    Tonvale::PinManager &bob() { return *bob_; }

  private:
    std::optional<Tonvale::PinManager> alice_;
    std::optional<Tonvale::PinManager> bob_;
};

}  // namespace tonvale_test

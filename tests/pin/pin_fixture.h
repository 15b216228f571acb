// Two users who pin views.
#pragma once

#include <json/value.h>
#include <json/writer.h>

#include <initializer_list>
#include <optional>
#include <utility>

#include "support/fixture.h"
#include "tonvale/pins.h"
#include "varn/systempath.h"

namespace tonvale_test {

class Pins : public DatabaseTest {
  protected:
    using Texts = std::vector<std::string>;

    static Json::Value Object(
        std::initializer_list<std::pair<const char *, const char *>> members) {
        Json::Value object(Json::objectValue);
        for (const auto &[key, value] : members) {
            object[key] = value;
        }
        return object;
    }
    // The error code of what must fail; 0 when it did not.
    static int CodeOf(const Tonvale::PinManager &manager, bool done) {
        return done ? 0 : manager.GetErrorCode();
    }
    int CodeOf(bool done) { return CodeOf(alice(), done); }

    // Pins a view of alice's and returns its id; "" after a failure.
    std::string Pin(const char *type, const Json::Value &criteria, const std::string &name = "n") {
        Tonvale::PinData pin;
        return alice().Pin(type, criteria, name, pin) ? pin.id : "";
    }
    static std::vector<Tonvale::PinData> List(Tonvale::PinManager &manager, int offset = 0,
                                              int limit = -1) {
        std::vector<Tonvale::PinData> pins;
        EXPECT_TRUE(manager.ListPinByUser(offset, limit, pins));
        EXPECT_EQ(manager.GetErrorCode(), 0);
        return pins;
    }
    static Texts Names(const std::vector<Tonvale::PinData> &pins) {
        Texts names;
        for (const Tonvale::PinData &pin : pins) {
            names.push_back(pin.name);
        }
        return names;
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

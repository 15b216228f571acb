// VARN.Tonvale.Pin: what the user who asks keeps on the start page.
#include <climits>

#include "action.h"
#include "parameters.h"
#include "service/pins.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Pins;

// An action on the pins of the user who asks. Its refusals have the library's own codes.
class PinAction : public Action {
  public:
    using Action::Action;

  protected:
    virtual Json::Value Do(Pins &pins) = 0;

    Json::Value Data() final {
        Pins pins(Asked().User().GetLoginUID(), Asked().User().GetLoginUserName());
        try {
            return Do(pins);
        } catch (const tonvale_service::PinFailure &failure) {
            throw Refusal{static_cast<Code>(failure.ErrorCode())};
        }
    }

    int Offset() const { return static_cast<int>(Asked().Number("offset", 0, 0, INT_MAX)); }
    // -1: no limit.
    int Limit() const { return static_cast<int>(Asked().Number("limit", -1, 1, INT_MAX)); }

    // One JSON text; without one, criteria that select everything.
    Json::Value Criteria() const {
        const auto criteria = ParseJson(Asked().Text("criteria", "{}"));
        return criteria ? *criteria : throw Refusal{Code::kBadParameter};
    }
};

class List : public PinAction {
  public:
    using PinAction::PinAction;

  protected:
    Json::Value Do(Pins &pins) override { return pins.Page(Offset(), Limit()); }
};

class Pin : public PinAction {
  public:
    using PinAction::PinAction;

  protected:
    Json::Value Do(Pins &pins) override {
        Json::Value data(Json::objectValue);
        data["pin"] = pins.Add(Asked().Text("type"), Criteria(), Asked().RequiredText("name"));
        return data;
    }
};

class Unpin : public PinAction {
  public:
    using PinAction::PinAction;

  protected:
    Json::Value Do(Pins &pins) override {
        pins.Remove(Asked().RequiredText("id"));
        return Json::Value(Json::objectValue);
    }
};

class Rename : public PinAction {
  public:
    using PinAction::PinAction;

  protected:
    Json::Value Do(Pins &pins) override {
        pins.Rename(Asked().RequiredText("id"), Asked().RequiredText("name"));
        return Json::Value(Json::objectValue);
    }
};

class Reorder : public PinAction {
  public:
    using PinAction::PinAction;

  protected:
    Json::Value Do(Pins &pins) override {
        pins.Reorder(Asked().Values("ids"), Offset(), Limit());
        return Json::Value(Json::objectValue);
    }
};

constexpr Method kMethods[] = {
    {"list", Make<List>},
    {"pin", Make<Pin>, kChanges},
    {"unpin", Make<Unpin>, kChanges},
    {"rename", Make<Rename>, kChanges},
    {"reorder", Make<Reorder>, kChanges},
};

}  // namespace

const Api kPinApi{"VARN.Tonvale.Pin", kMethods};

}  // namespace tonvale_entry

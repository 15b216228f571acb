// VARN.Tonvale.Pin: what the user who asks keeps on the start page.
#include <climits>

#include "action.h"
#include "parameters.h"
#include "service/pins.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Pins;

int Offset(const Request &asked) {
    return static_cast<int>(asked.Number("offset", 0, 0, INT_MAX));
}

// -1: no limit.
int Limit(const Request &asked) {
    return static_cast<int>(asked.Number("limit", -1, 1, INT_MAX));
}

// One JSON text; without one, criteria that select everything.
Json::Value Criteria(const Request &asked) {
    const auto criteria = ParseJson(asked.Text("criteria", "{}"));
    return criteria ? *criteria : throw Refusal{Code::kBadParameter};
}

Json::Value List(const Request &asked, Pins &pins) {
    return pins.Page(Offset(asked), Limit(asked));
}

Json::Value Pin(const Request &asked, Pins &pins) {
    Json::Value data(Json::objectValue);
    data["pin"] = pins.Add(asked.Text("type"), Criteria(asked), asked.RequiredText("name"));
    return data;
}

Json::Value Unpin(const Request &asked, Pins &pins) {
    pins.Remove(asked.RequiredText("id"));
    return Json::Value(Json::objectValue);
}

Json::Value Rename(const Request &asked, Pins &pins) {
    pins.Rename(asked.RequiredText("id"), asked.RequiredText("name"));
    return Json::Value(Json::objectValue);
}

Json::Value Reorder(const Request &asked, Pins &pins) {
    pins.Reorder(asked.Values("ids"), Offset(asked), Limit(asked));
    return Json::Value(Json::objectValue);
}

// On the pins of the user who asks. Refusals have the library's own codes.
template <Json::Value (*Do)(const Request &asked, Pins &pins)>
Json::Value OnPins(const Request &asked) {
    Pins pins(asked.User().GetLoginUID(), asked.User().GetLoginUserName());
    try {
        return Do(asked, pins);
    } catch (const tonvale_service::PinFailure &failure) {
        throw Refusal{static_cast<Code>(failure.ErrorCode())};
    }
}

constexpr Method kMethods[] = {
    {"list", Make<OnPins<List>>},
    {"pin", Make<OnPins<Pin>>, kChanges},
    {"unpin", Make<OnPins<Unpin>>, kChanges},
    {"rename", Make<OnPins<Rename>>, kChanges},
    {"reorder", Make<OnPins<Reorder>>, kChanges},
};

}  // namespace

const Api kPinApi{"VARN.Tonvale.Pin", kMethods};

}  // namespace tonvale_entry

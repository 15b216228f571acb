// VARN.Tonvale.Pin: what the user who asks keeps on the start page.
#include "action.h"
#include "bad_value.h"
#include "list_request.h"
#include "parameters.h"
#include "service/base/wording.h"
#include "service/listening/pins.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Pins;

constexpr Parameter kSome{.name = "limit",
                          .what = "How many pins the page has at most; otherwise all.",
                          .kind = Kind::kNumber,
                          .low = 1};

int Offset(const Request &asked) {
    return static_cast<int>(asked.Number(kOffset));
}

// -1: no limit.
int Limit(const Request &asked) {
    return static_cast<int>(asked.Number("limit", -1, kSome.low, kSome.high));
}

// One JSON text; without one, criteria that select everything.
Json::Value Criteria(const Request &asked) {
    const auto criteria = ParseJson(asked.Text("criteria", "{}"));
    return criteria ? *criteria : throw Refusal{Code::kBadParameter, "criteria"};
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
        throw Refusal{static_cast<Code>(failure.ErrorCode()), ParameterOf(failure, asked),
                      tonvale_service::WhatFailed(failure)};
    }
}

constexpr Parameter kId{.name = "id", .what = "The pin.", .isRequired = true};
constexpr Parameter kName{.name = "name", .what = "What the pin is called.", .isRequired = true};
constexpr std::array kListParameters = {kOffset, kSome};
constexpr std::array kPinParameters = {
    Parameter{.name = "type",
              .what = "What is shown.",
              .isRequired = true,
              .choices = "album artist composer folder genre playlist random_100 recently_added"},
    kName,
    Parameter{.name = "criteria",
              .what = "A JSON object with any of album, album_artist, artist, composer, folder, "
                      "genre, genre_filter and playlist.",
              .usual = "{}"}};
constexpr std::array kUnpinParameters = {kId};
constexpr std::array kRenameParameters = {kId, kName};
constexpr std::array kReorderParameters = {
    Parameter{.name = "ids",
              .what = "All pins of the page, in their new order.",
              .kind = Kind::kTexts,
              .isRequired = true},
    kOffset, kSome};

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<OnPins<List>>,
     .summary = "The pins of the user, in the user's order",
     .parameters = kListParameters,
     .answer = "PinPage"},
    {.name = "pin",
     .make = Make<OnPins<Pin>>,
     .changes = true,
     .summary = "Keep a view on the start page",
     .parameters = kPinParameters,
     .answer = "MadePin"},
    {.name = "unpin",
     .make = Make<OnPins<Unpin>>,
     .changes = true,
     .summary = "Take a pin away",
     .parameters = kUnpinParameters},
    {.name = "rename",
     .make = Make<OnPins<Rename>>,
     .changes = true,
     .summary = "Give a pin another name",
     .parameters = kRenameParameters},
    {.name = "reorder",
     .make = Make<OnPins<Reorder>>,
     .changes = true,
     .summary = "Put the pins of a page into another order",
     .parameters = kReorderParameters},
};

constexpr Field kPin[] = {{"id", "text"},
                          {"type", "text"},
                          {"name", "text"},
                          {"criteria", "{any}", "with the names of folders and playlists"}};
constexpr Field kPinPage[] = {{"offset", "number"}, {"total", "number"}, {"pins", "[Pin]"}};
constexpr Field kMadePin[] = {{"pin", "Pin"}};
constexpr Schema kSchemas[] = {{"Pin", kPin}, {"PinPage", kPinPage}, {"MadePin", kMadePin}};

}  // namespace

const Api kPinApi{
    .name = "VARN.Tonvale.Pin",
    .methods = kMethods,
    .summary =
        "The start page. Codes of its own: 1 the criteria lack what the type needs, or the "
        "identifiers are not those of the page; 2 no such type; 3 the criteria are no "
        "object, or have another member; 4 pinned already; 5 no such pin; 6 no such folder; "
        "7 no such playlist; 8 the library does not answer; 9 the user has no preference "
        "folder",
    .schemas = kSchemas};

}  // namespace tonvale_entry

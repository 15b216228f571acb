// VARN.Tonvale.Radio: internet radio stations, which administrators change.
#include "service/listening/radio.h"

#include "action.h"
#include "service/people/settings.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr Parameter kId{
    .name = "id", .what = "The station.", .kind = Kind::kNumber, .isRequired = true, .low = 1};

int IdOf(const Request &asked) {
    return static_cast<int>(asked.Number(kId));
}

RadioStation StationOf(const Request &asked) {
    return {0, asked.RequiredText("name"), asked.RequiredText("stream"), asked.Text("home_page")};
}

Json::Value List(const Request &asked) {
    Json::Value data(Json::objectValue);
    data["may_change"] = IsAdministrator(asked.User().GetLoginUserName());
    data["stations"] = Json::Value(Json::arrayValue);
    for (const RadioStation &station : RadioStations()) {
        Json::Value &entry = data["stations"].append(Json::Value(Json::objectValue));
        entry["id"] = station.id;
        entry["name"] = station.name;
        entry["stream"] = station.stream;
        entry["home_page"] = station.homePage;
    }
    return data;
}

Json::Value Add(const Request &asked) {
    asked.RequireAdministrator();
    Json::Value data(Json::objectValue);
    data["id"] = AddRadioStation(StationOf(asked));
    return data;
}

Json::Value Change(const Request &asked) {
    asked.RequireAdministrator();
    RadioStation station = StationOf(asked);
    station.id = IdOf(asked);
    ChangeRadioStation(station);
    return Json::Value(Json::objectValue);
}

Json::Value Remove(const Request &asked) {
    asked.RequireAdministrator();
    RemoveRadioStation(IdOf(asked));
    return Json::Value(Json::objectValue);
}

constexpr std::array kStationParameters = {
    Parameter{.name = "name", .what = "At most 200 bytes.", .isRequired = true},
    Parameter{.name = "stream",
              .what = "An http or https address of at most 2000 bytes.",
              .isRequired = true},
    Parameter{.name = "home_page",
              .what = "An http or https address of at most 2000 bytes; otherwise none."}};
constexpr auto kChangeParameters = Join(kId, kStationParameters);
constexpr std::array kRemoveParameters = {kId};

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<List>,
     .takesRoot = false,
     .summary = "All stations, by name",
     .answer = "RadioStations"},
    {.name = "add",
     .make = Make<Add>,
     .changes = true,
     .takesRoot = false,
     .summary = "Add a station, of which there may be 1000; for administrators",
     .parameters = kStationParameters,
     .answer = "NewRadioStation"},
    {.name = "change",
     .make = Make<Change>,
     .changes = true,
     .takesRoot = false,
     .summary = "Change all of a station, for administrators",
     .parameters = kChangeParameters},
    {.name = "remove",
     .make = Make<Remove>,
     .changes = true,
     .takesRoot = false,
     .summary = "Take a station away, for administrators",
     .parameters = kRemoveParameters},
};

constexpr Field kStation[] = {{"id", "number"},
                              {"name", "text"},
                              {"stream", "text", "its address, for Stream.remote"},
                              {"home_page", "text", "an address; empty: none"}};
constexpr Field kStations[] = {{"may_change", "flag", "the user is an administrator"},
                               {"stations", "[RadioStation]"}};
constexpr Field kAdded[] = {{"id", "number"}};
constexpr Schema kSchemas[] = {
    {"RadioStation", kStation}, {"RadioStations", kStations}, {"NewRadioStation", kAdded}};

}  // namespace

const Api kRadioApi{.name = "VARN.Tonvale.Radio",
                    .methods = kMethods,
                    .summary = "Internet radio stations, the same for all users",
                    .schemas = kSchemas};

}  // namespace tonvale_entry

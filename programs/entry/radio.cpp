// VARN.Tonvale.Radio: internet radio stations, which administrators change.
#include "service/radio.h"

#include <climits>

#include "action.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

int IdOf(const Request &asked) {
    asked.RequiredText("id");
    return static_cast<int>(asked.Number("id", 0, 1, INT_MAX));
}

RadioStation StationOf(const Request &asked) {
    return {0, asked.RequiredText("name"), asked.RequiredText("stream"), asked.Text("home_page")};
}

Json::Value List(const Request &) {
    Json::Value data(Json::objectValue);
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

constexpr Method kMethods[] = {
    {.name = "list", .make = Make<List>, .takesRoot = false},
    {.name = "add", .make = Make<Add>, .changes = true, .takesRoot = false},
    {.name = "change", .make = Make<Change>, .changes = true, .takesRoot = false},
    {.name = "remove", .make = Make<Remove>, .changes = true, .takesRoot = false},
};

}  // namespace

const Api kRadioApi{"VARN.Tonvale.Radio", kMethods};

}  // namespace tonvale_entry

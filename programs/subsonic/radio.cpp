// Internet radio stations, which administrators change.
#include <climits>

#include "endpoint.h"
#include "entry/parameters.h"
#include "service/listening/radio.h"

namespace tonvale_subsonic {

namespace {

using tonvale_service::RadioStation;

RadioStation StationOf(const Request &asked, int id) {
    return {id, asked.Required("name"), asked.Required("streamUrl"), asked.Text("homepageUrl")};
}

int IdOf(const Request &asked) {
    const std::string id = asked.Required("id");
    const auto row = tonvale_entry::ParseNumber(id, 1, INT_MAX);
    return row ? static_cast<int>(*row) : throw NoSuch("radio station", id);
}

Json::Value List(const Request &) {
    Json::Value list(Json::arrayValue);
    for (const RadioStation &station : tonvale_service::RadioStations()) {
        Json::Value &told = list.append(Json::objectValue);
        told["id"] = std::to_string(station.id);
        told["name"] = station.name;
        told["streamUrl"] = station.stream;
        if (!station.homePage.empty()) {
            told["homePageUrl"] = station.homePage;
        }
    }
    return list;
}

Json::Value Create(const Request &asked) {
    asked.Entry().RequireAdministrator();
    tonvale_service::AddRadioStation(StationOf(asked, 0));
    return Json::Value(Json::objectValue);
}

Json::Value Update(const Request &asked) {
    asked.Entry().RequireAdministrator();
    tonvale_service::ChangeRadioStation(StationOf(asked, IdOf(asked)));
    return Json::Value(Json::objectValue);
}

Json::Value Delete(const Request &asked) {
    asked.Entry().RequireAdministrator();
    tonvale_service::RemoveRadioStation(IdOf(asked));
    return Json::Value(Json::objectValue);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "createInternetRadioStation", .answer = Create, .changes = true},
    {.name = "deleteInternetRadioStation", .answer = Delete, .changes = true},
    {.name = "getInternetRadioStations",
     .answer = Named<"internetRadioStations", Named<"internetRadioStation", List>>},
    {.name = "updateInternetRadioStation", .answer = Update, .changes = true}};

}  // namespace

const std::span<const Endpoint> kRadioEndpoints = kEndpoints;

}  // namespace tonvale_subsonic

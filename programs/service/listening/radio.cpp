#include "service/listening/radio.h"

#include "service/base/failure.h"
#include "service/base/text.h"
#include "service/lists/tables.h"
#include "service/playlists/playlist_songs.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

void Check(const RadioStation &station) {
    if (station.name.empty() || !IsLine(station.name, kLongestStationName)) {
        throw Failure(Reason::kNotAStationName);
    }
    if (!IsStreamUrl(station.stream)) {
        throw Failure(Reason::kNotAnHttpAddress, station.stream);
    }
    if (!station.homePage.empty() && !IsStreamUrl(station.homePage)) {
        throw Failure(Reason::kNotAnHttpAddress, station.homePage);
    }
}

}  // namespace

std::vector<RadioStation> RadioStations() {
    std::vector<RadioStation> stations;
    for (const varn::Row row :
         AskTables(varn::Sql("SELECT id, name, stream, home_page FROM radio_station "
                             "ORDER BY name COLLATE \"en_US_varnel\", id"))) {
        stations.push_back({static_cast<int>(row.Number("id")), row.Text("name"),
                            row.Text("stream"), row.Text("home_page")});
    }
    return stations;
}

int AddRadioStation(const RadioStation &station) {
    Check(station);
    const varn::Rows added =
        AskTables(varn::Sql("INSERT INTO radio_station (name, stream, home_page) "
                            "SELECT '@VARN:VAR', '@VARN:VAR', '@VARN:VAR' "
                            "WHERE (SELECT count(*) FROM radio_station) < @VARN:INT RETURNING id",
                            station.name, station.stream, station.homePage, kMostStations));
    if (added.Count() == 0) {
        throw Failure(Reason::kTooManyStations);
    }
    return static_cast<int>(added[0].Number("id"));
}

void ChangeRadioStation(const RadioStation &station) {
    Check(station);
    const varn::Rows changed =
        AskTables(varn::Sql("UPDATE radio_station SET name = '@VARN:VAR', stream = '@VARN:VAR', "
                            "home_page = '@VARN:VAR' WHERE id = @VARN:INT",
                            station.name, station.stream, station.homePage, station.id));
    if (changed.Count() == 0) {
        throw Failure(Reason::kNoSuchStation, std::to_string(station.id));
    }
}

void RemoveRadioStation(int id) {
    if (AskTables(varn::Sql("DELETE FROM radio_station WHERE id = @VARN:INT", id)).Count() == 0) {
        throw Failure(Reason::kNoSuchStation, std::to_string(id));
    }
}

}  // namespace tonvale_service

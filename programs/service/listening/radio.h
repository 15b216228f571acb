// Internet radio stations, which all users share. Administrators change them: callers check that
// (IsAdministrator).
#pragma once

#include <string>
#include <vector>

namespace tonvale_service {

inline constexpr int kMostStations = 1000;
inline constexpr std::size_t kLongestStationName = 200;  // bytes

struct RadioStation {
    int id = 0;
    std::string name;
    std::string stream;    // http or https
    std::string homePage;  // http or https, or ""
};

// All stations, by their names. Throws a Failure.
std::vector<RadioStation> RadioStations();

// Keeps a station and gives its id; `id` is not looked at. Throws a Failure for a name that is
// empty or not UTF-8, has control characters or more than kLongestStationName bytes, for an
// address that is no IsStreamUrl (playlist_songs.h), and beyond kMostStations.
int AddRadioStation(const RadioStation &station);

// Changes all of the station with this id. Throws a Failure, also when there is none.
void ChangeRadioStation(const RadioStation &station);

// Takes a station away; a Failure when there is none.
void RemoveRadioStation(int id);

}  // namespace tonvale_service

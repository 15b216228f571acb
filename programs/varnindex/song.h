// One audio file as the library keeps it.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace varnindex {

struct ReplayGain {
    std::optional<float> trackGain;  // decibels
    std::optional<float> trackPeak;
    std::optional<float> albumGain;  // decibels
    std::optional<float> albumPeak;

    bool IsTagged() const { return trackGain || trackPeak || albumGain || albumPeak; }
};

// A user's rating.
struct Star {
    int userid = 0;
    int stars = 0;  // 1 to 5

    auto operator<=>(const Star &) const = default;
};

// All texts are clean (names.h); an absent tag is "" or 0.
struct Song {
    std::string path;
    std::int64_t size = 0;      // bytes
    std::int64_t modified = 0;  // microseconds since 1970, UTC
    unsigned userid = 0;        // owner; 0: shared
    std::int64_t fingerprint = 0;
    std::int64_t sheetStamp = 0;  // of the folder's cue sheets; 0: there are none
    int pictures = 0;             // embedded ones

    std::string title;
    std::string titleSort;
    std::string album;
    std::string albumSort;
    std::string artist;
    std::string artistSort;
    std::string albumArtist;
    std::string albumArtistSort;
    std::string composer;
    std::string composerSort;
    std::vector<std::string> genres;
    std::string comment;
    int year = 0;
    int track = 0;
    int disc = 0;

    std::string container;
    std::string codec;
    float duration = 0;  // seconds
    int bitRate = 0;     // bits per second
    int sampleRate = 0;  // samples per second
    int channels = 0;
    ReplayGain gain;
    std::vector<Star> stars;  // of its record (stars.h), for a new row
};

}  // namespace varnindex

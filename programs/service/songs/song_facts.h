// Songs with all that a client shows of them, for front ends that write objects of their own.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/songs/song_marks.h"
#include "service/songs/songs.h"

namespace tonvale_service {

struct SongFacts {
    SongId id;
    std::string path;
    std::string title;
    std::string titleSort;
    std::string album;
    std::string albumArtist;
    std::string artist;
    std::string composer;
    std::vector<std::string> genres;
    std::string comment;
    int year;  // 0 when unknown, like disc and track
    int disc;
    int track;
    int seconds;
    int bitRate;    // bits per second
    int frequency;  // samples per second
    int channels;
    long long bytes;
    long long added;                  // when it came into the library, seconds since 1970
    std::optional<double> trackGain;  // decibels, and peaks as fractions of full scale
    std::optional<double> trackPeak;
    std::optional<double> albumGain;
    std::optional<double> albumPeak;
    SongMarks marks;  // of the user
};

// Which songs, in SQL over track `t` and song_text `s`, and without a limit over tag_text `g` and
// the user's rating_track `r`. Values have to be made safe before (varn::Sql).
struct SongChoice {
    std::string condition = {};  // "": all
    std::string order = {};
    int offset = 0;
    int limit = 0;  // 0: all
};

// Orders of a choice.
inline constexpr char kInAlbum[] = "t.disc, t.track, t.title_sort, t.id";
inline constexpr char kByChance[] = "random()";
std::string ByTitle();

// The songs of a choice that the request's library has, in one statement. Of the request, library,
// user and filters count. This and what follows throw a Failure.
std::vector<SongFacts> ChooseSongs(const ListRequest &request, const SongChoice &choice);

// Those with these rows, in their order; one that the library does not have is left out.
std::vector<SongFacts> SongsOfRows(const ListRequest &request, const std::vector<int> &rows);

// The same among all that a user may see, every file and every track of a cue sheet, in one
// statement for files and one for tracks.
std::vector<SongFacts> SongsOfIds(uid_t uid, const std::vector<SongId> &ids);

// Conditions of a choice.
std::string IsOfAlbum(const std::string &album, const std::string &albumArtist);
// Or album artist, in any case; "" for the songs without either.
std::string IsOfArtist(const std::string &name);
std::string IsOfGenre(const std::string &genre);

// A list of genres as it stands with a song.
std::vector<std::string> GenresIn(std::string_view joined);

}  // namespace tonvale_service

#include "varnindex/read/split.h"

#include <algorithm>
#include <cstdio>

#include "varn/text.h"
#include "varnindex/read/names.h"

namespace varnindex {
namespace {

// Puts a name of the sheet in the place of the file's, together with what it is sorted by.
void Override(std::string &name, std::string &sorted, const std::string &fromSheet) {
    if (!fromSheet.empty()) {
        name = fromSheet;
        sorted = SortName(fromSheet);
    }
}

std::string TitleOf(const CueTrack &track) {
    if (!track.title.empty()) {
        return track.title;
    }
    char title[32];
    std::snprintf(title, sizeof(title), "Track %02d", track.number);
    return title;
}

Song Describe(const Song &file, const CueSheet &sheet, const CueTrack &track) {
    Song song = file;
    const std::string &artist = track.performer.empty() ? sheet.performer : track.performer;
    Override(song.title, song.titleSort, TitleOf(track));
    Override(song.artist, song.artistSort, artist);
    Override(song.album, song.albumSort, sheet.title);
    Override(song.albumArtist, song.albumArtistSort, sheet.performer);
    Override(song.composer, song.composerSort, track.composer);
    if (!sheet.genre.empty()) {
        song.genres = CleanGenres({sheet.genre});
    }
    song.comment = sheet.comment.empty() ? file.comment : sheet.comment;
    song.year = sheet.year == 0 ? file.year : sheet.year;
    song.track = track.number;
    return song;
}

double Seconds(int frames) {
    return static_cast<double>(frames) / kCueFramesPerSecond;
}

}  // namespace

SplitSongs SplitSong(const Song &file, const CueSheet &sheet, std::size_t fileIndex,
                     const std::string &sheetPath) {
    SplitSongs split;
    if (fileIndex >= sheet.files.size()) {
        return split;
    }
    const std::vector<CueTrack> &tracks = sheet.files[fileIndex].tracks;
    const double length = file.duration;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const double start = Seconds(tracks[i].start);
        if (length > 0 && start >= length) {
            split.behindEnd.push_back(tracks[i].number);
            continue;
        }
        const bool last = i + 1 == tracks.size();
        double end = last ? std::max(length, 0.0) : Seconds(tracks[i + 1].start);
        end = length > 0 ? std::min(end, length) : end;
        VirtualSong song{Describe(file, sheet, tracks[i]), tracks[i].start / kCueFramesPerSecond,
                         sheetPath};
        song.song.duration = static_cast<float>(end - start);
        split.songs.push_back(std::move(song));
    }
    return split;
}

}  // namespace varnindex

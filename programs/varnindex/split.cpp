#include "split.h"

#include <algorithm>
#include <cstdio>

#include "names.h"
#include "varn/text.h"

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

<<<<<<< HEAD
// --- the file of a FILE line -----------------------------------------------------------------

using Names = std::vector<std::string>;

// What is the same for two spellings of one name. A name that is not UTF-8 was left by a system
// with a code page.
std::string Folded(std::string_view name) {
    UErrorCode error = U_ZERO_ERROR;
    const icu::Normalizer2 *const decompose = icu::Normalizer2::getNFDInstance(error);
    const icu::Normalizer2 *const compose = icu::Normalizer2::getNFCInstance(error);
    if (U_FAILURE(error)) {
        return std::string(name);
    }
    icu::UnicodeString units = icu::UnicodeString::fromUTF8(varn::ToUtf8(name));
    units = decompose->normalize(units, error);
    units = compose->normalize(units.foldCase(), error);
    std::string folded;
    units.toUTF8String(folded);
    return U_SUCCESS(error) ? folded : std::string(name);
}

std::string_view WithoutFolders(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

// "01. Intro.flac" -> "01. Intro"; a dot within a title is not the begin of an extension.
std::string_view WithoutExtension(std::string_view name) {
    constexpr std::size_t kLongest = 5;
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return name;
    }
    const std::string_view extension = name.substr(dot + 1);
    const bool usual =
        !extension.empty() && extension.size() <= kLongest &&
        std::all_of(extension.begin(), extension.end(), [](char c) {
            return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
        });
    return usual ? name.substr(0, dot) : name;
}

struct Search {
    std::optional<std::string> found;
    bool ended = false;  // found, or several match equally well
};

template <typename Matches>
Search FindOnly(const Names &names, const Matches &matches) {
    const auto first = std::find_if(names.begin(), names.end(), matches);
    if (first == names.end()) {
        return {};
    }
    const bool only = std::find_if(first + 1, names.end(), matches) == names.end();
    return {only ? std::optional(*first) : std::nullopt, true};
}

=======
>>>>>>> i3
}  // namespace

std::vector<VirtualSong> SplitSong(const Song &file, const CueSheet &sheet, std::size_t fileIndex,
                                   const std::string &sheetPath) {
    std::vector<VirtualSong> songs;
    if (fileIndex >= sheet.files.size()) {
        return songs;
    }
    const std::vector<CueTrack> &tracks = sheet.files[fileIndex].tracks;
    const double length = file.duration;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const double start = Seconds(tracks[i].start);
        if (length > 0 && start >= length) {
            break;
        }
        const bool last = i + 1 == tracks.size();
        double end = last ? std::max(length, 0.0) : Seconds(tracks[i + 1].start);
        end = length > 0 ? std::min(end, length) : end;
        VirtualSong song{Describe(file, sheet, tracks[i]), tracks[i].start / kCueFramesPerSecond,
                         sheetPath};
        song.song.duration = static_cast<float>(end - start);
        songs.push_back(std::move(song));
    }
    return songs;
}

}  // namespace varnindex

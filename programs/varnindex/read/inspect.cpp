#include "varnindex/read/inspect.h"

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <system_error>

#include "varn/path.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/observe/folders.h"
#include "varnindex/observe/walk.h"
#include "varnindex/read/names.h"
#include "varnindex/read/readers.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

void Print(const std::string &key, const std::string &value) {
    std::cout << key << ": " << Printable(value) << '\n';
}

// Nothing of what is not there.
template <typename Value>
void PrintSome(const char *key, const Value &value, const char *unit = "") {
    if (value != Value()) {
        std::ostringstream text;
        if constexpr (requires { value.value(); }) {
            text << *value << unit;
        } else {
            text << value << unit;
        }
        Print(key, text.str());
    }
}

// Why no scan comes to a file.
std::string WhyNotFound(const std::string &path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return std::generic_category().message(errno);
    }
    return !S_ISREG(info.st_mode) ? "not a regular file" : "not the name of an audio file";
}

// What a scan finds at a path; of anything but music, why it is skipped.
Found Find(const std::string &path) {
    Found none;
    none.kind = Found::Kind::kRefused;
    LinkedFolders library(Folders::Configured().Roots());
    const std::string *const root = library.RootOf(path);
    if (const auto part = PassedOverPart(root != nullptr ? *root : "/", path); !part.empty()) {
        none.reason = "passed over, because of \"" + std::string(part) + "\" in its path";
        return none;
    }
    Walk walk({varn::FolderOf(path)}, IsIndexedName, library);
    for (auto found = walk.Next(); found && found->path <= path; found = walk.Next()) {
        if (found->path == path && (found->kind != Found::Kind::kFile || IsMusicName(path))) {
            return std::move(*found);
        }
    }
    none.reason = WhyNotFound(path);
    return none;
}

void PrintAudio(const Song &song) {
    PrintSome("container", song.container);
    PrintSome("codec", song.codec);
    PrintSome("duration", song.duration, " s");
    PrintSome("bit rate", song.bitRate, " bit/s");
    PrintSome("sample rate", song.sampleRate, " Hz");
    PrintSome("channels", song.channels);
    PrintSome("track gain", song.gain.trackGain, " dB");
    PrintSome("track peak", song.gain.trackPeak);
    PrintSome("album gain", song.gain.albumGain, " dB");
    PrintSome("album peak", song.gain.albumPeak);
}

void PrintNames(const Song &song) {
    PrintSome("title", song.title);
    PrintSome("title sorted as", song.titleSort);
    PrintSome("album", song.album);
    PrintSome("album sorted as", song.albumSort);
    PrintSome("artist", song.artist);
    PrintSome("artist sorted as", song.artistSort);
    PrintSome("album artist", song.albumArtist);
    PrintSome("album artist sorted as", song.albumArtistSort);
    PrintSome("composer", song.composer);
    PrintSome("composer sorted as", song.composerSort);
    for (const std::string &genre : song.genres) {
        Print("genre", genre);
    }
    PrintSome("year", song.year);
    PrintSome("track", song.track);
    PrintSome("disc", song.disc);
    PrintSome("comment", song.comment);
    Print("pictures", std::to_string(song.pictures));
}

void PrintTracks(const Song &song, const std::vector<VirtualSong> &tracks) {
    if (!tracks.empty()) {
        const std::string &sheet = tracks.front().sheetPath;
        Print("cue sheet", sheet == song.path ? "in the file's tags" : sheet);
    }
    for (const VirtualSong &track : tracks) {
        Print("cue track", std::to_string(track.song.track) + ", at " +
                               std::to_string(track.offset) + " s, " + track.song.title +
                               (track.song.artist.empty() ? "" : ", " + track.song.artist));
    }
}

int Skipped(const std::string &reason) {
    Print("skipped", reason);
    return EXIT_FAILURE;
}

}  // namespace

int Inspect(const std::string &givenPath) {
    const std::string path = OrderedFolders({givenPath}).front();
    Print("path", path);
    const Found found = Find(path);
    if (found.kind != Found::Kind::kFile) {
        return Skipped(found.reason);
    }
    Print("size", std::to_string(found.size) + " bytes");
    Print("modified", Timestamp(found.modified) + " UTC");
    Readers readers(1, Pictures::kCount);
    readers.Add({found});
    const ReadWork read = readers.Take();
    if (!read.result.song) {
        return Skipped(read.result.problem);
    }
    PrintSome("warning", read.result.warning);
    for (const std::string &warning : read.warnings) {
        Print("warning", warning);
    }
    PrintAudio(*read.result.song);
    PrintNames(*read.result.song);
    PrintTracks(*read.result.song, read.tracks);
    return std::cout.flush().good() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace varnindex

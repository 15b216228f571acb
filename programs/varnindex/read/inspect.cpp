#include "varnindex/read/inspect.h"

#include <sys/stat.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <system_error>

#include "varnindex/observe/file_names.h"
#include "varnindex/observe/folders.h"
#include "varnindex/observe/walk.h"
#include "varnindex/read/names.h"
#include "varnindex/read/sheets.h"
#include "varnindex/read/tags.h"

namespace varnindex {
namespace {

namespace fs = std::filesystem;

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

// As the walk would decide, and why; "" for a file that it takes.
std::string ReasonToSkip(const std::string &path, struct stat &info) {
    const std::string name = fs::path(path).filename();
    if (::stat(path.c_str(), &info) != 0) {
        return std::generic_category().message(errno);
    }
    if (!S_ISREG(info.st_mode)) {
        return S_ISDIR(info.st_mode) ? "a folder" : "not a regular file";
    }
    if (!IsUtf8(path)) {
        return "the name is not UTF-8";
    }
    if (path.size() >= PATH_MAX) {
        return "the path is too long";
    }
    const LinkedFolders library(Folders::Configured().Roots());
    const std::string *const root = library.RootOf(path);
    if (const auto part = PassedOverPart(root != nullptr ? *root : "/", path); !part.empty()) {
        return "hidden, or in a folder that is passed over: " + std::string(part);
    }
    if (!IsMusicName(name)) {
        return IsListName(name) ? "a playlist or cue sheet, not an audio file"
                                : "not the name of an audio file";
    }
    return "";
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

// The cue sheets beside a file.
std::shared_ptr<FolderSheets> SheetsBeside(const std::string &path) {
    LinkedFolders library(std::vector<std::string>{});
    Walk walk({path.substr(0, path.rfind('/'))}, IsIndexedName, library);
    while (auto found = walk.Next()) {
        if (found->path == path) {
            return std::move(found->sheets);
        }
    }
    return nullptr;
}

void PrintSheet(const Song &song, const std::string &embedded) {
    std::vector<VirtualSong> tracks;
    if (const auto beside = SheetsBeside(song.path)) {
        tracks = beside->Split(song).songs;
        for (const std::string &problem : beside->TakeProblems()) {
            Print("cue sheet problem", problem);
        }
    }
    if (!embedded.empty()) {
        std::string problem;
        auto own = SplitByEmbedded(song, embedded, problem).songs;
        PrintSome("cue sheet problem", problem);
        tracks = tracks.empty() ? std::move(own) : std::move(tracks);
    }
    if (tracks.empty()) {
        return;
    }
    const std::string &sheet = tracks.front().sheetPath;
    Print("cue sheet", sheet == song.path ? "in the file's tags" : sheet);
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
    std::error_code error;
    const std::string path = fs::absolute(givenPath, error).lexically_normal();
    struct stat info {};
    Print("path", path);
    const std::string reason = ReasonToSkip(path, info);
    if (!reason.empty()) {
        return Skipped(reason);
    }
    Print("size", std::to_string(info.st_size) + " bytes");
    std::tm modified = {};
    ::gmtime_r(&info.st_mtim.tv_sec, &modified);
    std::cout << "modified: " << std::put_time(&modified, "%Y-%m-%d %H:%M:%S UTC") << '\n';
    SilenceTagLib();
    const ReadResult read = ReadSong(path, info.st_size, 0, Pictures::kCount);
    if (!read.song) {
        return Skipped(read.problem);
    }
    PrintSome("warning", read.warning);
    PrintAudio(*read.song);
    PrintNames(*read.song);
    PrintSheet(*read.song, read.embeddedCue);
    return std::cout.flush().good() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace varnindex

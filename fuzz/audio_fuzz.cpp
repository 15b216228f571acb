// Any bytes as an audio file of every format. The indexer's readers of tags, pictures and embedded
// cue sheets give clean songs. The last byte chooses the file's name. No program is started: the
// bytes from the first brace on are its answer.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "require.h"
#include "varnindex/read/cue.h"
#include "varnindex/read/names.h"
#include "varnindex/read/prober.h"
#include "varnindex/read/sheets.h"
#include "varnindex/read/tags.h"

namespace {

using namespace varnindex;
namespace fs = std::filesystem;

constexpr std::array kNames = {"a.mp3", "a.flac", "a.ogg", "a.opus", "a.spx", "a.m4a",
                               "a.wav", "a.aiff", "a.wma", "a.ape",  "a.mpc", "a.wv",
                               "a.tta", "a.dsf",  "a.dff", "a.mp2",  "a.mka", "a.aac"};

// One file in memory, under every name.
class File {
  public:
    File() : fd_(memfd_create("audio", MFD_CLOEXEC)) {
        std::string folder = fs::temp_directory_path() / "audio-fuzz-XXXXXX";
        Require(fd_ >= 0 && mkdtemp(folder.data()) != nullptr, "the file and its folder are made");
        folder_ = folder;
        for (const char *name : kNames) {
            fs::create_symlink("/proc/self/fd/" + std::to_string(fd_), folder_ / name);
        }
    }
    ~File() { fs::remove_all(folder_); }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    std::string Holding(const uint8_t *data, size_t size) const {
        Require(ftruncate(fd_, 0) == 0 &&
                    pwrite(fd_, data, size - 1, 0) == static_cast<ssize_t>(size - 1),
                "the file is written");
        return folder_ / kNames[data[size - 1] % kNames.size()];
    }

  private:
    int fd_;
    fs::path folder_;
};

void CheckSong(const Song &song) {
    const auto isClean = [](const std::string &text) { return CleanName(text) == text; };
    for (const std::string *text : {&song.title, &song.titleSort, &song.album, &song.albumSort,
                                    &song.artist, &song.artistSort, &song.albumArtist,
                                    &song.albumArtistSort, &song.composer, &song.composerSort}) {
        Require(isClean(*text), "a name is clean");
    }
    Require(std::all_of(song.genres.begin(), song.genres.end(), isClean), "a genre is clean");
    Require(CleanComment(song.comment) == song.comment, "a comment is clean");
    Require(!song.title.empty() && !song.container.empty(), "a song has a title and a container");
    Require(std::isfinite(song.duration) && song.duration >= 0, "a duration is a number");
    Require(song.sampleRate > 0 && song.channels > 0 && song.bitRate >= 0,
            "audio has a rate and channels");
    Require(song.year >= 0 && song.track >= 0 && song.disc >= 0 && song.pictures >= 0,
            "nothing is negative");
    for (const auto &gain :
         {song.gain.trackGain, song.gain.trackPeak, song.gain.albumGain, song.gain.albumPeak}) {
        Require(!gain || std::isfinite(*gain), "a gain is a number");
    }
}

void CheckSheet(const Song &song, const std::string &sheet) {
    std::string problem;
    for (const VirtualSong &track : SplitByEmbedded(song, sheet, problem).songs) {
        Require(!track.song.title.empty() && CleanName(track.song.title) == track.song.title,
                "a track has a clean title");
        Require(track.offset >= 0 &&
                    (song.duration <= 0 || static_cast<float>(track.offset) <= song.duration),
                "a track begins in its file");
    }
}

}  // namespace

// Replaces the indexer's own.
std::string varnindex::AskProber(int file, std::vector<std::string> /*words*/) {
    std::array<char, 65536> bytes;
    const ssize_t size = pread(file, bytes.data(), bytes.size(), 0);
    const std::string_view text(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return std::string(text.substr(std::min(text.find('{'), text.size())));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const File file;
    if (size == 0) {
        return 0;
    }
    static const bool silenced = (SilenceTagLib(), true);
    FileFacts facts;
    facts.path = file.Holding(data, size);
    facts.size = static_cast<std::int64_t>(size - 1);
    const ReadResult read = ReadSong(facts, Pictures::kStore);
    Require(silenced && read.song.has_value() == read.problem.empty(), "a refusal has a reason");
    Require(read.embeddedCue.size() <= kMaxCueBytes, "a sheet is bounded");
    if (read.song) {
        CheckSong(*read.song);
        CheckSheet(*read.song, read.embeddedCue);
    }
    return 0;
}

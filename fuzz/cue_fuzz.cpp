// Any bytes as a cue sheet: an accepted sheet splits its files into clean songs, in their order.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "require.h"
#include "varn/text.h"
#include "varnindex/read/audio_names.h"
#include "varnindex/read/cue.h"
#include "varnindex/read/names.h"
#include "varnindex/read/split.h"

namespace {

using namespace varnindex;

void CheckFile(const CueFile &file) {
    Require(!file.name.empty() && varn::IsUtf8(file.name), "a file has a name");
    Require(!file.tracks.empty(), "a file has tracks");
    int previous = -1;
    for (const CueTrack &track : file.tracks) {
        Require(track.start > previous, "starts rise");
        previous = track.start;
        for (const std::string &text : {track.title, track.performer, track.composer}) {
            Require(CleanName(text) == text, "a text is clean");
        }
    }
}

void CheckSongs(const CueSheet &sheet, std::size_t index, float duration) {
    Song file;
    file.duration = duration;
    const auto [songs, behindEnd] = SplitSong(file, sheet, index, "sheet.cue");
    Require(songs.size() + behindEnd.size() == sheet.files[index].tracks.size(),
            "each track is a song or begins after the end");
    for (std::size_t i = 0; i < songs.size(); ++i) {
        Require(!songs[i].song.title.empty(), "a song has a title");
        const bool open = duration <= 0 && i + 1 == songs.size();
        Require(open == (songs[i].song.duration <= 0), "a song has a duration where it is known");
        Require(duration <= 0 || static_cast<float>(songs[i].offset) <= duration,
                "a song begins in its file");
    }
}

void CheckName(const std::string &name) {
    const std::vector<std::string> names = {"image.flac", "Image.FLAC", "other.flac"};
    const auto found = AudioNames(names).Find(name, name);
    Require(!found || *found == names[0] || *found == names[1] || *found == names[2],
            "what is found is there");
    Require(AudioNames({"other.flac", name}).Find(name, "") == name,
            "a file of this name is found");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr std::size_t kMostFiles = 8;  // each takes several look-ups
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    const std::string text = varn::ToUtf8(bytes);
    Require(varn::IsUtf8(text) && text.find('\r') == std::string::npos, "a text is clean UTF-8");
    const CueResult result = ParseCue(bytes);
    Require(result.sheet.has_value() == result.problem.empty(), "a refusal has a reason");
    if (!result.sheet) {
        return 0;
    }
    Require(!result.sheet->files.empty(), "a sheet has files");
    for (std::size_t i = 0; i < result.sheet->files.size(); ++i) {
        CheckFile(result.sheet->files[i]);
        CheckSongs(*result.sheet, i, 0);
        CheckSongs(*result.sheet, i, 100.5F);
        if (i < kMostFiles) {
            CheckName(result.sheet->files[i].name);
        }
    }
    return 0;
}

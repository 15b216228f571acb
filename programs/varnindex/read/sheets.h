// The cue sheets of one folder: in come their names and those of the audio files, out go the tracks
// that they make of each song.
#pragma once

#include <map>
#include <mutex>

#include "varnindex/observe/file_facts.h"
#include "varnindex/read/audio_names.h"
#include "varnindex/read/cue.h"
#include "varnindex/read/split.h"
#include "varnindex/song.h"

namespace varnindex {

// Reads the sheets on the first question about their contents, 16 MiB of them. Any thread may call
// all but the constructor.
class FolderSheets {
  public:
    // `folder` with "/" at its end, `songs` the names of its audio files, both lists in order.
    FolderSheets(std::string folder, std::vector<Found> sheets, std::vector<std::string> songs);

    // A number that changes with the sheets and with the files that they may mean; never 0.
    std::int64_t Stamp() const { return stamp_; }

    // The tracks that a sheet makes of a song; none when no sheet splits it.
    SplitSongs Split(const Song &song);

    // True when a sheet cannot be used, or not for all files that it names: what it has split
    // before may still be so.
    bool HasProblem();

    // What is wrong with the sheets, for a person; each is handed out once.
    std::vector<std::string> TakeProblems();

  private:
    struct Part {
        std::shared_ptr<const CueSheet> sheet;
        std::size_t file;  // of the sheet's files
        std::string name;  // of the sheet
    };

    void ReadOnce();
    void ReadAll();
    std::string Use(const std::shared_ptr<const CueSheet> &sheet, const std::string &sheetName,
                    const AudioNames &names);

    std::string folder_;
    std::vector<Found> sheets_;
    std::vector<std::string> songs_;
    std::int64_t stamp_;
    std::once_flag read_;
    std::map<std::string, Part> uses_;  // by a song's name; written by ReadAll only
    bool hasProblem_ = false;           // the same
    std::mutex guard_;
    std::vector<std::string> problems_;
};

// The tracks that an embedded sheet makes of a song; `problem` tells when it is of no use.
SplitSongs SplitByEmbedded(const Song &song, const std::string &text, std::string &problem);

}  // namespace varnindex

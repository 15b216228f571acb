#include "varnindex/read/sheets.h"

#include "varnindex/hash.h"
#include "varnindex/read/names.h"
#include "varnindex/read/stream.h"

namespace varnindex {
namespace {

constexpr std::size_t kMostBytes = 16U << 20;  // more in one folder is no music

std::string_view BaseName(std::string_view name) {
    return name.substr(0, name.rfind('.'));
}

// "album.cue" and "album.flac.cue" both say that they belong to "album.flac".
bool IsNamedAfter(std::string_view sheetName, std::string_view songName) {
    const std::string_view base = BaseName(sheetName);
    return base == songName || base == BaseName(songName);
}

// A sheet with one file per track belongs to an album that is split already.
bool Splits(const CueFile &file) {
    return file.tracks.size() > 1;
}

// Takes what it reads from `bytesLeft`.
CueResult ReadSheet(const std::string &folder, const Found &file, std::size_t &bytesLeft) {
    CueResult result{std::nullopt, file.reason};
    const auto stream =
        file.reason.empty() ? OpenStream(folder + file.path, file.seen, result.problem) : nullptr;
    if (!stream) {
        return result;
    }
    const TagLib::ByteVector bytes = stream->readBlock(kMaxCueBytes + 1);
    if (stream->HasFailed()) {
        result.problem = "it cannot be read";
    } else if (bytes.size() > bytesLeft) {
        result.problem = "the cue sheets of its folder are too large";
    } else {
        bytesLeft -= bytes.size();
        result = ParseCue(std::string_view(bytes.data(), bytes.size()));
    }
    return result;
}

std::int64_t StampOf(const std::vector<Found> &sheets, const std::vector<std::string> &songs) {
    Hasher hash;
    for (const Found &sheet : sheets) {
        hash.Add(sheet.path).Add(sheet.size).Add(sheet.modified);
        if (!sheet.reason.empty()) {
            hash.Add(sheet.reason);
        }
    }
    for (const std::string &song : songs) {
        hash.Add(song);
    }
    return hash.Value() != 0 ? hash.Value() : 1;
}

}  // namespace

FolderSheets::FolderSheets(std::string folder, std::vector<Found> sheets,
                           std::vector<std::string> songs)
    : folder_(std::move(folder)),
      sheets_(std::move(sheets)),
      songs_(std::move(songs)),
      stamp_(StampOf(sheets_, songs_)) {}

void FolderSheets::ReadOnce() {
    std::call_once(read_, [this] { ReadAll(); });
}

SplitSongs FolderSheets::Split(const Song &song) {
    ReadOnce();
    const auto found = uses_.find(song.path.substr(song.path.rfind('/') + 1));
    if (found == uses_.end()) {
        return {};
    }
    const Part &part = found->second;
    return SplitSong(song, *part.sheet, part.file, folder_ + part.name);
}

bool FolderSheets::HasProblem() {
    ReadOnce();
    return hasProblem_;
}

std::vector<std::string> FolderSheets::TakeProblems() {
    const std::lock_guard lock(guard_);
    return std::exchange(problems_, {});
}

void FolderSheets::ReadAll() {
    const std::lock_guard lock(guard_);
    const AudioNames names(songs_);
    std::size_t bytesLeft = kMostBytes;
    for (const Found &file : sheets_) {
        CueResult result = ReadSheet(folder_, file, bytesLeft);
        const std::string problem =
            result.sheet
                ? Use(std::make_shared<const CueSheet>(std::move(*result.sheet)), file.path, names)
                : "not used, " + result.problem;
        if (!problem.empty()) {
            problems_.push_back(Printable(folder_ + file.path) + ": " + problem);
        }
    }
    hasProblem_ = !problems_.empty();
}

// Several sheets for one song: the one that is named after it, else the first by name. Returns what
// is wrong, for a person.
std::string FolderSheets::Use(const std::shared_ptr<const CueSheet> &sheet,
                              const std::string &sheetName, const AudioNames &names) {
    std::size_t missing = 0;
    std::string problem;
    for (std::size_t i = 0; i < sheet->files.size(); ++i) {
        const CueFile &file = sheet->files[i];
        const auto song = Splits(file) ? names.Find(file.name, sheetName) : std::nullopt;
        if (song) {
            const auto [known, isFirst] = uses_.try_emplace(*song, Part{sheet, i, sheetName});
            if (!isFirst && IsNamedAfter(sheetName, *song) &&
                !IsNamedAfter(known->second.name, *song)) {
                known->second = {sheet, i, sheetName};
            }
        } else if (Splits(file) && missing++ == 0) {
            problem =
                "no use for its file \"" + Printable(file.name) + "\", which is not beside it";
        }
    }
    return missing > 1 ? problem + ", nor are " + std::to_string(missing - 1) + " others" : problem;
}

SplitSongs SplitByEmbedded(const Song &song, const std::string &text, std::string &problem) {
    const CueResult result = ParseCue(text);
    if (!result.sheet) {
        problem = "its cue sheet is not used, " + result.problem;
        return {};
    }
    // Whatever name it gives, an embedded sheet means the file that it is in.
    if (result.sheet->files.size() != 1) {
        problem = "its cue sheet is not used, it tells of several files";
        return {};
    }
    return Splits(result.sheet->files.front()) ? SplitSong(song, *result.sheet, 0, song.path)
                                               : SplitSongs();
}

}  // namespace varnindex

#include "varnindex/read/sheets.h"

#include <optional>
#include <string_view>
#include <utility>

#include "varnindex/hash.h"
#include "varnindex/read/names.h"
#include "varnindex/read/stream.h"

namespace varnindex {
namespace {

// More in one folder is no music.
constexpr std::size_t kMostSheets = 1000;
constexpr std::size_t kMostFiles = 10'000;
constexpr std::size_t kMostBytes = 16U << 20;

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
CueResult ReadSheet(const std::string &path, const SeenFile &seen, std::size_t &bytesLeft) {
    CueResult result;
    const auto stream = OpenStream(path, seen, result.problem);
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

std::int64_t StampOf(const std::vector<SheetFile> &sheets, const std::vector<std::string> &songs) {
    Hasher hash;
    for (const SheetFile &sheet : sheets) {
        hash.Add(sheet.name).Add(sheet.size).Add(sheet.modified);
        if (!sheet.problem.empty()) {
            hash.Add(sheet.problem);
        }
    }
    for (const std::string &song : songs) {
        hash.Add(song);
    }
    return hash.Value() != 0 ? hash.Value() : 1;
}

}  // namespace

FolderSheets::FolderSheets(std::string folder, std::vector<SheetFile> sheets,
                           std::vector<std::string> songs)
    : folder_(std::move(folder)),
      sheets_(std::move(sheets)),
      songs_(std::move(songs)),
      stamp_(StampOf(sheets_, songs_)),
      bytesLeft_(kMostBytes),
      filesLeft_(kMostFiles) {}

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

bool FolderSheets::IsUnusable(const std::string &sheetName) {
    ReadOnce();
    return unusable_.contains(sheetName);
}

bool FolderSheets::HasUnusable() {
    ReadOnce();
    return !unusable_.empty();
}

std::vector<std::string> FolderSheets::TakeProblems() {
    const std::lock_guard lock(guard_);
    return std::exchange(problems_, {});
}

std::vector<std::string> FolderSheets::TakeProblemsWithoutSongs() {
    if (!songs_.empty()) {
        return {};
    }
    ReadOnce();
    return TakeProblems();
}

void FolderSheets::ReadAll() {
    const std::lock_guard lock(guard_);
    const AudioNames names(songs_);
    for (std::size_t i = 0; i < sheets_.size(); ++i) {
        if (i < kMostSheets) {
            ReadOne(sheets_[i], names);
        } else {
            unusable_.insert(sheets_[i].name);
        }
    }
    if (sheets_.size() > kMostSheets) {
        problems_.push_back(Printable(folder_) + ": only the first " + std::to_string(kMostSheets) +
                            " of its " + std::to_string(sheets_.size()) + " cue sheets are used");
    }
}

void FolderSheets::Refuse(const SheetFile &file, const std::string &problem) {
    unusable_.insert(file.name);
    problems_.push_back(Printable(folder_ + file.name) + ": " + problem);
}

void FolderSheets::ReadOne(const SheetFile &file, const AudioNames &names) {
    if (!file.problem.empty()) {
        return Refuse(file, "not used, " + file.problem);
    }
    CueResult result = ReadSheet(folder_ + file.name, file.seen, bytesLeft_);
    if (!result.sheet) {
        return Refuse(file, "not used, " + result.problem);
    }
    if (result.sheet->files.size() > filesLeft_) {
        return Refuse(file, "not used, the cue sheets of its folder have too many FILE lines");
    }
    filesLeft_ -= result.sheet->files.size();
    UseFiles(std::make_shared<const CueSheet>(std::move(*result.sheet)), file, names);
}

void FolderSheets::UseFiles(const std::shared_ptr<const CueSheet> &sheet, const SheetFile &file,
                            const AudioNames &names) {
    std::vector<std::string> missing;
    for (std::size_t i = 0; i < sheet->files.size(); ++i) {
        if (!Splits(sheet->files[i])) {
            continue;
        }
        if (const auto song = names.Find(sheet->files[i].name, file.name)) {
            Use({sheet, i, file.name}, *song);
        } else {
            missing.push_back(sheet->files[i].name);
        }
    }
    if (!missing.empty()) {
        const std::size_t more = missing.size() - 1;
        Refuse(file,
               "no use for its file \"" + Printable(missing.front()) + "\"" +
                   (more > 0 ? " and " + std::to_string(more) + " more, which are not beside it"
                             : ", which is not beside it"));
    }
}

// Several sheets for one song: the one that is named after it, else the first by name.
void FolderSheets::Use(const Part &part, const std::string &song) {
    const auto [known, isFirst] = uses_.try_emplace(song, part);
    if (!isFirst && known->second.name != part.name && IsNamedAfter(part.name, song) &&
        !IsNamedAfter(known->second.name, song)) {
        known->second = part;
    }
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

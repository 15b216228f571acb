#include "sheets.h"

#include <optional>
#include <string_view>
#include <utility>

#include "hash.h"
#include "names.h"
#include "stream.h"

namespace varnindex {
namespace {

std::string_view BaseName(std::string_view name) {
    return name.substr(0, name.rfind('.'));
}

// "album.cue" and "album.flac.cue" both say that they belong to "album.flac".
bool IsNamedAfter(std::string_view sheetName, std::string_view songName) {
    const std::string_view base = BaseName(sheetName);
    return base == songName || base == BaseName(songName);
}

// A sheet that lists one file per track tells of an album that is split already.
bool Splits(const CueFile &file) {
    return file.tracks.size() > 1;
}

CueResult ReadSheet(const std::string &path) {
    CueResult result;
    const auto stream = OpenStream(path, result.problem);
    if (stream) {
        const TagLib::ByteVector bytes = stream->readBlock(kMaxCueBytes + 1);
        result = ParseCue(std::string_view(bytes.data(), bytes.size()));
    }
    return result;
}

std::int64_t StampOf(const std::vector<SheetFile> &sheets, const std::vector<std::string> &songs) {
    Hasher hash;
    for (const SheetFile &sheet : sheets) {
        hash.Add(sheet.name).Add(sheet.size).Add(sheet.modified);
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
      stamp_(StampOf(sheets_, songs_)) {}

std::vector<VirtualSong> FolderSheets::Split(const Song &song) {
    std::call_once(read_, [this] { ReadAll(); });
    const auto found = uses_.find(song.path.substr(song.path.rfind('/') + 1));
    if (found == uses_.end()) {
        return {};
    }
    const Use &use = found->second;
    return SplitSong(song, *use.sheet, use.file, use.path);
}

std::vector<std::string> FolderSheets::TakeProblems() {
    const std::lock_guard lock(guard_);
    return std::exchange(problems_, {});
}

void FolderSheets::ReadAll() {
    const std::lock_guard lock(guard_);
    for (const SheetFile &file : sheets_) {
        ReadOne(file);
    }
}

// Several sheets for one song: the one that is named after it, else the first by name.
void FolderSheets::ReadOne(const SheetFile &file) {
    const std::string path = folder_ + file.name;
    CueResult result = ReadSheet(path);
    if (!result.sheet) {
        problems_.push_back(Printable(path) + ": not used, " + result.problem);
        return;
    }
    const auto sheet = std::make_shared<const CueSheet>(std::move(*result.sheet));
    for (std::size_t i = 0; i < sheet->files.size(); ++i) {
        if (!Splits(sheet->files[i])) {
            continue;
        }
        const auto song = FindAudioFile(sheet->files[i].name, songs_, file.name);
        if (!song) {
            problems_.push_back(Printable(path) + ": no use for its file \"" +
                                Printable(sheet->files[i].name) + "\", which is not beside it");
            continue;
        }
        const auto known = uses_.find(*song);
        if (known == uses_.end()) {
            uses_.emplace(*song, Use{sheet, i, path});
        } else if (IsNamedAfter(file.name, *song) && known->second.path != path &&
                   !IsNamedAfter(known->second.path.substr(folder_.size()), *song)) {
            known->second = {sheet, i, path};
        }
    }
}

std::vector<VirtualSong> SplitByEmbedded(const Song &song, const std::string &text,
                                         std::string &problem) {
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
                                               : std::vector<VirtualSong>();
}

}  // namespace varnindex

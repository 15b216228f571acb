#include "varnindex/compare/held_back.h"

#include <utility>

#include "varnindex/read/names.h"

namespace varnindex {
namespace {

// "songs stay in the library: 3"; "" for nothing.
std::string StayText(KeptRows rows) {
    const std::string stay = " stay in the library: ";
    if (rows.songs > 0 && rows.lists > 0) {
        return "songs, playlists and cue sheets" + stay + std::to_string(rows.songs) + " and " +
               std::to_string(rows.lists);
    }
    return rows.songs > 0   ? "songs" + stay + std::to_string(rows.songs)
           : rows.lists > 0 ? "playlists and cue sheets" + stay + std::to_string(rows.lists)
                            : "";
}

}  // namespace

void HeldBack::Hold(const std::string &path, const std::string &reason, KeptRows rows) {
    any_ = any_ || !purge_;
    reporter_.Warn(Printable(path) + ": " + reason + (rows.Any() ? "; its " : "") + StayText(rows));
}

void HeldBack::AddEmptied(std::string path, std::string reason) {
    emptied_.push_back({std::move(path), std::move(reason)});
}

void HeldBack::SettleEmptied(const std::vector<KeptRows> &left) {
    for (std::size_t i = 0; i < left.size(); ++i) {
        const auto &[path, reason] = emptied_[i];
        if (left[i].Any()) {
            folderRows_.NoteFile(path, folders_.OwnerOf(path));
            folderRows_.Keep(path);
            Hold(path, reason, left[i]);
        }
    }
}

// Rows of a folder that cannot be looked at have a warning of their own.
void HeldBack::AddUnseen(const KnownRow &row) {
    if (folders_.IsUnseen(row.userid)) {
        (row.userid == 0 ? unseenShared_ : unseenHomes_).Count(row);
    }
}

void HeldBack::WarnOfUnseen() {
    const auto warn = [this](const std::string &reason, KeptRows rows) {
        if (rows.Any()) {
            any_ = true;
            reporter_.Warn(reason + "; the " + StayText(rows));
        }
    };
    warn("no shared folder is indexed", unseenShared_);
    warn("the home music folder of some users is not there", unseenHomes_);
}

void HeldBack::AddTracks(const std::string &songPath) {
    any_ = true;
    reporter_.Warn(Printable(songPath) +
                   ": its tracks stay in the library, because their cue sheet cannot be used");
}

}  // namespace varnindex

#include "varnindex/compare/held_back.h"

#include <string>
#include <utility>

#include "varnindex/read/names.h"

namespace varnindex {
namespace {

// "songs stay in the library: 3"; "" for nothing.
std::string StayText(Kept rows) {
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

void HeldBack::AddGap(Found gap, Kept rows) {
    if (!rows.Any() && gap.kind != Found::Kind::kBlocked) {
        return;
    }
    if (gap.kind == Found::Kind::kEmpty) {
        emptied_.push_back({std::move(gap), rows});
    } else {
        Hold(gap, rows);
    }
}

void HeldBack::Hold(const Found &gap, Kept rows) {
    if (!purge_) {
        if (IsUtf8(gap.path)) {  // else the library has nothing of it
            places_.Keep(gap.path);
        }
        any_ = true;
    }
    reporter_.Warn(Printable(gap.path) + ": " + gap.reason + (rows.Any() ? "; its " : "") +
                   StayText(rows));
}

void HeldBack::SettleEmptied(const std::vector<EmptiedFolder> &left, ListCounts &playlists,
                             ListCounts &sheets) {
    for (std::size_t i = 0; i < left.size(); ++i) {
        const auto &[folder, rows] = emptied_[i];
        const bool isLeft = left[i].songs > 0 || (rows.songs == 0 && left[i].lists > 0);
        if (isLeft) {
            places_.NoteFile(folder.path, folders_.OwnerOf(folder.path));
            Hold(folder, {left[i].songs, left[i].lists});
        } else if (folder.isPassedOver) {
            places_.Keep(
                folder.path);  // the next scan finds no songs there, and looks at the lists
        } else {
            playlists.removed += left[i].lists - left[i].sheets;
            sheets.removed += left[i].sheets;
        }
    }
}

// Rows of a gap have a warning of their own.
void HeldBack::AddUnseen(const KnownRow &row) {
    if (folders_.IsUnseen(row.userid)) {
        (row.userid == 0 ? unseenShared_ : unseenHomes_).Count(row);
    }
}

void HeldBack::WarnOfUnseen() {
    const auto warn = [this](const std::string &reason, Kept rows) {
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
                   ": its tracks stay in the library, whose cue sheet cannot be used");
}

}  // namespace varnindex

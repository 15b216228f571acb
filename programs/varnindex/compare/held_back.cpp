#include "varnindex/compare/held_back.h"

#include <utility>

#include "varnindex/read/names.h"

namespace varnindex {
namespace {

// "; its songs stay in the library: 3"; "" for nothing.
std::string StayText(const KeptRows &rows, const std::string &whose) {
    const auto text = [&](const char *what, std::size_t count) {
        return count == 0 ? ""
                          : "; " + whose + what + " stay in the library: " + std::to_string(count);
    };
    return text("songs", rows.songs) + text("playlists and cue sheets", rows.lists);
}

}  // namespace

void HeldBack::Warn(const std::string &text) {
    any_ = any_ || !purge_;
    reporter_.Warn(text);
}

void HeldBack::Hold(const std::string &path, const std::string &reason, const KeptRows &rows) {
    Warn(Printable(path) + ": " + reason + StayText(rows, "its "));
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

void HeldBack::AddUnseen(const KnownRow &row) {
    if (folders_.IsUnseen(row.userid)) {
        (row.userid == 0 ? unseenShared_ : unseenHomes_).Count(row);
    }
}

void HeldBack::WarnOfUnseen() {
    if (unseenShared_.Any()) {
        Warn("no shared folder is indexed" + StayText(unseenShared_, "the "));
    }
    if (unseenHomes_.Any()) {
        Warn("the home music folder of some users is not there" + StayText(unseenHomes_, "the "));
    }
}

void HeldBack::AddTracks(const std::string &songPath) {
    Warn(Printable(songPath) +
         ": its tracks stay in the library, because their cue sheet cannot be used");
}

}  // namespace varnindex

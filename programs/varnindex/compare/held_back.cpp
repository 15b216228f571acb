#include "varnindex/compare/held_back.h"

#include <algorithm>
#include <iterator>

#include "varnindex/read/names.h"

namespace varnindex {
namespace {

std::string StayText(std::size_t rows, const std::string &whose) {
    return rows == 0
               ? ""
               : "; " + whose + " songs and lists stay in the library: " + std::to_string(rows);
}

}  // namespace

void HeldBack::Warn(const std::string &text) {
    any_ = any_ || !purge_;
    reporter_.Warn(text);
}

void HeldBack::Hold(const std::string &path, const std::string &reason, std::size_t rows) {
    Warn(Printable(path) + ": " + reason + StayText(rows, "its"));
}

void HeldBack::AddEmptied(std::string path, std::string reason) {
    emptied_.push_back({std::move(path), std::move(reason)});
}

bool HeldBack::IsOfEmptied(const std::string &path) {
    const auto next = std::upper_bound(
        emptied_.begin(), emptied_.end(), path,
        [](const auto &text, const Emptied &folder) { return text < folder.path; });
    const bool isIn = next != emptied_.begin() && path.starts_with(std::prev(next)->path);
    if (isIn) {
        ++std::prev(next)->rows;
    }
    return isIn;
}

void HeldBack::HoldEmptied() {
    for (const auto &[path, reason, rows] : emptied_) {
        if (rows > 0) {
            folderRows_.NoteFile(path, folders_.OwnerOf(path));
            folderRows_.Keep(path);
            Hold(path, reason, rows);
        }
    }
}

void HeldBack::AddUnseen(const KnownRow &row) {
    if (folders_.IsUnseen(row.userid)) {
        ++(row.userid == 0 ? unseenShared_ : unseenHomes_);
    }
}

void HeldBack::WarnOfUnseen() {
    if (unseenShared_ > 0) {
        Warn("no shared folder is indexed" + StayText(unseenShared_, "the"));
    }
    if (unseenHomes_ > 0) {
        Warn("the home music folder of some users is not there" + StayText(unseenHomes_, "the"));
    }
}

void HeldBack::AddTracks(const std::string &songPath) {
    Warn(Printable(songPath) +
         ": its tracks stay in the library, because their cue sheet cannot be used");
}

}  // namespace varnindex

#include "service/playlists/smart_playlists.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <optional>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/tracks.h"
#include "service/playlists/playlist_place.h"
#include "service/playlists/playlists_lock.h"
#include "service/sharing/link_hooks.h"
#include "varn/handles.h"
#include "varn/playlistsvc.h"
#include "varn/replace_file.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

using Tonvale::webapi::playlist::PlaylistLibrary;
using Tonvale::webapi::playlist::PlaylistResult;

constexpr std::size_t kMostFileBytes = std::size_t{1} << 20;
constexpr mode_t kMode = 0644;

std::string Quoted(const std::string &name) {
    std::string text = "\"";
    for (const char c : name) {
        text += c == '"' || c == '\\' ? std::string{'\\', c} : std::string{c};
    }
    return text + "\"";
}

// A playlist as a file has it. The line breaks end a comment of the rule.
std::string BlockOf(const std::string &name, const std::string &rule) {
    return Quoted(name) + " {\n" + rule + "\n}";
}

// The condition of a rule.
std::string ConditionOf(const std::string &rule) {
    const std::string block = BlockOf("rule", rule);
    const varn::SmartPlaylistFile read = varn::ParseSmartPlaylists(block);
    std::vector<varn::SmartPlaylistNote> notes = read.notes;
    for (const varn::SmartPlaylist &playlist : read.playlists) {
        notes.insert(notes.end(), playlist.notes.begin(), playlist.notes.end());
    }
    for (const varn::SmartPlaylistNote &note : notes) {
        if (!note.isWarning) {
            throw Failure(Reason::kBadRule, std::to_string(note.line - 1) + ":" +
                                                std::to_string(note.column) + ": " + note.text);
        }
    }
    if (read.playlists.size() != 1 || read.playlists.front().end != block.size()) {
        throw Failure(Reason::kBadRule, "it ends before its text does");
    }
    return read.playlists.front().condition;
}

// The file of a collection's smart playlists, which nobody else changes while this object lives.
class SmartFile {
  public:
    explicit SmartFile(const Collection &collection)
        : collection_(collection),
          lock_(collection, Lock::Kind::kWrite),
          path_(SmartPlaylistFile(collection)) {
        // As the package: its folder may hold a link to a file of root's, whose text would be open
        // to all once it is written.
        const varn::RunAs package(varn::Who::kPackage);
        auto text = varn::ReadSmartText(path_);
        if (!text) {
            throw Failure(Reason::kSmartPlaylistsNotRead, path_);
        }
        text_ = std::move(*text);
        playlists_ = varn::ParseSmartPlaylists(text_).playlists;
    }

    // Null when there is none of that name.
    const varn::SmartPlaylist *Find(const std::string &name) const {
        const auto found = std::find_if(playlists_.begin(), playlists_.end(),
                                        [&](const auto &one) { return one.name == name; });
        return found != playlists_.end() ? &*found : nullptr;
    }

    const std::string &Path() const { return path_; }

    // Puts a text in the place of a part of the file's.
    void Replace(std::size_t begin, std::size_t end, const std::string &text) {
        text_.replace(begin, end - begin, text);
        if (text_.size() > kMostFileBytes) {
            throw Failure(Reason::kPlaylistNotWritten, path_, EFBIG);
        }
        const varn::RunAs root(varn::Who::kRoot);
        // No link that stands in place of a user's folder is followed.
        std::optional<PlaylistFolder> folder;
        std::string path = path_;
        if (collection_.personal) {
            Collection preferences = collection_;
            preferences.isFolder = true;
            folder.emplace(PlaylistFolder::ForNew(preferences));
            const std::string name = std::filesystem::path(path_).filename();
            path = varn::DescriptorPath(folder->Get()) + "/" + name;
        }
        if (!varn::ReplaceFile(path, text_, kMode)) {
            throw Failure(Reason::kPlaylistNotWritten, path_, errno);
        }
    }

    void Append(const std::string &block) {
        const bool wantsBreak = !text_.empty() && !text_.ends_with('\n');
        Replace(text_.size(), text_.size(), (wantsBreak ? "\n" : "") + block + "\n");
    }

    // The playlist, and the end of its line.
    void Remove(const varn::SmartPlaylist &playlist) {
        const bool hasBreak = playlist.end < text_.size() && text_[playlist.end] == '\n';
        Replace(playlist.begin, playlist.end + (hasBreak ? 1 : 0), "");
    }

  private:
    const Collection &collection_;
    PlaylistsLock lock_;
    std::string path_;
    std::string text_;
    std::vector<varn::SmartPlaylist> playlists_;
};

const varn::SmartPlaylist &Existing(const SmartFile &file, const std::string &name) {
    const varn::SmartPlaylist *found = file.Find(name);
    return found != nullptr ? *found : throw Failure(Reason::kNoSuchSmartPlaylist, name);
}

void CheckIsFree(const SmartFile &file, const std::string &name) {
    if (file.Find(name) != nullptr) {
        throw Failure(Reason::kPlaylistExists, name);
    }
}

AnyPlaylist Named(const Collection &collection, const std::string &name) {
    return {PlaylistResult(name, collection.personal).GetId(), collection, true, {}, name};
}

// One page is read whole: its limit bounds it.
class RulePage : public Page {
  public:
    RulePage(int offset, int64_t total, Json::Value songs)
        : Page("songs", offset, total), songs_(std::move(songs)) {}

    Json::Value Next() override { return std::exchange(songs_, Json::Value(Json::arrayValue)); }

  private:
    Json::Value songs_;
};

}  // namespace

std::string RuleOf(const AnyPlaylist &playlist) {
    const auto read = varn::ReadSmartPlaylists(SmartPlaylistFile(playlist.collection));
    if (read) {
        for (const varn::SmartPlaylist &one : read->playlists) {
            if (one.name == playlist.name) {
                return one.rule;
            }
        }
    }
    throw Failure(Reason::kNoSuchSmartPlaylist, playlist.name);
}

std::unique_ptr<Page> ListByRule(const std::string &rule, const PlaylistLibrary &library,
                                 const MarksWanted &marks, int offset, int limit) {
    const std::string condition = ConditionOf(rule);
    const std::string kind = VARNAudioWebapiUtilsGetBrowseLibraryByUid(library.uid);
    const int total = library.GetTotalFromSmartPlaylist(condition, kind);
    Tonvale::webapi::HashRating ratings;
    if (*ratings.Get() == nullptr) {
        throw std::bad_alloc();
    }
    PLAYLIST_REC *first = nullptr;
    int count = 0;
    const int listed = total < 0 ? -1
                                 : VARNPlaylistSmartListSongs(library.uid, &first, ratings.Get(),
                                                              condition.c_str(), &count, offset,
                                                              limit, kind.c_str());
    const varn::OwnedSongs songs(first);
    if (listed < 0) {
        throw Failure(Reason::kLibraryAway);
    }
    Json::Value tracks(Json::arrayValue);
    AppendTracks(library, ratings.Get(), songs.get(), tracks);
    AddMarks(static_cast<uid_t>(library.uid), marks, tracks);
    return std::make_unique<RulePage>(offset, total, std::move(tracks));
}

AnyPlaylist CreateSmart(const Collection &collection, const std::string &name,
                        const std::string &rule) {
    CheckName(name);
    ConditionOf(rule);
    SmartFile file(collection);
    CheckIsFree(file, name);
    file.Append(BlockOf(name, rule));
    return Named(collection, name);
}

void ChangeRule(const AnyPlaylist &playlist, const std::string &rule) {
    ConditionOf(rule);
    SmartFile file(playlist.collection);
    const varn::SmartPlaylist &found = Existing(file, playlist.name);
    file.Replace(found.begin, found.end, BlockOf(playlist.name, rule));
}

AnyPlaylist RenameSmart(const AnyPlaylist &playlist, const std::string &name) {
    CheckName(name);
    SmartFile file(playlist.collection);
    const varn::SmartPlaylist &found = Existing(file, playlist.name);
    CheckIsFree(file, name);
    file.Replace(found.begin, found.end, BlockOf(name, found.rule));
    AnyPlaylist renamed = Named(playlist.collection, name);
    LinksFollowSmartRename(playlist.collection, renamed.id, playlist.id);
    return renamed;
}

void DeleteSmart(const AnyPlaylist &playlist) {
    SmartFile file(playlist.collection);
    file.Remove(Existing(file, playlist.name));
    LinksFollowSmartDeletion(playlist.collection, playlist.id);
}

}  // namespace tonvale_service

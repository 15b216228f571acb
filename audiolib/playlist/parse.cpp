#include "playlist/parse.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "musiclib/song_query.h"
#include "playlist/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "support/page_range.h"
#include "support/remote_path.h"
#include "support/virtual_name.h"
#include "tonvale/playlists.h"
#include "varn/descriptor.h"
#include "varn/path.h"
#include "varn/playlistsvc.h"

namespace Tonvale::playlist {

namespace {

// The entries that wait for a row of the library, by the name that they have in the playlist.
class Waiting {
  public:
    void Add(std::string_view name, PLAYLIST_REC &entry) {
        const auto [known, isNew] = first_.try_emplace(name, links_.size());
        links_.push_back({&entry, isNew ? kNone : known->second});
        known->second = links_.size() - 1;
    }

    // Gives a row to all entries of a name. Rows that come later for that name are not wanted.
    void Fill(std::string_view name, const VARN_MEDIA_INFO &row) {
        const auto known = first_.find(name);
        if (known == first_.end()) {
            return;
        }
        for (std::size_t at = known->second; at != kNone; at = links_[at].next) {
            links_[at].entry->info = row;
        }
        first_.erase(known);
    }

  private:
    static constexpr std::size_t kNone = SIZE_MAX;
    struct Link {
        PLAYLIST_REC *entry;
        std::size_t next;
    };
    std::unordered_map<std::string_view, std::size_t> first_;
    std::vector<Link> links_;
};

void SetPath(std::string_view path, VARN_MEDIA_INFO &info) {
    const std::size_t length = std::min(path.size(), sizeof info.path - 1);
    path.copy(info.path, length);
    info.path[length] = '\0';
}

// Takes the record of a remote entry out of the list, which ascends; without one, a title is made
// of an http or https URL. False for what is no remote entry.
bool FillRemote(std::int64_t position, const char *url, const PLAYLIST_REC *&remote,
                VARN_MEDIA_INFO &info) {
    while (remote != nullptr && remote->info.id < position) {
        remote = remote->next;
    }
    if (remote == nullptr || remote->info.id != position) {
        const bool isRemote = support::IsRemotePath(url);
        if (isRemote) {
            SetMediaPathTitle(url, &info);
        }
        return isRemote;
    }
    info = remote->info;
    info.id = 0;  // there it was the position
    SetPath(url, info);
    remote = remote->next;
    return true;
}

struct Conditions {
    std::string real;
    std::string virtualSongs;
};

bool Fetch(const ParseRequest &request, const std::string &condition, Waiting &waiting) {
    if (condition.empty()) {
        return true;
    }
    const bool read = musiclib::VisitSongs(
        {request.uid, condition.c_str(), request.columns, request.actualOnly, request.hash},
        [&](const VARN_MEDIA_INFO &row) { waiting.Fill(support::NameInPlaylist(row), row); });
    if (!read) {
        LOG_ERROR(kSource, "Failed to get playlist by db query.");
    }
    return read;
}

void AppendEntries(const Entries &entries, support::PageRange range, support::SongList &songs,
                   Waiting &real, Waiting &virtualSongs) {
    const PLAYLIST_REC *remote = entries.remote.get();
    for (std::int64_t i = range.begin; i < range.end; ++i) {
        const char *const text = VLIBCSzListGet(entries.candidates.get(), static_cast<int>(i));
        PLAYLIST_REC &entry = songs.Append();
        SetPath(text, entry.info);
        if (!FillRemote(i, text, remote, entry.info)) {
            (IsVirtualPath(text, nullptr, 0, nullptr) ? virtualSongs : real).Add(text, entry);
        }
    }
}

PLAYLIST_REC *Parse(const char *path, const ParseRequest &request, int *countOut) {
    Entries entries;
    support::SongList songs(kSource);
    if (!ReadEntries(ResolvedPath(path), entries)) {
        return nullptr;
    }
    const int count = entries.candidates->nItem;
    if (!LookUp(std::move(entries), request, songs)) {
        return nullptr;
    }
    if (countOut != nullptr) {
        *countOut = count;
    }
    return songs.Release();
}

}  // namespace

std::string ResolvedPath(const char *path) {
    if (!varn::PathOfDescriptor(path).empty()) {
        return path;  // the file's own path may be another one's by now
    }
    const std::string real = varn::RealPath(path);
    return real.empty() ? path : real;
}

bool ReadEntries(const std::string &path, Entries &entries) {
    PVLIBSZLIST candidates = nullptr;
    PLAYLIST_REC *remote = nullptr;
    const int count = GetCandidateListByPlaylistParse(path.c_str(), &candidates, &remote);
    entries.candidates.reset(candidates);
    entries.remote.reset(remote);
    if (count < 0) {
        LOG_ERROR(kSource, "Failed to get candidate list by playlist.");
        return false;
    }
    return true;
}

bool LookUp(Entries entries, ParseRequest request, support::SongList &songs) {
    Conditions conditions;
    if (VARNAudioWebapiUtilsGetDBQueryByCandidateList(entries.candidates.get(), &request.offset,
                                                      &request.limit, conditions.real,
                                                      conditions.virtualSongs) != 0) {
        LOG_ERROR(kSource, "Failed to get db query by candidate list.");
        return false;
    }
    const auto range =
        support::RangeOfPage(request.offset, request.limit, entries.candidates->nItem);
    if (!support::SongsFitMemory(kSource, range.end - range.begin)) {
        return false;
    }
    Waiting real;
    Waiting virtualSongs;
    AppendEntries(entries, range, songs, real, virtualSongs);
    return Fetch(request, conditions.virtualSongs, virtualSongs) &&
           Fetch(request, conditions.real, real);
}

bool ReadWhole(uid_t uid, const char *path, support::SongList &songs) {
    Entries entries;
    return ReadEntries(ResolvedPath(path), entries) &&
           LookUp(std::move(entries), {uid, nullptr, 0, 0, "*", false}, songs);
}

}  // namespace Tonvale::playlist

PLAYLIST_REC *VARNPlaylistParseByPath(uid_t uid, const char *path, PVLIBSZHASH *fillExtra,
                                      int *countOut, int offset, int limit, const char *columns,
                                      int actualOnly) noexcept {
    using namespace Tonvale::playlist;
    if (path == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return nullptr;
    }
    const ParseRequest request = {uid, fillExtra, offset, limit, columns, actualOnly != 0};
    return Tonvale::support::Guarded(kSource, static_cast<PLAYLIST_REC *>(nullptr),
                                     [&] { return Parse(path, request, countOut); });
}

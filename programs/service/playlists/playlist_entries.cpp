#include "service/playlists/playlist_entries.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <ctime>
#include <unordered_map>

#include "service/base/failure.h"
#include "service/lists/kept_list.h"
#include "service/playlists/playlist_place.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/number.h"
#include "varn/playlistsvc.h"
#include "varn/run_as.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

// What an entry takes, and the look-up of its song.
constexpr char kColumns[] = "id, path, track, is_virtual, duration";

// A file that was changed a moment ago may change again without another time or size.
constexpr time_t kUnsettledSeconds = 2;

std::string BrowsedBy(uid_t uid) {
    return VARNAudioWebapiUtilsGetBrowseLibraryByUid(uid);
}

// The condition that the songs of a smart playlist meet.
std::string RulesOf(const AnyPlaylist &playlist) {
    const std::string file = SmartPlaylistFile(playlist.collection);
    if (const auto read = varn::ReadSmartPlaylists(file)) {
        for (const varn::SmartPlaylist &known : read->playlists) {
            if (known.name == playlist.name && !known.condition.empty()) {
                return known.condition;
            }
        }
    }
    throw Failure(Reason::kPlaylistNotRead, playlist.name);
}

Tonvale::MediaHandle OpenSmart(const AnyPlaylist &playlist, const char *columns, const char *order,
                               int limit) {
    const uid_t uid = playlist.collection.uid;
    Tonvale::MediaHandle rows(AudioInfoDBOpen(BrowsedBy(uid).c_str(), uid, VARN_TABLE_MUSIC,
                                              columns, RulesOf(playlist).c_str(), nullptr, order, 0,
                                              limit, 0));
    if (!rows) {
        NoAnswer();
    }
    return rows;
}

std::vector<PlaylistEntry> SmartEntries(const AnyPlaylist &playlist, int most) {
    const auto order = varn::Sql("album @VARN:NEVAR, disc, track, path",
                                 Tonvale::webapi::WebapiLibrary::GetCollationSort("album"));
    const Tonvale::MediaHandle rows = OpenSmart(playlist, kColumns, order->c_str(), most);
    std::vector<PlaylistEntry> entries;
    for (VARN_MEDIA_INFO song; MediaInfoDBGet(rows.get(), &song) == 0;) {
        entries.push_back({{static_cast<int>(song.id), IsVirtualMusic(&song)},
                           static_cast<int>(entries.size()),
                           song.duration});
    }
    return entries;
}

// A long list is read in parts: its records may take more than the memory.
std::vector<PlaylistEntry> NormalEntries(AnyPlaylist &playlist, int most) {
    std::vector<PlaylistEntry> entries;
    int total = INT_MAX;
    for (int position = 0; position < std::min(total, most > 0 ? most : INT_MAX);) {
        const HeldPlaylist list = HoldToRead(playlist.collection, playlist.normal);
        const auto some = static_cast<int>(TracksAtATime(position));
        const int limit = most > 0 ? std::min(most - position, some) : some;
        total = -1;
        const varn::OwnedSongs songs(VARNPlaylistParseByPath(playlist.collection.uid,
                                                             list.Path().c_str(), nullptr, &total,
                                                             position, limit, kColumns, 0));
        if (total < 0) {
            throw Failure(Reason::kPlaylistNotRead, playlist.normal.path);
        }
        const std::vector<PlaylistEntry> part = EntriesIn(songs.get(), position);
        entries.insert(entries.end(), part.begin(), part.end());
        position += limit;
    }
    return entries;
}

struct stat StatusOf(const AnyPlaylist &playlist) {
    struct stat info {};
    if (playlist.isSmart) {
        const varn::RunAs root(varn::Who::kRoot);
        return stat(SmartPlaylistFile(playlist.collection).c_str(), &info) == 0
                   ? info
                   : throw Failure(Reason::kPlaylistNotRead, playlist.name, errno);
    }
    Playlist normal = playlist.normal;
    return HoldToRead(playlist.collection, normal).Status();
}

// Equal for a file that nobody has changed; "" while it may still change unseen.
std::string StampOf(const AnyPlaylist &playlist, const struct stat &info) {
    if (playlist.isSmart || info.st_mtim.tv_sec + kUnsettledSeconds >= std::time(nullptr)) {
        return "";
    }
    std::string stamp = playlist.id;
    for (const auto part :
         {static_cast<long long>(info.st_ino), static_cast<long long>(info.st_size),
          static_cast<long long>(info.st_mtim.tv_sec),
          static_cast<long long>(info.st_mtim.tv_nsec)}) {
        stamp += " " + std::to_string(part);
    }
    return stamp;
}

// The sums that are kept, by the stamps of their files.
class KeptSums {
  public:
    explicit KeptSums(uid_t uid) : key_(KeyOf(uid)), version_(ReadVersion(uid)) {
        const auto list = KeptList::Of(key_);
        for (std::size_t i = 0; list && IsOfNow(list->OfVersion()) && i < list->Count(); ++i) {
            const std::string_view record = (*list)[i];
            const std::size_t end = std::min(record.find('\0'), record.size());
            std::string_view numbers = record.substr(std::min(end + 1, record.size()));
            known_[std::string(record.substr(0, end))] = {varn::TakeNumber<int>(numbers),
                                                          varn::TakeNumber<long long>(numbers), 0};
        }
    }

    const PlaylistSum *Find(const std::string &stamp) {
        const auto sum = known_.find(stamp);
        return sum != known_.end() ? &sum->second : nullptr;
    }

    // One that is asked for now, to be kept; isNew: it was computed just now.
    void Add(const std::string &stamp, const PlaylistSum &sum, bool isNew) {
        if (!stamp.empty()) {
            records_.push_back(stamp + '\0' + std::to_string(sum.songs) + " " +
                               std::to_string(sum.seconds));
            isNew_ = isNew_ || isNew;
        }
    }

    void Keep() {
        if (isNew_ && IsOfNow(ReadVersion(key_.uid))) {
            tonvale_service::Keep(key_, version_, records_);
        }
    }

  private:
    static ListKey KeyOf(uid_t uid) {
        ListRequest browsed;
        browsed.uid = uid;
        browsed.library = BrowsedBy(uid);
        return {"playlist sums", browsed, "", "", true};
    }
    // Stars change no file's sum.
    bool IsOfNow(const Version &version) const {
        return version_.songs && version.songs == version_.songs;
    }

    ListKey key_;
    Version version_;
    std::unordered_map<std::string, PlaylistSum> known_;
    std::vector<std::string> records_;
    bool isNew_ = false;
};

PlaylistSum SmartSum(const AnyPlaylist &playlist) {
    const Tonvale::MediaHandle rows = OpenSmart(
        playlist, "count(*) AS songs, COALESCE(sum(duration), 0)::bigint AS seconds", nullptr, -1);
    return {static_cast<int>(NumberOf(rows, 0, "songs")), NumberOf(rows, 0, "seconds"), 0};
}

PlaylistSum Add(const std::vector<PlaylistEntry> &entries) {
    double seconds = 0;
    for (const PlaylistEntry &entry : entries) {
        seconds += std::max(entry.seconds, 0.0);
    }
    return {static_cast<int>(entries.size()), std::llround(seconds), 0};
}

PlaylistSum SumOf(const AnyPlaylist &playlist, KeptSums &kept) {
    const struct stat info = StatusOf(playlist);
    const std::string stamp = StampOf(playlist, info);
    const PlaylistSum *const known = kept.Find(stamp);
    PlaylistSum sum = known != nullptr   ? *known
                      : playlist.isSmart ? SmartSum(playlist)
                                         : Add(EntriesOf(playlist));
    kept.Add(stamp, sum, known == nullptr);
    sum.changed = info.st_mtim.tv_sec;
    return sum;
}

}  // namespace

std::vector<PlaylistEntry> EntriesOf(AnyPlaylist playlist, int most) {
    return playlist.isSmart ? SmartEntries(playlist, most) : NormalEntries(playlist, most);
}

std::vector<PlaylistEntry> EntriesIn(const PLAYLIST_REC *first, int position) {
    std::vector<PlaylistEntry> entries;
    for (const PLAYLIST_REC *entry = first; entry != nullptr; entry = entry->next, ++position) {
        if (entry->info.id != 0) {
            entries.push_back({{static_cast<int>(entry->info.id), IsVirtualMusic(&entry->info)},
                               position,
                               entry->info.duration});
        }
    }
    return entries;
}

PlaylistSum SumOf(const AnyPlaylist &playlist, const std::vector<PlaylistEntry> &entries) {
    PlaylistSum sum = Add(entries);
    sum.changed = StatusOf(playlist).st_mtim.tv_sec;
    return sum;
}

std::vector<std::optional<PlaylistSum>> SumsOf(const std::vector<AnyPlaylist> &playlists) {
    std::vector<std::optional<PlaylistSum>> sums;
    if (playlists.empty()) {
        return sums;
    }
    KeptSums kept(playlists.front().collection.uid);
    for (const AnyPlaylist &playlist : playlists) {
        try {
            sums.push_back(SumOf(playlist, kept));
        } catch (const Failure &failure) {
            if (failure.Class() == FailureClass::kBusy) {
                throw;
            }
            sums.emplace_back();
        }
    }
    kept.Keep();
    return sums;
}

}  // namespace tonvale_service

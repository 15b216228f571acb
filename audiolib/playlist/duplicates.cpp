#include "playlist/duplicates.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "playlist/source.h"
#include "support/boundary.h"
#include "support/virtual_name.h"
#include "tonvale/playlists.h"

namespace Tonvale::playlist {

namespace {

// The positions of the second list's entries by path and, for virtual songs, track. Each queue is
// taken from its front.
class Positions {
  public:
    explicit Positions(const PLAYLIST_REC *list) {
        for (const PLAYLIST_REC *entry = list; entry != nullptr; entry = entry->next) {
            const bool isVirtual = IsVirtualMusic(&entry->info);
            Queue &queue = isVirtual ? tracks_[support::NameInPlaylist(entry->info)]
                                     : files_[entry->info.path];
            queue.positions.push_back(count_++);
        }
    }

    std::size_t Count() const { return count_; }

    // Takes the first entry that is the same song; SIZE_MAX when there is none left.
    std::size_t Take(const VARN_MEDIA_INFO &song) {
        Queue *const file = Find(files_, song.path);
        Queue *const track =
            Find(tracks_, std::string(song.path) + "_" + std::to_string(song.virtual_track));
        if (file == nullptr && track == nullptr) {
            return SIZE_MAX;
        }
        const bool takeFile =
            track == nullptr || (file != nullptr && file->Front() < track->Front());
        Queue &queue = takeFile ? *file : *track;
        return queue.positions[queue.taken++];
    }

  private:
    struct Queue {
        std::vector<std::size_t> positions;
        std::size_t taken = 0;
        std::size_t Front() const { return positions[taken]; }
    };
    using Queues = std::unordered_map<std::string, Queue>;

    static Queue *Find(Queues &queues, const std::string &key) {
        const auto found = queues.find(key);
        const bool left =
            found != queues.end() && found->second.taken < found->second.positions.size();
        return left ? &found->second : nullptr;
    }

    Queues files_;
    Queues tracks_;
    std::size_t count_ = 0;
};

void Unlink(PLAYLIST_REC *&list, const std::vector<bool> &gone) {
    std::size_t position = 0;
    for (PLAYLIST_REC **link = &list; *link != nullptr; ++position) {
        if (gone[position]) {
            PLAYLIST_REC *const entry = std::exchange(*link, (*link)->next);
            entry->next = nullptr;
            VARNPlaylistRecFree(entry);
        } else {
            link = &(*link)->next;
        }
    }
}

}  // namespace

Records PointersTo(const PLAYLIST_REC *list) {
    Records records;
    for (; list != nullptr; list = list->next) {
        records.push_back(&list->info);
    }
    return records;
}

bool RemoveDuplicates(const Records &songs, PLAYLIST_REC *&other, bool failOnDuplicate) {
    Positions positions(other);
    std::vector<bool> gone(positions.Count());
    for (const VARN_MEDIA_INFO *const song : songs) {
        const std::size_t position = positions.Take(*song);
        if (position == SIZE_MAX) {
            continue;
        }
        if (failOnDuplicate) {
            return false;
        }
        gone[position] = true;
    }
    Unlink(other, gone);
    return true;
}

}  // namespace Tonvale::playlist

int VARNPlaylistRemoveDuplicateSongs(const PLAYLIST_REC *list, PLAYLIST_REC **other,
                                     int failOnDuplicate, int /*flags*/) noexcept {
    using namespace Tonvale::playlist;
    if (list == nullptr || other == nullptr) {
        return 0;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        return RemoveDuplicates(PointersTo(list), *other, failOnDuplicate != 0) ? 0 : -1;
    });
}

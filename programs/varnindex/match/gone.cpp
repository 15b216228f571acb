#include "varnindex/match/gone.h"

#include <algorithm>

#include "varn/sql.h"
#include "varnindex/hash.h"

namespace varnindex {
namespace {

constexpr std::size_t kBatch = 5000;

// With each other song of the same path; 0 where there is none.
constexpr const char kPaths[] =
    "SELECT t.id, t.path, t.filesize, coalesce(o.id, 0) AS other FROM track t LEFT JOIN track o"
    " ON o.path = t.path AND o.id <> t.id AND NOT o.is_virtual WHERE t.id = ANY ('{@VARN:NEVAR}')";

std::int64_t NameHash(const std::string &path) {
    return Hasher().Add(std::string_view(path).substr(path.rfind('/') + 1)).Value();
}

std::int64_t Mixed(std::int64_t a, std::int64_t b, std::int64_t c = 0) {
    return Hasher().Add(a).Add(b).Add(c).Value();
}

std::int64_t AudioOf(const Song &song) {
    return Mixed(song.fingerprint, song.size, song.userid);
}

// Calls `job` with some of the ids at a time, in decimal with commas between them.
template <typename Job>
void ForBatches(const std::vector<int> &ids, const Job &job) {
    for (std::size_t i = 0; i < ids.size(); i += kBatch) {
        std::string list;
        for (std::size_t j = i; j < std::min(i + kBatch, ids.size()); ++j) {
            list += (list.empty() ? "" : ",") + std::to_string(ids[j]);
        }
        job(list);
    }
}

}  // namespace

void GoneRows::Add(const KnownRow &row, std::optional<std::size_t> emptied) {
    rows_.emplace(row.id, Row{NameHash(row.path), row.userid, rows_.size(), emptied});
}

void GoneRows::AddNew(const std::string &path, std::int64_t size, unsigned userid) {
    newNames_.push_back(Mixed(size, NameHash(path), userid));
    sizes_.push_back(size);
}

void GoneRows::AddChanged(const KnownRow &row, std::int64_t size) {
    Add(row, std::nullopt);
    rows_.at(row.id).state = State::kChanged;
    sizes_.push_back(size);
}

void GoneRows::AddUnreadable(const KnownRow &row) {
    Add(row, std::nullopt);
    IsUnreadable(row.id);
}

void GoneRows::IsUnreadable(int id) {
    if (const auto row = rows_.find(id); row != rows_.end()) {
        row->second.state = State::kUnreadable;
    }
}

void GoneRows::HasLostItsPath(int id) {
    if (const auto row = rows_.find(id); row != rows_.end()) {
        row->second.state = State::kGone;
        row->second.hasItsPath = false;
    }
}

void GoneRows::Keep(Database &database, const Question &stays) {
    const std::vector<int> left = Left();
    ForBatches(left, [&](const std::string &list) {
        const Rows found = database.Query(Made(varn::Sql(kPaths, list)));
        // A scan that put another song there was stopped before the row went.
        std::set<int> replaced;
        for (int row = 0; row < found.Count(); ++row) {
            const int other = static_cast<int>(found.Number(row, "other"));
            if (other != 0 && !std::binary_search(left.begin(), left.end(), other)) {
                replaced.insert(static_cast<int>(found.Number(row, "id")));
            }
        }
        for (int row = 0; row < found.Count(); ++row) {
            KnownRow gone;
            gone.id = static_cast<int>(found.Number(row, "id"));
            gone.path = found.Field(row, "path");
            gone.size = found.Number(row, "filesize");
            const auto known = rows_.find(gone.id);
            if (known == rows_.end()) {
                continue;
            }
            gone.userid = known->second.userid;
            if (stays(gone, known->second.hasItsPath && !replaced.contains(gone.id))) {
                rows_.erase(known);
            }
        }
    });
}

bool GoneRows::ThereAgain(int id) {
    const auto row = rows_.find(id);
    const bool wasGone = row != rows_.end() && row->second.state == State::kGone;
    if (wasGone) {
        if (row->second.emptied) {
            back_.insert(*row->second.emptied);
        }
        rows_.erase(row);
    }
    return wasGone;
}

void GoneRows::Prepare(Database &database) {
    if (sizes_.empty()) {
        return;
    }
    std::sort(newNames_.begin(), newNames_.end());
    std::sort(sizes_.begin(), sizes_.end());
    std::vector<int> ids;
    for (const auto &[id, row] : rows_) {
        ids.push_back(id);
    }
    ForBatches(ids, [&](const std::string &list) {
        const Rows found = database.Query(
            "SELECT id, fingerprint, filesize FROM track WHERE fingerprint IS NOT NULL"
            " AND id = ANY ('{" +
            list + "}')");
        for (int row = 0; row < found.Count(); ++row) {
            Index(static_cast<int>(found.Number(row, "id")), found.Number(row, "fingerprint"),
                  found.Number(row, "filesize"));
        }
    });
}

void GoneRows::Index(int id, std::int64_t fingerprint, std::int64_t size) {
    Row &row = rows_.at(id);
    row.fingerprint = fingerprint;
    row.size = size;
    const std::int64_t audio = Mixed(fingerprint, size, row.userid);
    const bool isReserved = std::binary_search(newNames_.begin(), newNames_.end(),
                                               Mixed(size, row.nameHash, row.userid));
    const Place place{audio, isReserved, row.order};
    byPlace_.emplace(place, id);
    byName_.emplace(Mixed(audio, row.nameHash), place);
}

// A file of this size may be what became of the row.
bool GoneRows::IsWantedByOthers(const Row &row, std::int64_t ownSize) const {
    const auto [first, last] = std::equal_range(sizes_.begin(), sizes_.end(), row.size);
    return last - first > (ownSize == row.size ? 1 : 0);
}

bool GoneRows::HasRowFor(const Song &song) const {
    const std::int64_t audio = AudioOf(song);
    const auto place = byPlace_.lower_bound({audio, false, 0});
    return place != byPlace_.end() && std::get<0>(place->first) == audio;
}

bool GoneRows::StaysWith(int id, const Song &song) {
    const auto found = rows_.find(id);
    if (found == rows_.end()) {
        return true;
    }
    Row &row = found->second;
    const bool isSame = !row.fingerprint || *row.fingerprint == song.fingerprint;
    if (isSame || !(IsWantedByOthers(row, song.size) || HasRowFor(song))) {
        rows_.erase(found);
        return true;
    }
    row.state = State::kReplaced;
    return false;
}

GoneRows::Claim GoneRows::Take(Places::iterator place) {
    const int id = place->second;
    byPlace_.erase(place);
    rows_.erase(id);
    return {id};
}

// The row of the same name; nothing when there is none.
std::optional<GoneRows::Claim> GoneRows::ClaimByName(const Song &song, bool isLast) {
    const std::int64_t name = Mixed(AudioOf(song), NameHash(song.path));
    auto same = byName_.lower_bound(name);
    while (same != byName_.end() && same->first == name) {
        const auto place = byPlace_.find(same->second);
        const auto row = place != byPlace_.end() ? rows_.find(place->second) : rows_.end();
        if (row != rows_.end() && row->second.state != State::kGone && !isLast) {
            return Claim{0, true};
        }
        same = byName_.erase(same);
        if (row != rows_.end() && row->second.state != State::kChanged) {
            return Take(place);
        }
    }
    return std::nullopt;
}

// The first row of some audio that can still be claimed; the end when there is none.
GoneRows::Places::iterator GoneRows::First(std::int64_t audio, bool isReserved, bool isLast) {
    auto place = byPlace_.lower_bound({audio, isReserved, 0});
    while (place != byPlace_.end() && std::get<0>(place->first) == audio &&
           std::get<1>(place->first) == isReserved) {
        const auto row = rows_.find(place->second);
        if (row != rows_.end() && !(isLast && row->second.state == State::kChanged)) {
            return place;
        }
        place = byPlace_.erase(place);
    }
    return byPlace_.end();
}

GoneRows::Claim GoneRows::ClaimFor(const Song &song, bool isLast) {
    if (const auto claim = ClaimByName(song, isLast)) {
        return *claim;
    }
    const auto none = byPlace_.end();
    const auto reserved = First(AudioOf(song), true, isLast);
    const auto open = First(AudioOf(song), false, isLast);
    if (!isLast) {
        const bool isFree = open != none && rows_.at(open->second).state == State::kGone;
        return isFree ? Take(open) : Claim{0, open != none || reserved != none};
    }
    if (open == none && reserved == none) {
        return {};
    }
    const bool isOpenFirst = reserved == none || (open != none && std::get<2>(open->first) <
                                                                      std::get<2>(reserved->first));
    return Take(isOpenFirst ? open : reserved);
}

std::vector<int> GoneRows::Left() const {
    std::vector<int> ids;
    for (const auto &[id, row] : rows_) {
        if (!row.emptied && row.state == State::kGone) {
            ids.push_back(id);
        }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::vector<EmptiedFolder> GoneRows::LeftOfEmptied(std::size_t count) const {
    std::vector<EmptiedFolder> left(count);
    for (const auto &[id, row] : rows_) {
        if (row.emptied) {
            ++left.at(*row.emptied).songs;
        }
    }
    for (const std::size_t folder : back_) {
        left.at(folder).isBack = true;
    }
    return left;
}

}  // namespace varnindex

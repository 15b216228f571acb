#include "varnindex/match/successors.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "varn/sql.h"
#include "varnindex/hash.h"
#include "varnindex/settle/records.h"
#include "varnindex/settle/shared_lists.h"
#include "varnindex/write/store.h"

namespace varnindex {
namespace {

constexpr std::size_t kBatchPairs = 1000;

// Equal files of which each has stars of its own in so many ways are no copies. The one without any
// comes first.
constexpr std::size_t kMostStarSets = 1000;

// A rating of the file or of one of its tracks; no star is none.
constexpr const char kIsRated[] =
    "EXISTS (SELECT FROM rating_track r WHERE r.star > 0 AND (r.track = t.id OR r.track IN"
    " (SELECT i.track FROM virtual_info_track i WHERE i.file_track = t.id)))";

// With all stars of the file and its tracks, as words that compare.
constexpr const char kColumns[] =
    "id, fingerprint, filesize, userid, path, (extract(epoch FROM date) * 1000000)::bigint AS came,"
    " (SELECT coalesce(string_agg(concat_ws(':', s.number, r.userid, r.star), ' '), '') FROM"
    " (SELECT t.id, -1 AS number UNION ALL SELECT v.id, v.track FROM virtual_info_track i"
    " JOIN track v ON v.id = i.track WHERE i.file_track = t.id) s JOIN rating_track r"
    " ON r.track = s.id AND r.star > 0) AS stars";

// There is no index of fingerprints, which would cost every new row more than this look at all rows
// costs a scan that has lost some.
constexpr const char kSuccessors[] =
    "WITH gone AS MATERIALIZED (SELECT id, fingerprint, filesize FROM track"
    " WHERE id = ANY ('{@VARN:NEVAR}') AND fingerprint IS NOT NULL)"
    " SELECT @VARN:NEVAR FROM track t WHERE NOT is_virtual"
    " AND (fingerprint, filesize) IN (SELECT fingerprint, filesize FROM gone)"
    " AND id NOT IN (SELECT id FROM gone)";

constexpr const char kPredecessors[] =
    "SELECT @VARN:NEVAR FROM track t WHERE id = ANY ('{@VARN:NEVAR}') AND (fingerprint, filesize) "
    "IN"
    " (SELECT fingerprint, filesize FROM track WHERE id = ANY ('{@VARN:NEVAR}'))"
    " ORDER BY @VARN:NEVAR DESC, id";

constexpr const char kTrackPairs[] =
    "SELECT o.id AS old, n.id AS new FROM (VALUES @VARN:NEVAR) p(old, new)"
    " JOIN virtual_info_track oi ON oi.file_track = p.old JOIN track o ON o.id = oi.track"
    " JOIN virtual_info_track ni ON ni.file_track = p.new JOIN track n ON n.id = ni.track"
    " WHERE n.track = o.track ORDER BY o.id, n.id";

// Whoever gives a star meanwhile waits: it would go to a row that is on its way to another id.
constexpr const char kLockStars[] = "LOCK TABLE rating_track IN SHARE ROW EXCLUSIVE MODE";

// Before the old rows go. What the copy has of stars besides the same ones was given since it was
// chosen, and counts more than the stars of a row whose file is gone.
constexpr const char kInherit[] =
    "DELETE FROM rating_track r USING pair WHERE r.track = pair.new AND r.star = 0;"
    "DELETE FROM rating_track r USING pair, rating_track n WHERE r.track = pair.old"
    " AND n.track = pair.new AND n.userid = r.userid;"
    "UPDATE rating_track r SET track = pair.new FROM pair WHERE r.track = pair.old;"
    "UPDATE track t SET date = g.date FROM pair JOIN track g ON g.id = pair.old"
    " WHERE t.id = pair.new";

constexpr std::array kSideTables = {"album_track",       "artist_track",     "composer_track",
                                    "genre_track",       "replaygain_track", "rating_track",
                                    "virtual_info_track"};

std::string IdList(const std::vector<int> &ids) {
    std::string list;
    for (const int id : ids) {
        list += (list.empty() ? "" : ",") + std::to_string(id);
    }
    return list;
}

// What a file is looked for by: from the most that two rows may have in common to the least.
std::array<std::int64_t, 2> Keys(const Rows &rows, int row) {
    Hasher owned;
    owned.Add(rows.Number(row, "fingerprint")).Add(rows.Number(row, "filesize"));
    owned.Add(rows.Number(row, "userid"));
    const std::string_view path = rows.Field(row, "path");
    Hasher named = owned;
    named.Add(path.substr(path.rfind('/') + 1));
    return {named.Value(), owned.Value()};
}

using Stars = std::set<std::string>;  // "TRACK:USER:STARS"

Stars StarsOf(const Rows &rows, int row) {
    std::istringstream words(rows.Field(row, "stars"));
    return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
}

// The files that nobody has chosen yet.
class Choice {
  public:
    void Add(const Rows &rows, int row) {
        const int id = static_cast<int>(rows.Number(row, "id"));
        paths_[id] = rows.Field(row, "path");
        for (const std::int64_t key : Keys(rows, row)) {
            arrivals_[key][StarsOf(rows, row)].insert({rows.Number(row, "came"), id});
        }
    }

    // The ids of those that are left, in order.
    std::vector<int> Ids() const {
        std::vector<int> ids;
        for (const auto &[id, path] : paths_) {
            ids.push_back(id);
        }
        return ids;
    }

    // Takes what fits a row best and came later; without a successor when there is nothing.
    Succession TakeFor(const Rows &rows, int row) {
        const Arrival came = {rows.Number(row, "came"), std::numeric_limits<int>::max()};
        const Stars own = StarsOf(rows, row);
        for (const std::int64_t key : Keys(rows, row)) {
            std::optional<Arrival> first;
            std::size_t looked = 0;
            for (auto &[stars, arrivals] : arrivals_[key]) {
                if (looked++ == kMostStarSets) {
                    break;
                }
                if (std::includes(own.begin(), own.end(), stars.begin(), stars.end())) {
                    const auto next = FirstBehind(came, arrivals);
                    first = next && (!first || *next < *first) ? next : first;
                }
            }
            if (first) {
                const auto path = paths_.extract(first->second);
                return {static_cast<int>(rows.Number(row, "id")), first->second, path.mapped()};
            }
        }
        return {};
    }

  private:
    using Arrival = std::pair<std::int64_t, int>;  // when it came, and its id

    std::optional<Arrival> FirstBehind(const Arrival &came, std::set<Arrival> &arrivals) const {
        for (auto at = arrivals.upper_bound(came); at != arrivals.end(); at = arrivals.erase(at)) {
            if (paths_.contains(at->second)) {
                return *at;
            }
        }
        return std::nullopt;
    }

    std::map<int, std::string> paths_;
    // By key and stars; without a path: taken.
    std::map<std::int64_t, std::map<Stars, std::set<Arrival>>> arrivals_;
};

void AddPair(std::string &pairs, int oldId, int newId) {
    pairs +=
        (pairs.empty() ? "(" : ",(") + std::to_string(oldId) + "," + std::to_string(newId) + ")";
}

// The pairs of the tracks that the songs of both rows are split into, each track once.
std::string TrackPairs(Database &database, const std::string &songs) {
    const Rows rows = database.Query(Made(varn::Sql(kTrackPairs, songs)));
    std::unordered_set<int> used;
    std::string pairs;
    for (int row = 0; row < rows.Count(); ++row) {
        const int oldId = static_cast<int>(rows.Number(row, "old"));
        const int newId = static_cast<int>(rows.Number(row, "new"));
        if (!used.contains(oldId) && !used.contains(newId)) {
            used.insert({oldId, newId});
            AddPair(pairs, oldId, newId);
        }
    }
    return pairs;
}

// Of the tracks that the old rows have, and so those that their successors get.
void AddNumbers(Database &database, std::vector<MovedSong> &songs, const std::vector<int> &gone) {
    std::map<int, std::set<int>> numbers;
    const Rows rows = database.Query(
        "SELECT file_track, t.track FROM virtual_info_track i JOIN track t ON t.id = i.track"
        " WHERE file_track = ANY ('{" +
        IdList(gone) + "}')");
    for (int row = 0; row < rows.Count(); ++row) {
        numbers[static_cast<int>(rows.Number(row, "file_track"))].insert(
            static_cast<int>(rows.Number(row, "track")));
    }
    for (MovedSong &song : songs) {
        song.numbers = std::move(numbers[song.id]);
    }
}

void SucceedBatch(Database &database, const std::vector<int> &gone, const std::string &songs,
                  std::vector<MovedSong> moved, const Scope &own,
                  const std::vector<std::string> &roots, Reporter &reporter) {
    Transaction transaction(database);
    database.Execute(kLockStars);
    moved = OnlyMoved(database, std::move(moved));
    AddNumbers(database, moved, gone);
    const std::string tracks = TrackPairs(database, songs);
    database.Execute("CREATE TEMP TABLE pair ON COMMIT DROP AS SELECT * FROM (VALUES " + songs +
                     (tracks.empty() ? "" : ",") + tracks + ") p(old, new)");
    database.Execute(kInherit);
    DeleteSongs(database, IdList(gone));
    database.Execute("UPDATE track t SET id = pair.old FROM pair WHERE t.id = pair.new");
    database.Execute(
        "UPDATE virtual_info_track t SET file_track = pair.old FROM pair"
        " WHERE t.file_track = pair.new");
    for (const char *table : kSideTables) {
        database.Execute(std::string("UPDATE ") + table +
                         " t SET track = pair.old FROM pair WHERE t.track = pair.new");
    }
    NoteMoved(database, moved);
    NoteEntries(database, moved);
    transaction.Commit();
    reporter.WarnOfAll(SettleRecords(database, own, roots));
}

}  // namespace

std::vector<Succession> FindSuccessors(Database &database, const Folders &folders,
                                       const std::vector<int> &gone) {
    std::vector<Succession> successions;
    if (gone.empty()) {
        return successions;
    }
    const std::string goneIds = IdList(gone);
    Choice choice;
    const Rows found = database.Query(Made(varn::Sql(kSuccessors, goneIds, kColumns)));
    for (int row = 0; row < found.Count(); ++row) {
        if (folders.Of(found.Field(row, "path")) != nullptr) {
            choice.Add(found, row);
        }
    }
    const std::vector<int> ids = choice.Ids();
    if (ids.empty()) {
        return successions;
    }
    const Rows rows =
        database.Query(Made(varn::Sql(kPredecessors, kColumns, goneIds, IdList(ids), kIsRated)));
    for (int row = 0; row < rows.Count(); ++row) {
        if (Succession next = choice.TakeFor(rows, row); next.successor != 0) {
            successions.push_back(std::move(next));
        }
    }
    return successions;
}

void Succeed(Database &database, const std::vector<Succession> &successions, const Scope &own,
             const std::vector<std::string> &roots, Reporter &reporter, StopQuestion isStopped) {
    for (std::size_t start = 0; start < successions.size(); start += kBatchPairs) {
        StopIfAsked(isStopped);
        const std::size_t end = std::min(start + kBatchPairs, successions.size());
        std::string songs;
        std::vector<int> gone;
        std::vector<MovedSong> moved;
        for (std::size_t i = start; i < end; ++i) {
            AddPair(songs, successions[i].gone, successions[i].successor);
            gone.push_back(successions[i].gone);
            moved.push_back({successions[i].gone, "", successions[i].path});
        }
        SucceedBatch(database, gone, songs, std::move(moved), own, roots, reporter);
    }
}

}  // namespace varnindex

#include "varnindex/match/matching.h"

#include "varn/sql.h"
#include "varnindex/hash.h"
#include "varnindex/write/copy_rows.h"

namespace varnindex {
namespace {

// Both sides are numbered among those that have the key in common, so that each is taken once and
// thousands of equal files cost no more than as many others.
constexpr const char kPair[] =
    "INSERT INTO pair SELECT l.id, h.no FROM"
    " (SELECT id, userid, filesize, fingerprint, key, row_number() OVER"
    " (PARTITION BY userid, filesize, fingerprint, key ORDER BY path COLLATE \"C\") AS number"
    " FROM lost JOIN track t USING (id), LATERAL (SELECT @VARN:NEVAR AS key) k"
    " WHERE NOT EXISTS (SELECT FROM pair p WHERE p.id = t.id)) l"
    " JOIN (SELECT no, userid, filesize, fingerprint, key, row_number() OVER"
    " (PARTITION BY userid, filesize, fingerprint, key ORDER BY path COLLATE \"C\") AS number"
    " FROM held t, LATERAL (SELECT @VARN:NEVAR AS key) k"
    " WHERE NOT EXISTS (SELECT FROM pair p WHERE p.no = t.no)) h"
    " USING (userid, filesize, fingerprint, key, number)";
constexpr const char *kKeys[] = {"regexp_replace(t.path, '^.*/', '')",
                                 "regexp_replace(t.path, '/[^/]*$', '')", "''"};

constexpr const char kHeld[] =
    "SELECT coalesce(p.id, 0) AS row, EXISTS (SELECT FROM pair o WHERE o.id = h.known) AS is_taken"
    " FROM held h LEFT JOIN pair p USING (no) ORDER BY h.no";

// What was paired, what has only been edited, and what may be anything.
constexpr const char kForgetFound[] =
    "DELETE FROM lost l WHERE loss = 2 OR EXISTS (SELECT FROM pair p WHERE p.id = l.id)"
    " OR loss = 1 AND NOT EXISTS (SELECT FROM held h JOIN pair p USING (no) WHERE h.known = l.id)";

constexpr const char kLeft[] =
    "SELECT t.id, path, filesize, userid, loss <> 1 AND NOT EXISTS (SELECT FROM track o"
    " WHERE o.path = t.path AND o.id <> t.id AND NOT o.is_virtual"
    " AND NOT EXISTS (SELECT FROM lost l WHERE l.id = o.id)) AS is_free"
    " FROM lost JOIN track t USING (id) ORDER BY t.id";

// Some 1.5 KB each. New files beyond that get rows of their own at once, which the lost rows take
// over in the end as they do with older copies.
constexpr std::size_t kMostHeld = 50'000;

std::int64_t SizeOf(std::int64_t size, unsigned userid) {
    return Hasher().Add(size).Add(static_cast<std::int64_t>(userid)).Value();
}

// The records at the path are those of the song that has left it.
void ForgetStars(ReadWork &read) {
    read.result.song->stars.clear();
    for (VirtualSong &track : read.tracks) {
        track.song.stars.clear();
    }
}

}  // namespace

Matching::Matching(Database &database)
    : database_(database),
      lostTable_(database, "lost", "id integer, loss integer"),
      heldTable_(database, "held",
                 "no integer PRIMARY KEY, known integer, userid integer, filesize bigint,"
                 " fingerprint bigint, path text") {}

void Matching::AddLost(const KnownRow &row, Loss loss) {
    if (!lost_.insert(row.id).second) {
        return;
    }
    lostSizes_.insert(SizeOf(row.size, row.userid));
    lostTable_.Add(row.id, static_cast<int>(loss));
}

void Matching::AddToRead(const Work &work) {
    readSizes_.insert(SizeOf(work.size, work.userid));
    if (work.known.id != 0) {
        lostSizes_.insert(SizeOf(work.known.size, work.known.userid));  // its audio may be another
    }
}

std::optional<Change> Matching::ChangeFor(ReadWork read) {
    const Work &work = read.work;
    const KnownRow &known = work.known;
    const bool isSameAudio = known.id != 0 && (!known.fingerprint ||
                                               *known.fingerprint == read.result.song->fingerprint);
    const bool isWanted = lostSizes_.contains(SizeOf(work.size, work.userid)) ||
                          (known.id != 0 && readSizes_.contains(SizeOf(known.size, known.userid)));
    if (isSameAudio || !isWanted || (known.id == 0 && held_.size() >= kMostHeld)) {
        const auto kind = known.id != 0 ? Change::Kind::kEdit : Change::Kind::kAdd;
        return Change{kind, known.id, std::move(read)};
    }
    Hold(std::move(read));
    return std::nullopt;
}

void Matching::Hold(ReadWork read) {
    const Work &work = read.work;
    if (work.known.id != 0) {
        AddLost(work.known, Loss::kAudio);
    }
    heldTable_.Add(held_.size(), work.known.id, work.userid, work.size,
                   read.result.song->fingerprint, work.path);
    held_.push_back(std::move(read));
}

void Matching::Pair() {
    database_.Execute(
        "CREATE TEMP TABLE pair (id integer PRIMARY KEY, no integer UNIQUE);"
        "CREATE INDEX ON lost (id); CREATE INDEX ON held (known);"
        "ANALYZE lost, held");
    for (const char *key : kKeys) {
        database_.Execute(Made(varn::Sql(kPair, key, key)));
    }
    database_.Execute("ANALYZE pair");
}

void Matching::Settle(const std::function<void(Change)> &take) {
    if (held_.empty()) {
        if (lostTable_.Flush()) {
            database_.Execute("DELETE FROM lost WHERE loss = 2");
        }
        return;
    }
    heldTable_.Flush();
    lostTable_.Make();  // there is none when all rows that files wait for were edited
    lostTable_.Flush();
    Pair();
    auto held = held_.begin();
    for (const varn::Row row : database_.Query(kHeld)) {
        Change change{Change::Kind::kAdd, static_cast<int>(row.Number("row")), std::move(*held++)};
        const int known = change.read.work.known.id;
        if (change.id != 0) {
            change.kind = Change::Kind::kMove;
        } else if (known != 0 && *row.Text("is_taken") == 'f') {
            change.kind = Change::Kind::kEdit;
            change.id = known;
        } else if (known != 0) {
            ForgetStars(change.read);
        }
        take(std::move(change));
    }
    held_.clear();
    database_.Execute(kForgetFound);
}

void Matching::ForEachLeft(const std::function<bool(const KnownRow &row, bool isFree)> &stays) {
    if (!lostTable_.Flush()) {
        return;
    }
    std::vector<int> kept;
    for (const varn::Row row : database_.Query(kLeft)) {
        KnownRow lost;
        lost.id = static_cast<int>(row.Number("id"));
        lost.path = row.Text("path");
        lost.size = row.Number("filesize");
        lost.userid = static_cast<unsigned>(row.Number("userid"));
        if (stays(lost, *row.Text("is_free") == 't')) {
            kept.push_back(lost.id);
        }
    }
    if (!kept.empty()) {
        database_.Execute("DELETE FROM lost WHERE id = ANY ('{" + IdList(kept) + "}')");
    }
}

bool Matching::HasLeft() {
    return lostTable_.Flush() && database_.Query("SELECT FROM lost LIMIT 1").Count() > 0;
}

}  // namespace varnindex

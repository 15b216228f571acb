#include "varnindex/match/matching.h"

#include "varn/sql.h"
#include "varnindex/hash.h"
#include "varnindex/match/packed.h"
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
    "SELECT h.no, h.packed, coalesce(p.id, 0) AS row,"
    " EXISTS (SELECT FROM pair o WHERE o.id = h.known) AS is_taken"
    " FROM held h LEFT JOIN pair p USING (no) WHERE h.no > @VARN:INT ORDER BY h.no LIMIT 100";

// What was paired, what has only been edited, and what may be anything.
constexpr const char kForgetFound[] =
    "DELETE FROM lost l WHERE loss = 2 OR EXISTS (SELECT FROM pair p WHERE p.id = l.id)"
    " OR loss = 1 AND NOT EXISTS (SELECT FROM held h JOIN pair p USING (no) WHERE h.known = l.id)";

constexpr const char kLeft[] =
    "SELECT t.id, path, filesize, userid, loss <> 1 AND NOT EXISTS (SELECT FROM track o"
    " WHERE o.path = t.path AND o.id <> t.id AND NOT o.is_virtual"
    " AND NOT EXISTS (SELECT FROM lost l WHERE l.id = o.id)) AS is_free"
    " FROM lost JOIN track t USING (id) WHERE t.id > @VARN:INT ORDER BY t.id LIMIT 5000";

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
      lostTable_(database, "lost", "id integer, loss integer, folder integer"),
      heldTable_(database, "held",
                 "no integer PRIMARY KEY, known integer, userid integer, filesize bigint,"
                 " fingerprint bigint, path text, packed text") {}

void Matching::AddLost(const KnownRow &row, Loss loss, std::optional<std::size_t> folder) {
    if (!lost_.insert(row.id).second) {
        return;
    }
    lostSizes_.insert(SizeOf(row.size, row.userid));
    lostTable_.Add(std::to_string(row.id) + '\t' + std::to_string(static_cast<int>(loss)) + '\t' +
                   (folder ? std::to_string(*folder) : "\\N"));
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
    if (isSameAudio || !isWanted) {
        const auto kind = known.id != 0 ? Change::Kind::kEdit : Change::Kind::kAdd;
        return Change{kind, known.id, std::move(read)};
    }
    Hold(std::move(read));
    return std::nullopt;
}

void Matching::Hold(ReadWork read) {
    const std::size_t no = ++held_;
    const Work &work = read.work;
    if (work.known.id != 0) {
        AddLost(work.known, Loss::kAudio);
    }
    if (work.sheets && work.sheets->HasUnusable()) {
        unusable_.emplace(no, work.sheets);
    }
    const std::string row = std::to_string(no) + '\t' + std::to_string(work.known.id) + '\t' +
                            std::to_string(work.userid) + '\t' + std::to_string(work.size) + '\t' +
                            std::to_string(read.result.song->fingerprint) + '\t' +
                            Escaped(work.path) + '\t' + Escaped(Pack(read));
    heldTable_.Add(row);
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
    if (!heldTable_.Flush()) {
        if (lostTable_.Flush()) {
            database_.Execute("DELETE FROM lost WHERE loss = 2");
        }
        return;
    }
    lostTable_.Make();  // there is none when all rows that files wait for were edited
    lostTable_.Flush();
    Pair();
    for (int no = 0;;) {
        const Rows rows = database_.Query(Made(varn::Sql(kHeld, no)));
        for (int row = 0; row < rows.Count(); ++row) {
            no = static_cast<int>(rows.Number(row, "no"));
            Change change;
            change.read = Unpack(rows.Field(row, "packed"));
            change.id = static_cast<int>(rows.Number(row, "row"));
            int &known = change.read.work.known.id;
            if (change.id != 0) {
                change.kind = Change::Kind::kMove;
            } else if (known != 0 && *rows.Field(row, "is_taken") == 'f') {
                change.kind = Change::Kind::kEdit;
                change.id = known;
            } else if (known != 0) {
                ForgetStars(change.read);
            }
            if (const auto sheets = unusable_.find(static_cast<std::size_t>(no));
                sheets != unusable_.end()) {
                change.read.work.sheets = sheets->second;
            }
            take(std::move(change));
        }
        if (rows.Count() == 0) {
            break;
        }
    }
    database_.Execute(kForgetFound);
}

void Matching::TakeEmptied(std::vector<KeptRows> &left) {
    if (left.empty() || !lostTable_.Flush()) {
        return;
    }
    const Rows rows = database_.Query(
        "WITH taken AS (DELETE FROM lost WHERE folder IS NOT NULL RETURNING folder)"
        " SELECT folder, count(*) FROM taken GROUP BY folder");
    for (int row = 0; row < rows.Count(); ++row) {
        left.at(static_cast<std::size_t>(rows.Number(row, "folder"))).songs =
            static_cast<std::size_t>(rows.Number(row, "count"));
    }
}

void Matching::KeepIf(const Question &stays) {
    if (!lostTable_.Flush()) {
        return;
    }
    for (int id = 0;;) {
        const Rows rows = database_.Query(Made(varn::Sql(kLeft, id)));
        std::string kept;
        for (int row = 0; row < rows.Count(); ++row) {
            KnownRow lost;
            lost.id = id = static_cast<int>(rows.Number(row, "id"));
            lost.path = rows.Field(row, "path");
            lost.size = rows.Number(row, "filesize");
            lost.userid = static_cast<unsigned>(rows.Number(row, "userid"));
            if (stays(lost, *rows.Field(row, "is_free") == 't')) {
                kept += (kept.empty() ? "" : ",") + std::to_string(id);
            }
        }
        if (!kept.empty()) {
            database_.Execute("DELETE FROM lost WHERE id = ANY ('{" + kept + "}')");
        }
        if (rows.Count() == 0) {
            return;
        }
    }
}

void Matching::ForEachLeft(const std::function<void(const KnownRow &row)> &each) {
    KeepIf([&](const KnownRow &row, bool /*isFree*/) {
        each(row);
        return false;
    });
}

bool Matching::HasLeft() {
    return lostTable_.Flush() && database_.Query("SELECT FROM lost LIMIT 1").Count() > 0;
}

}  // namespace varnindex

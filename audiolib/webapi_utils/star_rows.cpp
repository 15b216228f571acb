// Ratings in the library database.
#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include "support/boundary.h"
#include "support/log.h"
#include "support/statement.h"
#include "support/virtual_name.h"
#include "tonvale/webapi.h"
#include "varn/db.h"
#include "varn/number.h"
#include "varn/sql.h"
#include "webapi_utils/source.h"

namespace {

namespace support = Tonvale::support;

using Tonvale::webapi_utils::kSource;

constexpr char kSelect[] =
    "SELECT id, path, star, track.track AS track, is_virtual FROM track LEFT JOIN rating_track "
    "ON track.id = rating_track.track AND rating_track.userid = @VARN:INT WHERE id IN ( "
    "@VARN:NEVAR )";
constexpr char kUpdate[] =
    "UPDATE rating_track SET star = @VARN:INT WHERE userid = @VARN:INT AND track IN ( @VARN:NEVAR "
    ")";

// Before the rows are read: the indexer, which locks the table while it gives songs other ids,
// would otherwise do so between the reading and the writing.
constexpr char kLock[] =
    "SET LOCAL lock_timeout = '10s'; LOCK TABLE rating_track IN ROW EXCLUSIVE MODE";

struct Rating {
    int uid;
    int star;
};

// Items, joined.
struct List {
    std::string text;
    int count = 0;

    void Append(const std::string &item) { text += (count++ > 0 ? ", " : "") + item; }
};

// What the songs' rows tell: which of them have a rating of this user already.
struct Found {
    List rated;                      // ids
    List added;                      // "(uid, id, star)" groups
    std::vector<std::string> names;  // as playlists have them
};

std::string Joined(const std::vector<std::string> &items) {
    List list;
    for (const std::string &item : items) {
        list.Append(item);
    }
    return list.text;
}

// A row that lacks a column is passed over.
void AddRow(const varn::Row &row, const Rating &rating, Found &found) {
    const auto columns = {"star", "id", "path", "track", "is_virtual"};
    if (!std::all_of(columns.begin(), columns.end(),
                     [&row](const char *column) { return row.Has(column); })) {
        return;
    }
    const std::string id = row.Text("id");
    if (*row.Text("star") != '\0') {
        found.rated.Append(id);
    } else {
        found.added.Append("(" + std::to_string(rating.uid) + ", " + id + ", " +
                           std::to_string(rating.star) + ")");
    }
    found.names.push_back(support::NameInPlaylist(row));
}

// False for a refused statement, which the last attempt logs. On the first one also when fewer rows
// are written than meant, because some have been deleted since they were read.
bool WriteRows(DBConnect_tag *conn, const Found &found, const Rating &rating, bool isFirst) {
    const auto writes = [conn, isFirst](const std::optional<std::string> &statement, int meant) {
        if (!isFirst) {
            return support::Execute(kSource, conn, statement).has_value();
        }
        const auto written = statement ? varn::Execute(conn, *statement) : std::nullopt;
        return written && written->Count() == meant;
    };
    const auto &[rated, added, names] = found;
    return (rated.count == 0 ||
            writes(varn::Sql(kUpdate, rating.star, rating.uid, rated.text), rated.count)) &&
           (added.count == 0 ||
            writes(varn::Sql("INSERT INTO rating_track(userid, track, star) VALUES @VARN:NEVAR",
                             added.text),
                   added.count));
}

enum class Saved { kYes, kNo, kRefused };

Saved SaveOnce(const std::string &select, DBConnect_tag *conn, const Rating &rating,
               std::vector<std::string> &paths, bool isFirst) {
    varn::Transaction transaction(
        [conn](const char *statement) { return varn::Execute(conn, statement).has_value(); });
    const bool isLocked = transaction && varn::Execute(conn, kLock);
    const auto rows = isLocked ? varn::Execute(conn, select) : std::nullopt;
    if (!rows) {
        support::LogFailedStatement(kSource, conn, select.c_str());
        return Saved::kNo;
    }
    Found found;
    for (const varn::Row row : *rows) {
        AddRow(row, rating, found);
    }
    if (!WriteRows(conn, found, rating, isFirst)) {
        return Saved::kRefused;
    }
    if (!transaction.Commit()) {
        support::LogFailedStatement(kSource, conn, "COMMIT");
        return Saved::kNo;
    }
    paths.insert(paths.end(), std::make_move_iterator(found.names.begin()),
                 std::make_move_iterator(found.names.end()));
    return Saved::kYes;
}

// Others may write between the reading and the writing: an insert then meets a row that was not
// there, or an update misses one that was. In both cases the rows are read again, once.
bool SaveStars(const std::string &select, std::vector<std::string> &paths, DBConnect_tag *conn,
               const Rating &rating) {
    Saved saved = SaveOnce(select, conn, rating, paths, true);
    if (saved == Saved::kRefused) {
        saved = SaveOnce(select, conn, rating, paths, false);
    }
    return saved == Saved::kYes;
}

}  // namespace

int VARNAudioWebapiSaveDBStar(const std::vector<std::string> &numbers,
                              std::vector<std::string> &paths, MEDIA_DB_HANDLE *database,
                              unsigned uid, unsigned star) noexcept {
    if (database == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return 0;
    }
    return support::Guarded(kSource, 0, [&] {
        const Rating rating = {static_cast<int>(uid), static_cast<int>(star)};
        const std::string select = varn::Made(varn::Sql(kSelect, rating.uid, Joined(numbers)));
        if (!std::all_of(numbers.begin(), numbers.end(), varn::IsNumber)) {
            LOG_ERROR(kSource, "Failed to exec [%s] (an id has more than digits)", select.c_str());
            return 0;
        }
        return SaveStars(select, paths, database->conn, rating) ? 1 : 0;
    });
}

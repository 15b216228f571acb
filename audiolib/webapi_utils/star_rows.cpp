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

// Fewer rows are written than meant when some of them went after they were read: refused the first
// time.
bool WriteRows(DBConnect_tag *conn, const Found &found, const Rating &rating, bool isFirst) {
    const auto writes = [conn, isFirst](const std::optional<std::string> &statement, int meant) {
        const auto written = support::Execute(kSource, conn, statement);
        return written && (written->Count() == meant || !isFirst);
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

Saved SaveOnce(const std::vector<std::string> &numbers, DBConnect_tag *conn, const Rating &rating,
               std::vector<std::string> &paths, bool isFirst) {
    varn::Transaction transaction([conn](const char *statement) {
        return support::Execute(kSource, conn, statement).has_value();
    });
    if (!transaction || !support::Execute(kSource, conn, kLock)) {
        return Saved::kNo;
    }
    const auto rows =
        support::Execute(kSource, conn, varn::Sql(kSelect, rating.uid, Joined(numbers)));
    if (!rows) {
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
        return Saved::kNo;
    }
    paths.insert(paths.end(), std::make_move_iterator(found.names.begin()),
                 std::make_move_iterator(found.names.end()));
    return Saved::kYes;
}

// Of two first ratings of a song at once the later one finds a row where it read none, and that of
// a song that is deleted meanwhile none where it read one. It reads again, once.
bool SaveStars(const std::vector<std::string> &numbers, std::vector<std::string> &paths,
               DBConnect_tag *conn, const Rating &rating) {
    Saved saved = SaveOnce(numbers, conn, rating, paths, true);
    if (saved == Saved::kRefused) {
        saved = SaveOnce(numbers, conn, rating, paths, false);
    }
    return saved == Saved::kYes;
}

}  // namespace

int VARNAudioWebapiSaveDBStar(const std::vector<std::string> &numbers,
                              std::vector<std::string> &paths, MEDIA_DB_HANDLE *database,
                              unsigned uid, unsigned star) noexcept {
    const bool areNumbers =
        !numbers.empty() && std::all_of(numbers.begin(), numbers.end(), varn::IsNumber);
    if (!areNumbers || database == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return 0;
    }
    return support::Guarded(kSource, 0, [&] {
        const Rating rating = {static_cast<int>(uid), static_cast<int>(star)};
        return SaveStars(numbers, paths, database->conn, rating) ? 1 : 0;
    });
}

// Ratings in the library database.
#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "support/boundary.h"
#include "support/handles.h"
#include "support/log.h"
#include "support/statement.h"
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
constexpr char kInsert[] = "INSERT INTO rating_track(userid, track, star) VALUES @VARN:NEVAR";

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
struct Rows {
    List rated;  // ids
    List added;  // "(uid, id, star)" groups
    std::vector<std::string> paths;
};

std::string Joined(const std::vector<std::string> &items) {
    List list;
    for (const std::string &item : items) {
        list.Append(item);
    }
    return list.text;
}

void AddRow(const VARNDB_RESULT *result, int row, const Rating &rating, Rows &rows) {
    const char *star = VARNDBFetchField(result, row, "star");
    const char *id = VARNDBFetchField(result, row, "id");
    const char *path = VARNDBFetchField(result, row, "path");
    const char *track = VARNDBFetchField(result, row, "track");
    const char *isVirtual = VARNDBFetchField(result, row, "is_virtual");
    if (star == nullptr || id == nullptr || path == nullptr || track == nullptr ||
        isVirtual == nullptr) {
        return;
    }
    if (*star != '\0') {
        rows.rated.Append(id);
    } else {
        rows.added.Append("(" + std::to_string(rating.uid) + ", " + id + ", " +
                          std::to_string(rating.star) + ")");
    }
    const bool hasVirtualName = std::strchr(isVirtual, 't') != nullptr;
    rows.paths.push_back(hasVirtualName ? std::string(path) + "_" + track : path);
}

bool ReadRows(MEDIA_DB_HANDLE &database, const std::vector<std::string> &numbers,
              const Rating &rating, Rows &rows) {
    support::Result result;
    if (!support::Execute(kSource, database.conn, varn::Sql(kSelect, rating.uid, Joined(numbers)),
                          &result)) {
        return false;
    }
    while (const auto row = support::NextRow(result)) {
        AddRow(result.get(), *row, rating, rows);
    }
    return true;
}

// What is written takes effect all at once, or not at all.
class Transaction {
  public:
    explicit Transaction(MEDIA_DB_HANDLE &database) : database_(database), isOpen_(Run("BEGIN")) {}
    ~Transaction() {
        if (isOpen_) {
            Run("ROLLBACK");
        }
    }
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    explicit operator bool() const { return isOpen_; }
    bool Commit() {
        isOpen_ = !Run("COMMIT");
        return !isOpen_;
    }

  private:
    bool Run(const char *statement) { return support::Execute(kSource, database_.conn, statement); }

    MEDIA_DB_HANDLE &database_;
    bool isOpen_;
};

// Fewer rows are written than meant when some of them went after they were read.
bool WriteRows(MEDIA_DB_HANDLE &database, const Rows &rows, const Rating &rating) {
    const auto writes = [&](const std::optional<std::string> &statement, int meant) {
        const auto written = support::Write(kSource, database.conn, statement);
        if (written && *written != meant) {
            LOG_ERROR(kSource, "Rated %d songs instead of %d", *written, meant);
        }
        return written == meant;
    };
    const auto &[rated, added, paths] = rows;
    return (rated.count == 0 ||
            writes(varn::Sql(kUpdate, rating.star, rating.uid, rated.text), rated.count)) &&
           (added.count == 0 || writes(varn::Sql(kInsert, added.text), added.count));
}

enum class Saved { kYes, kNo, kRefused };

Saved SaveOnce(const std::vector<std::string> &numbers, MEDIA_DB_HANDLE &database,
               const Rating &rating, std::vector<std::string> &paths) {
    Transaction transaction(database);
    Rows rows;
    if (!transaction || !support::Execute(kSource, database.conn, kLock) ||
        !ReadRows(database, numbers, rating, rows)) {
        return Saved::kNo;
    }
    if (!WriteRows(database, rows, rating)) {
        return Saved::kRefused;
    }
    if (!transaction.Commit()) {
        return Saved::kNo;
    }
    paths = std::move(rows.paths);
    return Saved::kYes;
}

// Of two first ratings of a song at once the later one finds a row where it read none, and that of
// a song that is deleted meanwhile none where it read one. It reads again, once.
bool SaveStars(const std::vector<std::string> &numbers, std::vector<std::string> &paths,
               MEDIA_DB_HANDLE &database, const Rating &rating) {
    Saved saved = SaveOnce(numbers, database, rating, paths);
    if (saved == Saved::kRefused) {
        saved = SaveOnce(numbers, database, rating, paths);
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
        return SaveStars(numbers, paths, *database, rating) ? 1 : 0;
    });
}

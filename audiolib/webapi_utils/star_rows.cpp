// Ratings in the library database.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "support/boundary.h"
#include "support/handles.h"
#include "support/log.h"
#include "tonvale/webapi.h"
#include "varn/base.h"
#include "varn/db.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;
using Tonvale::support::Result;
using Tonvale::support::Text;

using Tonvale::webapi_utils::kSource;

constexpr char kSelect[] =
    "SELECT id, path, star, track.track AS track, is_virtual FROM track LEFT JOIN rating_track "
    "ON track.id = rating_track.track AND rating_track.userid = %d WHERE id IN ( %s )";
constexpr char kUpdate[] =
    "UPDATE rating_track SET star = %d WHERE userid = %d AND track IN ( %s )";
constexpr char kInsert[] = "INSERT INTO rating_track(userid, track, star) VALUES %s";

struct Rating {
    int uid;
    int star;
};

// What the songs' rows tell: which of them have a rating of this user already.
struct Rows {
    std::string rated;  // ids, joined
    std::string added;  // "(uid, id, star)" groups, joined
    std::vector<std::string> paths;
};

void Append(std::string &list, const std::string &item) {
    if (!list.empty()) {
        list += ", ";
    }
    list += item;
}

std::string Joined(const std::vector<std::string> &items) {
    std::string list;
    for (const std::string &item : items) {
        Append(list, item);
    }
    return list;
}

bool IsNumber(const std::string &text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// Runs a statement; false, with a log line, when it fails or could not be built.
bool Execute(MEDIA_DB_HANDLE &database, const Text &statement, Result &out) {
    if (!statement) {
        LOG_ERROR(kSource, "Failed to VLIBCStrGet() [0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrFile(),
                  VLIBCErrLine());
        return false;
    }
    VARNDB_RESULT *result = nullptr;
    const bool done = VARNDBExecute(database.conn, statement.get(), &result) != -1;
    out.reset(result);
    if (!done) {
        LOG_ERROR(kSource, "Failed to exec [%s] (%s)", statement.get(),
                  VARNDBErrorGet(database.conn));
    }
    return done;
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
        Append(rows.rated, id);
    } else {
        Append(rows.added, "(" + std::to_string(rating.uid) + ", " + id + ", " +
                               std::to_string(rating.star) + ")");
    }
    const bool hasVirtualName = std::strchr(isVirtual, 't') != nullptr;
    rows.paths.push_back(hasVirtualName ? std::string(path) + "_" + track : path);
}

bool ReadRows(MEDIA_DB_HANDLE &database, const std::vector<std::string> &numbers,
              const Rating &rating, Rows &rows) {
    Result result;
    const Text statement(VLIBCStrGet(kSelect, rating.uid, Joined(numbers).c_str()));
    if (!Execute(database, statement, result)) {
        return false;
    }
    for (int row = 0; VARNDBFetchRow(result.get(), &row) == 0;) {
        AddRow(result.get(), row, rating, rows);
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
    bool Run(const char *statement) {
        Result result;
        return Execute(database_, Text(VLIBCStrGet("%s", statement)), result);
    }

    MEDIA_DB_HANDLE &database_;
    bool isOpen_;
};

bool WriteRows(MEDIA_DB_HANDLE &database, const Rows &rows, const Rating &rating) {
    Result result;
    if (!rows.rated.empty() &&
        !Execute(database, Text(VLIBCStrGet(kUpdate, rating.star, rating.uid, rows.rated.c_str())),
                 result)) {
        return false;
    }
    return rows.added.empty() ||
           Execute(database, Text(VLIBCStrGet(kInsert, rows.added.c_str())), result);
}

enum class Saved { kYes, kNo, kRefused };

Saved SaveOnce(const std::vector<std::string> &numbers, MEDIA_DB_HANDLE &database,
               const Rating &rating, std::vector<std::string> &paths) {
    Transaction transaction(database);
    Rows rows;
    if (!transaction || !ReadRows(database, numbers, rating, rows)) {
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

// Of two first ratings of a song at once the later one finds a row where it read none. It reads
// again, once: rows stay when they are there.
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
        !numbers.empty() && std::all_of(numbers.begin(), numbers.end(), IsNumber);
    if (!areNumbers || database == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return 0;
    }
    return Guarded(kSource, 0, [&] {
        const Rating rating = {static_cast<int>(uid), static_cast<int>(star)};
        return SaveStars(numbers, paths, *database, rating) ? 1 : 0;
    });
}

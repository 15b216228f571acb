#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/handles.h"
#include "varn/sql.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::DBResultWrapper;
using Tonvale::support::Guarded;
using Tonvale::webapi_utils::kSource;
using varn::Connection;

using Statement = std::optional<std::string>;

// Runs a statement, if it could be built; false with a log line otherwise.
bool Run(DBConnect_tag *conn, const Statement &sql, VARNDB_RESULT **result) {
    if (!sql) {
        LOG_ERROR(kSource, "Failed to VLIBCStrGet() [0x%04X %s:%d]",
                  static_cast<unsigned>(VLIBCErrGet()), VLIBCErrFile(), VLIBCErrLine());
        return false;
    }
    if (VARNDBExecute(conn, sql->c_str(), result) < 0) {
        LOG_ERROR(kSource, "Failed to exec [%s] (%s)", sql->c_str(), VARNDBErrorGet(conn));
        return false;
    }
    return true;
}

int Correct(VARN_MEDIA_INFO &record) {
    const Connection conn(AudioInfoDBConnect());
    if (!conn) {
        LOG_ERROR(kSource, "Failed to connect to database");
        return 0;
    }
    DBResultWrapper rows;
    if (!Run(conn.get(),
             varn::Sql("SELECT duration FROM track WHERE path = '@VARN:VAR' AND "
                       "is_virtual = 'FALSE'",
                       record.path),
             rows.Receive())) {
        return 0;
    }
    int row = 0;
    if (VARNDBFetchRow(rows.Get(), &row) != 0) {
        LOG_ERROR(kSource, "Failed to fetch row");
        return 0;
    }
    const char *whole = VARNDBFetchField(rows.Get(), row, "duration");
    double seconds = 0;
    // SQL's NULL comes as an empty text.
    if (!NonEmptyStr(whole) ||
        std::from_chars(whole, whole + std::strlen(whole), seconds).ec != std::errc()) {
        return 1;
    }
    record.duration = static_cast<float>(static_cast<double>(record.duration) + seconds);
    std::array<char, 64> text = {};
    // As "%f" writes it, whatever the process's locale.
    std::to_chars(text.begin(), text.end() - 1, record.duration, std::chars_format::fixed, 6);
    return Run(conn.get(),
               varn::Sql("UPDATE track SET duration = '@VARN:VAR' WHERE path = '@VARN:VAR' AND "
                         "is_virtual = 'TRUE' AND track = @VARN:INT",
                         text.data(), record.path, record.track),
               nullptr)
               ? 1
               : 0;
}

}  // namespace

int VARNAudioWebapiCorrectVirtualMusicDuration(VARN_MEDIA_INFO *record) noexcept {
    if (record == nullptr) {
        return 0;
    }
    return Guarded(kSource, 0, [&] { return Correct(*record); });
}

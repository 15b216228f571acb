#include "service/lists/tables.h"

#include <syslog.h>

#include "service/base/failure.h"
#include "service/lists/list.h"

namespace tonvale_service {

void AskTables(const std::function<void(varn::Database &)> &ask) {
    try {
        varn::Database database(varn::ConnectLibrary());
        ask(database);
    } catch (const varn::DatabaseError &error) {
        syslog(LOG_ERR, "The library's tables cannot be asked: %s", error.what());
        NoAnswer();
    }
}

varn::Rows AskTables(const std::optional<std::string> &sql) {
    const std::string statement = Made(sql);
    std::optional<varn::Rows> rows;
    AskTables([&](varn::Database &database) { rows = database.Query(statement); });
    return *std::move(rows);
}

std::string Made(const std::optional<std::string> &sql) {
    return sql ? *sql : throw Failure(Reason::kNotUtf8);
}

}  // namespace tonvale_service

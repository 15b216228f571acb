// The database through its own client library, as the baseline of what goes through ours.
#pragma once

#include <benchmark/benchmark.h>
#include <libpq-fe.h>

#include <memory>
#include <string>

#include "timing.h"
#include "varn/systempath.h"

namespace tonvale_bench {

using PgResult = std::unique_ptr<PGresult, decltype(&PQclear)>;

class Connection {
  public:
    Connection() : conn_(PQconnectdb(Settings().c_str()), PQfinish) {}

    // Ends the program when the statement fails.
    PgResult Run(const std::string &statement) {
        PgResult result(PQexec(conn_.get(), statement.c_str()), PQclear);
        const ExecStatusType status = PQresultStatus(result.get());
        if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
            Die(PQerrorMessage(conn_.get()));
        }
        return result;
    }

  private:
    static std::string Settings() {
        return "host=" + SystemPath(varn::path::kDatabaseSocketDir) +
               " port=5432 user=Tonvale dbname=mediaserver client_encoding=UTF8";
    }

    std::unique_ptr<PGconn, decltype(&PQfinish)> conn_;
};

// Connects, runs a statement, reads every field and closes. Returns the seconds.
inline double RunStatement(const std::string &statement) {
    const Clock::time_point start = Clock::now();
    {
        Connection connection;
        const PgResult rows = connection.Run(statement);
        for (int row = 0; row < PQntuples(rows.get()); ++row) {
            for (int column = 0; column < PQnfields(rows.get()); ++column) {
                benchmark::DoNotOptimize(PQgetvalue(rows.get(), row, column));
            }
        }
    }
    return SecondsSince(start);
}

}  // namespace tonvale_bench

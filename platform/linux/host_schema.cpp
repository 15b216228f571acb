// The library database's schema: what version it is, and bringing it to this one's.
#include <unistd.h>

#include <cerrno>

#include "linux/host_support.h"
#include "linux/schema_steps.h"
#include "varn/database.h"
#include "varn/db.h"
#include "varn/packageconf.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varn::host {

namespace {

// The package configuration's key for the choice of the server, and its values.
constexpr char kDatabaseKey[] = "database";
constexpr char kPrivate[] = "private";
constexpr char kExternal[] = "external";

// Migrations that run at the same time wait for each other on this number.
constexpr char kTakeTurns[] =
    "SET client_min_messages = warning; SELECT pg_advisory_lock(7283461905)";

constexpr char kVersionTable[] =
    "CREATE TABLE IF NOT EXISTS schema_version ("
    "version integer PRIMARY KEY, applied timestamptz NOT NULL DEFAULT now())";

std::string DatabaseSays(const DBConnect_tag *conn) {
    return std::string("\n  ") + VARNDBErrorGet(conn);
}

Outcome CannotConnect() {
    if (HasCluster()) {
        return Outcome::Problem("cannot reach the library database; if it does not run, " +
                                ("'tonvale start" + RootOption()) + "' starts it, and its " +
                                "pg_hba.conf and pg_ident.conf in " +
                                SystemPath(path::kClusterData) +
                                " say who may use it:" + DatabaseSays(nullptr));
    }
    return Outcome::Problem(
        std::string("cannot reach the library database; check that the server named by PGHOST and "
                    "PGPORT, or the machine's own, runs and lets the role \"") +
        kPackageAccount + "\" into the database \"" + kLibraryDatabase +
        "\":" + DatabaseSays(nullptr));
}

// Connects as the library does, but never to another server in place of the root's own cluster.
Outcome Connect(Connection &conn) {
    if (!SystemRoot().empty() && !HasCluster() && ChosenDatabase() == DatabaseKind::kPrivate) {
        const std::string data = SystemPath(path::kClusterData);
        if (access(data.c_str(), F_OK) != 0 && errno != ENOENT) {
            return Failed("look at", data);
        }
        return Outcome::Problem("there is no database in " + data + " yet: run 'tonvale init" +
                                RootOption() + "'");
    }
    const RunAs account(Who::kPackage);
    conn = ConnectLibrary(HasCluster() || HasLocalServer() ? Server::kLocal : Server::kDefault);
    return conn ? Outcome::Good() : CannotConnect();
}

Outcome Refused(const char *doing, const DBConnect_tag *conn) {
    return Outcome::Problem(std::string("cannot ") + doing +
                            " of the library database:" + DatabaseSays(conn));
}

// 0 for a database without the schema.
Outcome ReadVersion(DBConnect_tag *conn, int &version) {
    version = 0;
    auto rows = Execute(conn, "SELECT 1 WHERE to_regclass('schema_version') IS NOT NULL");
    if (rows && rows->Count() > 0) {
        rows = Execute(conn, "SELECT COALESCE(max(version), 0) AS version FROM schema_version");
        version = rows ? static_cast<int>((*rows)[0].Number("version")) : 0;
    }
    return rows ? Outcome::Good() : Refused("read the version", conn);
}

Outcome MadeByLater(int version) {
    return Outcome::Problem("the library database has schema " + std::to_string(version) +
                            ", made by a later version of Tonvale; this one knows schema " +
                            std::to_string(SchemaSteps().back().version) +
                            ": use the later version");
}

// Runs one step and notes it, both or neither. After a failure the connection is not used again,
// and closing it undoes the step.
Outcome RunStep(DBConnect_tag *conn, const SchemaStep &step) {
    const std::string note =
        "INSERT INTO schema_version (version) VALUES (" + std::to_string(step.version) + ")";
    for (const char *statement : {"BEGIN", step.text, note.c_str(), "COMMIT"}) {
        if (!Execute(conn, statement)) {
            return Outcome::Problem(
                "step " + std::to_string(step.version) + " (" + step.name +
                ") of the library database's schema failed:" + DatabaseSays(conn));
        }
    }
    return Outcome::Good();
}

}  // namespace

DatabaseKind ChosenDatabase() {
    return VARNAudioConfCheck(kDatabaseKey, kExternal, 0) ? DatabaseKind::kExternal
                                                          : DatabaseKind::kPrivate;
}

Outcome ChooseDatabase(DatabaseKind kind) {
    if (kind == ChosenDatabase()) {
        return Outcome::Good();
    }
    const char *name = kind == DatabaseKind::kExternal ? kExternal : kPrivate;
    return VARNAudioConfSet(kDatabaseKey, name) == 0
               ? Outcome::Good()
               : Failed("write", SystemPath(path::kPackageConf));
}

Outcome MigrateSchema() {
    Connection conn;
    if (Outcome done = Connect(conn); !done) {
        return done;
    }
    if (!Execute(conn.get(), kTakeTurns)) {
        return Refused("lock the schema", conn.get());
    }
    int version = 0;
    if (Outcome done = ReadVersion(conn.get(), version); !done) {
        return done;
    }
    if (version > SchemaSteps().back().version) {
        return MadeByLater(version);
    }
    if (version == 0 && !Execute(conn.get(), kVersionTable)) {
        return Refused("create the schema", conn.get());
    }
    for (const SchemaStep &step : SchemaSteps()) {
        if (step.version <= version) {
            continue;
        }
        if (Outcome done = RunStep(conn.get(), step); !done) {
            return done;
        }
    }
    return Outcome::Good();
}

Outcome CheckSchema() {
    Connection conn;
    if (Outcome done = Connect(conn); !done) {
        return done;
    }
    int version = 0;
    if (Outcome done = ReadVersion(conn.get(), version); !done) {
        return done;
    }
    const int wanted = SchemaSteps().back().version;
    if (version > wanted) {
        return MadeByLater(version);
    }
    if (version < wanted) {
        const std::string found =
            version == 0 ? "no schema" : "the older schema " + std::to_string(version);
        return Outcome::Problem("the library database has " + found + ": run 'tonvale init" +
                                RootOption() + "'");
    }
    return Outcome::Good();
}

}  // namespace varn::host

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/child.h"
#include "support/fixture.h"
#include "varn/base.h"
#include "varn/database.h"
#include "varn/db.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class Database : public DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        Reconnect();
    }
    void Reconnect(const char *database = "mediaserver") {
        VARNDBClose(conn_);
        conn_ =
            VARNDBConnect(At(varn::path::kDatabaseSocketDir).c_str(), "Tonvale", nullptr, database);
        ASSERT_NE(conn_, nullptr) << VARNDBErrorGet(nullptr);
    }
    void TearDown() override {
        VARNDBFreeResult(result_);
        VARNDBClose(conn_);
        DatabaseTest::TearDown();
    }
    int Execute(const char *sql) {
        VARNDBFreeResult(result_);
        return VARNDBExecute(conn_, sql, &result_);
    }

    DBConnect_tag *conn_ = nullptr;
    VARNDB_RESULT *result_ = nullptr;
};

TEST_F(Database, ABackslashStaysInItsQuotes) {
    // The database and PGOPTIONS may both say otherwise. The variable's other options stay.
    for (const char *options : {"", "-c standard_conforming_strings=off -c statement_timeout=7s"}) {
        ASSERT_EQ(Execute("ALTER DATABASE mediaserver SET standard_conforming_strings = off"), 0);
        setenv("PGOPTIONS", options, 1);
        Reconnect();
        unsetenv("PGOPTIONS");
        const auto sql = varn::Sql("SELECT '@VARN:VAR' AS t", "\\' OR true --");
        ASSERT_EQ(Execute(sql->c_str()), 1) << VARNDBErrorGet(conn_);
        EXPECT_STREQ(VARNDBFetchField(result_, 0, "t"), "\\' OR true --");
        ASSERT_EQ(Execute("SHOW statement_timeout"), 1);
        EXPECT_STREQ(VARNDBFetchFieldAt(result_, 0, 0), *options != '\0' ? "7s" : "0");
    }
}

TEST_F(Database, RowsAreReadByNumberAndFieldsByName) {
    ASSERT_EQ(Execute("SELECT n, NULL AS nothing, 'x' AS n FROM generate_series(1, 3) n"), 3);
    EXPECT_EQ(VARNDBNumRows(result_), 3);
    std::string seen;
    for (int row = -1; VARNDBFetchRow(result_, &row) == 0;) {
        seen += VARNDBFetchField(result_, row, "n");
    }
    EXPECT_EQ(seen, "123") << "of two columns with one name the first";
    int row = 7;
    EXPECT_EQ(VARNDBFetchRow(result_, &row), -1) << "at the end it stays";
    EXPECT_STREQ(VARNDBFetchField(result_, 0, "nothing"), "");
    EXPECT_EQ(VARNDBFetchField(result_, 0, "no_such"), nullptr);
    for (const int outside : {-1, 3}) {
        EXPECT_EQ(VARNDBFetchField(result_, outside, "n"), nullptr);
    }
    EXPECT_STREQ(VARNDBFetchFieldAt(result_, 0, 2), "x");
    EXPECT_EQ(VARNDBFetchFieldAt(result_, 0, 3), nullptr);

    // The rows outlive their connection.
    VARNDBClose(conn_);
    conn_ = nullptr;
    EXPECT_STREQ(VARNDBFetchField(result_, 2, "n"), "3");
}

TEST_F(Database, StatementsReturnTheirNumberOfRows) {
    EXPECT_EQ(Execute("CREATE TEMP TABLE t (a int); INSERT INTO t VALUES (1), (2), (3)"), 3);
    EXPECT_EQ(VARNDBNumRows(result_), 0);
    EXPECT_EQ(VARNDBExecute(conn_, "UPDATE t SET a = 9 WHERE a > 1", nullptr), 2);
    EXPECT_EQ(Execute("DELETE FROM t WHERE a = 77"), 0);
    const auto page = [&](int limit, int offset) {
        VARNDBFreeResult(result_);
        return VARNDBSelectLimit(conn_, "SELECT n FROM generate_series(1, 10) n ORDER BY n", limit,
                                 offset, &result_);
    };
    EXPECT_EQ((std::vector{page(0, 0), page(0, 8), page(5, 10), page(5, -1), page(3, 4)}),
              (std::vector{10, 2, 0, -1, 3}));
    EXPECT_STREQ(VARNDBFetchField(result_, 0, "n"), "5");
}

TEST_F(Database, FailuresTellTheReason) {
    EXPECT_EQ(Execute("SELECT * FROM no_such_table"), -1);
    EXPECT_EQ(result_, nullptr);
    EXPECT_NE(std::strstr(VARNDBErrorGet(conn_), "no_such_table"), nullptr);
    EXPECT_NE(VARNDBErrorGet(conn_)[std::strlen(VARNDBErrorGet(conn_)) - 1], '\n');
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_DATABASE);
    EXPECT_NE(std::strstr(VLIBCErrFile(), "db.cpp"), nullptr);
    EXPECT_EQ(Execute("SELECT 1 AS good"), 1) << "the connection is still good";
    EXPECT_EQ(Execute("COPY track FROM STDIN"), -1) << "rows are for VARNDBCopyIn";
    EXPECT_EQ(Execute("SELECT 1 AS good"), 1);

    EXPECT_EQ(VARNDBConnect(At(varn::path::kDatabaseSocketDir).c_str(), "no such role", nullptr,
                            "mediaserver"),
              nullptr);
    EXPECT_NE(std::strstr(VARNDBErrorGet(nullptr), "no such role"), nullptr);
    EXPECT_EQ(Execute("SELECT pg_terminate_backend(pg_backend_pid())"), -1);
    EXPECT_EQ(Execute("SELECT 1"), -1) << "a server that went away";
}

TEST_F(Database, CopiesAllRowsOrNone) {
    ASSERT_EQ(Execute("CREATE TEMP TABLE t (a int, b text)"), 0);
    const std::string rows = "1\tO'Brien\\\\\\t\\n\n2\t\\N\n";
    EXPECT_EQ(VARNDBCopyIn(conn_, "COPY t FROM STDIN", rows.data(), rows.size()), 2);
    EXPECT_EQ(Execute("SELECT b, b IS NULL AS missing FROM t ORDER BY a"), 2);
    EXPECT_STREQ(VARNDBFetchField(result_, 0, "b"), "O'Brien\\\t\n");
    EXPECT_STREQ(VARNDBFetchField(result_, 1, "missing"), "t");

    const std::string bad = "3\tgood\nfour\tbad\n";
    EXPECT_EQ(VARNDBCopyIn(conn_, "COPY t FROM STDIN", bad.data(), bad.size()), -1);
    EXPECT_NE(std::strstr(VARNDBErrorGet(conn_), "four"), nullptr);
    EXPECT_EQ(VARNDBCopyIn(conn_, "COPY no_such FROM STDIN", "", 0), -1);
    EXPECT_EQ(VARNDBCopyIn(conn_, "SELECT 1", "", 0), -1);
    EXPECT_EQ(Execute("SELECT * FROM t"), 2) << "and the connection is still good";

    std::string many;
    for (int n = 0; n < 300000; ++n) {
        many += std::to_string(n) + "\tsome text\n";
    }
    EXPECT_EQ(VARNDBCopyIn(conn_, "COPY t FROM STDIN", many.data(), many.size()), 300000);
}

// A closed connection is kept. The next one to the same database, with the same settings, takes it.
class KeptConnections : public Database {
  protected:
    void SetUp() override {
        Database::SetUp();
        VARNDBBoundStatements(1000);
        Reconnect();
        VARNDBKeepConnections(2);
    }
    void TearDown() override {
        VARNDBKeepConnections(0);
        VARNDBBoundStatements(0);
        unsetenv("PGOPTIONS");
        Database::TearDown();
    }
    std::string One(const char *sql) {
        return Execute(sql) == 1 ? VARNDBFetchFieldAt(result_, 0, 0) : "failed";
    }
    std::string Backend() { return One("SELECT pg_backend_pid()"); }
};

TEST_F(KeptConnections, LeaveNothingBehind) {
    const std::string first = Backend();
    const char *const changes[] = {"SET search_path = pg_catalog",
                                   "CREATE TEMP TABLE t (a int)",
                                   "LISTEN something",
                                   "SELECT pg_advisory_lock(7)",
                                   "PREPARE p AS SELECT 1",
                                   "SELECT SET_CONFIG('search_path', 'public', false)"};
    for (const char *change : changes) {
        ASSERT_GE(Execute(change), 0);
        Reconnect();
        EXPECT_EQ(Backend(), first) << change;
        EXPECT_EQ(One("SELECT concat(current_setting('search_path'), to_regclass('t'), (SELECT "
                      "count(*) FROM pg_locks WHERE locktype = 'advisory'), (SELECT count(*) FROM "
                      "pg_prepared_statements), (SELECT count(*) FROM pg_listening_channels()), "
                      "current_setting('standard_conforming_strings'))"),
                  "\"$user\", public000on")
            << change;
    }
    Execute("BEGIN");
    Reconnect();
    EXPECT_NE(Backend(), first) << "one in a transaction is closed";
}

TEST_F(KeptConnections, AreTakenByTheirKindWhileTheyLive) {
    const std::string first = Backend();
    setenv("PGOPTIONS", "-c statement_timeout=7s", 1);
    Reconnect();
    EXPECT_NE(Backend(), first) << "other settings";
    unsetenv("PGOPTIONS");
    Reconnect("postgres");
    EXPECT_NE(Backend(), first) << "another database";
    Reconnect();
    EXPECT_EQ(Value("SELECT count(*) FROM pg_stat_activity WHERE pid = " + first), "0")
        << "of three the oldest is closed";

    const std::string last = Backend();
    DBConnect_tag *const other = std::exchange(conn_, nullptr);
    Reconnect();
    VARNDBClose(other);
    ASSERT_EQ(Execute(("SELECT pg_terminate_backend(" + last + ", 5000)").c_str()), 1);
    const std::string survivor = Backend();
    DBConnect_tag *const held = std::exchange(conn_, nullptr);
    Reconnect();
    EXPECT_EQ(Execute("SELECT 1"), 1) << "instead of the one that the server has ended";
    VARNDBClose(held);

    EXPECT_TRUE(HoldsInChild([&] {
        conn_ = nullptr;
        Reconnect();
        EXPECT_NE(Backend(), survivor) << "a child has connections of its own";
        VARNDBClose(conn_);
        VARNDBKeepConnections(0);
    }));
    Reconnect();
    EXPECT_EQ(Execute("SELECT 1"), 1) << "and its parent's go on";
}

// Also while it does not take a whole statement.
TEST_F(KeptConnections, AreClosedWhenTheServerHangs) {
    const std::string longer = "SELECT '" + std::string(8U << 20U, 'x') + "'";
    for (const char *statement : {"SELECT 1", longer.c_str()}) {
        const std::string hung = Backend();
        ASSERT_EQ(kill(std::stoi(hung), SIGSTOP), 0);
        VARNDBTroubleClear();
        EXPECT_EQ(Execute(statement), -1);
        EXPECT_EQ(VARNDBTroubleGet(), VARNDB_UNREACHABLE);
        EXPECT_TRUE(Logged("no answer for 1250 ms"));
        ClearLog();
        Reconnect();
        EXPECT_NE(Backend(), hung);
        kill(std::stoi(hung), SIGCONT);
    }
}

}  // namespace

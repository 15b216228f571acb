#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

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
    // Of the two that may say otherwise the variable wins; what else it says is kept.
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

TEST_F(Database, RowsAndFields) {
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

TEST_F(Database, CountsAndPages) {
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

TEST_F(Database, FailuresTellWhy) {
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

TEST_F(Database, CopiesRowsInOrNone) {
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

// A closed connection is taken again as if it were new, and only by its own kind.
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

// Two writers change songs and ratings in turn, in transactions of which some are taken back. All
// that a reader sees of one number is the same, however its rows were put together meanwhile.
TEST_F(Database, ANumberTellsWhatIsSeen) {
    varn::Database writers[] = {varn::Database(varn::ConnectLibrary()),
                                varn::Database(varn::ConnectLibrary())};
    bool isOpen[] = {false, false};
    std::mt19937 random(20);
    varn::Database reader{varn::ConnectLibrary()};
    std::map<std::string, std::string> seen;
    for (int step = 0; step < 1000; ++step) {
        const std::size_t writer = random() % 2;
        const std::string id = std::to_string(random() % 20 * 2 + writer);  // none waits for a row
        const std::string statements[] = {
            isOpen[writer] ? random() % 3 == 0 ? "ROLLBACK" : "COMMIT" : "BEGIN",
            "INSERT INTO track (id, path) VALUES (" + id + ", 'p') ON CONFLICT DO NOTHING",
            "UPDATE track SET year = year + 1 WHERE id = " + id,
            "DELETE FROM track WHERE id = " + id,
            "INSERT INTO rating_track VALUES (" + std::to_string(random() % 2 + kAlice) + ", " +
                id +
                ", 1) ON CONFLICT (track, userid) DO UPDATE SET star = rating_track.star % 5 + 1",
        };
        const std::size_t chosen = random() % std::size(statements);
        writers[writer].Query(statements[chosen]);
        isOpen[writer] = chosen == 0 ? !isOpen[writer] : isOpen[writer];
        for (const auto &[kind, content] :
             {std::pair<std::string, std::string>(
                  "'song', 0", "(SELECT string_agg(t::text, ',' ORDER BY id) FROM track t)"),
              {"'rating', 1030",
               "(SELECT string_agg(r::text, ',' ORDER BY track) FROM rating_track r WHERE userid = "
               "1030)"}}) {
            const varn::Rows row =
                reader.Query("SELECT COALESCE(change_number(" + kind +
                             "), 0) AS number, md5(COALESCE(" + content + ", '')) AS content");
            const std::string shown = row[0].Text("content");
            const auto known = seen.emplace(kind + row[0].Text("number"), shown).first;
            ASSERT_EQ(known->second, shown) << step << " " << statements[chosen];
        }
    }
    for (std::size_t writer = 0; writer < 2; ++writer) {
        writers[writer].Query(isOpen[writer] ? "COMMIT" : "SELECT 1");
    }
    EXPECT_LT(std::stoi(Value("SELECT count(*) FROM change")), 400) << "rows are put together";

    const std::string before = Value("SELECT change_number('song', 0)");
    Query(
        "UPDATE track SET year = 1 WHERE id = 77; DELETE FROM album_track WHERE track = 77; INSERT "
        "INTO playlist (path) SELECT 'p' WHERE false");
    EXPECT_EQ(Value("SELECT change_number('song', 0)"), before) << "nothing was changed";
    Query("TRUNCATE change");
    EXPECT_EQ(Value("SELECT change_number('song', 0) IS NULL"), "t") << "a number that is lost";
}

TEST(Placeholders, EachKind) {
    const auto fill = [](auto... arguments) {
        const varn::Text text(VARNDBEscapeStringEX3(1, arguments...));
        return std::string(text ? text.get() : "(null)");
    };
    EXPECT_EQ(fill("a = '@VARN:VAR'", "O'Br\\ien%_"), "a = 'O''Br\\ien%_'");
    EXPECT_EQ(fill("a = @VARN:INT AND b = @VARN:INT", -5, 0), "a = -5 AND b = 0");
    EXPECT_EQ(fill("@VARN:NEVAR ilike '%%@VARN:NEVAR%%'", "title", "O''Brien"),
              "title ilike '%O''Brien%'");
    EXPECT_EQ(fill("path like '@VARN:LVAR/%%'", "/m/a_b%\\'"), "path like '/m/a\\_b\\%\\\\''/%'");
    EXPECT_EQ(fill("100% %%% @VARN @VARN:"), "100% %% @VARN @VARN:");
    EXPECT_EQ(fill("'@VARN:VAR' '@VARN:VAR'", "@VARN:INT %%", "x"), "'@VARN:INT %%' 'x'")
        << "an argument is not a template";
    EXPECT_EQ(fill("@VARN:VARX", "v"), "vX");
    for (const char *bad :
         {"\xFF", "a\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
        EXPECT_EQ(fill("'@VARN:VAR'", bad), "(null)");
    }
    EXPECT_EQ(fill("'@VARN:VAR'", "\xF0\x9F\x8E\xB5 \xED\x9F\xBF"),
              "'\xF0\x9F\x8E\xB5 \xED\x9F\xBF'");
    EXPECT_EQ(fill("'@VARN:VAR'", static_cast<const char *>(nullptr)), "(null)");
    EXPECT_EQ(VARNDBEscapeStringEX3(1, nullptr), nullptr);
    EXPECT_EQ(VARNDBEscapeStringEX3(2, "x"), nullptr);
}

TEST(Escaping, IntoBuffers) {
    std::array<char, 16> out = {};
    EXPECT_EQ(VARNDBEscapeString("a'b''", out.data(), out.size()), 8);
    EXPECT_STREQ(out.data(), "a''b''''");
    EXPECT_EQ(VARNDBEscapeBackslash("a\\'", out.data(), out.size()), 4);
    EXPECT_STREQ(out.data(), "a\\\\'");
    EXPECT_EQ(VARNDBEscapeString("'''", out.data(), 7), 6);
    EXPECT_EQ(VARNDBEscapeString("'''", out.data(), 6), -1);
    EXPECT_STREQ(out.data(), "");
}

TEST(Escaping, OnlyPatternsOfAFinishedCondition) {
    const auto escaped = [](std::string buffer, std::size_t size) {
        buffer.resize(std::max(size, buffer.size() + 1));
        const int result = EscapeConditionEX(buffer.data(), size);
        return (result == 0 ? "" : "refused ") + std::string(buffer.c_str());
    };
    for (const char *kept : {"", "a = 'x\\y'", "\"like\" = 'x\\y'", "like_it = 'x\\y' or a like b",
                             "a = 'like' || 'x\\y'", "a LIKE E'x\\\\y'"}) {
        EXPECT_EQ(escaped(kept, 64), kept);
    }
    EXPECT_EQ(escaped("a LIKE 'x\\y'", 64), "a LIKE 'x\\\\y'");
    EXPECT_EQ(escaped("a not iLike\n( 'x\\y''z\\' ) and b = '\\'", 64),
              "a not iLike\n( 'x\\\\y''z\\\\' ) and b = '\\'");
    EXPECT_EQ(escaped("a LIKE 'x\\' || 'y\\'", 64), "a LIKE 'x\\\\' || 'y\\'");
    EXPECT_EQ(escaped("a LIKE '\\'", 11), "refused a LIKE '\\'");
    EXPECT_EQ(escaped("a LIKE '\\'", 12), "a LIKE '\\\\'");
    EXPECT_EQ(escaped("a LIKE 'open''", 64), "refused a LIKE 'open''");
}

}  // namespace

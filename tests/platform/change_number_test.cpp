#include <iterator>
#include <map>
#include <random>
#include <utility>

#include "support/fixture.h"

namespace {

using namespace tonvale_test;
using ChangeNumber = DatabaseTest;

// Two writers change songs and ratings in turn and roll some transactions back. When a reader sees
// a number again it sees the same content, even if rows of changes were merged in between.
TEST_F(ChangeNumber, StandsForOneContent) {
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
    // Each change merges the rows of its kind with a chance of 1 in 64.
    Query("SELECT add_change('song', 0) FROM generate_series(1, 3000)");
    EXPECT_LT(std::stoi(Value("SELECT count(*) FROM change WHERE kind = 'song'")), 2000);

    const std::string before = Value("SELECT change_number('song', 0)");
    Query(
        "UPDATE track SET year = 1 WHERE id = 77; DELETE FROM album_track WHERE track = 77; INSERT "
        "INTO playlist (path) SELECT 'p' WHERE false");
    EXPECT_EQ(Value("SELECT change_number('song', 0)"), before) << "nothing was changed";
    Query("TRUNCATE change");
    EXPECT_EQ(Value("SELECT change_number('song', 0) IS NULL"), "t") << "a number that is lost";
}

}  // namespace

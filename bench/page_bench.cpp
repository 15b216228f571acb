// What the query frame costs: a page through AudioInfoDBOpen and the row reader, against the same
// statement through the database's own client library, in turn. Each side connects, runs the
// statement, reads every field of every row, and closes.
//
// Needs TONVALE_ROOT with a running database; bench/run prepares one.
#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include "baseline.h"
#include "compare.h"
#include "tonvale/library.h"
#include "varn/systempath.h"

namespace {

using tonvale_bench::Clock;
using tonvale_bench::Die;
using tonvale_bench::RunStatement;
using tonvale_bench::SecondsSince;

constexpr uid_t kUser = 1024;  // the first account of a new system
constexpr int kPage = 100;

struct Case {
    const char *name;
    const char *condition;
    const char *order;
};

constexpr std::array kCases = {
    Case{"by title", "", "lower(title)"},
    Case{"one artist", "artist_search = UPPER('Artist 77')", "album, disc, track"},
    Case{"one id", " id=4711 ", ""},
};

// The statement that the frame makes of a case.
std::string Statement(const Case &c) {
    const std::array<int, VARN_JOIN_TABLES> flags = {1, 1, 1, 1, 0, 1, 1};
    std::array<char, 4096> table = {};
    std::array<char, 1024> where = {};
    if (GenerateTableString("all", kUser, VARN_TABLE_MUSIC, table.data(), table.size(),
                            where.data(), where.size(), flags.data(), 0) != 0) {
        Die("no track view");
    }
    const std::string condition = *c.condition != '\0' ? std::string("WHERE ") + c.condition : "";
    const std::string order = *c.order != '\0' ? std::string("ORDER BY ") + c.order : "";
    return "SELECT * FROM " + std::string(table.data()) + " " + condition + "  " + order +
           " LIMIT " + std::to_string(kPage) + " OFFSET 0";
}

double Frame(const Case &c) {
    const Clock::time_point start = Clock::now();
    MEDIA_DB_HANDLE *handle =
        AudioInfoDBOpen("all", kUser, VARN_TABLE_MUSIC, "*", c.condition, "", c.order, 0, kPage, 0);
    if (handle == nullptr) {
        Die("the page could not be opened");
    }
    for (VARN_MEDIA_INFO info; MediaInfoDBGet(handle, &info) == 0;) {
        benchmark::DoNotOptimize(info);
    }
    AudioInfoDBClose(handle);
    return SecondsSince(start);
}

void Page(benchmark::State &state) {
    const Case &c = kCases[static_cast<std::size_t>(state.range(0))];
    const std::string statement = Statement(c);
    state.SetLabel(c.name);
    tonvale_bench::Compare(
        state, [&] { return RunStatement(statement); }, [&] { return Frame(c); });
}

BENCHMARK(Page)
    ->DenseRange(0, static_cast<int>(kCases.size()) - 1)
    ->UseManualTime()
    ->Iterations(300)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

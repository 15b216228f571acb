#include "search.h"

#include <algorithm>
#include <sstream>

#include "failure.h"
#include "search_tables.h"
#include "search_terms.h"
#include "songs.h"
#include "tonvale/settings.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

using Tonvale::webapi::WebapiLibrary;

constexpr char kByMatch[] = "match";

// Where a field stands: a line of a song's form, or of its tags'.
struct Field {
    const char *name;
    enum { kEverywhere, kSong, kTags } table;
    int line;
};
constexpr Field kFields[] = {{"all", Field::kEverywhere, 1},    {"title", Field::kSong, 1},
                             {"artist", Field::kTags, 3},       {"album", Field::kTags, 1},
                             {"album_artist", Field::kTags, 2}, {"composer", Field::kTags, 4},
                             {"genre", Field::kSong, 2}};

const Field &FieldOfName(const std::string &name) {
    for (const Field &field : kFields) {
        if (name == field.name) {
            return field;
        }
    }
    throw Failure(Reason::kUnknownSearchField, name);
}

// More songs of one rank are not sorted: those of a page are met on the way through all titles.
constexpr int kMostSorted = 4000;
// More than so many songs are not looked up one by one.
constexpr int kMostCandidates = 3000;

// A search for songs in one field: the pieces of its statements.
class SongSearch {
  public:
    SongSearch(const SearchTerms &terms, const Field &field) : terms_(terms), field_(field) {}

    // FROM and WHERE, for songs `s`. The tags are looked at one by one for all songs, or for each song
    // that other conditions leave.
    enum class Tags { kAll, kOfSong };
    std::string From(Tags tags) const;
    std::string Rank() const;

    // The songs that have the longest word, for an index. Only everywhere it needs them.
    std::string Candidates() const;
    bool HasCandidates() const { return field_.table == Field::kEverywhere && terms_.HasAnchor(); }

  private:
    std::string InLine(const std::string &form) const {
        return terms_.HasAll(form) + " AND " + terms_.HasAll(LineOf(form, field_.line));
    }
    std::string Everywhere(Tags tags) const;

    const SearchTerms &terms_;
    const Field &field_;
};

std::string SongSearch::Everywhere(Tags tags) const {
    std::string columns = "id", condition;
    for (std::size_t word = 0; word < terms_.Count(); ++word) {
        const std::string number = std::to_string(word);
        columns += ", " + terms_.Has(word, "form") + " AS has" + number + ", " +
                   terms_.Begins(word, "COALESCE(words, form)") + " AS begins" + number;
        condition += " AND (" + terms_.Has(word, "s.form") + " OR t.has" + number + ")";
    }
    return "song_text s JOIN (SELECT " + columns + " FROM tag_text" +
           (tags == Tags::kAll ? " OFFSET 0" : "") + ") t ON t.id = s.tags WHERE true" + condition;
}

std::string SongSearch::From(Tags tags) const {
    switch (field_.table) {
        case Field::kSong:
            return "song_text s WHERE " + InLine("s.form");
        case Field::kTags:
            return "song_text s JOIN tag_text t ON t.id = s.tags WHERE " + InLine("t.form");
        case Field::kEverywhere:
            break;
    }
    return Everywhere(tags);
}

std::string SongSearch::Rank() const {
    const std::string table = field_.table == Field::kTags ? "t" : "s";
    const std::string words = "COALESCE(" + table + ".words, " + table + ".form)";
    if (field_.table != Field::kEverywhere) {
        return terms_.Rank(LineOf(table + ".form", field_.line),
                           terms_.BeginsAll(LineOf(words, field_.line)));
    }
    std::string begins = "true";
    for (std::size_t word = 0; word < terms_.Count(); ++word) {
        begins +=
            " AND (" + terms_.Begins(word, words) + " OR t.begins" + std::to_string(word) + ")";
    }
    return terms_.Rank("s.form", begins);
}

std::string SongSearch::Candidates() const {
    return "SELECT track FROM song_text s WHERE " + terms_.HasTheAnchor("form") +
           " UNION ALL SELECT s.track FROM song_text s JOIN tag_text t ON t.id = s.tags WHERE " +
           terms_.HasTheAnchor("t.form") + " LIMIT " + std::to_string(kMostCandidates + 1);
}

// The songs of one rank; their ids when they are not too many.
struct Class {
    int rank;
    int64_t count;
    std::string ids;
};

// The ranked songs of a search.
class Ranking {
  public:
    Ranking(varn::Database &database, const SongSearch &search, const ListRequest &request);

    int64_t Total() const;
    std::vector<int> Page(int offset, int limit) const;

  private:
    std::vector<int> Part(const Class &rank, int64_t offset, int64_t limit) const;

    varn::Database &database_;
    std::string ranked_, unranked_;  // FROM and WHERE of all its songs, and of one song `o`
    std::string rank_;
    std::vector<Class> classes_;
};

Ranking::Ranking(varn::Database &database, const SongSearch &search, const ListRequest &request)
    : database_(database), rank_(search.Rank()) {
    const std::string seen = " AND " + SeenSongs(request);
    std::string candidates;
    if (search.HasCandidates()) {
        const varn::Rows rows = database_.Query(search.Candidates());
        if (rows.Count() <= kMostCandidates) {
            for (const varn::Row row : rows) {
                candidates += (candidates.empty() ? "" : ",") + std::string(row.Text("track"));
            }
            candidates = " AND s.track = ANY ('{" + candidates + "}')";
        }
    }
    using Tags = SongSearch::Tags;
    unranked_ = search.From(Tags::kOfSong) + seen;
    ranked_ = (candidates.empty() ? search.From(Tags::kAll) : search.From(Tags::kOfSong)) + seen +
              candidates;
    const std::string most = std::to_string(kMostSorted);
    for (const varn::Row row :
         database_.Query("SELECT rank, count(*) AS count, CASE WHEN count(*) <= " + most +
                         " THEN array_agg(track) END AS ids FROM (SELECT s.track, " + rank_ +
                         " AS rank FROM " + ranked_ + ") x GROUP BY rank ORDER BY rank")) {
        classes_.push_back(
            {static_cast<int>(row.Number("rank")), row.Number("count"), row.Text("ids")});
    }
}

int64_t Ranking::Total() const {
    int64_t total = 0;
    for (const Class &rank : classes_) {
        total += rank.count;
    }
    return total;
}

std::vector<int> Ranking::Part(const Class &rank, int64_t offset, int64_t limit) const {
    constexpr SortColumn kTitle{"title", "o.title_sort", true};
    const std::string from = rank.count <= kMostSorted
                                 ? "track o WHERE id = ANY ('" + rank.ids + "')"
                                 : "track o, LATERAL (SELECT FROM " + unranked_ +
                                       " AND s.track = o.id AND " + rank_ + " = " +
                                       std::to_string(rank.rank) + " OFFSET 0) x";
    std::vector<int> ids;
    for (const varn::Row row : database_.Query(
             "SELECT o.id FROM " + from + " ORDER BY " + Expression(kTitle) + ", o.id OFFSET " +
             std::to_string(offset) + " LIMIT " + std::to_string(limit))) {
        ids.push_back(static_cast<int>(row.Number("id")));
    }
    return ids;
}

std::vector<int> Ranking::Page(int offset, int limit) const {
    std::vector<int> page;
    int64_t start = offset;
    int64_t left = limit > 0 ? limit : Total();
    for (const Class &rank : classes_) {
        if (const int64_t count = std::min(rank.count - start, left); count > 0) {
            const std::vector<int> part = Part(rank, start, count);
            page.insert(page.end(), part.begin(), part.end());
            left -= count;
        }
        start = std::max<int64_t>(start - rank.count, 0);
    }
    return page;
}

}  // namespace

const std::vector<std::string> &SearchFields() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Field &field : kFields) {
            all.emplace_back(field.name);
        }
        return all;
    }();
    return names;
}

const std::vector<std::string> &SearchSortKeys() {
    static const std::vector<std::string> keys = [] {
        std::vector<std::string> all = SongSortKeys();
        all.insert(all.begin(), kByMatch);
        return all;
    }();
    return keys;
}

std::unique_ptr<SongPage> SearchSongs(const ListRequest &request, const std::string &keyword,
                                      const std::string &name, const WebapiLibrary &writer) {
    const Field &field = FieldOfName(name);
    std::vector<int> ids;
    int64_t total = 0;
    std::string found;
    AskTables([&](varn::Database &database) {
        const SearchTerms terms(database, keyword);
        const SongSearch search(terms, field);
        if (!request.sortBy.empty() && request.sortBy != kByMatch) {
            found = "id IN (SELECT s.track FROM " + search.From(SongSearch::Tags::kAll) + ")";
            return;
        }
        const Ranking ranking(database, search, request);
        total = ranking.Total();
        ids = ranking.Page(request.offset, request.limit);
    });
    return found.empty() ? SongsInOrder(request, ids, total, writer)
                         : ListSongs(request, writer, found);
}

}  // namespace tonvale_service

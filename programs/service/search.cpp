#include "search.h"

#include "failure.h"
#include "search_tables.h"
#include "search_terms.h"
#include "songs.h"

namespace tonvale_service {

namespace {

constexpr char kByMatch[] = "match";

// A field is a line of a song's form. Its texts are indexed with the song, or with its tags.
struct Field {
    const char *name;
    int line;  // 0: all of them
    bool isOfSong, isOfTags;
};
constexpr Field kFields[] = {{"all", 0, true, true},           {"title", 1, true, false},
                             {"artist", 5, false, true},       {"album", 3, false, true},
                             {"album_artist", 4, false, true}, {"composer", 6, false, true},
                             {"genre", 2, true, false}};

const Field &FieldOfName(const std::string &name) {
    for (const Field &field : kFields) {
        if (name == field.name) {
            return field;
        }
    }
    throw Failure(Reason::kUnknownSearchField, name);
}

// True for the songs that match.
std::string Matches(const SearchTerms &terms, const Field &field) {
    const std::string anywhere = terms.HasAll("s.form");
    return field.line == 0 ? anywhere
                           : anywhere + " AND " + terms.HasAll(LineOf("s.form", field.line));
}

std::string RankOf(const SearchTerms &terms, const Field &field) {
    const std::string words = "COALESCE(s.words, s.form)";
    return field.line == 0 ? terms.Rank("s.form", terms.BeginsAll(words))
                           : terms.Rank(LineOf("s.form", field.line),
                                        terms.BeginsAll(LineOf(words, field.line)));
}

// More songs than so many are not looked up one by one.
constexpr int kMostCandidates = 3000;

// The songs that have a word.
std::string Having(const SearchTerms &terms, std::size_t word, const Field &field) {
    std::string statement;
    if (field.isOfSong) {
        statement = "SELECT track FROM song_text WHERE " + terms.Has(word, "own_lines(form)");
    }
    if (field.isOfTags) {
        statement += (statement.empty() ? "" : " UNION ALL ") +
                     ("SELECT s.track FROM tag_text t JOIN song_text s ON s.tags = t.id WHERE " +
                      terms.Has(word, "t.form"));
    }
    return statement;
}

// True for those few songs that have one of the words, where an index finds them; else for all.
std::string Candidates(varn::Database &database, const SearchTerms &terms, const Field &field) {
    for (const std::size_t word : terms.Indexed()) {
        const varn::Rows rows = database.Query(Having(terms, word, field) + " LIMIT " +
                                               std::to_string(kMostCandidates + 1));
        if (rows.Count() <= kMostCandidates) {
            std::string ids;
            for (const varn::Row row : rows) {
                ids += (ids.empty() ? "" : ",") + std::string(row.Text("track"));
            }
            return "s.track = ANY ('{" + ids + "}')";
        }
    }
    return "true";
}

// The ids of a page, best matches first, and how many songs match.
struct Found {
    std::vector<int> ids;
    int64_t total = 0;
};

// What stands after FROM for the songs that match.
std::string FromMatching(varn::Database &database, const SearchTerms &terms, const Field &field,
                         const ListRequest &request) {
    return " FROM song_text s WHERE " + Candidates(database, terms, field) + " AND " +
           Matches(terms, field) + " AND " + SeenSongs(request);
}

std::vector<int> MatchingIds(varn::Database &database, const SearchTerms &terms, const Field &field,
                             const ListRequest &request, const std::string &from) {
    std::vector<int> ids;
    for (const varn::Row row :
         database.Query("SELECT s.track" + from + " ORDER BY " + RankOf(terms, field) + ", " +
                        Expression({"title", "s.title_sort", true}) + ", s.track" +
                        Paged(request.offset, request.limit))) {
        ids.push_back(static_cast<int>(row.Number("track")));
    }
    return ids;
}

Found FindSongs(varn::Database &database, const SearchTerms &terms, const Field &field,
                const ListRequest &request) {
    const std::string from = FromMatching(database, terms, field, request);
    Found found{MatchingIds(database, terms, field, request, from)};
    const auto count = static_cast<int64_t>(found.ids.size());
    const bool isLast =
        (count > 0 || request.offset == 0) && (request.limit == 0 || count < request.limit);
    // Two scans cost less than one that keeps every song to count it.
    found.total = isLast ? request.offset + count
                         : database.Query("SELECT count(*) AS total" + from)[0].Number("total");
    return found;
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

std::vector<int> RowsThatMatch(const ListRequest &request, const std::string &keyword) {
    const Field &field = kFields[0];
    std::vector<int> rows;
    AskTables([&](varn::Database &database) {
        const SearchTerms terms(database, keyword);
        rows = MatchingIds(database, terms, field, request,
                           FromMatching(database, terms, field, request));
    });
    return rows;
}

std::unique_ptr<SongPage> SearchSongs(const ListRequest &request, const std::string &keyword,
                                      const std::string &name, const TrackWriter &writer) {
    const Field &field = FieldOfName(name);
    Found found;
    std::string condition;
    AskTables([&](varn::Database &database) {
        const SearchTerms terms(database, keyword);
        if (request.sortBy.empty() || request.sortBy == kByMatch) {
            found = FindSongs(database, terms, field, request);
        } else {
            condition = "id IN (SELECT s.track FROM song_text s WHERE " +
                        Candidates(database, terms, field) + " AND " + Matches(terms, field) + ")";
        }
    });
    return condition.empty() ? SongsInOrder(request, found.ids, found.total, writer)
                             : ListSongs(request, writer, condition);
}

}  // namespace tonvale_service

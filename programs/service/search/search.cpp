#include "service/search/search.h"

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_set>

#include "service/base/failure.h"
#include "service/search/search_tables.h"
#include "service/search/search_terms.h"
#include "service/search/song_texts.h"
#include "service/songs/songs.h"

namespace tonvale_service {

namespace {

constexpr char kByMatch[] = "match";
constexpr std::size_t kRanks = 4;

// A field is a line of a song's form.
struct Field {
    const char *name;
    int line;  // 0: all of them
};
constexpr Field kFields[] = {{"all", 0},          {"title", 1},    {"artist", 5}, {"album", 3},
                             {"album_artist", 4}, {"composer", 6}, {"genre", 2}};

const Field &FieldOfName(const std::string &name) {
    for (const Field &field : kFields) {
        if (name == field.name) {
            return field;
        }
    }
    throw Failure(Reason::kUnknownSearchField, name);
}

// The rows that a request's filters let through; nothing without filters.
std::optional<std::unordered_set<int>> FilteredRows(varn::Database &database,
                                                    const ListRequest &request) {
    const std::string filtered = FilteredSongs(request);
    if (filtered.empty()) {
        return std::nullopt;
    }
    std::unordered_set<int> rows;
    for (const varn::Row row :
         database.Query("SELECT s.track FROM song_text s WHERE " + filtered)) {
        rows.insert(static_cast<int>(row.Number("track")));
    }
    return rows;
}

// The songs that match, best matches first.
std::vector<int> FindSongs(const ListRequest &request, const std::string &keyword,
                           const Field &field) {
    std::optional<SearchTerms> terms;
    std::optional<std::unordered_set<int>> filtered;
    AskTables([&](varn::Database &database) {
        terms.emplace(database, keyword);
        filtered = FilteredRows(database, request);
    });
    const SeenSongs seen(request);
    const SongTexts texts = SongTexts::Now();
    std::array<std::vector<int>, kRanks> found;
    for (std::size_t place = texts.Next(terms->Longest(), 0); place < texts.Count();
         place = texts.Next(terms->Longest(), place + 1)) {
        const SongText song = texts[place];
        const auto looked = [&](std::string_view text) {
            return field.line == 0 ? text : LineIn(text, field.line);
        };
        if (terms->IsIn(looked(song.form)) && seen.Lets(song.kind, song.owner) &&
            (!filtered || filtered->count(song.track) > 0)) {
            const int rank = terms->RankOf(looked(song.form), looked(song.words));
            found[static_cast<std::size_t>(rank - 1)].push_back(song.track);
        }
    }
    std::vector<int> all = std::move(found.front());
    for (std::size_t rank = 1; rank < kRanks; ++rank) {
        all.insert(all.end(), found[rank].begin(), found[rank].end());
    }
    return all;
}

// The same in the order of a list.
std::vector<int> InOrderOf(ListRequest request, const std::vector<int> &found) {
    request.offset = 0;
    request.limit = 0;
    const std::unordered_set<int> wanted(found.begin(), found.end());
    std::vector<int> rows = SongRows(request);
    std::erase_if(rows, [&](int row) { return wanted.count(row) == 0; });
    return rows;
}

// The page of them that a request asks for.
std::vector<int> PageOf(const ListRequest &request, const std::vector<int> &rows) {
    const int64_t end = EndOfPage(request.offset, request.limit, static_cast<int64_t>(rows.size()));
    return {rows.begin() + std::min<int64_t>(request.offset, end), rows.begin() + end};
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
    return PageOf(request, FindSongs(request, keyword, kFields[0]));
}

std::unique_ptr<SongPage> SearchSongs(const ListRequest &request, const std::string &keyword,
                                      const std::string &name, const TrackWriter &writer) {
    std::vector<int> found = FindSongs(request, keyword, FieldOfName(name));
    if (!request.sortBy.empty() && request.sortBy != kByMatch) {
        found = InOrderOf(request, found);
    }
    return SongsInOrder(request, PageOf(request, found), static_cast<int64_t>(found.size()),
                        writer);
}

}  // namespace tonvale_service

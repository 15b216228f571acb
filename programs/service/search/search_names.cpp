// Searches for what songs have in common, for playlists, and for all at once.
#include <algorithm>
#include <array>
#include <utility>

#include "service/base/failure.h"
#include "service/playlists/playlists.h"
#include "service/search/search.h"
#include "service/search/search_tables.h"
#include "service/search/search_terms.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

// A page that is whole from the start.
class FoundPage : public Page {
  public:
    FoundPage(const std::string &list, int offset, int64_t total, Json::Value found)
        : Page(list, offset, total), found_(std::move(found)) {}

    Json::Value Next() override { return std::exchange(found_, Json::Value(Json::arrayValue)); }

  private:
    Json::Value found_;
};

// A line of a form of tag_text.
template <int Number>
std::string Line(const std::string &form) {
    return LineOf(form, Number);
}

// An album without an album artist is looked for with the artists of its songs.
std::string AlbumLines(const std::string &form) {
    return LineOf(form, 1) + " || CASE album_artist WHEN '' THEN " + LineOf(form, 3) + " ELSE " +
           LineOf(form, 2) + " END";
}

// The rows of tag_text with a column as `name`, another ("" for none) as `more`, and `looked`, in
// which the words are looked for. `begun` has the same lines as words.
std::string NamesFrom(const std::string &name, const std::string &more,
                      std::string (*lines)(const std::string &form)) {
    const bool hasMore = !more.empty();
    return "SELECT id, " + name + " AS name, " + name + "_sort AS name_sort, " +
           (hasMore ? more : "''") + " AS more, " + (hasMore ? more + "_sort" : "''") +
           " AS more_sort, form, " + lines("form") + " AS looked, " +
           lines("COALESCE(words, form)") + " AS begun FROM tag_text";
}

// A kind of names.
struct NameKind {
    const char *list;
    std::string from;  // NamesFrom
    const char *key;   // what is one name
};

const auto &NameKinds() {
    static const std::array kinds = {
        NameKind{"albums", NamesFrom("album", "album_artist", AlbumLines),
                 "name, more, name_sort, more_sort"},
        NameKind{"artists",
                 NamesFrom("artist", "", Line<3>) + " UNION ALL " +
                     NamesFrom("album_artist", "", Line<2>) + " WHERE album_artist <> artist",
                 "upper(name), name_sort"},
        NameKind{"composers", NamesFrom("composer", "", Line<4>), "name, name_sort"}};
    return kinds;
}

// Names in their order, of songs that the request lets through.
std::string Statement(const NameKind &names, const SearchTerms &terms, const ListRequest &request) {
    const std::string sortName = Expression({"name", "min(name_sort)", true});
    const std::string sortMore = Expression({"more", "min(more_sort)", true});
    return "SELECT max(name) AS name, max(more) AS more, min(" +
           terms.Rank("looked", terms.BeginsAll("begun")) +
           ") AS rank, count(*) OVER () AS total"
           " FROM (" +
           names.from + ") t WHERE name <> '' AND " + terms.HasAll("form") + " AND " +
           terms.HasAll("looked") +
           " AND EXISTS (SELECT FROM song_text s WHERE s.tags = t.id AND " + ShownSongs(request) +
           ") GROUP BY " + names.key + " ORDER BY rank, " + sortName + ", " + sortMore +
           ", name, more";
}

// A page of the rows of a statement that tells the total with each row.
template <typename ToObject>
std::unique_ptr<Page> FoundRows(varn::Database &database, const std::string &list,
                                const std::string &statement, int offset, int limit,
                                const ToObject &toObject) {
    const varn::Rows rows = database.Query(statement + Paged(offset, limit));
    Json::Value found(Json::arrayValue);
    int64_t total = 0;
    for (const varn::Row row : rows) {
        total = row.Number("total");
        found.append(toObject(row));
    }
    if (rows.Count() == 0 && offset > 0) {
        const varn::Rows first = database.Query(statement + Paged(0, 1));
        total = first.Count() > 0 ? first[0].Number("total") : 0;
    }
    return std::make_unique<FoundPage>(list, offset, total, std::move(found));
}

// The playlists' own texts, each with its number from 1 on.
std::string NamesTable(const Json::Value &playlists) {
    std::string rows;
    for (Json::ArrayIndex i = 0; i < playlists.size(); ++i) {
        rows += (i == 0 ? "(" : ",(") + std::to_string(i) +
                Made(varn::Sql(", '@VARN:VAR')", playlists[i]["name"].asString()));
    }
    return "(SELECT number, name, form, COALESCE(search_words(form), form) AS words FROM (VALUES " +
           rows +
           ") AS v (number, name), LATERAL (SELECT ' ' || search_form(name) || E'\\n' AS form)"
           " f)";
}

Json::Value Everything(Page &page) {
    Json::Value all(Json::arrayValue);
    for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
        for (Json::Value &object : part) {
            all.append(std::move(object));
        }
    }
    return all;
}

}  // namespace

const std::vector<std::string> &SearchedGroups() {
    static const std::vector<std::string> kinds = [] {
        std::vector<std::string> all;
        for (const NameKind &names : NameKinds()) {
            all.emplace_back(names.list);
        }
        return all;
    }();
    return kinds;
}

std::unique_ptr<Page> SearchGroups(const std::string &kind, const ListRequest &request,
                                   const std::string &keyword) {
    const auto names = std::find_if(NameKinds().begin(), NameKinds().end(),
                                    [&](const NameKind &known) { return kind == known.list; });
    if (names == NameKinds().end()) {
        throw Failure(Reason::kUnknownSearchField, kind);
    }
    std::unique_ptr<Page> page;
    AskTables([&](varn::Database &database) {
        const SearchTerms terms(database, keyword);
        page = FoundRows(database, names->list, Statement(*names, terms, request), request.offset,
                         request.limit, [&](const varn::Row &row) {
                             Json::Value object(Json::objectValue);
                             object["name"] = row.Text("name");
                             if (kind == NameKinds().front().list) {
                                 object["album_artist"] = row.Text("more");
                             }
                             return object;
                         });
    });
    return page;
}

std::unique_ptr<Page> SearchPlaylists(const std::vector<Collection> &collections,
                                      const std::string &keyword, int offset, int limit) {
    const Json::Value playlists = Everything(*ListPlaylists(collections, 0, 0));
    std::unique_ptr<Page> page;
    AskTables([&](varn::Database &database) {
        const SearchTerms terms(database, keyword);
        if (playlists.empty()) {
            page = std::make_unique<FoundPage>("playlists", offset, 0, playlists);
            return;
        }
        const std::string statement = "SELECT number, count(*) OVER () AS total FROM " +
                                      NamesTable(playlists) + " t WHERE " + terms.HasAll("form") +
                                      " ORDER BY " + terms.Rank("form", terms.BeginsAll("words")) +
                                      ", " + Expression({"name", "name", true}) + ", number";
        page =
            FoundRows(database, "playlists", statement, offset, limit, [&](const varn::Row &row) {
                return playlists[static_cast<Json::ArrayIndex>(row.Number("number"))];
            });
    });
    return page;
}

Json::Value SearchAll(const ListRequest &request, const std::string &keyword,
                      const std::vector<Collection> &collections, const TrackWriter &writer) {
    Json::Value data(Json::objectValue);
    const auto add = [&](std::unique_ptr<Page> page) {
        data["total"][page->ListName()] = Json::Int64{page->Total()};
        data[page->ListName()] = Everything(*page);
    };
    add(SearchSongs(request, keyword, SearchFields().front(), writer));
    for (const std::string &kind : SearchedGroups()) {
        add(SearchGroups(kind, request, keyword));
    }
    add(SearchPlaylists(collections, keyword, 0, request.limit));
    return data;
}

}  // namespace tonvale_service

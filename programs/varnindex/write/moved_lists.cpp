#include "varnindex/write/moved_lists.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>
#include <sstream>
#include <unordered_map>

#include "varn/sql.h"

namespace varnindex {
namespace {

// Both sides are numbered among those that cannot be told apart, so that each is taken once.
constexpr const char kFind[] =
    "INSERT INTO moved_list SELECT g.id, g.emptied, g.path, f.path FROM"
    " (SELECT id, emptied, path, userid, contents, k.key, row_number() OVER"
    " (PARTITION BY userid, contents, k.key ORDER BY path COLLATE \"C\") AS number"
    " FROM gone_list JOIN known_list USING (id), LATERAL (SELECT @VARN:NEVAR AS key) k"
    " WHERE contents IS NOT NULL AND id NOT IN (SELECT id FROM moved_list)) g"
    " JOIN (SELECT path, userid, contents, k.key, row_number() OVER"
    " (PARTITION BY userid, contents, k.key ORDER BY path COLLATE \"C\") AS number"
    " FROM found_place p, LATERAL (SELECT @VARN:NEVAR AS key) k WHERE is_list"
    " AND contents IS NOT NULL AND path NOT IN (SELECT new FROM moved_list) AND NOT EXISTS"
    " (SELECT FROM known_list l WHERE l.path = p.path AND l.userid = p.userid)) f"
    " USING (userid, contents, key, number)";
constexpr const char *kKeys[] = {"regexp_replace(path, '^.*/', '')", "mdate::text"};

// A row that the library has changed since the scan began is its own.
constexpr const char kMove[] =
    "WITH moved AS (UPDATE @VARN:NEVAR t SET path = m.new FROM moved_list m WHERE t.id = m.id"
    " AND t.path = m.old AND NOT EXISTS (SELECT FROM @VARN:NEVAR o WHERE o.path = m.new)"
    " RETURNING m.old, m.new) UPDATE playlist_sharing s SET path = moved.new FROM moved"
    " WHERE s.path = moved.old";

constexpr const char kPins[] = "SELECT id, criteria FROM pin WHERE type = 'playlist'";
constexpr const char kPathOfPin[] = "path";

std::optional<Json::Value> Parsed(const std::string &text) {
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, nullptr) &&
            value.isObject()) {
            return value;
        }
    } catch (const Json::Exception &) {  // nested too deep
    }
    return std::nullopt;
}

// In the form in which criteria are stored and compared.
std::string Text(const Json::Value &value) {
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    return Json::writeString(compact, value);
}

void MovePins(Database &database) {
    std::unordered_map<std::string, std::string> moved;
    const Rows lists = database.Query("SELECT old, new FROM moved_list");
    for (int row = 0; row < lists.Count(); ++row) {
        moved.emplace(lists.Field(row, "old"), lists.Field(row, "new"));
    }
    const Rows pins = database.Query(kPins);
    for (int row = 0; row < pins.Count(); ++row) {
        auto criteria = Parsed(pins.Field(row, "criteria"));
        if (!criteria || !(*criteria)[kPathOfPin].isString()) {
            continue;
        }
        const auto place = moved.find((*criteria)[kPathOfPin].asString());
        if (place != moved.end()) {
            (*criteria)[kPathOfPin] = place->second;
            database.Execute(
                Made(varn::Sql("UPDATE pin SET criteria = '@VARN:VAR' WHERE id = '@VARN:VAR'",
                               Text(*criteria), pins.Field(row, "id"))));
        }
    }
}

}  // namespace

std::vector<MovedList> FindMovedLists(Database &database) {
    std::vector<MovedList> moved;
    if (database.Query("SELECT FROM gone_list LIMIT 1").Count() == 0) {
        return moved;
    }
    for (const char *key : kKeys) {
        database.Execute(Made(varn::Sql(kFind, key, key)));
    }
    const Rows rows = database.Query(
        "SELECT id, COALESCE(emptied, -1) AS emptied, old, new"
        " FROM moved_list ORDER BY new");
    for (int row = 0; row < rows.Count(); ++row) {
        MovedList &list = moved.emplace_back();
        list.id = static_cast<int>(rows.Number(row, "id"));
        if (const auto emptied = rows.Number(row, "emptied"); emptied >= 0) {
            list.emptied = static_cast<std::size_t>(emptied);
        }
        list.from = rows.Field(row, "old");
        list.to = rows.Field(row, "new");
    }
    return moved;
}

void MoveLists(Database &database) {
    if (database.Query("SELECT FROM moved_list LIMIT 1").Count() == 0) {
        return;
    }
    for (const char *table : {"playlist", "personal_playlist"}) {
        database.Execute(Made(varn::Sql(kMove, table, table)));
    }
    MovePins(database);
}

}  // namespace varnindex

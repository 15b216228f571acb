#include "pin/path_index.h"

#include "musiclib/query.h"
#include "pin/source.h"
#include "support/log.h"
#include "support/statement.h"
#include "varn/sql.h"

namespace Tonvale::pin {

namespace {

// Nothing for a path that is not UTF-8, which is in no library.
std::optional<std::string> Quoted(const std::string &path) {
    return varn::Sql("'@VARN:VAR'", path);
}

}  // namespace

void PathIndex::Want(const Place &place, const std::string &path) {
    if (const auto quoted = Quoted(path)) {
        std::string &list = sections_[place].list;
        list += (list.empty() ? "" : ", ") + *quoted;
    }
}

std::optional<PathIndex::Rows> PathIndex::Read(const Place &place, const std::string &list) {
    DBConnect_tag *const conn = database_.Get();
    musiclib::TableText view;
    std::optional<varn::Rows> read;
    if (conn == nullptr ||
        !musiclib::BuildTableOrLog({place.library.c_str(), uid_, place.table}, {},
                                   musiclib::GenreRows::kJoined, view) ||
        !(read = support::Execute(
              kSource, conn,
              "SELECT id, path, title FROM " + view.table + " WHERE path IN (" + list + ")"))) {
        LOG_ERROR(kSource, "Failed to open media database.");
        return std::nullopt;
    }
    Rows rows;
    for (const varn::Row row : *read) {
        rows.try_emplace(row.Text("path"), Row{row.Text("id"), row.TextIfAny("title")});
    }
    return rows;
}

Found PathIndex::Find(const Place &place, const std::string &path, Row &row) {
    if (!Quoted(path)) {
        LOG_ERROR(kSource, "Failed to escape string [%s]", path.c_str());
        return Found::kFailed;
    }
    Section &section = sections_[place];
    if (!section.isRead) {
        section.rows = Read(place, section.list);
        section.isRead = true;
    }
    if (!section.rows) {
        return Found::kFailed;
    }
    const auto found = section.rows->find(path);
    if (found == section.rows->end()) {
        return Found::kNo;
    }
    row = found->second;
    return Found::kYes;
}

}  // namespace Tonvale::pin

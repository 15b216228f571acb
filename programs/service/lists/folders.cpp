#include "service/lists/folders.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <filesystem>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/kept_list.h"
#include "service/songs/songs.h"
#include "tonvale/paths.h"
#include "varn/host.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

using Tonvale::webapi::WebapiLibrary;

constexpr int kFoldersAtATime = 256;
// Row ids come from one sequence: the number tells a folder in any library.
constexpr std::string_view kPrefix = "dir_";
constexpr std::string_view kPersonalPrefix = "dir_p_";
constexpr char kColumns[] =
    "id, path, title, date, "
    "id IN (SELECT id FROM personal_directory) AS is_personal";

constexpr SortColumn kByName = {"name", "title", true};
constexpr SortColumn kSortColumns[] = {{"path", "path"}, kByName, {"date", "date"}};

Tonvale::MediaHandle Open(const ListRequest &request, const std::string &condition,
                          const std::string &order, int offset, int limit,
                          const std::string &more = "") {
    const std::string columns = kColumns + (more.empty() ? "" : ", " + more);
    Tonvale::MediaHandle rows(
        AudioInfoDBOpen(request.library.c_str(), request.uid, VARN_TABLE_DIRECTORY, columns.c_str(),
                        condition.c_str(), nullptr, order.c_str(), offset, limit, 0));
    if (!rows) {
        NoAnswer();
    }
    return rows;
}

int64_t Count(const ListRequest &request, int table, const std::string &condition) {
    const int64_t count = AudioInfoDBGetCount(request.library.c_str(), request.uid, table, "*",
                                              condition.c_str(), nullptr, 0);
    if (count < 0) {
        NoAnswer();
    }
    return count;
}

// A part of a list that was read: where it begins, how many rows were asked for, how many came.
struct Part {
    int offset, limit, count;
};

// How long the list is. A part that ends before its limit tells it, without another statement.
int64_t Total(const ListRequest &request, int table, const std::string &condition,
              const Part &part) {
    const bool isAtEnd = part.limit == 0 || part.count < part.limit;
    const bool isPast = part.count == 0 && part.offset > 0;
    return isAtEnd && !isPast ? int64_t{part.offset} + part.count
                              : Count(request, table, condition);
}

// Where a folder is, and the version of the library that has it there.
struct Place {
    std::string path;
    bool hasSongs;  // any user's
    Version version;
};

Place PlaceOf(const ListRequest &request, int row) {
    const Tonvale::MediaHandle rows =
        Open(request, *varn::Sql("id = @VARN:INT", row), "", 0, 1,
             "EXISTS (SELECT FROM (SELECT folder_of(path) AS folder FROM track) t"
             " WHERE folder = path) AS has_songs, " +
                 VersionColumns(request.uid));
    if (rows->rowCount == 0) {
        throw Failure(Reason::kNoSuchFolder, std::to_string(row));
    }
    return {FieldOf(rows, 0, "path"), FieldOf(rows, 0, "has_songs") == "t", VersionOf(rows)};
}

// A path from the database can always stand in a statement.
std::string Below(const std::string &path) {
    const auto condition = varn::Sql("path LIKE '@VARN:LVAR/%%'", path);
    if (!condition) {
        NoAnswer();
    }
    return *condition;
}

std::string InFolder(const std::string &path) {
    const auto condition = varn::Sql("folder_of(path) = '@VARN:VAR'", path);
    if (!condition) {
        NoAnswer();
    }
    return *condition;
}

// The folders that a walk through the library begins with.
std::string Roots(const std::string &user) {
    std::vector<std::string> paths = varn::host::IndexedFolders();
    paths.push_back(AudioFile::GetHomeMusicPath(user));
    std::string list;
    for (const std::string &path : paths) {
        std::string normal = std::filesystem::path(path).lexically_normal().string();
        if (normal.size() > 1 && normal.ends_with('/')) {
            normal.pop_back();
        }
        const auto literal = varn::Sql("'@VARN:VAR'", normal);
        list += literal ? (list.empty() ? "" : ", ") + *literal : "";
    }
    return list.empty() ? "false" : "path IN (" + list + ")";
}

// The folder of a path after those that it lies in, as far as the library has them.
std::string WayTo(const std::string &path) {
    std::string list;
    for (std::filesystem::path step = path; step.has_relative_path(); step = step.parent_path()) {
        const auto literal = varn::Sql("'@VARN:VAR'", step.string());
        list += literal ? (list.empty() ? "" : ", ") + *literal : "";
    }
    return list.empty() ? "false" : "path IN (" + list + ")";
}

Json::Value TrailTo(const ListRequest &request, const std::string &path) {
    const Tonvale::MediaHandle rows = Open(request, WayTo(path), "length(path)", 0, 0);
    Json::Value trail(Json::arrayValue);
    for (int i = 0; i < rows->rowCount; ++i) {
        Json::Value &step = trail.append(Json::Value(Json::objectValue));
        step["id"] = FolderId(rows, i);
        step["name"] = FieldOf(rows, i, "title");
    }
    return trail;
}

// A folder as it stands in a kept list: its fields, each ended by a null byte.
std::string RecordOf(const Tonvale::MediaHandle &rows, int row) {
    std::string record;
    for (const std::string &field : {FolderId(rows, row), FieldOf(rows, row, "title"),
                                     FieldOf(rows, row, "path"), FieldOf(rows, row, "date")}) {
        record += field;
        record += '\0';
    }
    return record;
}

Json::Value ObjectIn(const std::string &record) {
    const char *field = record.c_str();
    const auto next = [&] { return std::exchange(field, field + std::strlen(field) + 1); };
    Json::Value folder(Json::objectValue);
    folder["id"] = next();
    folder["name"] = next();
    folder["path"] = AudioFile::GetSharePathByVolPath(next());
    folder["date"] = next();
    return folder;
}

Json::Value ObjectOf(const Tonvale::MediaHandle &rows, int row) {
    return ObjectIn(RecordOf(rows, row));
}

// The contents of a folder are kept if they are more than this: fewer are read as quickly, and
// there is no room for a list of each folder.
constexpr int64_t kMostUnkept = 200;

// The contents of a folder: conditions for its folders and songs, and their orders.
struct Inside {
    std::string folders;
    std::string songs;
    bool hasSongs;  // false spares the join of songs, which takes longer than all the rest
    std::string folderOrder;
    std::string songOrder;

    ListKey Key(const ListRequest &request) const {
        return {"inside/1", request, folders, folderOrder + songOrder, false};
    }
};

// The records that are kept: folders, then the row ids of songs. No folder's record is a number.
std::vector<std::string> Records(const ListRequest &request, const Inside &inside) {
    std::vector<std::string> records;
    const Tonvale::MediaHandle folders = Open(request, inside.folders, inside.folderOrder, 0, 0);
    for (int row = 0; row < folders->rowCount; ++row) {
        records.push_back(RecordOf(folders, row));
    }
    const Tonvale::MediaHandle songs(AudioInfoDBOpen(request.library.c_str(), request.uid,
                                                     VARN_TABLE_MUSIC, "id", inside.songs.c_str(),
                                                     nullptr, inside.songOrder.c_str(), 0, 0, 0));
    if (!songs) {
        NoAnswer();
    }
    for (int row = 0; row < songs->rowCount; ++row) {
        records.push_back(FieldOf(songs, row, "id"));
    }
    return records;
}

// A page of what is kept; null where SongsOfVersion cannot give its songs.
std::unique_ptr<SongPage> KeptPage(const ListRequest &request, const ListPart &part,
                                   const Version &now, const TrackWriter &writer) {
    Json::Value folders(Json::arrayValue);
    std::vector<int> songs;
    for (const std::string &record : part.records) {
        if (record.starts_with(kPrefix)) {
            folders.append(ObjectIn(record));
        } else {
            songs.push_back(varn::LeadingNumber<int>(record));
        }
    }
    auto page = SongsOfVersion(request, songs, part.total, now, writer);
    if (page) {
        page->Head()["folders"] = std::move(folders);
    }
    return page;
}

// A part of a folder's songs, and how many it has in all.
struct SongsInside {
    Tonvale::MediaHandle rows;  // null for none
    int64_t total;
};

// `limit` is empty for none of them.
SongsInside OpenSongs(const ListRequest &request, const Inside &inside, int offset,
                      std::optional<int> limit, const TrackWriter &writer) {
    if (!inside.hasSongs) {
        return {nullptr, 0};
    }
    if (!limit) {
        return {nullptr, Count(request, VARN_TABLE_MUSIC, inside.songs)};
    }
    const std::string columns = TrackColumns(writer) + ", " + VersionColumns(request.uid);
    Tonvale::MediaHandle rows(AudioInfoDBOpen(
        request.library.c_str(), request.uid, VARN_TABLE_MUSIC, columns.c_str(),
        inside.songs.c_str(), nullptr, inside.songOrder.c_str(), offset, *limit, 0));
    if (!rows) {
        NoAnswer();
    }
    const int64_t total =
        Total(request, VARN_TABLE_MUSIC, inside.songs, {offset, *limit, rows->rowCount});
    return {std::move(rows), total};
}

// A page that is read from the database.
std::unique_ptr<SongPage> ReadPage(const ListRequest &request, const Inside &inside,
                                   const Version &before, const TrackWriter &writer) {
    Json::Value list(Json::arrayValue);
    {
        // Closed before the songs are read: a request has two connections.
        const Tonvale::MediaHandle found =
            Open(request, inside.folders, inside.folderOrder, request.offset, request.limit);
        for (int i = 0; i < found->rowCount; ++i) {
            list.append(ObjectOf(found, i));
        }
    }
    const auto count = static_cast<int>(list.size());
    const auto folders =
        static_cast<int>(std::min<int64_t>(Total(request, VARN_TABLE_DIRECTORY, inside.folders,
                                                 {request.offset, request.limit, count}),
                                           INT_MAX));
    // To the library a limit of 0 means none: a page that is full takes no songs.
    const bool isFull = request.limit > 0 && count >= request.limit;
    auto [rows, songs] = OpenSongs(
        request, inside, std::max(request.offset - folders, 0),
        isFull ? std::nullopt : std::optional(std::max(request.limit - count, 0)), writer);
    const bool hasRows = rows && rows->rowCount > 0;
    const Version seen = hasRows ? VersionOf(rows) : ReadVersion(request.uid);
    auto page =
        std::make_unique<SongPage>(std::move(rows), writer, request.offset, folders + songs);
    page->SetVersion(seen == before ? before : Version());
    page->Head()["folders"] = std::move(list);
    return page;
}

// A page of what is in a folder, or of the folders that a walk begins with.
std::unique_ptr<SongPage> PageInside(const ListRequest &request, const Inside &inside,
                                     const Version &now, const TrackWriter &writer) {
    const ListKey key = inside.Key(request);
    const auto kept = KeptPart(key, request.offset, request.limit);
    const bool isOfNow = kept && now.songs && kept->version.songs == now.songs;
    if (isOfNow) {
        if (auto page = KeptPage(request, *kept, now, writer)) {
            return page;
        }
    }
    auto page = ReadPage(request, inside, now, writer);
    // While a scan runs, each batch of songs outdates the list.
    if (page->Total() > kMostUnkept && !isOfNow && !(kept && kept->isYoung)) {
        ComputePart(key, 0, 1, [&] { return Records(request, inside); });
    }
    return page;
}

}  // namespace

std::vector<std::string> FolderSortKeys() {
    return Names(kSortColumns);
}

std::string FolderId(const Tonvale::MediaHandle &rows, int row) {
    const bool isPersonal = FieldOf(rows, row, "is_personal") == "t";
    return std::string(isPersonal ? kPersonalPrefix : kPrefix) + FieldOf(rows, row, "id");
}

int ParseFolderId(std::string_view id) {
    for (const std::string_view prefix : {kPersonalPrefix, kPrefix}) {
        if (!id.starts_with(prefix)) {
            continue;
        }
        int row = 0;
        const char *const end = id.data() + id.size();
        const auto [rest, error] = std::from_chars(id.data() + prefix.size(), end, row);
        if (error == std::errc() && rest == end && row > 0) {
            return row;
        }
        break;
    }
    throw Failure(Reason::kNotAFolderId, std::string(id));
}

FolderPage::FolderPage(Tonvale::MediaHandle rows, int offset, int64_t total)
    : Page("folders", offset, total), rows_(std::move(rows)) {}

Json::Value FolderPage::Next() {
    Json::Value folders(Json::arrayValue);
    for (int count = 0; count < kFoldersAtATime && row_ < rows_->rowCount; ++count) {
        folders.append(ObjectOf(rows_, row_++));
    }
    return folders;
}

FolderBelow FindFolder(const ListRequest &request, int row) {
    const std::string path = PlaceOf(request, row).path;
    return {path, Below(path)};
}

std::unique_ptr<FolderPage> ListFolders(const ListRequest &request, int below,
                                        const std::optional<std::string> &name) {
    std::string condition;
    if (name) {
        AddCondition(condition, varn::Sql("title ILIKE '%%@VARN:LVAR%%'", Needle(*name)));
    }
    if (below != 0) {
        AddCondition(condition, FindFolder(request, below).condition);
    }
    // No two folders have one path.
    const std::string order =
        Expression(ChosenColumn(request, kSortColumns)) + " " + Direction(request) + ", path";
    const int64_t total = Count(request, VARN_TABLE_DIRECTORY, condition);
    return std::make_unique<FolderPage>(
        Open(request, condition, order, request.offset, request.limit), request.offset, total);
}

std::unique_ptr<SongPage> ListInside(const ListRequest &request, int row,
                                     const TrackWriter &writer) {
    const Place place =
        row != 0 ? PlaceOf(request, row) : Place{"", false, ReadVersion(request.uid)};
    const std::string here = row != 0 ? InFolder(place.path) : "";
    const Inside inside = {row != 0 ? here : Roots(writer.userName), row != 0 ? here : "false",
                           place.hasSongs, Expression(kByName) + ", path",
                           writer.GetSortOrderString("path", "ASC")};
    auto page = PageInside(request, inside, place.version, writer);
    page->Head()["trail"] = row != 0 ? TrailTo(request, place.path) : Json::Value(Json::arrayValue);
    return page;
}

FolderContents ContentsOf(const ListRequest &request, int row, const std::string &user) {
    const std::string path = row != 0 ? PlaceOf(request, row).path : "";
    const std::string inside = row != 0 ? InFolder(path) : "";
    FolderContents contents;
    contents.songs = row != 0 ? inside : "false";
    const auto read = [&](const std::string &condition, const auto &take) {
        const Tonvale::MediaHandle rows =
            Open(request, condition, Expression(kByName) + ", path", 0, 0);
        for (int i = 0; i < rows->rowCount; ++i) {
            take(FolderFacts{FolderId(rows, i), FieldOf(rows, i, "title")});
        }
    };
    read(row != 0 ? inside : Roots(user),
         [&](FolderFacts folder) { contents.folders.push_back(std::move(folder)); });
    if (row != 0) {
        const auto is = [](const std::string &folder) {
            return varn::Sql("path = '@VARN:VAR'", folder).value_or("false");
        };
        read(is(path), [&](FolderFacts folder) { contents.folder = std::move(folder); });
        read(is(std::filesystem::path(path).parent_path().string()),
             [&](const FolderFacts &above) { contents.parent = above.id; });
    }
    return contents;
}

}  // namespace tonvale_service

#include "service/lists/folders.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <filesystem>

#include "service/base/failure.h"
#include "tonvale/paths.h"
#include "varn/host.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

using Tonvale::webapi::WebapiLibrary;

constexpr int kFoldersAtATime = 256;
// Ids come from one sequence: what is after the prefix tells a folder in any library.
constexpr std::string_view kPrefix = "dir_";
constexpr std::string_view kPersonalPrefix = "dir_p_";
constexpr char kColumns[] =
    "id, path, title, date, "
    "id IN (SELECT id FROM personal_directory) AS is_personal";

constexpr SortColumn kByName = {"name", "title", true};
constexpr SortColumn kSortColumns[] = {{"path", "path"}, kByName, {"date", "date"}};

Tonvale::MediaHandle Open(const ListRequest &request, const std::string &condition,
                          const std::string &order, int offset, int limit) {
    Tonvale::MediaHandle rows(AudioInfoDBOpen(request.library.c_str(), request.uid,
                                              VARN_TABLE_DIRECTORY, kColumns, condition.c_str(),
                                              nullptr, order.c_str(), offset, limit, 0));
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

std::string PathOf(const ListRequest &request, int row) {
    const Tonvale::MediaHandle rows = Open(request, *varn::Sql("id = @VARN:INT", row), "", 0, 1);
    if (rows->rowCount == 0) {
        throw Failure(Reason::kNoSuchFolder, std::to_string(row));
    }
    return FieldOf(rows, 0, "path");
}

// A path out of the database always is a text that can stand in a statement.
std::string Below(const std::string &path) {
    const auto condition = varn::Sql("path LIKE '@VARN:LVAR/%%'", path);
    if (!condition) {
        NoAnswer();
    }
    return *condition;
}

std::string Inside(const std::string &path) {
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

Json::Value ObjectOf(const Tonvale::MediaHandle &rows, int row) {
    Json::Value folder(Json::objectValue);
    folder["id"] = FolderId(rows, row);
    folder["name"] = FieldOf(rows, row, "title");
    folder["path"] = AudioFile::GetSharePathByVolPath(FieldOf(rows, row, "path").c_str());
    folder["date"] = FieldOf(rows, row, "date");
    return folder;
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
    const std::string path = PathOf(request, row);
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
    const std::string path = row != 0 ? PathOf(request, row) : "";
    const std::string inside = row != 0 ? Inside(path) : "";
    const std::string ofFolders = row != 0 ? inside : Roots(writer.userName);
    const std::string ofSongs = row != 0 ? inside : "false";
    const Tonvale::MediaHandle found =
        Open(request, ofFolders, Expression(kByName) + ", path", request.offset, request.limit);
    Json::Value list(Json::arrayValue);
    for (int i = 0; i < found->rowCount; ++i) {
        list.append(ObjectOf(found, i));
    }
    const auto folders =
        static_cast<int>(std::min<int64_t>(Total(request, VARN_TABLE_DIRECTORY, ofFolders,
                                                 {request.offset, request.limit, found->rowCount}),
                                           INT_MAX));

    // A limit of 0 means no limit, so that a page that is full already asks for no song another
    // way.
    const int left = std::max(request.limit - static_cast<int>(list.size()), 0);
    const bool isFull = request.limit > 0 && left == 0;
    const int offset = std::max(request.offset - folders, 0);
    Tonvale::MediaHandle rows(AudioInfoDBOpen(
        request.library.c_str(), request.uid, VARN_TABLE_MUSIC, TrackColumns(writer).c_str(),
        isFull ? "false" : ofSongs.c_str(), nullptr,
        writer.GetSortOrderString("path", "ASC").c_str(), offset, isFull ? 1 : left, 0));
    if (!rows) {
        NoAnswer();
    }
    const int64_t songs =
        isFull ? Count(request, VARN_TABLE_MUSIC, ofSongs)
               : Total(request, VARN_TABLE_MUSIC, ofSongs, {offset, left, rows->rowCount});
    auto page =
        std::make_unique<SongPage>(std::move(rows), writer, request.offset, folders + songs);
    page->Head()["folders"] = std::move(list);
    page->Head()["trail"] = row != 0 ? TrailTo(request, path) : Json::Value(Json::arrayValue);
    return page;
}

FolderContents ContentsOf(const ListRequest &request, int row, const std::string &user) {
    const std::string path = row != 0 ? PathOf(request, row) : "";
    const std::string inside = row != 0 ? Inside(path) : "";
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

// The folders that hold music.
#include <json/json.h>

#include <iostream>
#include <memory>
#include <optional>

#include "command.h"
#include "database.h"
#include "library_options.h"
#include "number.h"
#include "page_output.h"
#include "varn/mediaindex.h"
#include "varn/sql.h"

namespace tonvale_cli {

namespace {

constexpr SortColumn kSortColumns[] = {
    {"path", "path"}, {"name", "title COLLATE \"en_US_varnel\""}, {"date", "date"}};

struct FolderOptions : LibraryOptions {
    std::optional<std::string> name;
    int below = 0;  // id of a folder; 0: none
};

Handle Open(const FolderOptions &options, uid_t uid, const std::string &condition,
            const std::string &order, int offset, int limit) {
    return Handle(AudioInfoDBOpen(options.library.c_str(), uid, VARN_TABLE_DIRECTORY,
                                  "id, path, title, date", condition.c_str(), nullptr,
                                  order.c_str(), offset, limit, 0));
}

// Adds the condition for what lies below the folder that was named. 0, or the exit status, with a
// message.
int AddBelow(const FolderOptions &options, uid_t uid, std::string &condition) {
    if (options.below == 0) {
        return kDone;
    }
    const Handle rows = Open(options, uid, *varn::Sql("id = @VARN:INT", options.below), "", 0, 1);
    const auto folder = std::make_unique<VARN_MEDIA_INFO>();
    if (!rows) {
        return NoAnswer();
    }
    if (MediaInfoDBGet(rows.get(), folder.get()) != 0) {
        Complain("there is no folder " + std::to_string(options.below) +
                 " in this library; 'tonvale folders' lists them");
        return kUsage;
    }
    // A path that is not UTF-8 cannot stand in a statement.
    return AddCondition(condition, varn::Sql("path LIKE '@VARN:LVAR/%%'", folder->path))
               ? kDone
               : NoAnswer();
}

std::string Text(const Handle &rows, int row, const char *column) {
    const char *text = VARNDBFetchField(rows->result, row, column);
    return text != nullptr ? text : "";
}

void PrintTable(const Handle &rows, int offset, int64_t total) {
    Table table({{"ID", true, false}, {"NAME", false, true}, {"PATH", false, true}});
    for (int row = 0; row < rows->rowCount; ++row) {
        table.AddRow({Text(rows, row, "id"), Text(rows, row, "title"), Text(rows, row, "path")});
    }
    PrintPage(table, offset, rows->rowCount, total, {"folder", "folders"});
}

void PrintJson(const Handle &rows, int offset, int64_t total) {
    Json::Value page(Json::objectValue);
    page["offset"] = offset;
    page["total"] = Json::Int64{total};
    Json::Value &folders = page["folders"] = Json::Value(Json::arrayValue);
    for (int row = 0; row < rows->rowCount; ++row) {
        Json::Value folder(Json::objectValue);
        folder["id"] = Json::Int64{std::strtoll(Text(rows, row, "id").c_str(), nullptr, 10)};
        folder["name"] = ValidUtf8(Text(rows, row, "title"));
        folder["path"] = ValidUtf8(Text(rows, row, "path"));
        folder["date"] = Text(rows, row, "date");
        folders.append(std::move(folder));
    }
    JsonWriter()->write(page, &std::cout);
    std::cout << "\n";
}

int Folders(FolderOptions &options) {
    std::string condition;
    if (options.name &&
        !AddCondition(condition, varn::Sql("title ILIKE '%%@VARN:LVAR%%'", *options.name))) {
        Complain("a filter's text must be UTF-8");
        return kUsage;
    }
    int status = kDone;
    const std::optional<uid_t> uid = OpenLibrary(options, status);
    if (!uid) {
        return status;
    }
    if (status = AddBelow(options, *uid, condition); status != kDone) {
        return status;
    }
    const int64_t total = AudioInfoDBGetCount(options.library.c_str(), *uid, VARN_TABLE_DIRECTORY,
                                              "*", condition.c_str(), nullptr, 0);
    // No two folders have one path.
    const std::string order = PrimaryOrder(options, kSortColumns) + ", path";
    const Handle rows(
        total < 0 ? nullptr : Open(options, *uid, condition, order, options.offset, options.limit));
    if (!rows) {
        return NoAnswer();
    }
    (options.json ? PrintJson : PrintTable)(rows, options.offset, total);
    return kDone;
}

}  // namespace

void AddFolders(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("folders", "List the folders that hold music");
    const auto options = std::make_shared<FolderOptions>();
    AddLibrary(*verb, *options);
    verb->add_option("--name", options->name, "A part of the name, in any case")->type_name("TEXT");
    AddNumber(*verb, "--below", options->below, 1, "Only folders below the one with this id");
    AddPage(*verb, *options, kSortColumns, "folders");
    verb->callback([options, &action] { action = [options] { return Folders(*options); }; });
}

}  // namespace tonvale_cli

// The folders that hold music.
#include "service/lists/folders.h"

#include <json/json.h>

#include <memory>
#include <optional>

#include "command.h"
#include "library_options.h"
#include "page_output.h"
#include "track_output.h"

namespace tonvale_cli {

namespace {

using tonvale_service::FieldOf;
using tonvale_service::FolderId;
using tonvale_service::FolderPage;
using tonvale_service::SongPage;

struct FolderOptions : LibraryOptions {
    std::optional<std::string> name;
    int below = 0;              // id of a folder; 0: none
    std::optional<int> inside;  // the same; 0: the indexed folders
    Additions additions;
};

void PrintTable(const FolderPage &page) {
    const Tonvale::MediaHandle &rows = page.Rows();
    Table table({{"ID"}, {"NAME", false, true}, {"PATH", false, true}});
    for (int row = 0; row < rows->rowCount; ++row) {
        table.AddRow(
            {FolderId(rows, row), FieldOf(rows, row, "title"), FieldOf(rows, row, "path")});
    }
    PrintPage(table, page.Offset(), rows->rowCount, page.Total(), {"folder", "folders"});
}

void PrintTable(SongPage &page) {
    Table table({{"ID", false, true}, {"NAME", false, true}, {"PATH", false, true}});
    int64_t shown = 0;
    const auto add = [&](const Json::Value &list, const char *name) {
        for (const Json::Value &entry : list) {
            table.AddRow(
                {entry["id"].asString(), entry[name].asString(), entry["path"].asString()});
            ++shown;
        }
    };
    add(page.Head()["folders"], "name");
    for (Json::Value part = page.Next(); !part.empty(); part = page.Next()) {
        add(part, "title");
    }
    PrintPage(table, page.Offset(), shown, page.Total(), {"folder or song", "folders and songs"});
}

// A folder as the lists and pins tell it, or its bare number.
int FolderNumber(const std::string &text, int least) {
    return text.starts_with("dir_") ? tonvale_service::ParseFolderId(text)
                                    : ParseNumber(text, least);
}

template <typename AnyPage>
int Print(const FolderOptions &options, AnyPage &page) {
    if (options.json) {
        PrintJson(page);
    } else {
        PrintTable(page);
    }
    return kDone;
}

int Folders(FolderOptions &options) {
    if (!OpenLibrary(options)) {
        return kFailed;
    }
    if (!options.inside) {
        return Print(options, *ListFolders(options, options.below, options.name));
    }
    return Print(options, *ListInside(options, *options.inside,
                                      TrackWriter(options.uid, options.user, options.additions)));
}

}  // namespace

void AddFolders(const Verb &app) {
    const Verb verb = app.AddVerb("folders", "List the folders that hold music");
    const auto options = std::make_shared<FolderOptions>();
    AddLibrary(verb, *options);
    verb.AddText("--name", options->name, "A part of the name, in any case").ValueName("TEXT");
    verb.AddParsed(
            "--below",
            [options](const std::string &text) { options->below = FolderNumber(text, 1); },
            "Only folders below the one with this id")
        .ValueName("ID");
    AddPage(verb, *options, tonvale_service::FolderSortKeys(), "folders");
    verb.AddParsed(
            "--in", [options](const std::string &text) { options->inside = FolderNumber(text, 0); },
            "What is in the folder with this id, songs included; 0: the indexed folders")
        .ValueName("ID")
        .Excludes("--name")
        .Excludes("--below")
        .Excludes("--sort-by");
    AddAdditions(verb, options->additions).Needs("--json").Needs("--in");
    verb.Do([options] { return Folders(*options); });
}

}  // namespace tonvale_cli

// The folders that hold music, and what is in them.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/base/page.h"
#include "service/lists/list.h"
#include "service/lists/tracks.h"

namespace tonvale_service {

// What folders may be sorted by; the first one is by path.
std::vector<std::string> FolderSortKeys();

// The identifier of a folder in a row: dir_ROW, in a personal library dir_p_ROW, as pins tell it.
std::string FolderId(const Tonvale::MediaHandle &rows, int row);

// The row in a folder's identifier. Throws a Failure for any other text.
int ParseFolderId(std::string_view id);

// A page of folders, "folders", each with id, name, path and date.
class FolderPage : public Page {
  public:
    FolderPage(Tonvale::MediaHandle rows, int offset, int64_t total);

    Json::Value Next() override;

    // For callers that read FolderId, path, title and date from the rows themselves.
    const Tonvale::MediaHandle &Rows() const { return rows_; }

  private:
    Tonvale::MediaHandle rows_;
    int row_ = 0;
};

// A folder, and the condition for what lies in it and below it.
struct FolderBelow {
    std::string path;
    std::string condition;
};

// The folder of a row, which the request's library must have. Throws a Failure.
FolderBelow FindFolder(const ListRequest &request, int row);

// A page of all folders, with `below` of those that lie below the folder of that row, with `name`
// of those with this text in their names, in any case. A request's filters have no meaning. Throws
// a Failure.
std::unique_ptr<FolderPage> ListFolders(const ListRequest &request, int below,
                                        const std::optional<std::string> &name);

// A page of what is in the folder of a row: its folders, "folders", then its songs, "songs".
// "trail" is the way to it: the folders that it lies in, and itself last. For row 0 there are the
// folders that are indexed, and the user's own folder of music, and no way. Throws a Failure.
std::unique_ptr<SongPage> ListInside(const ListRequest &request, int row,
                                     const TrackWriter &writer);

// A folder, and what is in it, for front ends that write objects of their own.
struct FolderFacts {
    std::string id;
    std::string name;
};
struct FolderContents {
    FolderFacts folder;
    std::string parent;  // the identifier of the folder that it is in, "" where that has none
    std::vector<FolderFacts> folders;
    std::string songs;  // SQL that is true for its songs by their `path`
};

// The same as ListInside, in whole; `user` is the name of the request's user. Throws a Failure.
FolderContents ContentsOf(const ListRequest &request, int row, const std::string &user);

}  // namespace tonvale_service

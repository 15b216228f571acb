// VARN.Tonvale.Folder: the library by its folders.
#include "action.h"
#include "list_request.h"
#include "service/folders.h"

namespace tonvale_entry {

namespace {

std::unique_ptr<tonvale_service::Page> List(const Request &asked) {
    const std::string id = asked.Text("id");
    // The order is always the same: no key is known.
    if (!asked.Text("sort_by").empty()) {
        throw Refusal{Code::kBadParameter};
    }
    return ListInside(ListRequestOf(asked), id.empty() ? 0 : tonvale_service::ParseFolderId(id),
                      TrackWriterOf(asked));
}

constexpr Method kMethods[] = {{.name = "list", .make = Make<List>, .takesRoot = false}};

}  // namespace

const Api kFolderApi{"VARN.Tonvale.Folder", kMethods};

}  // namespace tonvale_entry

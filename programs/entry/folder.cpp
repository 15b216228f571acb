// VARN.Tonvale.Folder: the library by its folders.
#include "action.h"
#include "list_request.h"
#include "service/folders.h"

namespace tonvale_entry {

namespace {

class List : public ListAction {
  public:
    using ListAction::ListAction;

  protected:
    std::unique_ptr<tonvale_service::Page> Open() override {
        const std::string id = Asked().Text("id");
        // The order is always the same: no key is known.
        if (!Asked().Text("sort_by").empty()) {
            throw Refusal{Code::kBadParameter};
        }
        return ListInside(ListRequestOf(Asked()),
                          id.empty() ? 0 : tonvale_service::ParseFolderId(id),
                          TrackWriterOf(Asked()));
    }
};

constexpr Method kMethods[] = {{.name = "list", .make = Make<List>, .takesRoot = false}};

}  // namespace

const Api kFolderApi{"VARN.Tonvale.Folder", kMethods};

}  // namespace tonvale_entry

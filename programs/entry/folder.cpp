// VARN.Tonvale.Folder: the library by its folders.
#include "action.h"
#include "list_request.h"
#include "service/lists/folders.h"

namespace tonvale_entry {

namespace {

std::unique_ptr<tonvale_service::Page> List(const Request &asked) {
    const std::string id = asked.Text("id");
    if (!asked.Text("sort_by").empty()) {
        throw Refusal{Code::kBadParameter, "",
                      "folders have an order of their own: leave sort_by out"};
    }
    return ListInside(ListRequestOf(asked), id.empty() ? 0 : tonvale_service::ParseFolderId(id),
                      TrackWriterOf(asked));
}

constexpr auto kParameters =
    Join(Parameter{.name = "id", .what = "The folder; without it the indexed folders themselves."},
         kPaging, kLibrary, kAdditional);

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<List>,
     .takesRoot = false,
     .summary = "What a folder holds: its folders by name, then its songs by path",
     .parameters = kParameters,
     .answer = "FolderPage"}};

constexpr Field kFolder[] = {{"id", "text", "identifier: dir_ID, of the own music dir_p_ID"},
                             {"name", "text"},
                             {"path", "text", "from the share on"},
                             {"date", "text", "of its last change"}};
constexpr Field kFolderPage[] = {{"offset", "number"},
                                 {"total", "number", "of folders and songs together"},
                                 {"trail", "[FolderStep]", "the folders around it, and it last"},
                                 {"folders", "[Folder]"},
                                 {"songs", "[Song]"}};
constexpr Field kStep[] = {{"id", "text"}, {"name", "text"}};
constexpr Schema kSchemas[] = {
    {"Folder", kFolder}, {"FolderStep", kStep}, {"FolderPage", kFolderPage}};

}  // namespace

const Api kFolderApi{.name = "VARN.Tonvale.Folder",
                     .methods = kMethods,
                     .summary = "The library by its folders",
                     .schemas = kSchemas};

}  // namespace tonvale_entry

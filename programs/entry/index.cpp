// VARN.Tonvale.Index: what the indexer does, for administrators.
#include "action.h"
#include "service/indexing.h"

namespace tonvale_entry {

namespace {

Json::Value State(const Request &asked) {
    asked.RequireAdministrator();
    return tonvale_service::IndexingInfo(tonvale_service::IndexingState(), true);
}

template <void (*Change)()>
Json::Value Do(const Request &asked) {
    asked.RequireAdministrator();
    Change();
    return Json::Value(Json::objectValue);
}

constexpr Method kMethods[] = {
    {.name = "state", .make = Make<State>, .takesRoot = false},
    {.name = "start",
     .make = Make<Do<tonvale_service::StartIndexing>>,
     .changes = true,
     .takesRoot = false},
    {.name = "stop",
     .make = Make<Do<tonvale_service::StopIndexing>>,
     .changes = true,
     .takesRoot = false},
};

}  // namespace

const Api kIndexApi{"VARN.Tonvale.Index", kMethods};

}  // namespace tonvale_entry

// VARN.Tonvale.Song: the songs of the library.
#include "service/songs.h"

#include "action.h"
#include "list_request.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Page;

class List : public ListAction {
  public:
    using ListAction::ListAction;

  protected:
    std::unique_ptr<Page> Open() override {
        return ListSongs(ListRequestOf(Asked()), TrackWriterOf(Asked()));
    }
};

class Search : public ListAction {
  public:
    using ListAction::ListAction;

  protected:
    std::unique_ptr<Page> Open() override {
        const auto &fields = tonvale_service::SearchFields();
        return SearchSongs(ListRequestOf(Asked()), Asked().RequiredText("keyword"),
                           Asked().Choice("field", fields, fields.front()), TrackWriterOf(Asked()));
    }
};

// The songs in the order of their identifiers; one that is not there, or is another user's, is left
// out, and the answer is "no such item" when none is there.
class Get : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override {
        Json::Value data(Json::objectValue);
        data["songs"] = tonvale_service::SongsById(Asked().User().GetLoginUID(),
                                                   Asked().Values("id"), TrackWriterOf(Asked()));
        if (data["songs"].empty()) {
            throw Refusal{Code::kNoSuchItem};
        }
        return data;
    }
};

class Rate : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override {
        Asked().Require(RIGHT_EDITSONG);
        const auto stars = Asked().Number("rating", -1, 0, 5);
        if (stars < 0) {
            throw Refusal{Code::kBadParameter};
        }
        const uid_t uid = Asked().User().GetLoginUID();
        tonvale_service::RateSongs(uid, tonvale_service::RowsOf(uid, Asked().Values("id")),
                                   static_cast<unsigned>(stars));
        return Json::Value(Json::objectValue);
    }
};

constexpr Method kMethods[] = {{.name = "list", .make = Make<List>, .takesRoot = false},
                               {.name = "search", .make = Make<Search>, .takesRoot = false},
                               {.name = "get", .make = Make<Get>, .takesRoot = false},
                               {.name = "rate", .make = Make<Rate>, .changes = true}};

}  // namespace

const Api kSongApi{"VARN.Tonvale.Song", kMethods};

}  // namespace tonvale_entry

// VARN.Tonvale.Sharing: the share links of the user who asks.
#include "action.h"
#include "list_request.h"
#include "service/links.h"

namespace tonvale_entry {

namespace {

using tonvale_service::CheckedDays;
using tonvale_service::Days;
using tonvale_service::LinkName;
using tonvale_service::Links;

// An action on the links of the user who asks, who must have the right to share.
class LinkAction : public Action {
  public:
    using Action::Action;

  protected:
    virtual Json::Value Do(Links &links) = 0;

    Json::Value Data() final {
        Links links(Asked().User().GetLoginUID(), Asked().User().GetLoginUserName());
        return Do(links);
    }

    // The one of "id" and "playlist_id" that is given.
    LinkName Name() const {
        LinkName name = {Asked().Text("id"), Asked().Text("playlist_id")};
        if (name.id.empty() == name.playlistId.empty()) {
            throw Refusal{Code::kBadParameter};
        }
        return name;
    }
    Days AskedDays() const {
        return CheckedDays(Asked().Text("date_available"), Asked().Text("date_expired"));
    }
    static Json::Value OneLink(Json::Value sharing) {
        Json::Value data(Json::objectValue);
        data["sharing"] = std::move(sharing);
        return data;
    }
};

class Get : public LinkAction {
  public:
    using LinkAction::LinkAction;

  protected:
    Json::Value Do(Links &links) override { return OneLink(links.Get(Name())); }
};

class List : public LinkAction {
  public:
    using LinkAction::LinkAction;

  protected:
    Json::Value Do(Links &links) override {
        const PageWanted page = PageOf(Asked());
        return links.Page(page.offset, page.limit);
    }
};

class Create : public LinkAction {
  public:
    using LinkAction::LinkAction;

  protected:
    Json::Value Do(Links &links) override {
        return OneLink(links.Create(Asked().RequiredText("playlist_id"), AskedDays()));
    }
};

class Update : public LinkAction {
  public:
    using LinkAction::LinkAction;

  protected:
    Json::Value Do(Links &links) override { return OneLink(links.Update(Name(), AskedDays())); }
};

class Delete : public LinkAction {
  public:
    using LinkAction::LinkAction;

  protected:
    Json::Value Do(Links &links) override {
        links.Delete(Name());
        return Json::Value(Json::objectValue);
    }
};

class ShareSong : public LinkAction {
  public:
    using LinkAction::LinkAction;

  protected:
    Json::Value Do(Links &links) override {
        return OneLink(links.ShareSong(Asked().RequiredText("id")));
    }
};

class UnshareSong : public LinkAction {
  public:
    using LinkAction::LinkAction;

  protected:
    Json::Value Do(Links &links) override {
        return OneLink(links.UnshareSong(Asked().RequiredText("id")));
    }
};

constexpr Method kMethods[] = {
    {"get", Make<Get>},
    {"list", Make<List>},
    {"create", Make<Create>, kChanges},
    {"update", Make<Update>, kChanges},
    {"delete", Make<Delete>, kChanges},
    {"share_song", Make<ShareSong>, kChanges},
    {"unshare_song", Make<UnshareSong>, kChanges},
};

}  // namespace

const Api kSharingApi{"VARN.Tonvale.Sharing", kMethods};

}  // namespace tonvale_entry

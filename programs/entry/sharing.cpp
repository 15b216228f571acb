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

// The links of the user who asks, who must have the right to share.
Links LinksOf(const Request &asked) {
    return {asked.User().GetLoginUID(), asked.User().GetLoginUserName()};
}

// The one of "id" and "playlist_id" that is given.
LinkName NameIn(const Request &asked) {
    LinkName name = {asked.Text("id"), asked.Text("playlist_id")};
    if (name.id.empty() == name.playlistId.empty()) {
        throw Refusal{Code::kBadParameter};
    }
    return name;
}

Days DaysIn(const Request &asked) {
    return CheckedDays(asked.Text("date_available"), asked.Text("date_expired"));
}

Json::Value OneLink(Json::Value sharing) {
    Json::Value data(Json::objectValue);
    data["sharing"] = std::move(sharing);
    return data;
}

Json::Value Get(const Request &asked) {
    return OneLink(LinksOf(asked).Get(NameIn(asked)));
}

Json::Value List(const Request &asked) {
    Links links = LinksOf(asked);
    const PageWanted page = PageOf(asked);
    return links.Page(page.offset, page.limit);
}

Json::Value Create(const Request &asked) {
    return OneLink(LinksOf(asked).Create(asked.RequiredText("playlist_id"), DaysIn(asked)));
}

Json::Value Update(const Request &asked) {
    return OneLink(LinksOf(asked).Update(NameIn(asked), DaysIn(asked)));
}

Json::Value Delete(const Request &asked) {
    LinksOf(asked).Delete(NameIn(asked));
    return Json::Value(Json::objectValue);
}

template <Json::Value (Links::*Change)(const std::string &songId)>
Json::Value ChangeSong(const Request &asked) {
    return OneLink((LinksOf(asked).*Change)(asked.RequiredText("id")));
}

constexpr Method kMethods[] = {
    {"get", Make<Get>},
    {"list", Make<List>},
    {"create", Make<Create>, kChanges},
    {"update", Make<Update>, kChanges},
    {"delete", Make<Delete>, kChanges},
    {"share_song", Make<ChangeSong<&Links::ShareSong>>, kChanges},
    {"unshare_song", Make<ChangeSong<&Links::UnshareSong>>, kChanges},
};

}  // namespace

const Api kSharingApi{"VARN.Tonvale.Sharing", kMethods};

}  // namespace tonvale_entry

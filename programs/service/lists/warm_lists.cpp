#include "service/lists/warm_lists.h"

#include <syslog.h>

#include <exception>

#include "service/base/failure.h"
#include "service/lists/group_facts.h"
#include "service/lists/groups.h"
#include "service/lists/kinds.h"
#include "service/people/settings.h"
#include "service/search/song_texts.h"
#include "service/songs/songs.h"
#include "tonvale/webapi.h"

namespace tonvale_service {

namespace {

void WarmListsOf(uid_t uid, const std::string &name) {
    ListRequest request;
    request.uid = uid;
    request.library = DefaultKind(uid);
    request.limit = 1;
    request.offset = kFirstSongs;
    ListSongs(request, Tonvale::webapi::WebapiLibrary(uid, name, ""));
    for (const Group *const group : {&kAlbums, &kArtists, &kGenres, &kComposers}) {
        ListGroups(*group, request, std::nullopt);
    }
    AlbumList{request};
    ArtistList{request};
}

}  // namespace

void WarmLists() {
    try {
        SongTexts::Now();
        for (const Json::Value &user : UserList()) {
            if (const std::string name = user["name"].asString(); !name.empty()) {
                WarmListsOf(user["uid"].asUInt(), name);
            }
        }
    } catch (const Failure &) {
        syslog(LOG_ERR, "The lists could not be computed ahead");
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "The lists could not be computed ahead: %s", error.what());
    }
}

}  // namespace tonvale_service

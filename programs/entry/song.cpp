// VARN.Tonvale.Song: the songs of the library.
#include "service/songs.h"

#include "action.h"
#include "list_request.h"
#include "service/lyrics.h"
#include "service/search.h"
#include "tonvale/settings.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Page;

std::unique_ptr<Page> List(const Request &asked) {
    return ListSongs(ListRequestOf(asked), TrackWriterOf(asked));
}

std::unique_ptr<Page> Search(const Request &asked) {
    const auto &fields = tonvale_service::SearchFields();
    return SearchSongs(ListRequestOf(asked), asked.RequiredText("keyword"),
                       asked.Choice("field", fields, fields.front()), TrackWriterOf(asked));
}

// The songs in the order of their identifiers; one that is not there, or is another user's, is left
// out, and the answer is "no such item" when none is there.
Json::Value Get(const Request &asked) {
    Json::Value data(Json::objectValue);
    data["songs"] = tonvale_service::SongsById(asked.User().GetLoginUID(), asked.Values("id"),
                                               TrackWriterOf(asked));
    if (data["songs"].empty()) {
        throw Refusal{Code::kNoSuchItem};
    }
    return data;
}

Json::Value Lyrics(const Request &asked) {
    const VARN_MEDIA_INFO song =
        tonvale_service::ReadSong(asked.User().GetLoginUID(), asked.RequiredText("id"));
    LeaveWorker();  // a disk may dawdle
    Json::Value data(Json::objectValue);
    data["lyrics"] = LyricsObjects(tonvale_service::LyricsOf(song));
    return data;
}

Json::Value Rate(const Request &asked) {
    asked.Require(RIGHT_EDITSONG);
    const auto stars = asked.Number("rating", -1, 0, 5);
    if (stars < 0) {
        throw Refusal{Code::kBadParameter};
    }
    const uid_t uid = asked.User().GetLoginUID();
    tonvale_service::RateSongs(uid, tonvale_service::RowsOf(uid, asked.Values("id")),
                               static_cast<unsigned>(stars));
    return Json::Value(Json::objectValue);
}

constexpr Method kMethods[] = {{.name = "list", .make = Make<List>, .takesRoot = false},
                               {.name = "search", .make = Make<Search>, .takesRoot = false},
                               {.name = "get", .make = Make<Get>, .takesRoot = false},
                               {.name = "lyrics", .make = Make<Lyrics>},
                               {.name = "rate", .make = Make<Rate>, .changes = true}};

}  // namespace

const Api kSongApi{"VARN.Tonvale.Song", kMethods};

}  // namespace tonvale_entry

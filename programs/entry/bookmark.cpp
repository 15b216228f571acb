// VARN.Tonvale.Bookmark: the places in songs to which the user who asks comes back.
#include "service/listening/bookmarks.h"

#include "action.h"
#include "service/base/failure.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr Parameter kSong{.name = "song", .what = "The song.", .isRequired = true};
constexpr Parameter kPosition{.name = "position",
                              .what = "Milliseconds from the start.",
                              .kind = Kind::kNumber,
                              .isRequired = true,
                              .low = 0,
                              .high = kMostExact};

int RowIn(const Request &asked) {
    const std::string id = asked.RequiredText("song");
    const auto song = ParseSongId(id);
    return song ? song->row : throw Failure(Reason::kNotASongId, id);
}

Json::Value List(const Request &asked) {
    Json::Value data(Json::objectValue);
    data["bookmarks"] = Json::Value(Json::arrayValue);
    for (const Bookmark &bookmark : BookmarksOf(asked.User().GetLoginUID())) {
        Json::Value &entry = data["bookmarks"].append(Json::Value(Json::objectValue));
        entry["song"] = SongIdText(bookmark.song);
        entry["position"] = Json::Int64{bookmark.position};
        entry["comment"] = bookmark.comment;
        entry["made"] = Json::Int64{bookmark.made};
        entry["changed"] = Json::Int64{bookmark.changed};
    }
    return data;
}

Json::Value Set(const Request &asked) {
    SetBookmark(asked.User().GetLoginUID(), RowIn(asked), asked.Number(kPosition),
                asked.Text("comment"));
    return Json::Value(Json::objectValue);
}

Json::Value Remove(const Request &asked) {
    RemoveBookmark(asked.User().GetLoginUID(), RowIn(asked));
    return Json::Value(Json::objectValue);
}

constexpr std::array kSetParameters = {kSong, kPosition,
                                       Parameter{.name = "comment", .what = "At most 4000 bytes."}};
constexpr std::array kRemoveParameters = {kSong};

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<List>,
     .takesRoot = false,
     .summary = "All bookmarks of the user, the one that was changed last first",
     .answer = "Bookmarks"},
    {.name = "set",
     .make = Make<Set>,
     .changes = true,
     .takesRoot = false,
     .summary = "Make the bookmark in a song, or move it; a user has 1000 at most",
     .parameters = kSetParameters},
    {.name = "remove",
     .make = Make<Remove>,
     .changes = true,
     .takesRoot = false,
     .summary = "Take a bookmark away",
     .parameters = kRemoveParameters}};

constexpr Field kBookmark[] = {{"song", "text"},
                               {"position", "number", "milliseconds"},
                               {"comment", "text"},
                               {"made", "time"},
                               {"changed", "time"}};
constexpr Field kBookmarks[] = {{"bookmarks", "[Bookmark]"}};
constexpr Schema kSchemas[] = {{"Bookmark", kBookmark}, {"Bookmarks", kBookmarks}};

}  // namespace

const Api kBookmarkApi{.name = "VARN.Tonvale.Bookmark",
                       .methods = kMethods,
                       .summary = "Places in songs to which the user comes back",
                       .schemas = kSchemas};

}  // namespace tonvale_entry

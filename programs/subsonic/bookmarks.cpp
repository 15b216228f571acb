// Where a user's clients go on: bookmarks, and the queue that they share.
#include <algorithm>
#include <climits>
#include <map>

#include "endpoint.h"
#include "objects.h"
#include "service/listening/bookmarks.h"
#include "service/listening/play_queue.h"
#include "song_ids.h"

namespace tonvale_subsonic {

namespace {

using tonvale_service::Bookmark;
using tonvale_service::PlayQueue;
using tonvale_service::SongId;

long long PositionOf(const Request &asked) {
    return asked.Number("position", 0, 0, LLONG_MAX / 2);
}

Json::Value Bookmarks(const Request &asked) {
    const std::vector<Bookmark> bookmarks = tonvale_service::BookmarksOf(asked.Uid());
    std::vector<SongId> songs;
    for (const Bookmark &bookmark : bookmarks) {
        songs.push_back(bookmark.song);
    }
    std::map<std::string, Json::Value> children = ChildrenById(asked, songs);
    Json::Value list(Json::arrayValue);
    for (const Bookmark &bookmark : bookmarks) {
        const auto child = children.find(tonvale_service::SongIdText(bookmark.song));
        if (child == children.end()) {
            continue;
        }
        child->second["bookmarkPosition"] = Json::Int64(bookmark.position);
        Json::Value &told = list.append(Json::objectValue);
        told["position"] = Json::Int64(bookmark.position);
        told["username"] = asked.User();
        told["comment"] = bookmark.comment;
        told["created"] = TimeText(bookmark.made);
        told["changed"] = TimeText(bookmark.changed);
        told["entry"] = std::move(child->second);
    }
    return list;
}

Json::Value CreateBookmark(const Request &asked) {
    asked.Required("position");
    tonvale_service::SetBookmark(asked.Uid(), RowOf(asked.Required("id")), PositionOf(asked),
                                 asked.Text("comment"));
    return Json::Value(Json::objectValue);
}

Json::Value DeleteBookmark(const Request &asked) {
    tonvale_service::RemoveBookmark(asked.Uid(), RowOf(asked.Required("id")));
    return Json::Value(Json::objectValue);
}

// ---- the queue ---------------------------------------------------------------------------------

// A queue that nobody has kept is not told.
Json::Value QueueObject(const Request &asked, const char *name, bool byIndex) {
    Json::Value members(Json::objectValue);
    const auto queue = tonvale_service::PlayQueueOf(asked.Uid());
    if (!queue) {
        return members;
    }
    Json::Value &told = members[name];
    told["username"] = asked.User();
    told["changed"] = TimeText(queue->changed / 1000);
    told["changedBy"] = queue->changedBy;
    told["position"] = Json::Int64(queue->position);
    if (!queue->songs.empty()) {
        const SongId current = queue->songs.at(static_cast<std::size_t>(queue->current));
        if (byIndex) {
            told["currentIndex"] = queue->current;
        } else {
            told["current"] = tonvale_service::SongIdText(current);
        }
    }
    told["entry"] = ChildrenOf(asked, queue->songs);
    return members;
}

Json::Value GetPlayQueue(const Request &asked) {
    return QueueObject(asked, "playQueue", false);
}

Json::Value GetPlayQueueByIndex(const Request &asked) {
    return QueueObject(asked, "playQueueByIndex", true);
}

void Keep(const Request &asked, const std::vector<int> &rows, int current) {
    tonvale_service::SetPlayQueue(
        asked.Uid(), rows,
        {.current = current, .position = PositionOf(asked), .changedBy = asked.Text("c")});
}

Json::Value SavePlayQueue(const Request &asked) {
    const std::vector<std::string> ids = asked.All("id");
    const std::string current = asked.Text("current");
    const auto found = std::find(ids.begin(), ids.end(), current);
    if (!current.empty() && found == ids.end()) {
        throw Fault{kGeneric, "the parameter 'current' is none of the songs 'id'"};
    }
    Keep(asked, RowsOf(ids), current.empty() ? 0 : static_cast<int>(found - ids.begin()));
    return Json::Value(Json::objectValue);
}

Json::Value SavePlayQueueByIndex(const Request &asked) {
    const std::vector<std::string> ids = asked.All("id");
    const auto current = asked.GivenNumber("currentIndex", INT_MIN, INT_MAX);
    if (current.has_value() == ids.empty() ||
        (current && (*current < 0 || *current >= static_cast<long long>(ids.size())))) {
        throw Fault{kMissing, "the parameter 'currentIndex' takes the place of one of the songs"};
    }
    Keep(asked, RowsOf(ids), static_cast<int>(current.value_or(0)));
    return Json::Value(Json::objectValue);
}

constexpr Endpoint kEndpoints[] = {
    {.name = "createBookmark", .answer = CreateBookmark, .changes = true},
    {.name = "deleteBookmark", .answer = DeleteBookmark, .changes = true},
    {.name = "getBookmarks", .answer = Named<"bookmarks", Named<"bookmark", Bookmarks>>},
    {.name = "getPlayQueue", .answer = GetPlayQueue},
    {.name = "getPlayQueueByIndex", .answer = GetPlayQueueByIndex},
    {.name = "savePlayQueue", .answer = SavePlayQueue, .changes = true},
    {.name = "savePlayQueueByIndex", .answer = SavePlayQueueByIndex, .changes = true}};

}  // namespace

const std::span<const Endpoint> kBookmarkEndpoints = kEndpoints;

}  // namespace tonvale_subsonic

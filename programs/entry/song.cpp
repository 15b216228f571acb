// VARN.Tonvale.Song: the songs of the library.
#include <array>
#include <climits>
#include <optional>

#include "action.h"
#include "answers/kinds.h"
#include "song_records.h"
#include "tonvale/webapi.h"
#include "varn/sql.h"

namespace tonvale_entry {

namespace {

constexpr long long kMostSongs = 5000;
constexpr long long kUsualSongs = 100;
constexpr char kRating[] = "song_rating";

const std::vector<std::string> kAdditional = {"song_tag", "song_audio", kRating};

struct RecordFreer {
    void operator()(PLAYLIST_REC *list) const noexcept { VARNPlaylistRecFree(list); }
};
using RecordList = std::unique_ptr<PLAYLIST_REC, RecordFreer>;

// Builds track objects with what the request wants in them.
class Tracks {
  public:
    explicit Tracks(const Request &request) : library_(request.User()) {
        for (const std::string &wanted : request.Names("additional", kAdditional)) {
            library_.addSongTag |= wanted == "song_tag";
            library_.addSongAudio |= wanted == "song_audio";
            library_.addSongRating |= wanted == kRating;
        }
    }

    // The replay gain belongs to the tags, and costs a join like the rating.
    std::string Columns() const {
        std::string columns = kSongColumns;
        if (library_.addSongTag) {
            columns += ", rg_track_gain, rg_track_peak, rg_album_gain, rg_album_peak";
        }
        return columns + (library_.addSongRating ? ", star" : "");
    }

    // Appends a track object for each row.
    void Append(MEDIA_DB_HANDLE *rows, Json::Value &tracks) const {
        Tonvale::webapi::HashRating ratings;
        RecordList list;
        PLAYLIST_REC **end = nullptr;
        for (VARN_MEDIA_INFO song; MediaInfoDBGet(rows, &song) == 0;) {
            auto *record = static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC)));
            if (record == nullptr) {
                throw std::bad_alloc();
            }
            record->info = song;
            if (end == nullptr) {
                list.reset(record);
            } else {
                *end = record;
            }
            end = &record->next;
            SetSongHashValueByDBHandler(ratings.Get(), rows, &song);
        }
        library_.GetTrackJson(ratings.Get(), list.get(), tracks);
    }

    std::string Order(const Request &request) const;

  private:
    Tonvale::webapi::WebapiLibrary library_;
};

// The keys that a client may sort by.
const std::vector<std::string> kSortKeys = {"title", "artist",   "album",    "album_artist",
                                            "genre", "composer", "year",     "track",
                                            "disc",  "path",     "duration", "date"};

std::string Tracks::Order(const Request &request) const {
    const std::string key = request.Choice("sort_by", kSortKeys, "title");
    const std::string direction = request.Choice("sort_direction", {"ASC", "DESC"}, "ASC");
    std::array<char, 1024> order{};
    const std::string primary = key + " " + direction;
    GenerateOrderString(primary.c_str(), order.data(), order.size());
    return order.data();
}

// The condition of all filters together.
std::string Condition(const Request &request) {
    using varn::Sql;
    struct Filter {
        const char *name;
        std::optional<std::string> (*sql)(const std::string &value);
    };
    constexpr Filter kFilters[] = {
        {"album", [](const std::string &value) { return Sql("album = '@VARN:VAR'", value); }},
        {"album_artist",
         [](const std::string &value) { return Sql("album_artist = '@VARN:VAR'", value); }},
        {"artist",
         [](const std::string &value) {
             return Sql(
                 "(artist_search = UPPER('@VARN:VAR') OR "
                 "album_artist_search = UPPER('@VARN:VAR'))",
                 value, value);
         }},
        {"composer", [](const std::string &value) { return Sql("composer = '@VARN:VAR'", value); }},
        {"genre", [](const std::string &value) { return Sql("genre = '@VARN:VAR'", value); }},
    };
    std::string condition;
    for (const Filter &filter : kFilters) {
        const std::string value = request.Text(filter.name);
        if (value.empty()) {
            continue;
        }
        const auto part = filter.sql(value);
        if (!part) {
            throw Refusal{Code::kBadParameter};
        }
        condition += (condition.empty() ? "" : " AND ") + *part;
    }
    return condition;
}

class List : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override {
        const unsigned uid = Asked().User().GetLoginUID();
        const std::string kind = tonvale_answers::ChosenKind(Asked().Text("library"), uid);
        const std::string condition = Condition(Asked());
        const Tracks tracks(Asked());
        const auto offset = static_cast<int>(Asked().Number("offset", 0, 0, INT_MAX));
        const auto limit = static_cast<int>(Asked().Number("limit", kUsualSongs, 1, kMostSongs));
        // A total within the page's own statement would read the whole library for every page.
        const int64_t total = AudioInfoDBGetCount(kind.c_str(), uid, VARN_TABLE_MUSIC, "*",
                                                  condition.c_str(), nullptr, 0);
        const Handle rows(AudioInfoDBOpen(kind.c_str(), uid, VARN_TABLE_MUSIC,
                                          tracks.Columns().c_str(), condition.c_str(), nullptr,
                                          tracks.Order(Asked()).c_str(), offset, limit, 0));
        if (total < 0 || !rows) {
            throw Refusal{Code::kFailed};
        }
        Json::Value data(Json::objectValue);
        data["offset"] = offset;
        data["total"] = Json::Int64{total};
        data["songs"] = Json::Value(Json::arrayValue);
        tracks.Append(rows.get(), data["songs"]);
        return data;
    }
};

// The songs in the order of their identifiers; one that is not there, or is another user's, is left
// out, and the answer is "no such item" when none is there.
class Get : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override {
        const Tracks tracks(Asked());
        Json::Value data(Json::objectValue);
        data["songs"] = Json::Value(Json::arrayValue);
        for (const std::string &id : Asked().Values("id")) {
            tracks.Append(RowOfSong(Asked(), id, tracks.Columns()).get(), data["songs"]);
        }
        if (data["songs"].empty()) {
            throw Refusal{Code::kNoSuchItem};
        }
        return data;
    }
};

constexpr Method kMethods[] = {{"list", Make<List>}, {"get", Make<Get>}};

}  // namespace

const Api kSongApi{"VARN.Tonvale.Song", kMethods};

}  // namespace tonvale_entry

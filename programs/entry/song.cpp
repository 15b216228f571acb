// VARN.Tonvale.Song: the songs of the library.
#include "service/songs/songs.h"

#include "action.h"
#include "list_request.h"
#include "service/search/search.h"
#include "service/songs/lyrics.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Page;

constexpr Parameter kField{
    .name = "field", .what = "Where the words are looked for.", .usual = "all", .names = [] {
        return tonvale_service::SearchFields();
    }};
constexpr Parameter kStars{.name = "rating",
                           .what = "Stars; 0 takes them away.",
                           .kind = Kind::kNumber,
                           .isRequired = true,
                           .high = 5};

std::unique_ptr<Page> List(const Request &asked) {
    return ListSongs(ListRequestOf(asked), TrackWriterOf(asked));
}

std::unique_ptr<Page> Search(const Request &asked) {
    return SearchSongs(ListRequestOf(asked), asked.RequiredText("keyword"), asked.Choice(kField),
                       TrackWriterOf(asked));
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
    LeaveWorker();  // a disk may be slow
    Json::Value data(Json::objectValue);
    data["lyrics"] = LyricsObjects(tonvale_service::LyricsOf(song));
    return data;
}

Json::Value Rate(const Request &asked) {
    const auto stars = asked.Number(kStars);
    const uid_t uid = asked.User().GetLoginUID();
    tonvale_service::RateSongs(uid, tonvale_service::RowsOf(uid, asked.Values("id")),
                               static_cast<unsigned>(stars));
    return Json::Value(Json::objectValue);
}

std::vector<std::string> ListSortKeys() {
    std::vector<std::string> keys = WithListenedKeys(tonvale_service::SongSortKeys());
    keys.emplace_back(tonvale_service::kRandom);
    return keys;
}

constexpr auto kListParameters = Join(kPaging, SortedBy(ListSortKeys, "title", kListenedOrder),
                                      kDirection, kLibrary, kFilters, kAdditional);
constexpr auto kSearchParameters = Join(
    Parameter{
        .name = "keyword", .what = "Words, all of them; 400 bytes at most.", .isRequired = true},
    kField, kPaging, SortedBy([] { return tonvale_service::SearchSortKeys(); }, "match"),
    kDirection, kLibrary, kFilters, kAdditional);
constexpr std::array kGetParameters = {kSongIds, kAdditional};
constexpr std::array kLyricsParameters = {
    Parameter{.name = "id", .what = "The song.", .isRequired = true}};
constexpr std::array kRateParameters = {kSongIds, kStars};

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<List>,
     .takesRoot = false,
     .summary = "A page of the songs that the filters choose; by random a sample without filters",
     .parameters = kListParameters,
     .answer = "SongPage"},
    {.name = "search",
     .make = Make<Search>,
     .takesRoot = false,
     .summary = "A page of the songs that have each word: docs/browsing.md",
     .parameters = kSearchParameters,
     .answer = "SongPage"},
    {.name = "get",
     .make = Make<Get>,
     .takesRoot = false,
     .summary = "Songs by their identifiers, in that order, without unknown ones",
     .parameters = kGetParameters,
     .answer = "Songs"},
    {.name = "lyrics",
     .make = Make<Lyrics>,
     .summary =
         "The lyrics of a song: of a .lrc file beside it, of its tags, of a .txt file beside it",
     .parameters = kLyricsParameters,
     .answer = "SongLyrics"},
    {.name = "rate",
     .make = Make<Rate>,
     .changes = true,
     .summary = "Give songs stars of the user; all of them or none",
     .parameters = kRateParameters},
};

constexpr Field kSong[] = {
    {"id", "text",
     "identifier: music_ID, of a personal library music_p_ID; of a track of a cue sheet "
     "music_v_ID, music_p_v_ID; of a stream remote_TAGS URL"},
    {"title", "text", "title, or the name of the file"},
    {"path", "text", "path from the share on; the URL of a stream"},
    {"type", "=file remote"},
    {"additional?", "Additional"}};
constexpr Field kAdded[] = {{"song_tag?", "SongTag"},
                            {"song_audio?", "SongAudio"},
                            {"song_rating?", "SongRating"},
                            {"song_favourite?", "SongFavourite"},
                            {"song_plays?", "SongPlays"}};
constexpr Field kTag[] = {{"album", "text"},
                          {"artist", "text"},
                          {"album_artist", "text"},
                          {"composer", "text"},
                          {"genre", "text"},
                          {"comment", "text"},
                          {"disc", "number", "0: none"},
                          {"track", "number", "0: none"},
                          {"year", "number", "0: none"},
                          {"rg_track_gain?", "text", "replay gain of the song, dB"},
                          {"rg_track_peak?", "text", "0 to 1"},
                          {"rg_album_gain?", "text", "replay gain of the album, dB"},
                          {"rg_album_peak?", "text", "0 to 1"}};
constexpr Field kAudio[] = {{"duration", "number", "whole seconds"},
                            {"frequency", "number", "Hz"},
                            {"bitrate", "number", "bit/s"},
                            {"channel", "number"},
                            {"filesize", "number", "bytes"},
                            {"container", "text"},
                            {"codec", "text"}};
constexpr Field kRating[] = {{"rating", "number", "the user's stars, 0 to 5"}};
constexpr Field kFavourite[] = {{"favourite", "flag", "it is one of the user's"},
                                {"since", "number", "seconds since 1970; 0: it is none"}};
constexpr Field kPlays[] = {{"count", "number", "how often the user has played it"},
                            {"last", "number", "seconds since 1970; 0: never"}};
constexpr Field kLine[] = {{"text", "text"},
                           {"start?", "number", "of timed ones: milliseconds of the song"}};
constexpr Field kOneLyrics[] = {{"language", "text", "ISO 639; und: not known"},
                                {"timed", "flag", "each line has a start, and they are in order"},
                                {"lines", "[LyricsLine]"}};
constexpr Field kAllLyrics[] = {{"lyrics", "[Lyrics]"}};
constexpr Field kSongs[] = {{"songs", "[Song]"}};
constexpr Field kSongPage[] = {{"offset", "number"}, {"total", "number"}, {"songs", "[Song]"}};
constexpr Schema kSchemas[] = {{"Song", kSong, "a file of music, or a track of a cue sheet"},
                               {"Additional", kAdded, "what the parameter additional asks for"},
                               {"SongTag", kTag},
                               {"SongAudio", kAudio},
                               {"SongRating", kRating},
                               {"SongFavourite", kFavourite},
                               {"SongPlays", kPlays},
                               {"LyricsLine", kLine},
                               {"Lyrics", kOneLyrics},
                               {"SongLyrics", kAllLyrics},
                               {"Songs", kSongs},
                               {"SongPage", kSongPage}};

}  // namespace

const Api kSongApi{.name = "VARN.Tonvale.Song",
                   .methods = kMethods,
                   .summary = "The songs of the library",
                   .schemas = kSchemas};

}  // namespace tonvale_entry

#include "service/songs/song_facts.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/kinds.h"
#include "service/search/search_tables.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

constexpr char kColumns[] =
    "SELECT t.id, t.is_virtual::integer AS is_virtual, t.path, t.title, t.title_sort, g.album, "
    "g.album_artist, g.artist, g.composer, t.agg_genre, t.comment, t.year, t.disc, t.track, "
    "round(greatest(t.duration, 0))::integer AS seconds, t.bitrate, t.frequency, t.channel, "
    "t.filesize, extract(epoch FROM t.date)::bigint AS added, rg_track_gain, rg_track_peak, "
    "rg_album_gain, rg_album_peak, coalesce(r.star, 0) AS star, coalesce(plays, 0) AS plays, "
    "coalesce(extract(epoch FROM last), 0)::bigint AS last, "
    "coalesce(extract(epoch FROM made), 0)::bigint AS made FROM ";
constexpr char kJoins[] =
    " s JOIN track t ON t.id = s.track JOIN tag_text g ON g.id = s.tags "
    "LEFT JOIN replaygain_track gain ON gain.track = s.track "
    "LEFT JOIN (VALUES (@VARN:INT)) u (who) ON true "
    "LEFT JOIN rating_track r ON r.track = s.track AND r.userid = who "
    "LEFT JOIN song_play p ON p.track = s.track AND p.userid = who "
    "LEFT JOIN favourite_song f ON f.track = s.track AND f.userid = who";

// A virtual track's comment may hold where the track begins, which is none of a user's words.
std::string CommentOf(const varn::Row &row) {
    const char *comment = row.Text("comment");
    return IsVirtualMusic(comment) ? "" : comment;
}

std::optional<double> GainOf(const varn::Row &row, const char *column) {
    const std::string text = row.Text(column);
    return text.empty() ? std::nullopt : std::optional(varn::LeadingNumber<double>(text));
}

SongFacts FactsOf(const varn::Row &row) {
    const auto number = [&](const char *column) { return static_cast<int>(row.Number(column)); };
    return {.id = {number("id"), row.Number("is_virtual") != 0},
            .path = row.Text("path"),
            .title = row.Text("title"),
            .titleSort = row.Text("title_sort"),
            .album = row.Text("album"),
            .albumArtist = row.Text("album_artist"),
            .artist = row.Text("artist"),
            .composer = row.Text("composer"),
            .genres = GenresIn(row.Text("agg_genre")),
            .comment = CommentOf(row),
            .year = number("year"),
            .disc = number("disc"),
            .track = number("track"),
            .seconds = number("seconds"),
            .bitRate = number("bitrate"),
            .frequency = number("frequency"),
            .channels = number("channel"),
            .bytes = row.Number("filesize"),
            .added = row.Number("added"),
            .trackGain = GainOf(row, "rg_track_gain"),
            .trackPeak = GainOf(row, "rg_track_peak"),
            .albumGain = GainOf(row, "rg_album_gain"),
            .albumPeak = GainOf(row, "rg_album_peak"),
            .marks = {.stars = number("star"),
                      .plays = number("plays"),
                      .lastPlayed = row.Number("last"),
                      .favouriteSince = row.Number("made")}};
}

using Found = std::unordered_map<int, SongFacts>;

Found FindRows(const ListRequest &request, const std::set<int> &rows) {
    std::string list;
    for (const int row : rows) {
        list += (list.empty() ? "" : ",") + std::to_string(row);
    }
    Found found;
    if (!rows.empty()) {
        for (SongFacts &song :
             ChooseSongs(request, {.condition = "s.track = ANY ('{" + list + "}')"})) {
            found.emplace(song.id.row, std::move(song));
        }
    }
    return found;
}

}  // namespace

std::string ByTitle() {
    return Expression({"title", "t.title_sort", true}) + ", t.id";
}

std::vector<SongFacts> ChooseSongs(const ListRequest &request, const SongChoice &choice) {
    const std::string ordered = choice.order.empty() ? "" : " ORDER BY " + choice.order;
    const std::string where = " WHERE " + ShownSongs(request) +
                              (choice.condition.empty() ? "" : " AND " + choice.condition);
    // A page is chosen before all of its songs' texts are read.
    const bool isPage = choice.limit > 0;
    const bool needsTrack = (where + ordered).find("t.") != std::string::npos;
    const std::string chosen = "(SELECT s.track, s.tags FROM song_text s" +
                               std::string(needsTrack ? " JOIN track t ON t.id = s.track" : "") +
                               where + ordered + Paged(choice.offset, choice.limit) + ")";
    const std::string statement = kColumns + (isPage ? chosen : "song_text") +
                                  Made(varn::Sql(kJoins, static_cast<int>(request.uid))) +
                                  (isPage ? "" : where) + ordered;
    std::vector<SongFacts> songs;
    AskTables([&](varn::Database &database) {
        const varn::Rows rows = database.Query(statement);
        songs.reserve(static_cast<std::size_t>(rows.Count()));
        for (const varn::Row row : rows) {
            songs.push_back(FactsOf(row));
        }
    });
    return songs;
}

std::vector<SongFacts> SongsOfRows(const ListRequest &request, const std::vector<int> &rows) {
    const Found found = FindRows(request, std::set<int>(rows.begin(), rows.end()));
    std::vector<SongFacts> songs;
    songs.reserve(rows.size());
    for (const int row : rows) {
        if (const auto song = found.find(row); song != found.end()) {
            songs.push_back(song->second);
        }
    }
    return songs;
}

std::vector<SongFacts> SongsOfIds(uid_t uid, const std::vector<SongId> &ids) {
    Found found;
    for (const bool isVirtual : {false, true}) {
        std::set<int> rows;
        for (const SongId &id : ids) {
            if (id.isVirtual == isVirtual) {
                rows.insert(id.row);
            }
        }
        ListRequest request;
        request.uid = uid;
        request.library = ChosenKind(isVirtual ? "virtual" : "actual", uid);
        found.merge(FindRows(request, rows));
    }
    std::vector<SongFacts> songs;
    songs.reserve(ids.size());
    for (const SongId &id : ids) {
        if (const auto song = found.find(id.row); song != found.end() && song->second.id == id) {
            songs.push_back(song->second);
        }
    }
    return songs;
}

std::string IsOfAlbum(const std::string &album, const std::string &albumArtist) {
    return Made(
        varn::Sql("s.track IN (SELECT track FROM album_track WHERE album = '@VARN:VAR' AND "
                  "album_artist = '@VARN:VAR')",
                  album, albumArtist));
}

std::string IsOfArtist(const std::string &name) {
    if (name.empty()) {
        return "g.album_artist = '' AND g.artist = ''";
    }
    return Made(varn::Sql(
        "s.track IN (SELECT track FROM album_track WHERE album_artist_search = upper('@VARN:VAR') "
        "UNION ALL SELECT track FROM artist_track WHERE artist_search = upper('@VARN:VAR'))",
        name, name));
}

std::string IsOfGenre(const std::string &genre) {
    return Made(
        varn::Sql("s.track IN (SELECT track FROM genre_track WHERE genre = '@VARN:VAR')", genre));
}

std::vector<std::string> GenresIn(std::string_view joined) {
    constexpr std::string_view kBetween = ", ";
    std::vector<std::string> genres;
    while (!joined.empty()) {
        const std::size_t end = std::min(joined.find(kBetween), joined.size());
        genres.emplace_back(joined.substr(0, end));
        joined.remove_prefix(std::min(end + kBetween.size(), joined.size()));
    }
    return genres;
}

}  // namespace tonvale_service

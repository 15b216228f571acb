// The sound, pictures and lyrics of songs: stream, download, getCoverArt, getLyrics and its kin.
#include <algorithm>

#include "endpoint.h"
#include "entry/picture.h"
#include "entry/song_sound.h"
#include "entry/worker.h"
#include "objects.h"
#include "playlist_objects.h"
#include "service/covers/cover_copies.h"
#include "service/covers/cover_songs.h"
#include "service/lists/tables.h"
#include "service/songs/lyrics.h"
#include "tonvale/settings.h"
#include "tonvale/webapi.h"
#include "varn/sql.h"

namespace tonvale_subsonic {

namespace {

using tonvale_entry::Sound;

// The sound of a song that is asked for in this API's own words.
class Player : public tonvale_entry::SongAction {
  public:
    using SongAction::SendSong;
    using SongAction::SongAction;

  protected:
    bool Send() override { return false; }
};

constexpr long long kMostKiloBits = 10'000;

// Sound that a client would rather have otherwise comes as MP3, which all of them play.
Sound SoundOf(const Request &asked, const VARN_MEDIA_INFO &song) {
    const std::string format = asked.Text("format");
    const long long most = asked.Number("maxBitRate", 0, 0, kMostKiloBits) * 1000;
    const int position =
        static_cast<int>(asked.Number("timeOffset", 0, 0, tonvale_entry::kLongestSong));
    const std::string extension = VARNAudioWebapiUtilsGetFileExt(song.path);
    const bool isLight = most == 0 || song.bitrate <= most;
    const bool isPart = position > 0 || IsVirtualMusic(&song);
    const bool canBeRaw = !isPart || tonvale_entry::CanCut(song);
    if (format == "raw" || (canBeRaw && isLight && (format.empty() || format == extension))) {
        return {"raw", position, 0};
    }
    if (format == "wav" && most == 0) {
        return {"wav", position, 0};
    }
    return {"mp3", position, most == 0 ? 0 : tonvale_entry::Mp3BitRateWithin(song, most)};
}

bool Stream(const Request &asked) {
    asked.Require(RIGHT_STREAMING);
    const VARN_MEDIA_INFO song = tonvale_service::ReadSong(asked.Uid(), asked.Required("id"));
    return Player(asked.Entry()).SendSong(song, SoundOf(asked, song));
}

// A track of a cue sheet that cannot be cut out of its file goes out as MP3.
bool Download(const Request &asked) {
    asked.Require(RIGHT_STREAMING);
    const VARN_MEDIA_INFO song = tonvale_service::ReadSong(asked.Uid(), asked.Required("id"));
    const bool isRaw = !IsVirtualMusic(&song) || tonvale_entry::CanCut(song);
    return Player(asked.Entry()).SendSong(song, {isRaw ? "raw" : "mp3", 0, 0});
}

std::vector<std::string> TextsOf(const std::vector<tonvale_service::SongId> &songs) {
    std::vector<std::string> ids;
    for (const tonvale_service::SongId song : songs) {
        ids.push_back(tonvale_service::SongIdText(song));
    }
    return ids;
}

std::vector<tonvale_service::CoverSong> CoverSongs(const Request &asked, const std::string &id) {
    const uid_t uid = asked.Uid();
    if (id.starts_with(kAlbumPrefix)) {
        std::vector<tonvale_service::SongId> songs;
        for (const auto &song : SongsOf(asked, FindAlbum(asked, id))) {
            songs.push_back(song.id);
        }
        return tonvale_service::CoverSongsOf(uid, TextsOf(songs));
    }
    if (id.starts_with(kArtistPrefix)) {
        return tonvale_service::CoverSongsOf(
            uid, {tonvale_service::SongIdText(FindArtist(asked, id).cover)});
    }
    if (id.starts_with("dir_")) {
        return tonvale_service::CoverSongsOfFolder(WholeLibrary(asked).library, uid, id);
    }
    if (tonvale_service::IsPlaylistId(id)) {
        const auto entries = EntriesOf(FindPlaylist(asked, id), tonvale_service::kMostCoverSongs);
        return tonvale_service::CoverSongsOf(uid, TextsOf(SongsOf(entries)));
    }
    return tonvale_service::CoverSongsOf(uid, {id});
}

bool GetCoverArt(const Request &asked) {
    constexpr long long kAnySide = 1'000'000;
    const auto side = asked.GivenNumber("size", 0, kAnySide);
    const std::string id = asked.Required("id");
    const int pixels = !side ? tonvale_service::kOriginalSide
                             : static_cast<int>(std::clamp<long long>(
                                   *side, tonvale_service::kLeastSide, tonvale_service::kMostSide));
    const auto picture =
        tonvale_service::FirstCover(CoverSongs(asked, id), pixels, tonvale_entry::LeaveWorker);
    if (!picture) {
        throw NoSuch("picture of", id);
    }
    return tonvale_entry::SendPicture(*picture, asked.Entry().WantsHeaderOnly());
}

std::vector<tonvale_service::Lyrics> LyricsOf(const VARN_MEDIA_INFO &song) {
    tonvale_entry::LeaveWorker();  // a disk may dawdle
    return tonvale_service::LyricsOf(song);
}

Json::Value StructuredLyrics(const Request &asked) {
    const VARN_MEDIA_INFO song = tonvale_service::ReadSong(asked.Uid(), asked.Required("id"));
    Json::Value list(Json::arrayValue);
    for (const tonvale_service::Lyrics &lyrics : LyricsOf(song)) {
        Json::Value &told = list.append(Json::objectValue);
        told["displayArtist"] = song.artist;
        told["displayTitle"] = song.title;
        told["lang"] = lyrics.language;
        told["offset"] = 0;
        told["synced"] = lyrics.isTimed;
        Json::Value &lines = told["line"] = Json::Value(Json::arrayValue);
        for (const tonvale_service::LyricsLine &line : lyrics.lines) {
            Json::Value &one = lines.append(Json::objectValue);
            one["value"] = line.text;
            if (line.start) {
                one["start"] = Json::Int64(*line.start);
            }
        }
    }
    return list;
}

// The first songs with a title, in any case, and with an artist where one is given.
std::vector<VARN_MEDIA_INFO> SongsTitled(const Request &asked, const std::string &artist,
                                         const std::string &title, int most) {
    const std::string condition =
        tonvale_service::Made(varn::Sql("lower(t.title) = lower('@VARN:VAR')", title)) +
        (artist.empty() ? "" : " AND " + tonvale_service::IsOfArtist(artist));
    std::vector<VARN_MEDIA_INFO> songs;
    for (const auto &song : tonvale_service::ChooseSongs(
             WholeLibrary(asked), {.condition = condition, .order = "t.id", .limit = most})) {
        songs.push_back(
            tonvale_service::ReadSong(asked.Uid(), tonvale_service::SongIdText(song.id)));
    }
    return songs;
}

std::string PlainText(const tonvale_service::Lyrics &lyrics) {
    std::string text;
    for (const tonvale_service::LyricsLine &line : lyrics.lines) {
        text += (text.empty() ? "" : "\n") + line.text;
    }
    return text;
}

// The song with a title, and an artist where it is given. An empty text tells that there are no
// lyrics.
Json::Value GetLyrics(const Request &asked) {
    constexpr int kMostSongs = 5;
    const std::string artist = asked.Text("artist");
    const std::string title = asked.Text("title");
    Json::Value told(Json::objectValue);
    told["value"] = "";
    if (title.empty()) {
        return told;
    }
    const auto songs = SongsTitled(asked, artist, title, kMostSongs);
    for (const VARN_MEDIA_INFO &song : songs) {
        try {
            const auto all = LyricsOf(song);
            if (!all.empty()) {
                told["artist"] = song.artist;
                told["title"] = song.title;
                told["value"] = PlainText(all.front());
                break;
            }
        } catch (const tonvale_service::Failure &failure) {
            // The next one may have them.
            if (failure.Why() != tonvale_service::Reason::kOutsideMusic) {
                throw;
            }
        }
    }
    return told;
}

constexpr Endpoint kEndpoints[] = {
    {.name = "download", .send = Download, .lasts = true, .takesRoot = true},
    {.name = "getCoverArt", .send = GetCoverArt, .takesRoot = true},
    {.name = "getLyrics", .answer = Named<"lyrics", GetLyrics>, .takesRoot = true},
    {.name = "getLyricsBySongId",
     .answer = Named<"lyricsList", Named<"structuredLyrics", StructuredLyrics>>,
     .takesRoot = true},
    {.name = "stream", .send = Stream, .lasts = true, .takesRoot = true}};

}  // namespace

const std::span<const Endpoint> kMediaEndpoints = kEndpoints;

}  // namespace tonvale_subsonic

// VARN.Tonvale.Sharing.Page: what a share link publishes, for everybody who has it.
#include <cstdio>

#include "action.h"
#include "list_request.h"
#include "page_html.h"
#include "picture.h"
#include "rights.h"
#include "service/base/failure.h"
#include "shared_playlist.h"
#include "song_sound.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

constexpr char kLink[] = "sharing_id";
constexpr char kId[] = "id";

// The addresses of pages allow so many digits, and a page can be added to the largest number.
constexpr Parameter kFirst{.name = "offset",
                           .what = "How many songs come before the page.",
                           .kind = Kind::kNumber,
                           .high = 999'999'999,
                           .usual = "0"};

// Anybody may ask, and a page is held whole, at 12 KB a song.
constexpr Parameter kSongs = LimitedTo(500);
constexpr Parameter kSize{.name = "size",
                          .what = "A small copy, or the picture itself.",
                          .usual = "scaled",
                          .choices = "original scaled"};

// Does the work with a song of the link. A missing song is refused like a missing link.
template <typename Work>
bool OrRefused(const Work &work) {
    Refusal refusal{Code::kFailed};
    try {
        return work();
    } catch (const Refusal &why) {
        refusal = why;
    } catch (const tonvale_service::Failure &failure) {
        refusal = RefusalOf(failure);
    }
    if (refusal.code == Code::kNoSuchItem) {
        RefuseLink();
    }
    throw refusal;
}

Json::Value Get(const Request &asked) {
    const PageWanted wanted = PageOf(asked, kSongs);
    const SharedPlaylist playlist(asked.Text(kLink));
    const SharedPage page = playlist.Songs(wanted.offset, wanted.limit);
    Json::Value data(Json::objectValue);
    data["name"] = playlist.Name();
    data["offset"] = wanted.offset;
    data["total"] = page.total;
    Json::Value &songs = data["songs"] = Json::Value(Json::arrayValue);
    for (const SharedSong &shared : page.songs) {
        Json::Value song(Json::objectValue);
        song["id"] = shared.id;
        song["title"] = shared.title;
        song["artist"] = shared.artist;
        song["album"] = shared.album;
        song["duration"] = shared.duration;
        songs.append(std::move(song));
    }
    return data;
}

class Stream : public SongAction {
  public:
    using SongAction::SongAction;

  protected:
    bool Send() override {
        const Sound sound = AskedSound();
        const VARN_MEDIA_INFO song = SharedPlaylist(Asked().Text(kLink)).Song(Asked().Text(kId));
        return OrRefused([&] { return SendSong(song, sound); });
    }
};

class Cover : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    bool Send() override {
        const bool isSmall = Asked().Choice(kSize) == "scaled";
        const VARN_MEDIA_INFO song = SharedPlaylist(Asked().Text(kLink)).Song(Asked().Text(kId));
        const int side = isSmall ? tonvale_service::kUsualSide : tonvale_service::kOriginalSide;
        return OrRefused([&] {
            return SendPicture(
                tonvale_service::OpenCoverOf(song.userid, song.path, side, LeaveWorker),
                Asked().WantsHeaderOnly());
        });
    }
};

// Also false for a song of the list that may not be opened: the page shows the others.
bool HasCover(SharedPlaylist &playlist, const std::string &songId) {
    try {
        const VARN_MEDIA_INFO song = playlist.Song(songId);
        tonvale_service::OpenCoverOf(song.userid, song.path, tonvale_service::kOriginalSide,
                                     LeaveWorker);
        return true;
    } catch (const Refusal &) {
        return false;
    } catch (const tonvale_service::Failure &) {
        return false;
    }
}

// The page itself, which the web server asks for when somebody opens a link.
class Page : public ActionHandler {
  public:
    explicit Page(const Request &request) : request_(request) {}

    bool Process() override {
        std::string answer;
        try {
            const LinkPage page = Opened();
            CheckDatabase();
            GiveUpRights();
            answer = PageAnswer(page);
        } catch (const Refusal &refusal) {
            const Code code = CodeForClient(refusal.code);
            answer = RefusedPageAnswer(code == Code::kBadParameter ? Code::kNoSuchItem : code);
        }
        return std::fwrite(answer.data(), 1, answer.size(), stdout) == answer.size() &&
               std::fflush(stdout) == 0;
    }

  private:
    // "song" is the reference after the link's identifier in an address.
    LinkPage Opened() const {
        const std::string reference = request_.Text("song");
        LinkPage page;
        page.linkId = request_.Text(kLink);
        page.offset = static_cast<int>(request_.Number(kFirst));
        SharedPlaylist playlist(page.linkId);
        page.isOneSong = !reference.empty();
        if (page.isOneSong) {
            const SharedSong song = playlist.ReferredSong(reference);
            page.name = song.title;
            page.songs = {1, {song}};
        } else {
            page.name = playlist.Name();
            page.songs = playlist.Songs(page.offset, kSongsOfPage);
        }
        const std::vector<SharedSong> &songs = page.songs.songs;
        page.hasCover = !songs.empty() && HasCover(playlist, songs.front().id);
        return page;
    }

    const Request &request_;
};

constexpr Parameter kLinkId{.name = kLink, .what = "The link.", .isRequired = true};
constexpr Parameter kSongId{.name = kId, .what = "A song of the link.", .isRequired = true};
constexpr std::array kGetParameters = {kLinkId, kOffset, kSongs};
constexpr auto kStreamParameters = Join(kLinkId, kSongId, kSoundParameters);
constexpr std::array kCoverParameters = {kLinkId, kSongId, kSize};
constexpr std::array kPageParameters = {
    kLinkId, kFirst,
    Parameter{.name = "song", .what = "One song alone: the reference in its address."}};

constexpr Method kMethods[] = {
    {.name = "get",
     .make = Make<Get>,
     .summary = "The songs that a link publishes",
     .parameters = kGetParameters,
     .answer = "SharedPage"},
    {.name = "stream",
     .make = Make<Stream>,
     .isMedia = true,
     .lasts = true,
     .summary = "The sound of one of these songs",
     .parameters = kStreamParameters,
     .answer = kSoundTypes},
    {.name = "cover",
     .make = Make<Cover>,
     .isMedia = true,
     .summary = "The picture of one of these songs",
     .parameters = kCoverParameters,
     .answer = "image/jpeg image/png image/gif image/webp image/bmp"},
    {.name = "page",
     .make = Make<Page>,
     .summary = "The page of a link, /as/sharing/ID, in HTML",
     .parameters = kPageParameters,
     .answer = "text/html"},
};

constexpr Field kSong[] = {{"id", "text"},
                           {"title", "text"},
                           {"artist", "text"},
                           {"album", "text"},
                           {"duration", "number", "seconds"}};
constexpr Field kShared[] = {{"name", "text"},
                             {"offset", "number"},
                             {"total", "number", "entries of the playlist, missing ones as well"},
                             {"songs", "[SharedSong]"}};
constexpr Schema kSchemas[] = {{"SharedSong", kSong}, {"SharedPage", kShared}};

}  // namespace

const Api kSharingPageApi{.name = "VARN.Tonvale.Sharing.Page",
                          .methods = kMethods,
                          .isPublic = true,
                          .summary =
                              "What a share link publishes, without a login. All else is "
                              "404 after 0.3 seconds",
                          .schemas = kSchemas};

}  // namespace tonvale_entry

// VARN.Tonvale.Sharing.Page: what a share link publishes, for everybody who has it.
#include <climits>
#include <cstdio>

#include "action.h"
#include "list_request.h"
#include "page_html.h"
#include "picture.h"
#include "shared_playlist.h"
#include "song_sound.h"

namespace tonvale_entry {

namespace {

constexpr char kLink[] = "sharing_id";
constexpr char kId[] = "id";

class Get : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() override {
        const PageWanted wanted = PageOf(Asked());
        const SharedPlaylist playlist(Asked().Text(kLink));
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
};

class Stream : public SongAction {
  public:
    using SongAction::SongAction;

  protected:
    bool Send() override {
        const Sound sound = AskedSound();
        return SendSong(SharedPlaylist(Asked().Text(kLink)).Song(Asked().Text(kId)), sound);
    }
};

class Cover : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    bool Send() override {
        const bool isSmall = Asked().Choice("size", {"original", "scaled"}, "scaled") == "scaled";
        const VARN_MEDIA_INFO song = SharedPlaylist(Asked().Text(kLink)).Song(Asked().Text(kId));
        const auto picture = tonvale_answers::OpenCoverOf(
            song.path,
            isSmall ? tonvale_answers::CoverSize::kScaled : tonvale_answers::CoverSize::kOriginal);
        return SendPicture(picture, Asked().WantsHeaderOnly());
    }
};

// The page itself, which the web server asks for when somebody opens a link.
class Page : public ActionHandler {
  public:
    explicit Page(const Request &request) : request_(request) {}

    bool Process() override {
        std::string answer;
        try {
            answer = PageAnswer(Opened());
        } catch (const Refusal &refusal) {
            answer = RefusedPageAnswer(refusal.code == Code::kFailed
                                           ? "Status: 500 Internal Server Error"
                                           : "Status: 404 Not Found");
        }
        return std::fwrite(answer.data(), 1, answer.size(), stdout) == answer.size() &&
               std::fflush(stdout) == 0;
    }

  private:
    // "song" is the reference behind the link's identifier in an address.
    LinkPage Opened() const {
        const std::string reference = request_.Text("song");
        LinkPage page;
        page.linkId = request_.Text(kLink);
        page.offset = static_cast<int>(request_.Number("offset", 0, 0, INT_MAX));
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
        return page;
    }

    const Request &request_;
};

constexpr Method kMethods[] = {
    {"get", Make<Get>},
    {.name = "stream", .make = Make<Stream>, .isMedia = true},
    {.name = "cover", .make = Make<Cover>, .isMedia = true},
    {"page", Make<Page>},
};

}  // namespace

const Api kSharingPageApi{"VARN.Tonvale.Sharing.Page", kMethods, true};

}  // namespace tonvale_entry

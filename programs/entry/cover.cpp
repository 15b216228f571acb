// VARN.Tonvale.Cover: the pictures of songs, albums, folders and stations.
#include "action.h"
#include "list_request.h"
#include "picture.h"
#include "remote_url.h"
#include "service/covers/cover_copies.h"
#include "service/covers/cover_songs.h"
#include "service/lists/kinds.h"
#include "tonvale/settings.h"
#include "turn.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

constexpr Parameter kSize{.name = "size",
                          .what =
                              "The picture itself, a copy of 480 pixels, or the longest side "
                              "of a copy in pixels.",
                          .kind = Kind::kNumber,
                          .low = tonvale_service::kLeastSide,
                          .high = tonvale_service::kMostSide,
                          .usual = "original",
                          .choices = "original scaled"};

class Get : public MediaAction {
  public:
    using MediaAction::MediaAction;

  protected:
    bool Send() override {
        const int side = Side();
        const std::string url = Asked().Text("url");
        if (!url.empty()) {
            return SendRemote(url);
        }
        const auto picture = tonvale_service::FirstCover(Songs(), side, LeaveWorker);
        const bool headerOnly = Asked().WantsHeaderOnly();
        return picture ? SendPicture(*picture, headerOnly) : SendDefaultPicture(headerOnly);
    }

  private:
    int Side() const {
        const std::string size = Asked().Text("size", std::string(kSize.usual));
        return size == "original" ? tonvale_service::kOriginalSide
               : size == "scaled"
                   ? tonvale_service::kUsualSide
                   : static_cast<int>(Asked().Number("size", 0, kSize.low, kSize.high));
    }

    bool SendRemote(const std::string &url) const {
        Asked().Require(RIGHT_STREAMING);
        if (Asked().IsFromElsewhere()) {
            throw Refusal{Code::kNotPermitted, "", kOwnPagesAlone};
        }
        if (!Asked().Text("id").empty() || !Asked().Text("album").empty() || !IsPermittedUrl(url)) {
            throw Refusal{Code::kBadParameter, "url"};
        }
        TakeTurn(Asked(), Work::kElsewhere);
        return SendFetchedPicture(tonvale_service::FetchCover(url), Asked().WantsHeaderOnly());
    }

    std::vector<tonvale_service::CoverSong> Songs() const {
        const uid_t uid = Asked().User().GetLoginUID();
        const std::string id = Asked().Text("id");
        const std::string artist = Asked().Text("album_artist");
        if (!id.empty() && !(Asked().Text("album") + artist).empty()) {
            throw Refusal{Code::kBadParameter, "id", "name a song, a folder or an album"};
        }
        if (id.empty()) {
            return tonvale_service::CoverSongsOfAlbum(Kind(), uid, Asked().RequiredText("album"),
                                                      artist);
        }
        return id.starts_with("dir_") ? tonvale_service::CoverSongsOfFolder(Kind(), uid, id)
                                      : tonvale_service::CoverSongsOf(uid, {id});
    }

    std::string Kind() const {
        const std::string asked = Asked().Text("library");
        return tonvale_service::ChosenKind(asked.empty() ? "all" : asked,
                                           Asked().User().GetLoginUID());
    }
};

constexpr std::array kParameters = {
    Parameter{.name = "id", .what = "The song or the folder."},
    Parameter{.name = "album", .what = "The name of the album."},
    Parameter{.name = "album_artist", .what = "Tells two albums of one name apart."},
    Parameter{.name = "url",
              .what =
                  "The address of a station's or podcast's picture: JPEG or PNG, at most 5 MiB, "
                  "for those with the right streaming."},
    kSize,
    kLibrary};

constexpr Method kMethods[] = {
    {.name = "get",
     .make = Make<Get>,
     .isMedia = true,
     .summary = "A picture: of one of id, album and url",
     .parameters = kParameters,
     .answer = "image/jpeg image/png image/gif image/webp image/bmp image/svg+xml"}};

}  // namespace

const Api kCoverApi{.name = "VARN.Tonvale.Cover",
                    .methods = kMethods,
                    .summary = "The pictures of songs, albums, folders and stations"};

}  // namespace tonvale_entry

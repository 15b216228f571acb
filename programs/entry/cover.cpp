// VARN.Tonvale.Cover: the pictures of songs, albums, folders and stations.
#include "service/cover.h"

#include <optional>

#include "action.h"
#include "list_request.h"
#include "picture.h"
#include "remote_url.h"
#include "service/cover_copies.h"
#include "service/folders.h"
#include "service/kinds.h"
#include "service/songs.h"
#include "tonvale/settings.h"
#include "turn.h"
#include "varn/sql.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using Tonvale::MediaHandle;
using tonvale_service::Picture;

// Of an album or a folder so many songs are looked at.
constexpr int kMostSongs = 10;

// A song, or a folder of songs.
struct Song {
    uid_t owner;
    std::string path;
};
constexpr char kColumns[] = "path, userid";

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
        const auto picture = Find(side);
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
            throw Refusal{Code::kNotPermitted};
        }
        if (!Asked().Text("id").empty() || !Asked().Text("album").empty() || !IsPermittedUrl(url)) {
            throw Refusal{Code::kBadParameter};
        }
        TakeTurn(Asked(), Work::kElsewhere);
        return SendFetchedPicture(tonvale_service::FetchCover(url), Asked().WantsHeaderOnly());
    }

    // Empty when what was asked for is there and has no cover.
    std::optional<Picture> Find(int side) const {
        for (const auto &[owner, path] : Songs()) {
            try {
                return tonvale_service::OpenCoverOf(owner, path, side, LeaveWorker);
            } catch (const tonvale_service::Failure &failure) {
                if (failure.Class() != tonvale_service::FailureClass::kNotFound) {
                    throw;
                }
            }
        }
        return std::nullopt;
    }

    // Songs that the user may see, at least one.
    std::vector<Song> Songs() const {
        const std::string id = Asked().Text("id");
        const bool isOfAlbum =
            !Asked().Text("album").empty() || !Asked().Text("album_artist").empty();
        if (isOfAlbum && !id.empty()) {
            throw Refusal{Code::kBadParameter};
        }
        if (id.empty()) {
            return SongsBy(AlbumCondition(), "disc, track, path");
        }
        if (id.starts_with("dir_")) {
            return SongsBy(FolderCondition(id), "path");
        }
        const VARN_MEDIA_INFO song = tonvale_service::ReadSong(Asked().User().GetLoginUID(), id);
        return {{song.userid, song.path}};
    }

    std::string AlbumCondition() const {
        const std::string artist = Asked().Text("album_artist");
        auto condition = varn::Sql("album = '@VARN:VAR'", Asked().RequiredText("album"));
        if (condition && !artist.empty()) {
            const auto second = varn::Sql(" AND album_artist = '@VARN:VAR'", artist);
            condition = second ? std::optional(*condition + *second) : std::nullopt;
        }
        return Checked(condition);
    }

    std::string FolderCondition(const std::string &id) const {
        const std::string row =
            Checked(varn::Sql("id = @VARN:INT", tonvale_service::ParseFolderId(id)));
        const std::vector<Song> folders =
            SongsOf(Open(Kind("all"), VARN_TABLE_DIRECTORY, "path", row, "", 1));
        return Checked(varn::Sql("path LIKE '@VARN:LVAR/%%'", folders.front().path));
    }

    static std::string Checked(const std::optional<std::string> &condition) {
        if (!condition) {
            throw Refusal{Code::kBadParameter};
        }
        return *condition;
    }

    std::string Kind(const std::string &otherwise) const {
        const std::string asked = Asked().Text("library");
        return tonvale_service::ChosenKind(asked.empty() ? otherwise : asked,
                                           Asked().User().GetLoginUID());
    }

    std::vector<Song> SongsBy(const std::string &condition, const char *order) const {
        return SongsOf(Open(Kind("all"), VARN_TABLE_MUSIC, kColumns, condition, order, kMostSongs));
    }

    MediaHandle Open(const std::string &kind, int table, const char *columns,
                     const std::string &condition, const char *order, int limit) const {
        MediaHandle rows(AudioInfoDBOpen(kind.c_str(), Asked().User().GetLoginUID(), table, columns,
                                         condition.c_str(), nullptr, order, 0, limit, 0));
        if (!rows) {
            throw Refusal{Code::kFailed};
        }
        return rows;
    }

    static std::vector<Song> SongsOf(const MediaHandle &rows) {
        std::vector<Song> songs;
        for (VARN_MEDIA_INFO song; MediaInfoDBGet(rows.get(), &song) == 0;) {
            songs.push_back({song.userid, song.path});
        }
        if (songs.empty()) {
            throw Refusal{Code::kNoSuchItem};
        }
        return songs;
    }
};

constexpr std::array kParameters = {
    Parameter{.name = "id", .what = "Of a song or of a folder."},
    Parameter{.name = "album", .what = "Of an album."},
    Parameter{.name = "album_artist", .what = "Tells two albums of one name apart."},
    Parameter{.name = "url",
              .what = "Of a station or podcast: JPEG or PNG, at most 5 MiB. Needs the right "
                      "streaming."},
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

#include "service/covers/cover_songs.h"

#include "service/base/failure.h"
#include "service/lists/folders.h"
#include "service/lists/tables.h"
#include "service/songs/songs.h"
#include "tonvale/library.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

std::vector<CoverSong> SongsBy(const std::string &kind, uid_t uid, int table,
                               const std::optional<std::string> &condition, const char *order,
                               int limit) {
    const Tonvale::MediaHandle rows(AudioInfoDBOpen(kind.c_str(), uid, table, "path, userid",
                                                    Made(condition).c_str(), nullptr, order, 0,
                                                    limit, 0));
    if (!rows) {
        NoAnswer();
    }
    std::vector<CoverSong> songs;
    for (VARN_MEDIA_INFO song; MediaInfoDBGet(rows.get(), &song) == 0;) {
        songs.push_back({song.userid, song.path});
    }
    if (songs.empty()) {
        throw Failure(Reason::kNoCover);
    }
    return songs;
}

}  // namespace

std::vector<CoverSong> CoverSongsOfAlbum(const std::string &kind, uid_t uid,
                                         const std::string &album, const std::string &albumArtist) {
    auto condition = varn::Sql("album = '@VARN:VAR'", album);
    if (condition && !albumArtist.empty()) {
        AddCondition(*condition, varn::Sql("album_artist = '@VARN:VAR'", albumArtist));
    }
    return SongsBy(kind, uid, VARN_TABLE_MUSIC, condition, "disc, track, path", kMostCoverSongs);
}

std::vector<CoverSong> CoverSongsOfFolder(const std::string &kind, uid_t uid,
                                          const std::string &folderId) {
    const auto row = varn::Sql("id = @VARN:INT", ParseFolderId(folderId));
    const auto folders = SongsBy(kind, uid, VARN_TABLE_DIRECTORY, row, "", 1);
    return SongsBy(kind, uid, VARN_TABLE_MUSIC,
                   varn::Sql("path LIKE '@VARN:LVAR/%%'", folders.front().path), "path",
                   kMostCoverSongs);
}

std::vector<CoverSong> CoverSongsOf(uid_t uid, std::vector<std::string> ids) {
    if (ids.size() > kMostCoverSongs) {
        ids.resize(kMostCoverSongs);
    }
    const auto found = ReadSongs(uid, ids);
    std::vector<CoverSong> songs;
    for (const std::string &id : ids) {
        const auto song = found.find(ParseSongId(id).value());
        if (song != found.end()) {
            songs.push_back({song->second.userid, song->second.path});
        }
    }
    if (songs.empty()) {
        throw Failure(Reason::kNoSuchSong, ids.empty() ? "" : ids.front());
    }
    return songs;
}

std::optional<Picture> FirstCover(const std::vector<CoverSong> &songs, int side,
                                  void (*beforeMaking)()) {
    std::optional<std::string> bare;  // the last folder that has no pictures
    for (const auto &[owner, path] : songs) {
        const std::string folder = path.substr(0, path.rfind('/'));
        if (folder == bare) {
            continue;
        }
        try {
            return OpenCoverOf(owner, path, side, beforeMaking);
        } catch (const Failure &failure) {
            if (failure.Class() != FailureClass::kNotFound) {
                throw;
            }
            if (failure.Why() == Reason::kNoCover && HasNoPictures(folder)) {
                bare = folder;
            }
        }
    }
    return std::nullopt;
}

}  // namespace tonvale_service

#include "service/sharing/links.h"

#include <sys/random.h>
#include <syslog.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/list.h"
#include "service/lists/tables.h"
#include "service/playlists/playlist_place.h"
#include "service/playlists/playlist_songs.h"
#include "service/songs/songs.h"
#include "tonvale/playlists.h"
#include "tonvale/webapi.h"
#include "varn/db.h"
#include "varn/process.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

using Tonvale::SharingData;

constexpr std::string_view kSharedNormal = "playlist_shared_normal/";
constexpr std::string_view kPersonalNormal = "playlist_personal_normal/";

// A link, and the rows that the library has for its file now.
constexpr char kLinks[] =
    "SELECT id, playlist_id, path, extract(epoch FROM made)::bigint AS made, "
    "(SELECT min(p.id) FROM playlist p WHERE p.path = s.path) AS shared_row, "
    "(SELECT min(p.id) FROM personal_playlist p WHERE p.path = s.path AND p.userid = s.user_id) AS "
    "personal_row, COALESCE((SELECT min(p.title) FROM playlist p WHERE p.path = s.path), "
    "(SELECT min(p.title) FROM personal_playlist p WHERE p.path = s.path AND p.userid = "
    "s.user_id)) AS title FROM playlist_sharing s WHERE user_id = @VARN:INT AND @VARN:NEVAR";

constexpr char kCount[] = "SELECT COUNT(*) FROM playlist_sharing WHERE user_id = @VARN:INT";

bool IsSmart(const std::string &playlistId) {
    return playlistId.find("_smart/") != std::string::npos;
}

std::string KeyOf(const std::string &playlistId) {
    return playlistId.substr(playlistId.find('/') + 1);
}

// What the playlist is called, by what the library has for its file.
std::string NameOf(const std::string &playlistId, const std::string &path,
                   const std::string &title) {
    if (playlistId == kSharedSongsId) {
        return kSharedSongsName;
    }
    if (IsSmart(playlistId)) {
        return KeyOf(playlistId);
    }
    return !title.empty() ? title : VARNAudioWebapiUtilsGetFileName(path, true);
}

bool HasSong(uid_t uid, const std::string &list, const std::string &song) {
    return VARNPlaylistCheckSong(uid, list.c_str(), song.c_str()) == 0;
}

bool AppendSong(uid_t uid, const std::string &list, const std::string &songId) {
    const varn::OwnedSongs songs = RecordsOfIds(uid, {songId});
    return VARNPersonalPlaylistAppendSongs(uid, list.c_str(), songs.get(), 1) == 0;
}

}  // namespace

Links::Links(uid_t uid, std::string user) : uid_(uid), user_(std::move(user)) {
    if (!manager_.IsUserAllowSharing(uid_)) {
        throw Failure(Reason::kMayNotShare, user_);
    }
}

varn::Rows Links::Read(const std::string &statement) {
    DBConnect_tag *database = nullptr;
    auto rows =
        manager_.GetDBConnection(database) ? varn::Execute(database, statement) : std::nullopt;
    if (!rows) {
        NoAnswer();
    }
    return *std::move(rows);
}

int Links::Total() {
    return static_cast<int>(
        Read(Made(varn::Sql(kCount, static_cast<int>(uid_))))[0].Number("count"));
}

std::vector<Links::Row> Links::Rows(const std::string &statement) {
    std::vector<Row> links;
    for (const varn::Rows rows = Read(statement); const varn::Row row : rows) {
        const char *const id = row.Text("playlist_id");
        Row link = {row.Text("id"), id, id, row.Text("path"), "", row.Number("made")};
        link.name = NameOf(link.playlistId, link.path, row.Text("title"));
        for (const auto &[kind, column] :
             {std::pair(kSharedNormal, "shared_row"), std::pair(kPersonalNormal, "personal_row")}) {
            if (link.storedPlaylistId.starts_with(kind) && NonEmptyStr(row.Text(column))) {
                link.playlistId = std::string(kind) + row.Text(column);
            }
        }
        links.push_back(std::move(link));
    }
    return links;
}

std::vector<Links::Row> Links::RowsWith(const std::string &condition) {
    return Rows(Made(varn::Sql(kLinks, static_cast<int>(uid_), condition)));
}

std::vector<Links::Row> Links::OfPlaylist(const NamedPlaylist &playlist) {
    return RowsWith(Made(playlist.isSmart ? varn::Sql("playlist_id = '@VARN:VAR'", playlist.id)
                                          : varn::Sql("path = '@VARN:VAR' AND playlist_id NOT LIKE "
                                                      "'%%\\_smart/%%'",
                                                      playlist.path)));
}

Links::Row Links::Find(const LinkName &name) {
    std::vector<Row> rows;
    if (!name.id.empty()) {
        rows = RowsWith(Made(varn::Sql("id = '@VARN:VAR'", name.id)));
    } else if (name.playlistId == kSharedSongsId) {
        rows = RowsWith(Made(varn::Sql("playlist_id = '@VARN:VAR'", kSharedSongsId)));
    } else {
        try {
            rows = OfPlaylist(FindNamedPlaylist(uid_, user_, name.playlistId));
        } catch (const Failure &failure) {
            if (failure.Class() != FailureClass::kNotFound) {
                throw;
            }
            // The playlist is gone, and its link may still be taken away.
            rows = RowsWith(Made(varn::Sql("playlist_id = '@VARN:VAR'", name.playlistId)));
        }
    }
    if (rows.empty()) {
        throw Failure(Reason::kNoSuchLink, name.id.empty() ? name.playlistId : name.id);
    }
    return rows.front();
}

void Links::MoveOthersAway(const std::string &playlistId, const std::string &path) {
    if (IsSmart(playlistId) || playlistId == kSharedSongsId) {
        return;
    }
    const std::string_view kind =
        playlistId.starts_with(kSharedNormal) ? kSharedNormal : kPersonalNormal;
    const auto others = RowsWith(
        Made(varn::Sql("playlist_id = '@VARN:VAR' AND path <> '@VARN:VAR'", playlistId, path)));
    for (const Row &other : others) {
        // Rows are numbered from 1. A file that comes back gets its number when it is asked for.
        manager_.UpdatePlsId(
            other.playlistId != playlistId ? other.playlistId : std::string(kind) + "0",
            other.path);
    }
}

SharingData Links::Keyed(const Row &row) {
    MoveOthersAway(row.playlistId, row.path);
    if (row.playlistId != row.storedPlaylistId) {
        manager_.UpdatePlsId(row.playlistId, row.path);
    }
    SharingData record;
    record.user_id = uid_;
    record.playlist_id = row.playlistId;
    return record;
}

Json::Value Links::Shown(const Row &row) {
    SharingData record;
    record.id = row.id;
    if (!manager_.GetSharingRecord(record, false)) {
        NoAnswer();
    }
    Json::Value shown;
    manager_.ConvertSharingInfoObj(record, shown);
    shown["playlist_id"] = row.playlistId;
    shown["name"] = row.name;
    shown["made"] = Json::Int64{row.made};
    return shown;
}

Json::Value Links::Page(int offset, int limit) {
    // Orders and pages stand after the condition, which comes last.
    const auto page = varn::Sql("true ORDER BY id LIMIT @VARN:INT OFFSET @VARN:INT", limit, offset);
    Json::Value data(Json::objectValue);
    Json::Value &sharings = data["sharings"] = Json::Value(Json::arrayValue);
    for (const Row &row : RowsWith(Made(page))) {
        sharings.append(Shown(row));
    }
    data["offset"] = offset;
    data["total"] = Total();
    return data;
}

Json::Value Links::Get(const LinkName &name) {
    return Shown(Find(name));
}

// The library's own identifiers follow from the second, and two at once must wait. These cannot be
// guessed.
std::string Links::NewId() {
    constexpr std::string_view kAlphabet =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (int tries = 0; tries < 10; ++tries) {
        std::string id;
        while (id.size() < Tonvale::SharingManager::SHARING_ID_SIZE) {
            unsigned char byte = 0;
            if (getrandom(&byte, 1, 0) != 1) {
                throw std::system_error(errno, std::generic_category());
            }
            if (byte < kAlphabet.size() * 4) {  // no character more often than another
                id += kAlphabet[byte % kAlphabet.size()];
            }
        }
        if (manager_.CheckSharingIdExist(id)) {
            return id;
        }
    }
    NoAnswer();
}

// Nothing in the table keeps a playlist from having two links, of which an update or a removal
// would take both. Links are shown after the turn: their address may be asked of another program.
class Links::Turn {
  public:
    explicit Turn(Links &links) : links_(links) {
        links_.Read("SET lock_timeout = '10s'");
        links_.Read(Made(varn::Sql("SELECT pg_advisory_lock(@VARN:INT, @VARN:INT)", kLinksOfUser,
                                   static_cast<int>(links_.uid_))));
    }
    // Where it cannot be given back the connection is gone, and the lock with it.
    ~Turn() {
        try {
            links_.Read(Made(varn::Sql("SELECT pg_advisory_unlock(@VARN:INT, @VARN:INT)",
                                       kLinksOfUser, static_cast<int>(links_.uid_))));
        } catch (const std::exception &) {
            syslog(LOG_ERR, "The links are not given free");
        }
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

  private:
    static constexpr int kLinksOfUser = 0x4C4E4B;  // among the database's other locks

    Links &links_;
};

LinkName Links::Add(const std::string &playlistId, const Days &days) {
    const Turn turn(*this);
    const bool isSongs = playlistId == kSharedSongsId;
    const NamedPlaylist playlist = isSongs
                                       ? NamedPlaylist{kSharedSongsId, kSharedSongsName,
                                                       manager_.GetPredefinedSharingPlsPath(user_)}
                                       : FindNamedPlaylist(uid_, user_, playlistId);
    const auto existing = OfPlaylist(playlist);
    if (!existing.empty()) {
        throw Failure(Reason::kLinkExists, existing.front().id);
    }
    if (isSongs) {
        PrepareSharedSongs();
        return Change({"", kSharedSongsId}, days);
    }
    MoveOthersAway(playlist.id, playlist.path);
    SharingData record;
    record.id = NewId();
    record.user_id = uid_;
    record.user_name = user_;
    record.playlist_id = playlist.id;
    record.path = playlist.path;
    record.avail_date = days.first;
    record.exp_date = days.last;
    if (!manager_.AddSharingRecord(record)) {
        NoAnswer();
    }
    return {record.id, ""};
}

Json::Value Links::Create(const std::string &playlistId, const Days &days) {
    return Get(Add(playlistId, days));
}

LinkName Links::Change(const LinkName &name, const Days &days) {
    const Row row = Find(name);
    SharingData record = Keyed(row);
    record.avail_date = days.first;
    record.exp_date = days.last;
    if (!manager_.UpdateSharingRecord(record)) {
        NoAnswer();
    }
    return {row.id, ""};
}

Json::Value Links::Update(const LinkName &name, const Days &days) {
    return Get(Change(name, days));
}

void Links::Delete(const LinkName &name) {
    SharingData record = Keyed(Find(name));
    if (!manager_.DeleteSharingRecord(record)) {
        NoAnswer();
    }
}

// The library makes the list together with the link, in a folder that has to be there; and a list
// that got lost is an empty one.
void Links::PrepareSongsList(bool hasLink) {
    const std::filesystem::path path = manager_.GetPredefinedSharingPlsPath(user_);
    std::error_code error;
    const varn::RunAs package(varn::Who::kPackage);
    if (!package) {
        throw Failure(Reason::kAccountNotTaken, varn::kPackageAccount);
    }
    std::filesystem::create_directories(path.parent_path(), error);
    if (hasLink && !std::filesystem::exists(path, error) &&
        VARNWriteMusicPlaylist(nullptr, path.c_str()) != 0) {
        NoAnswer();
    }
}

// The link of the single songs; made, like its list, when there is none.
void Links::PrepareSharedSongs() {
    const auto rows = RowsWith(Made(varn::Sql("playlist_id = '@VARN:VAR'", kSharedSongsId)));
    PrepareSongsList(!rows.empty());
    if (rows.empty()) {
        SharingData record;
        record.id = NewId();
        if (!manager_.GetPredefinedSharingRecord(user_, record)) {
            NoAnswer();
        }
    }
}

void Links::ChangeSharedSongs(bool add, const std::string &songId, const std::string &song) {
    const Turn turn(*this);
    if (!add) {
        Find({"", kSharedSongsId});
    }
    PrepareSharedSongs();
    const Collection own = {.user = user_, .personal = true, .uid = uid_, .isForRoot = true};
    const HeldPlaylist list(own, Find({"", kSharedSongsId}).path, HeldPlaylist::Use::kChange);
    KeptCopy before(list);
    // ShareSingleSong makes the list anew when its link cannot be read, and does not tell when a
    // removal fails.
    const bool isChanged =
        add ? HasSong(uid_, list.Path(), song) || AppendSong(uid_, list.Path(), songId)
            : VARNPersonalPlaylistRemoveSongByPath(uid_, list.Path().c_str(), song.c_str()) == 0;
    if (!isChanged) {
        before.PutBack();
        throw Failure(Reason::kSharedSongsNotChanged);
    }
}

Json::Value Links::ChangeSong(bool add, const std::string &songId) {
    // A song can be taken off whatever its user browses by now.
    const std::string song =
        NameInPlaylist(ReadSong(uid_, songId, add ? Among::kBrowsed : Among::kAll));
    ChangeSharedSongs(add, songId, song);
    return ShownWith(song);
}

Json::Value Links::ShownWith(const std::string &song) {
    Json::Value shown = Get({"", kSharedSongsId});
    // A song outside the shares has no address of its own.
    const std::string url = manager_.GetUrl(shown["id"].asString(), song);
    shown["song_url"] = url.ends_with('/') ? shown["url"].asString() : url;
    return shown;
}

Json::Value Links::GetSong(const std::string &songId) {
    const std::string song = NameInPlaylist(ReadSong(uid_, songId, Among::kAll));
    const Row row = Find({"", kSharedSongsId});
    const Collection own = {.user = user_, .personal = true, .uid = uid_, .isForRoot = true};
    SharingData record;
    record.user_id = uid_;
    record.playlist_id = row.playlistId;
    const HeldPlaylist list(own, row.path);
    record.path = list.Path();
    if (!manager_.CheckSongAllowSharing(record, song)) {
        throw Failure(Reason::kNoSuchLink, songId);
    }
    return ShownWith(song);
}

Json::Value Links::ShareSong(const std::string &songId) {
    return ChangeSong(true, songId);
}

Json::Value Links::UnshareSong(const std::string &songId) {
    Json::Value shown = ChangeSong(false, songId);
    shown.removeMember("song_url");
    return shown;
}

}  // namespace tonvale_service

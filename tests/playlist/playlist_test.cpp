#include "playlist/playlist_test.h"

#include "varn/sql.h"

namespace tonvale_test {

void PlaylistTest::SetUp() {
    DatabaseTest::SetUp();
    fs::create_directories(music());
    WriteFile(varn::path::kIndexFolders, music().string() + "\n");
    if (IsRoot()) {
        // The package's account reads and writes here.
        fs::permissions(scratch(), fs::perms::all);
        fs::permissions(music(), fs::perms::all);
    }
}

int PlaylistTest::AddSong(TrackRow row) {
    row.id = ++lastId_;
    if (!row.is_virtual && row.path.starts_with(music().string())) {
        Touch(row.path);
    }
    Query(InsertSql(row));
    return row.id;
}

std::string PlaylistTest::AddRow(const std::string &path, const std::string &title,
                                 const std::string &album, unsigned owner) {
    const std::string table = owner == 0 ? "playlist" : "personal_playlist";
    const std::string columns = owner == 0 ? "" : "userid, ";
    const std::string value = owner == 0 ? "" : std::to_string(owner) + ", ";
    return Value(
        "INSERT INTO " + table + " (" + columns + "path, title, album) VALUES (" + value +
        *varn::Sql("'@VARN:VAR', '@VARN:VAR', '@VARN:VAR') RETURNING id", path, title, album));
}

std::string PlaylistTest::AddList(const std::string &name, std::string_view text) {
    Touch(In(name), text);
    return AddRow(In(name), name.substr(0, name.find('.')), "m");
}

Songs PlaylistTest::Read(const std::string &path, int *count, int offset, int limit) {
    return Songs(
        VARNPlaylistParseByPath(kAlice, path.c_str(), nullptr, count, offset, limit, "*", 0));
}

Texts PlaylistTest::Shown(const PLAYLIST_REC *list) {
    Texts shown;
    for (; list != nullptr; list = list->next) {
        std::string text = std::to_string(list->info.id) + " " + list->info.path;
        if (IsVirtualMusic(&list->info)) {
            text += "_" + std::to_string(list->info.virtual_track);
        }
        shown.push_back(text);
    }
    return shown;
}

Songs PlaylistTest::MakeSongs(const std::vector<VARN_MEDIA_INFO> &records) {
    PLAYLIST_REC *list = nullptr;
    for (const VARN_MEDIA_INFO &record : records) {
        auto *const entry = static_cast<PLAYLIST_REC *>(calloc(1, sizeof(PLAYLIST_REC)));
        entry->info = record;
        entry->next = list;
        list = entry;
    }
    return Songs(PlaylistRecReverse(list));
}

VARN_MEDIA_INFO PlaylistTest::Record(unsigned id, const std::string &path, int virtualTrack) {
    VARN_MEDIA_INFO record = {};
    record.id = id;
    path.copy(record.path, sizeof record.path - 1);
    record.is_virtual = virtualTrack != 0;
    record.virtual_track = virtualTrack;
    return record;
}

int PlaylistTest::Write(const PLAYLIST_REC *list, const std::string &path) {
    const int result = VARNWriteMusicPlaylist(list, path.c_str());
    BackToRoot();
    return result;
}

}  // namespace tonvale_test

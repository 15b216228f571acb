// Playlists over a small library on the disk and in the database.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/fixture.h"
#include "tonvale/playlists.h"
#include "varn/process.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_test {

using Texts = std::vector<std::string>;

using Songs = varn::OwnedSongs;

// A folder of music that is indexed, and a way to fill library and playlists.
class PlaylistTest : public DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        fs::create_directories(music());
        WriteFile(varn::path::kIndexFolders, music().string() + "\n");
        if (IsRoot()) {
            // The package's account reads and writes here.
            fs::permissions(scratch(), fs::perms::all);
            fs::permissions(music(), fs::perms::all);
        }
    }

    static fs::path music() { return scratch() / "music"; }
    static std::string In(const std::string &name) { return (music() / name).string(); }

    // A song of the library, and its file where it can be one. Returns its id.
    int AddSong(TrackRow row) {
        row.id = ++lastId_;
        if (!row.is_virtual && row.path.starts_with(music().string())) {
            Touch(row.path);
        }
        Query(InsertSql(row));
        return row.id;
    }

    // A row of the catalogue. Returns its id in decimal.
    static std::string AddRow(const std::string &path, const std::string &title,
                              const std::string &album, unsigned owner = 0) {
        const std::string table = owner == 0 ? "playlist" : "personal_playlist";
        const std::string columns = owner == 0 ? "" : "userid, ";
        const std::string value = owner == 0 ? "" : std::to_string(owner) + ", ";
        return Value(
            "INSERT INTO " + table + " (" + columns + "path, title, album) VALUES (" + value +
            *varn::Sql("'@VARN:VAR', '@VARN:VAR', '@VARN:VAR') RETURNING id", path, title, album));
    }

    // A playlist of the music folder and its row, whose title is the name before the dot. Returns the
    // row's id.
    static std::string AddList(const std::string &name, std::string_view text = "") {
        Touch(In(name), text);
        return AddRow(In(name), name.substr(0, name.find('.')), "m");
    }

    static Songs Read(const std::string &path, int *count = nullptr, int offset = 0,
                      int limit = 0) {
        return Songs(
            VARNPlaylistParseByPath(kAlice, path.c_str(), nullptr, count, offset, limit, "*", 0));
    }

    // "ID PATH", with "_TRACK" after the path of a virtual song.
    static Texts Shown(const PLAYLIST_REC *list) {
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
    static Texts Shown(const Songs &songs) { return Shown(songs.get()); }

    static Songs MakeSongs(const std::vector<VARN_MEDIA_INFO> &records) {
        PLAYLIST_REC *list = nullptr;
        for (const VARN_MEDIA_INFO &record : records) {
            auto *const entry = static_cast<PLAYLIST_REC *>(calloc(1, sizeof(PLAYLIST_REC)));
            entry->info = record;
            entry->next = list;
            list = entry;
        }
        return Songs(PlaylistRecReverse(list));
    }

    static VARN_MEDIA_INFO Record(unsigned id, const std::string &path, int virtualTrack = 0) {
        VARN_MEDIA_INFO record = {};
        record.id = id;
        path.copy(record.path, sizeof record.path - 1);
        record.is_virtual = virtualTrack != 0;
        record.virtual_track = virtualTrack;
        return record;
    }

    static int Write(const PLAYLIST_REC *list, const std::string &path) {
        const int result = VARNWriteMusicPlaylist(list, path.c_str());
        BackToRoot();
        return result;
    }

  private:
    int lastId_ = 0;
};

}  // namespace tonvale_test

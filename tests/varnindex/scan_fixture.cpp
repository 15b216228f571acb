#include "varnindex/scan_fixture.h"

#include <taglib/flacfile.h>
#include <taglib/tpropertymap.h>

#include <sstream>

#include "varnindex/database.h"
#include "varnindex/observe/folders.h"
#include "varnindex/reporter.h"

namespace tonvale_test {

std::filesystem::path ScanTest::Home(const std::string &user) {
    return root() / "volume1/homes" / user;
}

void ScanTest::EnableHomes(bool on) {
    ASSERT_EQ(VARNAudioConfSet("enable_personal_library", on ? "yes" : "no"), 0);
}

void ScanTest::Rate(const std::string &condition, int star) {
    Query("INSERT INTO rating_track SELECT 0, id, " + std::to_string(star) + " FROM track WHERE " +
          condition);
}

void ScanTest::Write(const std::string &name, const std::string &text) {
    Touch(Music() / name, text);
}

std::string ScanTest::Sheet(const std::string &file, const std::string &first) {
    return "PERFORMER \"Band\"\nTITLE \"Disc\"\nFILE \"" + file +
           "\" WAVE\n  TRACK 01 AUDIO\n    TITLE \"" + first +
           "\"\n    INDEX 01 00:00:00\n  TRACK 02 AUDIO\n    TITLE \"Two\"\n"
           "    PERFORMER \"Guest\"\n    INDEX 01 00:00:50\n";
}

ScanTest::Rows ScanTest::Ratings() {
    return Query("SELECT substr(path, " + std::to_string(Music().string().size() + 2) +
                 "), track.track, star FROM track JOIN rating_track r ON r.track = id"
                 " ORDER BY path, track.track");
}

void ScanTest::ForEveryTable(const std::string &statement) {
    Query("DO $do$ DECLARE s text; BEGIN FOR s IN SELECT format('" + statement +
          "', table_name, string_agg(column_name, ', ')) FROM information_schema.columns"
          " WHERE table_schema = 'public' AND is_generated = 'NEVER'"
          " AND (table_name LIKE '%track' OR table_name LIKE '%playlist'"
          " OR table_name LIKE '%directory') AND table_name NOT LIKE 'saved%'"
          " GROUP BY table_name ORDER BY table_name DESC LOOP EXECUTE s; END LOOP; END $do$");
}

void ScanTest::EmbedSheet(const std::filesystem::path &path, const std::string &sheet) {
    TagLib::FLAC::File file(path.c_str());
    TagLib::PropertyMap tags = file.properties();
    tags.replace("CUESHEET", TagLib::StringList({sheet, TagLib::String::UTF8}));
    file.setProperties(tags);
    ASSERT_TRUE(file.save());
}

bool ScanTest::ScanInProcess(const varnindex::ScanOptions &options,
                             const std::vector<std::string> &paths) {
    std::ostringstream warnings;
    varnindex::Reporter reporter(warnings, false, varnindex::Reporter::Detail::kAll);
    varnindex::Database database;
    try {
        const varnindex::Folders folders = varnindex::Folders::Configured();
        paths.empty() ? IndexLibrary(database, folders, options, reporter)
                      : IndexPaths(database, folders, paths, options, reporter);
        return true;
    } catch (const varnindex::Stopped &) {
        return false;
    }
}

ScanTest::Rows ScanTest::Content() {
    Rows rows = Query(
        "SELECT t.userid, t.path, t.title, t.filesize, t.mdate, t.track, is_virtual,"
        " has_virtual, fingerprint, sheet_stamp, agg_genre, album, album_artist, artist, "
        "composer, genre,"
        " audio_offset, star FROM (SELECT track.*, id AS song FROM track) t"
        " LEFT JOIN (SELECT track AS song, album, album_artist FROM album_track) a USING (song)"
        " LEFT JOIN (SELECT track AS song, artist FROM artist_track) b USING (song)"
        " LEFT JOIN (SELECT track AS song, composer FROM composer_track) c USING (song)"
        " LEFT JOIN (SELECT track AS song, genre FROM genre_track) g USING (song)"
        " LEFT JOIN (SELECT track AS song, audio_offset FROM virtual_info_track) v USING (song)"
        " LEFT JOIN (SELECT track AS song, star FROM rating_track) r USING (song)"
        " ORDER BY t.path, is_virtual, t.track, genre");
    for (const char *table : {"directory", "playlist"}) {
        const Rows more = Query(std::string("SELECT path, title FROM ") + table + " ORDER BY path");
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
}

}  // namespace tonvale_test

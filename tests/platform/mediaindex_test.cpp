#include <climits>
#include <clocale>
#include <cstring>
#include <tuple>

#include "support/fixture.h"
#include "varn/mediaindex.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class MediaIndex : public DatabaseTest {
  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        handle_.conn = varn::ConnectLibrary().release();
        ASSERT_NE(handle_.conn, nullptr);
    }
    void TearDown() override {
        VARNDBFreeResult(handle_.result);
        VARNDBClose(handle_.conn);
        DatabaseTest::TearDown();
    }
    void Select(const std::string &sql, int tableType = VARN_TABLE_MUSIC) {
        VARNDBFreeResult(handle_.result);
        handle_.rowCount = VARNDBExecute(handle_.conn, sql.c_str(), &handle_.result);
        ASSERT_GE(handle_.rowCount, 0) << VARNDBErrorGet(handle_.conn);
        handle_.cursor = 0;
        handle_.tableType = tableType;
    }
    int Read() {
        std::memset(&info_, 'x', sizeof(info_));
        return MediaInfoDBGet(&handle_, &info_);
    }
    // Compares the next row to the last byte: queue files store the bytes after the end of a text.
    void ExpectRow(const VARN_MEDIA_INFO &expected) {
        ASSERT_EQ(Read(), 0);
        EXPECT_EQ(std::memcmp(&info_, &expected, sizeof info_), 0)
            << info_.id << " " << info_.path << " " << info_.title << " " << info_.track;
    }

    MEDIA_DB_HANDLE handle_ = {};
    VARN_MEDIA_INFO info_;
};

TEST_F(MediaIndex, FillsEveryFieldOfATrack) {
    Select(
        "SELECT 4294967295 AS id, '/m/a.flac' AS path, 'T' AS title, 'Al' AS album, 'Ar' AS "
        "artist, 'AA' AS album_artist, 'Co' AS composer, 'G, H' AS genre, 'C' AS comment, "
        "'flac' AS container, 'flac2' AS codec, 1999 AS year, 2 AS disc, 3 AS track, -120.5 AS "
        "duration, 4000000000 AS bitrate, 44100 AS frequency, 6 AS channel, 5000000000 AS "
        "filesize, true AS is_virtual, 61 AS audio_offset, 1030 AS userid");
    VARN_MEDIA_INFO expected = {};
    expected.id = 4294967295U;
    for (const auto &[field, text] : {std::pair(expected.path, "/m/a.flac"),
                                      {expected.title, "T"},
                                      {expected.album, "Al"},
                                      {expected.artist, "Ar"},
                                      {expected.album_artist, "AA"},
                                      {expected.composer, "Co"},
                                      {expected.genre, "G, H"},
                                      {expected.comment, "C"},
                                      {expected.container, "flac"},
                                      {expected.codec, "flac2"}}) {
        std::strcpy(field, text);
    }
    std::tie(expected.year, expected.disc, expected.track) = std::tuple(1999, 2, 3);
    expected.duration = -120.5F;
    expected.bitrate = 4000000000U;
    std::tie(expected.frequency, expected.channel, expected.filesize) =
        std::tuple(44100, 6, INT_MAX);
    expected.is_virtual = 1;
    expected.virtual_track = 3;
    expected.virtual_start = 61;
    expected.userid = 1030;
    ExpectRow(expected);

    Select(
        "SELECT 7 AS id, NULL AS title, NULL AS year, 'f' AS is_virtual, 9 AS track, "
        "'virtual_track:75' AS comment");
    expected = {};
    expected.id = 7;
    expected.track = 9;
    ExpectRow(expected);
    EXPECT_EQ(Read(), -1);
    EXPECT_EQ(info_.title[0], 'x') << "nothing is written at the end";
    handle_.cursor = -1;
    EXPECT_EQ(Read(), -1);

    const char *row = "SELECT 7 AS id, '/p' AS path, 'T' AS title, 'A' AS album, 1999 AS year";
    expected.track = 0;
    std::strcpy(expected.path, "/p");
    Select(row, VARN_TABLE_DIRECTORY);
    ExpectRow(expected);
    std::strcpy(expected.title, "T");
    std::strcpy(expected.album, "A");
    Select(row, VARN_TABLE_PLAYLIST);
    ExpectRow(expected);
}

TEST_F(MediaIndex, NumbersHaveAPointInEveryLocale) {
    const std::string comma = scratch() / "de_DE.UTF-8";
    ASSERT_EQ(VLIBCExec("/usr/bin/localedef", "-i", "de_DE", "-f", "UTF-8", comma.c_str(), nullptr),
              0);
    setenv("LOCPATH", scratch().c_str(), 1);
    ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    ASSERT_STREQ(localeconv()->decimal_point, ",");
    Select("SELECT 1 AS id, 12.5 AS duration, 4 AS star, -6.5 AS rg_track_gain");
    EXPECT_EQ(Read(), 0);
    EXPECT_FLOAT_EQ(info_.duration, 12.5F);
    PVLIBSZHASH hash = VLIBCSzHashAlloc(0);
    EXPECT_EQ(SetSongHashValueByDBHandler(&hash, &handle_, &info_), 0);
    PLAYLIST_REC entry = {};
    entry.info = info_;
    std::string rating;
    _REPLAYGAIN_METADATA_ *gain = nullptr;
    EXPECT_EQ(GetSongHashValue(&hash, &entry, rating, &gain), 0);
    setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    ASSERT_NE(gain, nullptr);
    EXPECT_FLOAT_EQ(gain->track_gain, -6.5F);
    std::free(gain);
    VLIBCSzHashFree(hash);
}

TEST_F(MediaIndex, TextsAreCutBetweenCharacters) {
    Select(
        "SELECT repeat('x', 254) || U&'\\00DF' AS title, repeat('x', 255) || 'y' AS album, "
        "repeat('x', 253) || U&'\\20AC' AS artist, repeat(U&'\\+01F3B5', 64) AS composer, "
        "repeat('/a', 2048) AS path, repeat('x', 63) AS codec");
    ASSERT_EQ(Read(), 0);
    const std::pair<const char *, std::size_t> lengths[] = {
        {info_.title, 254},    {info_.album, 255}, {info_.artist, 253},
        {info_.composer, 252}, {info_.path, 4095}, {info_.codec, 63}};
    for (const auto &[text, length] : lengths) {
        EXPECT_EQ(std::strlen(text), length);
    }
}

}  // namespace

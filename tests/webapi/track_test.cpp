// The objects of songs and tracks, and their helpers.
#include <gtest/gtest.h>
#include <json/value.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <tuple>

#include "playlist/playlist_test.h"
#include "programs/command.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using Tonvale::webapi::GetSongAudioObject;
using Tonvale::webapi::GetSongTagObject;
using Tonvale::webapi::HashRating;
using Tonvale::webapi::WebapiLibrary;

class Tracks : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        WriteFile(varn::path::kShares,
                  "music=\"/volume1/music\"\nhomes=\"" + root().string() + "/volume1/homes\"\n");
    }

    static std::unique_ptr<VARN_MEDIA_INFO> Record(uint32_t id, const std::string &path,
                                                   const std::string &title = "title") {
        auto record = std::make_unique<VARN_MEDIA_INFO>();
        record->id = id;
        path.copy(record->path, sizeof record->path - 1);
        title.copy(record->title, sizeof record->title - 1);
        return record;
    }
    static Json::Value Track(VARN_MEDIA_INFO &record) {
        Json::Value track;
        WebapiLibrary(kAlice, "alice", "").GetSingleTrackJson(&record, 0, nullptr, track);
        return track;
    }
};

TEST_F(Tracks, HaveIdPathAndType) {
    struct Case {
        uint32_t id;
        std::string path;
        bool isVirtual;
        const char *personal;  // enable_personal_library
        std::string songId, shown;
    };
    const std::string url = "http://radio/x?a=b";
    const std::string remote =
        "remote_{\"album\":\"\",\"artist\":\"\",\"cover\":\"\",\"duration\":1,"
        "\"title\":\"title\"}\n " +
        url;
    const std::string own = root() / "volume1/homes/alice/music/a.mp3";
    const std::string shown = "/homes/alice/music/a.mp3";
    const std::string bobs = root() / "volume1/homes/bob/music/a.mp3";
    for (const Case &c :
         {Case{7, "/volume1/music/a.mp3", false, "yes", "music_7", "/music/a.mp3"},
          Case{4294967295, "/volume1/music/a", true, "yes", "music_v_4294967295", "/music/a"},
          Case{0, "/volume1/music/a'%", false, "yes", "music_/volume1/music/a'%", "/music/a'%"},
          Case{7, own, false, "yes", "music_p_7", shown},
          Case{7, own, true, "yes", "music_p_v_7", shown},
          Case{7, own, true, "no", "music_p_" + own, shown},
          Case{0, own, true, "yes", "music_p_" + own, shown},
          Case{7, bobs, false, "yes", "music_7", "/homes/bob/music/a.mp3"},
          Case{0, url, false, "yes", remote, url}, Case{7, url, false, "yes", "music_7", url},
          Case{0, "rtsp://r/x", false, "yes", "music_rtsp://r/x", "/rtsp://r/x"},
          Case{0, "/else/a.mp3", false, "yes", "music_/else/a.mp3", "//else/a.mp3"}}) {
        SCOPED_TRACE(c.songId);
        WriteFile(varn::path::kPackageConf,
                  "enable_personal_library=\"" + std::string(c.personal) + "\"\n");
        const auto record = Record(c.id, c.path);
        record->is_virtual = c.isVirtual ? 1 : 0;
        record->duration = 1;
        const Json::Value track = Track(*record);
        EXPECT_EQ(Told(track, "id path type"),
                  c.songId + " " + c.shown + (c.songId == remote ? " remote" : " file"));
        EXPECT_EQ(track.size(), 4U);
    }
    EXPECT_TRUE(
        Logged("audiolib/webapi_utils:[0-9]+ Failed to get share path of \\[/else/a\\.mp3\\]$"));
    const std::string path = "/volume1/music/" + std::string(4080, 'x');
    const Json::Value track = Track(*Record(0, path));
    EXPECT_EQ(track["id"].asString(), ("music_" + path).substr(0, 4095)) << "cut";
    EXPECT_EQ(track["path"].asString(), path.substr(8));
}

TEST_F(Tracks, HaveATitleOrTheNameOfTheirFile) {
    const std::string long255 = std::string(253, 'x') + "\xC3\xA9";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"/volume1/music/a.b.mp3", " a title ", " a title "},
        {"/volume1/music/a.b.mp3", " \t\n ", "a.b.mp3"},
        {"http://h/x/s.aac", "", "s.aac"},
        {"http://h/", "", ""},
        {"/volume1/music/" + std::string(300, 'y'), "", std::string(254, 'y')},
        {"/volume1/music/a", long255, long255.substr(0, 254)}};
    for (const auto &[path, title, shown] : cases) {
        EXPECT_EQ(Track(*Record(0, path, title))["title"].asString(), shown) << path;
    }
}

TEST_F(Tracks, HaveTheAdditionsThatAreAskedFor) {
    const auto record = Record(7, "/volume1/music/a.mp3");
    std::strcpy(record->comment, "\xFF not UTF-8");
    record->duration = -0.9F;
    record->bitrate = 4294967295;
    record->year = -5;
    const _REPLAYGAIN_METADATA_ gain = {-7.5F, 0.1234567F, 1e-7F, 12345678.0F};
    for (int asked = 0; asked < 8; ++asked) {
        WebapiLibrary library(VARN::APIRequest(kAlice, "alice", "/p"));
        library.addSongTag = (asked & 1) != 0;
        library.addSongAudio = (asked & 2) != 0;
        library.addSongRating = (asked & 4) != 0;
        Json::Value track;
        library.GetSingleTrackJson(record.get(), 5, &gain, track);
        EXPECT_EQ(track.isMember("additional"), asked != 0);
        const Json::Value additional = track["additional"];
        EXPECT_EQ(additional.isMember("song_tag"), library.addSongTag);
        EXPECT_EQ(additional.isMember("song_audio"), library.addSongAudio);
        EXPECT_EQ(additional["song_rating"]["rating"].asUInt(), library.addSongRating ? 5 : 0);
    }
    const Json::Value tag = GetSongTagObject(record.get(), &gain);
    EXPECT_EQ(Told(tag, "rg_track_gain rg_track_peak rg_album_gain rg_album_peak year"),
              "-7.5 0.123457 1e-07 1.23457e+07 -5");
    EXPECT_EQ(tag.size() - GetSongTagObject(record.get(), nullptr).size(), 4U);
    const Json::Value audio = GetSongAudioObject(record.get());
    EXPECT_EQ(Told(audio, "duration bitrate"), "0 4294967295");
    EXPECT_TRUE(GetSongTagObject(nullptr, &gain).isNull());
    EXPECT_TRUE(GetSongAudioObject(nullptr).isNull());
}

TEST_F(Tracks, SplitPathsAndPrintNumbers) {
    using Name = std::array<const char *, 4>;
    for (const auto &[path, whole, cut, extension] :
         {Name{"/a/b.c.mp3", "b.c.mp3", "b.c", "mp3"},
          Name{".hidden", ".hidden", ".hidden", "hidden"},
          Name{"/a/.hidden", ".hidden", "", "hidden"}, Name{"/a.b/c", "c", "c", "b/c"},
          Name{"/a/", "", "", ""}, Name{"", "", "", ""}, Name{"name", "name", "name", ""},
          Name{"/a/name.", "name.", "name", ""}}) {
        EXPECT_EQ(VARNAudioWebapiUtilsGetFileName(path, false), whole) << path;
        EXPECT_EQ(VARNAudioWebapiUtilsGetFileName(path, true), cut) << path;
        EXPECT_EQ(VARNAudioWebapiUtilsGetFileExt(path), extension) << path;
    }
    for (const auto &[number, text] : {std::pair(1.0F, "1"),
                                       {-7.50F, "-7.5"},
                                       {999999.5F, "1e+06"},
                                       {0.00001F, "1e-05"},
                                       {NAN, "nan"},
                                       {-INFINITY, "-inf"}}) {
        EXPECT_EQ(VARNAudioWebapiUtilsGetStringFromFloat(number), text);
    }
    char out[16] = "before";
    EXPECT_EQ(VARNAudioWebapiUtilsGetSharePathByVolPath("/volume1/music", out, 0), 0);
    EXPECT_STREQ(out, "before");
    EXPECT_EQ(VARNAudioWebapiUtilsGetSharePathByVolPath("https://a/b?c=a long one", out, 16), 1);
    EXPECT_STREQ(out, "https://a/b?c=a");
}

TEST_F(Tracks, HaveNoHomeThatDoesNotFit) {
    EXPECT_EQ(WebapiLibrary(0, "nobody-here", "").GetUserHome(), "");
    WriteFile(varn::path::kPasswd, "alice:x:1030:100::/" + std::string(1023, 'h') + ":/s\n");
    EXPECT_EQ(WebapiLibrary(kAlice, "alice", "").GetUserHome(), "") << "longer than its buffer";
    EXPECT_EQ(WebapiLibrary::TranslateContentTypeToFormat("audio/aacp"), "aacp");
    EXPECT_EQ(WebapiLibrary::TranslateContentTypeToFormat("audio/MPEG"), "raw");
    EXPECT_FALSE(WebapiLibrary::IsRemoteTrack("HTTP://x"));
}

class TracksOfLibrary : public PlaylistTest {};

TEST_F(TracksOfLibrary, ShowEachSongInItsOwnShare) {
    WriteFile(varn::path::kShares, "music=\"/volume1/music\"\ndeep=\"/volume1/music/a/deep\"\n");
    const std::pair<const char *, const char *> songs[] = {
        {"/volume1/music/a/1.mp3", "/music/a/1.mp3"},
        {"/volume1/music/a/deep/3.mp3", "/deep/3.mp3"},
        {"/volume1/music/a/4.mp3", "/music/a/4.mp3"},
        {"/volume1/music/a/..", "//volume1/music/a/.."},
        {"/elsewhere/5.mp3", "//elsewhere/5.mp3"},
        {"/elsewhere/6.mp3", "//elsewhere/6.mp3"},
        {"7.mp3", "/7.mp3"},
        {"/volume1/music/9.mp3", "/music/9.mp3"}};
    std::vector<VARN_MEDIA_INFO> records;
    for (const auto &[path, shown] : songs) {
        records.push_back(Record(0, path));
    }
    ClearLog();
    Json::Value tracks(Json::arrayValue);
    WebapiLibrary(kAlice, "alice", "").GetTrackJson(nullptr, MakeSongs(records).get(), tracks);
    for (Json::ArrayIndex i = 0; i < std::size(songs); ++i) {
        EXPECT_EQ(tracks[i]["path"].asString(), songs[i].second);
    }
    EXPECT_EQ(Log().size(), 4U) << "a line for each song outside of all shares";
}

TEST_F(TracksOfLibrary, ShowRatingsAndReplayGainOfAList) {
    Query(InsertSql({.id = 1, .path = "/v/gain.mp3"}) +
          InsertSql({.id = 2, .path = "/v/none.mp3"}) +
          "INSERT INTO rating_track VALUES (1030, 1, 4), (1030, 2, 3);"
          "INSERT INTO replaygain_track VALUES (1, -7.5, 1, -6.5, 1)");
    HashRating ratings;
    MEDIA_DB_HANDLE *rows =
        AudioInfoDBOpen("all", kAlice, VARN_TABLE_MUSIC, "*", "", nullptr, "id", 0, 0, 0);
    ASSERT_NE(rows, nullptr);
    for (VARN_MEDIA_INFO song; MediaInfoDBGet(rows, &song) == 0;) {
        ASSERT_EQ(SetSongHashValueByDBHandler(ratings.Get(), rows, &song), 0);
    }
    AudioInfoDBClose(rows);
    // Songs without a row or a file are not looked up, and get the gain of the song before.
    const auto list =
        MakeSongs({Record(0, "/v/unknown.mp3"), Record(1, "/v/gain.mp3"), Record(0, "http://x"),
                   Record(1, ""), Record(2, "/v/none.mp3"), Record(99, "/v/missing.mp3")});
    WebapiLibrary library(kAlice, "alice", "");
    library.addSongTag = true;
    library.addSongRating = true;
    Json::Value tracks(Json::arrayValue);
    library.GetTrackJson(ratings.Get(), list.get(), tracks);
    library.GetTrackJson(ratings.Get(), nullptr, tracks);
    std::string shown;
    for (const Json::Value &track : tracks) {
        const Json::Value &additional = track["additional"];
        shown += additional["song_rating"]["rating"].asString() + "/" +
                 additional["song_tag"]["rg_track_gain"].asString() + " ";
    }
    EXPECT_EQ(shown, "0/ 4/-7.5 0/-7.5 0/-7.5 3/ 0/ ");
    PVLIBSZHASH none = nullptr;
    library.GetTrackJson(&none, list.get(), tracks);
    EXPECT_EQ(tracks[7]["additional"]["song_rating"]["rating"].asUInt(), 0U);
}

TEST_F(TracksOfLibrary, CompleteTheDurationOfCueSheetTracks) {
    const std::string path = "/v/it's.flac";
    Query(InsertSql({.id = 1, .path = path, .has_virtual = true}) +
          InsertSql({.id = 2, .path = path, .track = 9, .is_virtual = true}) +
          InsertSql({.id = 3, .path = path, .track = 8, .is_virtual = true}) +
          "UPDATE track SET duration = 3600 WHERE id = 1");
    VARN_MEDIA_INFO record = Record(2, path, 9);
    record.track = 9;
    record.duration = -120.5F;
    WebapiLibrary library(kAlice, "alice", "");
    library.addSongAudio = true;
    const auto durationOf = [&](const char *file, float before) {
        std::strcpy(record.path, file);
        record.duration = before;
        Json::Value track;
        library.GetSingleTrackJson(&record, 0, nullptr, track);
        EXPECT_EQ(track["id"].asString(), "music_v_2");
        return track["additional"]["song_audio"]["duration"].asInt();
    };
    EXPECT_EQ(durationOf(path.c_str(), -120.5F), 3479);
    EXPECT_FLOAT_EQ(record.duration, 3479.5F);
    EXPECT_EQ(Value("SELECT string_agg(duration::text, ' ' ORDER BY id) FROM track"),
              "3600 3479.5 0");
    // A track that has a duration keeps it, and a stream is no track.
    Query("UPDATE track SET duration = 7200 WHERE id = 1");
    ClearLog();
    EXPECT_EQ(durationOf(path.c_str(), 3479.5F), 3479);
    EXPECT_EQ(durationOf("http://x", -1), -1);
    EXPECT_FALSE(Logged("Failed to correct"));
    EXPECT_EQ(durationOf("/v/missing.flac", -1), -1);
    EXPECT_TRUE(
        Logged("audiolib/webapi_library:[0-9]+ Failed to correct duration of "
               "\\[/v/missing\\.flac\\]$"));
    std::strcpy(record.path, "/v/\xFF.flac");
    EXPECT_EQ(VARNAudioWebapiCorrectVirtualMusicDuration(&record), 0);
    EXPECT_EQ(VARNAudioWebapiCorrectVirtualMusicDuration(nullptr), 0);
}

}  // namespace

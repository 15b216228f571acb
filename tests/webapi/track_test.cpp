// Track objects, and the small helpers round them.
#include <gtest/gtest.h>
#include <json/value.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "support/fixture.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/systempath.h"

namespace {

using Tonvale::webapi::GetSongAudioObject;
using Tonvale::webapi::GetSongTagObject;
using Tonvale::webapi::HashRating;
using Tonvale::webapi::WebapiLibrary;
using tonvale_test::InsertSql;

class Tracks : public tonvale_test::SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        WriteFile(varn::path::kShares,
                  "music=\"/volume1/music\"\nhomes=\"" + root().string() + "/volume1/homes\"\n");
    }

    static std::string Own(const std::string &name) {
        return root().string() + "/volume1/homes/alice/music/" + name;
    }
    static void PersonalLibraries(const char *enabled) {
        WriteFile(varn::path::kPackageConf,
                  "enable_personal_library=\"" + std::string(enabled) + "\"\n");
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

TEST_F(Tracks, IdPathAndType) {
    struct Case {
        uint32_t id;
        std::string path;
        bool isVirtual;
        const char *personal;  // enable_personal_library
        std::string songId, shown;
        const char *type;
    };
    const std::string tags =
        "{\"album\":\"\",\"artist\":\"\",\"cover\":\"\",\"duration\":1,"
        "\"title\":\"title\"}\n";
    const std::string url = "http://radio/x?a=b";
    for (const Case &c :
         {Case{7, "/volume1/music/a.mp3", false, "yes", "music_7", "/music/a.mp3", "file"},
          Case{4294967295, "/volume1/music/a.mp3", true, "yes", "music_v_4294967295",
               "/music/a.mp3", "file"},
          Case{0, "/volume1/music/a'%.mp3", false, "yes", "music_/volume1/music/a'%.mp3",
               "/music/a'%.mp3", "file"},
          Case{7, Own("a.mp3"), false, "yes", "music_p_7", "/homes/alice/music/a.mp3", "file"},
          Case{7, Own("a.mp3"), true, "yes", "music_p_v_7", "/homes/alice/music/a.mp3", "file"},
          Case{7, Own("a.mp3"), true, "no", "music_p_" + Own("a.mp3"), "/homes/alice/music/a.mp3",
               "file"},
          Case{0, Own("a.mp3"), true, "yes", "music_p_" + Own("a.mp3"), "/homes/alice/music/a.mp3",
               "file"},
          Case{7, root().string() + "/volume1/homes/bob/music/a.mp3", false, "yes", "music_7",
               "/homes/bob/music/a.mp3", "file"},
          Case{0, url, false, "yes", "remote_" + tags + " " + url, url, "remote"},
          Case{7, url, false, "yes", "music_7", url, "file"},
          Case{0, "rtsp://r/x", false, "yes", "music_rtsp://r/x", "/rtsp://r/x", "file"},
          Case{0, "http:/volume1/music/a", false, "yes", "music_http:/volume1/music/a",
               "/http:/volume1/music/a", "file"},
          Case{0, "/elsewhere/a.mp3", false, "yes", "music_/elsewhere/a.mp3", "//elsewhere/a.mp3",
               "file"}}) {
        SCOPED_TRACE(c.songId);
        PersonalLibraries(c.personal);
        const auto record = Record(c.id, c.path);
        record->is_virtual = c.isVirtual ? 1 : 0;
        record->duration = 1;
        const Json::Value track = Track(*record);
        EXPECT_EQ(track["id"].asString(), c.songId);
        EXPECT_EQ(track["path"].asString(), c.shown);
        EXPECT_EQ(track["type"].asString(), c.type);
        EXPECT_EQ(track.getMemberNames(),
                  (std::vector<std::string>{"id", "path", "title", "type"}));
    }
    EXPECT_TRUE(
        Logged("audiolib/webapi_utils:[0-9]+ Failed to get share path of "
               "\\[/elsewhere/a\\.mp3\\]$"));
}

TEST_F(Tracks, LongPathsAreCut) {
    const std::string path = "/volume1/music/" + std::string(4080, 'x');
    const Json::Value track = Track(*Record(0, path));
    EXPECT_EQ(track["id"].asString(), ("music_" + path).substr(0, 4095));
    EXPECT_EQ(track["path"].asString(), path.substr(8));
}

TEST_F(Tracks, Titles) {
    struct Case {
        std::string path, title, shown;
    };
    const std::string long255 = std::string(253, 'x') + "\xC3\xA9";
    for (const Case &c :
         {Case{"/volume1/music/a.b.mp3", " a title ", " a title "},
          Case{"/volume1/music/a.b.mp3", " \t\n ", "a.b.mp3"},
          Case{"/volume1/music/a.b.mp3", "", "a.b.mp3"}, Case{"http://h/x/s.aac", "", "s.aac"},
          Case{"http://h/", "", ""}, Case{"", "", ""}, Case{"/volume1/music", "", "music"},
          Case{"/volume1/music/" + std::string(300, 'y'), "", std::string(254, 'y')},
          Case{"/volume1/music/a", long255, long255.substr(0, 254)}}) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(Track(*Record(0, c.path, c.title))["title"].asString(), c.shown);
    }
}

TEST_F(Tracks, AdditionsAsTheyAreAskedFor) {
    const auto record = Record(7, "/volume1/music/a.mp3");
    std::strcpy(record->comment, "\xFF not UTF-8");
    record->duration = -0.9F;
    record->bitrate = 4294967295;
    record->filesize = 2147483647;
    record->year = -5;
    const _REPLAYGAIN_METADATA_ gain = {-7.5F, 0.1234567F, 1e-7F, 12345678.0F};
    for (int asked = 0; asked < 8; ++asked) {
        WebapiLibrary library(VARN::APIRequest(kAlice, "alice", "/p"));
        EXPECT_EQ(library.preferenceDir, "/p");
        EXPECT_FALSE(library.addSongTag || library.addSongAudio || library.addSongRating);
        library.addSongTag = (asked & 1) != 0;
        library.addSongAudio = (asked & 2) != 0;
        library.addSongRating = (asked & 4) != 0;
        Json::Value track;
        library.GetSingleTrackJson(record.get(), 5, &gain, track);
        EXPECT_EQ(track.isMember("additional"), asked != 0);
        const Json::Value additional = track["additional"];
        EXPECT_EQ(additional.isMember("song_tag"), library.addSongTag);
        EXPECT_EQ(additional.isMember("song_audio"), library.addSongAudio);
        EXPECT_EQ(additional.isMember("song_rating"), library.addSongRating);
        if (library.addSongRating) {
            EXPECT_EQ(additional["song_rating"]["rating"], Json::Value(5U));
        }
    }
    const Json::Value tag = GetSongTagObject(record.get(), &gain);
    EXPECT_EQ(tag.size(), 13U);
    EXPECT_EQ(tag["rg_track_gain"], Json::Value("-7.5"));
    EXPECT_EQ(tag["rg_track_peak"], Json::Value("0.123457"));
    EXPECT_EQ(tag["rg_album_gain"], Json::Value("1e-07"));
    EXPECT_EQ(tag["rg_album_peak"], Json::Value("1.23457e+07"));
    EXPECT_EQ(tag["year"], Json::Value(-5));
    EXPECT_EQ(GetSongTagObject(record.get(), nullptr).size(), 9U);
    const Json::Value audio = GetSongAudioObject(record.get());
    EXPECT_EQ(audio.size(), 7U);
    EXPECT_EQ(audio["duration"], Json::Value(0));
    EXPECT_EQ(audio["bitrate"], Json::Value(4294967295U));
    EXPECT_EQ(audio["filesize"], Json::Value(2147483647));
    EXPECT_TRUE(GetSongTagObject(nullptr, &gain).isNull());
    EXPECT_TRUE(GetSongAudioObject(nullptr).isNull());
}

TEST_F(Tracks, HelpersOfPathsAndNumbers) {
    struct Name {
        const char *path, *whole, *cut;
        const char *extension;
    };
    for (const Name &c :
         {Name{"/a/b.c.mp3", "b.c.mp3", "b.c", "mp3"}, Name{"b.mp3", "b.mp3", "b", "mp3"},
          Name{".hidden", ".hidden", ".hidden", "hidden"},
          Name{"/a/.hidden", ".hidden", "", "hidden"}, Name{"/a.b/c", "c", "c", "b/c"},
          Name{"/a/", "", "", ""}, Name{"", "", "", ""}, Name{"name", "name", "name", ""},
          Name{"/a/name.", "name.", "name", ""}}) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(VARNAudioWebapiUtilsGetFileName(c.path, false), c.whole);
        EXPECT_EQ(VARNAudioWebapiUtilsGetFileName(c.path, true), c.cut);
        EXPECT_EQ(VARNAudioWebapiUtilsGetFileExt(c.path), c.extension);
    }
    const std::pair<float, const char *> numbers[] = {
        {0.0F, "0"},         {1.0F, "1"},         {-7.50F, "-7.5"}, {999999.5F, "1e+06"},
        {0.0001F, "0.0001"}, {0.00001F, "1e-05"}, {NAN, "nan"},     {-INFINITY, "-inf"},
    };
    for (const auto &[number, text] : numbers) {
        EXPECT_EQ(VARNAudioWebapiUtilsGetStringFromFloat(number), text);
    }
    char out[16] = "before";
    EXPECT_EQ(VARNAudioWebapiUtilsGetSharePathByVolPath("/volume1/music", out, 0), 0);
    EXPECT_STREQ(out, "before");
    EXPECT_EQ(VARNAudioWebapiUtilsGetSharePathByVolPath("/volume1/music/long name", out, 16), 1);
    EXPECT_STREQ(out, "/music/long nam");
    EXPECT_EQ(VARNAudioWebapiUtilsGetSharePathByVolPath("https://a/b?c=a long one", out, 16), 1);
    EXPECT_STREQ(out, "https://a/b?c=a");
}

TEST_F(Tracks, FormatsOfStreams) {
    for (const auto &[type, format] : {std::pair("audio/aacp", "aacp"),
                                       {"audio/x-aiff", "aiff"},
                                       {"audio/MPEG", "raw"},
                                       {"audio/mpeg ", "raw"},
                                       {"", "raw"}}) {
        EXPECT_EQ(WebapiLibrary::TranslateContentTypeToFormat(type), std::string(format));
    }
    for (const auto &[url, isRemote] : {std::pair("https://x", true),
                                        {"HTTP://x", false},
                                        {"http:/x", false},
                                        {" http://", false}}) {
        EXPECT_EQ(WebapiLibrary::IsRemoteTrack(url), isRemote) << url;
    }
    EXPECT_EQ(WebapiLibrary(kAlice, "alice", "").GetUserHome(),
              root().string() + "/volume1/homes/alice");
    EXPECT_EQ(WebapiLibrary(0, "nobody-here", "").GetUserHome(), "");
    WriteFile(varn::path::kPasswd, "alice:x:1030:100::/" + std::string(1023, 'h') + ":/s\n");
    EXPECT_EQ(WebapiLibrary(kAlice, "alice", "").GetUserHome(), "") << "longer than its buffer";
}

// A list of entries, freed as the readers' lists are.
class List {
  public:
    ~List() { VARNPlaylistRecFree(first_); }
    void Add(uint32_t id, const char *path) {
        auto *entry = static_cast<PLAYLIST_REC *>(std::calloc(1, sizeof(PLAYLIST_REC)));
        entry->info.id = id;
        std::strcpy(entry->info.path, path);
        *end_ = entry;
        end_ = &entry->next;
    }
    PLAYLIST_REC *First() const { return first_; }

  private:
    PLAYLIST_REC *first_ = nullptr;
    PLAYLIST_REC **end_ = &first_;
};

TEST_F(Tracks, SongsOfOneFolderAreEachInTheirOwnShare) {
    WriteFile(varn::path::kShares, "music=\"/volume1/music\"\ndeep=\"/volume1/music/a/deep\"\n");
    const std::pair<const char *, const char *> songs[] = {
        {"/volume1/music/a/1.mp3", "/music/a/1.mp3"},
        {"/volume1/music/a/2.mp3", "/music/a/2.mp3"},
        {"/volume1/music/a/deep/3.mp3", "/deep/3.mp3"},
        {"/volume1/music/a/4.mp3", "/music/a/4.mp3"},
        {"/volume1/music/a/..", "//volume1/music/a/.."},
        {"/elsewhere/5.mp3", "//elsewhere/5.mp3"},
        {"/elsewhere/6.mp3", "//elsewhere/6.mp3"},
        {"7.mp3", "/7.mp3"},
        {"8.mp3", "/8.mp3"},
        {"/volume1/music/9.mp3", "/music/9.mp3"}};
    List list;
    for (const auto &[path, shown] : songs) {
        list.Add(0, path);
    }
    Json::Value tracks(Json::arrayValue);
    WebapiLibrary(kAlice, "alice", "").GetTrackJson(nullptr, list.First(), tracks);
    for (Json::ArrayIndex i = 0; i < std::size(songs); ++i) {
        EXPECT_EQ(tracks[i]["path"].asString(), songs[i].second);
    }
    EXPECT_EQ(Log().size(), 5U) << "each song outside of all shares is told of";
}

class TracksOfLibrary : public tonvale_test::DatabaseTest {};

TEST_F(TracksOfLibrary, RatingsAndReplayGainOfAList) {
    Query(InsertSql({.id = 1, .path = "/v/gain.mp3"}) +
          InsertSql({.id = 2, .path = "/v/none.mp3"}));
    Query("INSERT INTO rating_track VALUES (1030, 1, 4), (1030, 2, 3)");
    Query("INSERT INTO replaygain_track VALUES (1, -7.5, 1, -6.5, 1)");
    HashRating ratings;
    MEDIA_DB_HANDLE *rows =
        AudioInfoDBOpen("all", kAlice, VARN_TABLE_MUSIC, "*", "", nullptr, "id", 0, 0, 0);
    ASSERT_NE(rows, nullptr);
    for (VARN_MEDIA_INFO song; MediaInfoDBGet(rows, &song) == 0;) {
        ASSERT_EQ(SetSongHashValueByDBHandler(ratings.Get(), rows, &song), 0);
    }
    AudioInfoDBClose(rows);

    List list;
    list.Add(0, "/v/unknown.mp3");
    list.Add(1, "/v/gain.mp3");
    list.Add(0, "http://x");         // not looked up: the gain of the one before
    list.Add(1, "");                 // nor this one
    list.Add(2, "/v/none.mp3");      // looked up, without a gain
    list.Add(99, "/v/missing.mp3");  // looked up in vain
    WebapiLibrary library(kAlice, "alice", "");
    library.addSongTag = true;
    library.addSongRating = true;
    Json::Value tracks(Json::arrayValue);
    library.GetTrackJson(ratings.Get(), list.First(), tracks);
    ASSERT_EQ(tracks.size(), 6U);
    const std::pair<unsigned, const char *> expected[] = {{0, ""},     {4, "-7.5"}, {0, "-7.5"},
                                                          {0, "-7.5"}, {3, ""},     {0, ""}};
    for (Json::ArrayIndex i = 0; i < 6; ++i) {
        const Json::Value &additional = tracks[i]["additional"];
        EXPECT_EQ(additional["song_rating"]["rating"].asUInt(), expected[i].first) << i;
        EXPECT_EQ(additional["song_tag"]["rg_track_gain"].asString(), expected[i].second) << i;
    }
    library.GetTrackJson(ratings.Get(), nullptr, tracks);
    EXPECT_EQ(tracks.size(), 6U);
    PVLIBSZHASH none = nullptr;
    library.GetTrackJson(&none, list.First(), tracks);
    EXPECT_EQ(tracks.size(), 12U);
    EXPECT_EQ(tracks[7]["additional"]["song_rating"]["rating"].asUInt(), 0U);
}

TEST_F(TracksOfLibrary, TracksOfCueSheetsGetTheirDuration) {
    const std::string path = "/v/it's.flac";
    Query(InsertSql({.id = 1, .path = path, .has_virtual = true}) +
          InsertSql({.id = 2, .path = path, .track = 9, .is_virtual = true}) +
          InsertSql({.id = 3, .path = path, .track = 8, .is_virtual = true}));
    Query("UPDATE track SET duration = 3600 WHERE id = 1");
    VARN_MEDIA_INFO record = {};
    record.id = 2;
    path.copy(record.path, sizeof record.path - 1);
    record.track = 9;
    record.is_virtual = 1;
    record.duration = -120.5F;
    WebapiLibrary library(kAlice, "alice", "");
    library.addSongAudio = true;
    Json::Value track;
    library.GetSingleTrackJson(&record, 0, nullptr, track);
    EXPECT_EQ(track["id"].asString(), "music_v_2");
    EXPECT_EQ(track["additional"]["song_audio"]["duration"].asInt(), 3479);
    EXPECT_FLOAT_EQ(record.duration, 3479.5F);
    EXPECT_EQ(Value("SELECT duration FROM track WHERE id = 2"), "3479.5");
    EXPECT_EQ(Value("SELECT duration FROM track WHERE id = 3"), "0");
    EXPECT_EQ(Value("SELECT duration FROM track WHERE id = 1"), "3600");

    // One that has a duration is left alone, and a stream is none of a sheet's.
    Query("UPDATE track SET duration = 7200 WHERE id = 1");
    library.GetSingleTrackJson(&record, 0, nullptr, track);
    EXPECT_FLOAT_EQ(record.duration, 3479.5F);
    std::strcpy(record.path, "http://x");
    record.duration = -1;
    ClearLog();
    library.GetSingleTrackJson(&record, 0, nullptr, track);
    EXPECT_EQ(track["id"].asString(), "music_v_2");
    EXPECT_TRUE(Log().empty());

    std::strcpy(record.path, "/v/missing.flac");
    library.GetSingleTrackJson(&record, 0, nullptr, track);
    EXPECT_EQ(track["additional"]["song_audio"]["duration"].asInt(), -1);
    EXPECT_TRUE(Logged("audiolib/webapi_utils:[0-9]+ Failed to fetch row$"));
    EXPECT_TRUE(
        Logged("audiolib/webapi_library:[0-9]+ Failed to correct duration of "
               "\\[/v/missing\\.flac\\]$"));
    std::strcpy(record.path, "/v/\xFF.flac");
    EXPECT_EQ(VARNAudioWebapiCorrectVirtualMusicDuration(&record), 0);
    EXPECT_TRUE(
        Logged("audiolib/webapi_utils:[0-9]+ Failed to VLIBCStrGet\\(\\) \\[0x[0-9A-F]{4} "));
    EXPECT_EQ(VARNAudioWebapiCorrectVirtualMusicDuration(nullptr), 0);

    Query("ALTER TABLE track ALTER COLUMN duration DROP NOT NULL");
    Query("UPDATE track SET duration = NULL WHERE id = 1");
    std::strcpy(record.path, path.c_str());
    EXPECT_EQ(VARNAudioWebapiCorrectVirtualMusicDuration(&record), 1);
    EXPECT_EQ(record.duration, -1);
    EXPECT_EQ(Value("SELECT duration FROM track WHERE id = 2"), "3479.5");
}

}  // namespace

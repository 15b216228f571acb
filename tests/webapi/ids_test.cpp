// Identifiers of songs, radios, streams and playlists, and addresses.
#include <gtest/gtest.h>
#include <json/value.h>

#include <cmath>
#include <cstring>
#include <type_traits>

#include "support/fixture.h"
#include "tonvale/webapi.h"

namespace {

using namespace tonvale_test;
using Tonvale::UrlParser;
using Tonvale::webapi::playlist::PlaylistResult;

// A text must not pass for a flag: it would make a smart playlist of a key.
static_assert(!std::is_constructible_v<PlaylistResult, std::string, const char *>);
static_assert(!std::is_constructible_v<PlaylistResult, const char *, const char *, const char *>);

using Ids = SystemTest;

TEST_F(Ids, OfSongsGiveTheirRowId) {
    const std::string twenty(20, '9');
    // The last one is a path that reads as an identifier; callers test the prefix.
    for (const auto &[id, expected] : {std::pair<std::string, std::string>("music_42", "42"),
                                       {"music_v_42", "42"},
                                       {"music_p_v_42", "42"},
                                       {"music_007", "007"},
                                       {"music_" + twenty, twenty},
                                       {"music_/volume1/a_7", "7"}}) {
        std::string number = "before";
        EXPECT_EQ(VARNAudioWebapiUtilsParseSongId(id, number), 0) << id;
        EXPECT_EQ(number, expected) << id;
    }
    using namespace std::string_literals;
    for (const std::string &id :
         {"music_12a"s, "music_"s, "music"s, "musicx_42"s, "Music_42"s, "music_ 42"s, "music_-42"s,
          "music_4\n"s, "radio_42"s, "music_4\0002"s, ""s}) {
        std::string number;
        EXPECT_EQ(VARNAudioWebapiUtilsParseSongId(id, number), -1) << id;
    }
}

TEST_F(Ids, OfRadiosAreSplitAtTheLastBlank) {
    for (const auto &[id, both] : {std::pair("radio_Jazz FM http://x/y", "Jazz FM|http://x/y"),
                                   {"radio_ http://x", "|http://x"},
                                   {"radio http://x", "before|http://x"},
                                   {" ", "before|"},
                                   {"radio_Q'\"\\% u", "Q'\"\\%|u"},
                                   {"", "before|before"},
                                   {"radio_http://x/y", "before|before"}}) {
        ClearLog();
        std::string name = "before";
        std::string url = "before";
        const bool isRadio = std::string_view(id).find(' ') != std::string_view::npos;
        EXPECT_EQ(VARNAudioWebapiUtilsParseRadioId(id, name, url), isRadio ? 1 : 0) << id;
        EXPECT_EQ(name + "|" + url, both);
        EXPECT_EQ(Logged("audiolib/webapi_utils:[0-9]+ Invalid radio id\\.$"), !isRadio) << id;
    }
}

struct Remote {
    std::string title = "T", url = "U", artist = "A", album = "B", cover = "C";
    int duration = 7;
    int Parse(const std::string &id) {
        return VARNAudioWebapiUtilsParseRemoteId(id, title, url, artist, album, cover, duration);
    }
    std::string All() const {
        return title + "|" + url + "|" + artist + "|" + album + "|" + cover + "|" +
               std::to_string(duration);
    }
};

TEST_F(Ids, OfStreamsCarryTags) {
    const std::string noTags = "u|u|A|B|C|7";  // neither JSON nor an object: only the title is set
    const std::pair<std::string, std::string> cases[] = {
        {R"(remote_{"title":"a b","artist":"c","album":"d","cover":"e","duration":61} http://x)",
         "a b|http://x|c|d|e|61"},
        {"remote_/* why */{\"title\":\"a\"}\n http://x", "a|http://x||||0"},
        // Members of other types read as absent.
        {R"(remote_{"title":5,"artist":[],"album":{},"cover":null,"duration":"9"} u)", "|u||||0"},
        {R"(remote_{"duration":1e99} u)", "|u||||0"},
        {R"(remote_{"duration":215.5} u)", "|u||||215"},
        {R"(remote_{"duration":4294967296} u)", "|u||||0"},
        {"remote_{broken u", noTags},
        {"remote_[1] u", noTags},
        {"remote_ u", noTags},
        {"remote_" + std::string(5000, '[') + " u", noTags},
    };
    for (const auto &[id, all] : cases) {
        Remote remote;
        EXPECT_EQ(remote.Parse(id), 1);
        EXPECT_EQ(remote.All(), all) << id.substr(0, 80);
    }
    Remote remote;
    EXPECT_EQ(remote.Parse("remote_{}http://x"), 0);
    EXPECT_EQ(remote.All(), "T|U|A|B|C|7");
}

TEST_F(Ids, KeepTheTagsOfStreams) {
    auto record = std::make_unique<VARN_MEDIA_INFO>();
    std::strcpy(record->title, "O'Brien \"100%\" \\ \xC3\xA9\n");
    std::strcpy(record->comment, "http://cover");
    record->duration = 61.9F;
    const std::string tags = VARNAudioWebapiUtilsGetInfoJsonStringByInfo(record.get());
    EXPECT_EQ(tags,
              "{\"album\":\"\",\"artist\":\"\",\"cover\":\"http://cover\",\"duration\":61,"
              "\"title\":\"O'Brien \\\"100%\\\" \\\\ \\u00e9\\n\"}\n");
    Remote remote;
    ASSERT_EQ(remote.Parse("remote_" + tags + " http://x"), 1);
    EXPECT_EQ(remote.All(), record->title + std::string("|http://x|||http://cover|61"));
    for (const auto &[duration, shown] :
         {std::pair(NAN, "0"), {INFINITY, "2147483647"}, {-1e30F, "-2147483648"}, {-0.9F, "0"}}) {
        record->duration = duration;
        EXPECT_NE(VARNAudioWebapiUtilsGetInfoJsonStringByInfo(record.get())
                      .find("\"duration\":" + std::string(shown) + ","),
                  std::string::npos)
            << duration;
    }
    EXPECT_EQ(VARNAudioWebapiUtilsGetInfoJsonStringByInfo(nullptr), "");
    // In tags from clients the title is also the artist.
    Json::Value json;
    json["title"] = "t";
    json["artist"] = "lost";
    json["albumArtURL"] = "http://cover";
    EXPECT_EQ(VARNAudioWebapiUtilsGetInfoJsonStringByJson(json),
              "{\"album\":null,\"artist\":\"t\",\"cover\":\"http://cover\",\"duration\":null,"
              "\"title\":\"t\"}\n");
    EXPECT_EQ(VARNAudioWebapiUtilsGetInfoJsonStringByJson("x"),
              "{\"album\":null,\"artist\":null,\"cover\":null,\"duration\":null,\"title\":null}\n");
}

TEST_F(Ids, OfPlaylistsAreTakenApartAndMadeAgain) {
    struct Case {
        const char *id, *key;
        bool shared = false, smart = false;
        const char *again = nullptr;  // null: the same
    };
    for (const Case &c :
         {Case{"playlist_shared_smart/Top 25", "Top 25", true, true},
          Case{"playlist_personal_normal/a_b/c", "a_b/c"},
          Case{"playlist_shared_normal/12", "12", true},
          Case{"playlist_personal_smart/O'B\"%_\\\n", "O'B\"%_\\\n", false, true},
          Case{"a_shared_smart_b/x", "x", true, true, "playlist_shared_smart/x"},
          Case{"_shared_/x", "x", true, false, "playlist_shared_normal/x"},
          Case{"playlist_Shared_Smart/x", "x", false, false, "playlist_personal_normal/x"},
          Case{"playlist_shared_smart/", "", true, true, ""},
          Case{"playlist_personal_normal/x/..", "x/.."}}) {
        SCOPED_TRACE(c.id);
        bool shared = true;
        bool smart = true;
        std::string key;
        const PlaylistResult result{std::string(c.id)};
        EXPECT_EQ(VARNAudioWebapiUtilsParsePlaylistId(c.id, shared, smart, key), 1);
        EXPECT_EQ(std::tie(key, shared, smart), std::tuple(c.key, c.shared, c.smart));
        EXPECT_EQ(result.name, c.smart ? c.key : "");
        EXPECT_EQ(result.path, c.smart ? "" : c.key);
        EXPECT_EQ(std::tie(result.personal, result.smart), std::tuple(!c.shared, c.smart));
        EXPECT_EQ(result.GetId(), c.again != nullptr ? c.again : c.id);
    }
    for (const std::string &id :
         Words("playlist_personal_normal/../x playlist_personal_normal/x/../y "
               "playlist_personal/x a_b_c_d_e/x playlist/x playlist_shared_smart /")) {
        ClearLog();
        bool shared = true;
        bool smart = true;
        std::string key = "before";
        EXPECT_EQ(VARNAudioWebapiUtilsParsePlaylistId(id, shared, smart, key), 0);
        EXPECT_TRUE(shared && smart && key == "before") << id;
        EXPECT_TRUE(Logged("audiolib/webapi_utils:[0-9]+ Invalid plsylist id\\.$"));
        const PlaylistResult result{id};
        EXPECT_EQ(result.name + result.path + result.GetId(), "") << id;
    }
    const std::string name = "name";
    EXPECT_EQ(PlaylistResult(name, std::string("7"), true).GetId(), "playlist_personal_normal/7");
    EXPECT_EQ(PlaylistResult(name, std::string(), false).GetId(), "");
    EXPECT_EQ(PlaylistResult(name, false).GetId(), "playlist_shared_smart/name");
}

TEST_F(Ids, SplitUrlsIntoThreeParts) {
    for (const auto &[url, parts] : {std::pair("HTTP://Host:80/a/b?c#d", "http|Host:80|/a/b?c#d"),
                                     {"https://h", "https|h|"},
                                     {"rtsp://user:secret@h:554/x", "rtsp|h:554|/x"},
                                     {"http://[::1]:8/x", "http|[::1]:8|/x"},
                                     {"http://h?q=/@x", "http|h|?q=/@x"},
                                     {"http:///path", "||"},
                                     {"http://:80/", "||"},
                                     {"http://user@/x", "||"},
                                     {"/no/scheme", "||"},
                                     {"1http://h", "||"},
                                     {"http//h", "||"},
                                     {"http://h/a b", "||"},
                                     {"http://h\r\nX: y", "||"},
                                     {"", "||"}}) {
        ClearLog();
        const UrlParser parsed{std::string(url)};
        EXPECT_EQ(parsed.scheme + "|" + parsed.host + "|" + parsed.path, parts) << url;
        EXPECT_EQ(Logged("audiolib/webapi_utils:[0-9]+ Failed to parse url \\["),
                  std::string_view(parts) == "||")
            << url;
    }
}

TEST_F(Ids, DecodeSongsOfShareLinks) {
    WriteFile("/usr/varn/etc/share.conf", "music=\"/m\"\n");
    const std::tuple<const char *, std::string, const char *> cases[] = {
        {"L211c2ljL2EvYi5tcDM=", "/m/a/b.mp3", ""},
        {"L211c2ljL2EvYi5tcDM", "/m/a/b.mp3", ""},
        {"L2hvbWUvw7_Dvg", root().string() + "/volume1/homes/alice/\xC3\xBF\xC3\xBE", ""},
        {"L211c2ljL-_-", "/m/\xEF\xFE", ""},
        {"not base64!", "", "failed to do base64 decode of string: not base64! to  len 0$"},
        {"L211c", "", "failed to do base64 decode"},
        {"bm93aGVyZQ==", "", "Failed to get full path from \\[nowhere\\]\\.$"},
    };
    for (const auto &[encoded, path, log] : cases) {
        ClearLog();
        EXPECT_EQ(VARNAudioGetFullPathFromEncSong(encoded, "alice"), path);
        EXPECT_TRUE(path.empty() ? Logged(std::string("audiolib/webapi_utils:[0-9]+ ") + log)
                                 : Log().empty())
            << encoded;
    }
}

}  // namespace

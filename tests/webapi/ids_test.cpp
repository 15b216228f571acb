// Every form of an identifier, built and taken apart, by clients with and without good intentions.
#include <gtest/gtest.h>
#include <json/value.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "support/fixture.h"
#include "tonvale/webapi.h"

namespace {

using Tonvale::UrlParser;
using Tonvale::webapi::playlist::PlaylistResult;

// A text is no flag: it would make a smart playlist of a key.
static_assert(!std::is_constructible_v<PlaylistResult, std::string, const char *>);

class Ids : public tonvale_test::SystemTest {};

TEST_F(Ids, SongIdsGiveTheirRowId) {
    const std::string twentyDigits(20, '9');
    const std::pair<std::string, std::string> cases[] = {
        {"music_42", "42"},          {"music_v_42", "42"}, {"music_p_42", "42"},
        {"music_p_v_42", "42"},      {"music_007", "007"}, {"music_" + twentyDigits, twentyDigits},
        {"music_/volume1/a_7", "7"},  // a path that reads as one: callers test the prefix
    };
    for (const auto &[id, expected] : cases) {
        std::string number = "before";
        EXPECT_EQ(VARNAudioWebapiUtilsParseSongId(id, number), 0) << id;
        EXPECT_EQ(number, expected) << id;
    }
    using namespace std::string_literals;
    for (const std::string &id : {"music_12a"s, "music_"s, "music"s, "musicx_42"s, " music_42"s,
                                  "Music_42"s, "music_ 42"s, "music_+42"s, "music_-42"s,
                                  "music_42 "s, "music_4\n"s, "radio_42"s, "music_4\0002"s, ""s}) {
        std::string number;
        EXPECT_EQ(VARNAudioWebapiUtilsParseSongId(id, number), -1) << id;
    }
}

TEST_F(Ids, RadioIdsAreSplitAtTheLastBlank) {
    struct Case {
        const char *id;
        const char *name;  // "before": left as it was
        const char *url;
    };
    for (const Case &c : {Case{"radio_Jazz FM http://x/y", "Jazz FM", "http://x/y"},
                          Case{"radio_ http://x", "", "http://x"},
                          Case{"radio http://x", "before", "http://x"}, Case{" ", "before", ""},
                          Case{"xxxxxx7 u", "7", "u"}, Case{"radio_Q'\"\\% u", "Q'\"\\%", "u"}}) {
        SCOPED_TRACE(c.id);
        std::string name = "before";
        std::string url = "before";
        EXPECT_EQ(VARNAudioWebapiUtilsParseRadioId(c.id, name, url), 1);
        EXPECT_EQ(name, c.name);
        EXPECT_EQ(url, c.url);
    }
    std::string name = "before";
    std::string url = "before";
    for (const char *id : {"", "radio_", "radio_http://x/y"}) {
        ClearLog();
        EXPECT_EQ(VARNAudioWebapiUtilsParseRadioId(id, name, url), 0);
        EXPECT_EQ(name + url, "beforebefore");
        EXPECT_TRUE(Logged("audiolib/webapi_utils:[0-9]+ Invalid radio id\\.$"));
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

TEST_F(Ids, RemoteIdsCarryTags) {
    struct Case {
        std::string id;
        const char *all;
    };
    for (
        const Case &c :
        {Case{
             R"(remote_{"title":"a b","artist":"c","album":"d","cover":"e","duration":61} http://x)",
             "a b|http://x|c|d|e|61"},
         Case{"remote_/* why */{\"title\":\"a\"}\n http://x", "a|http://x||||0"},
         // Members of other types read as absent.
         Case{R"(remote_{"title":5,"artist":[],"album":{},"cover":null,"duration":"9"} u)",
              "|u||||0"},
         Case{R"(remote_{"duration":1e99} u)", "|u||||0"},
         Case{R"(remote_{"duration":215.5} u)", "|u||||215"},
         Case{R"(remote_{"duration":4294967296} u)", "|u||||0"},
         // Neither JSON nor an object: only the title is set.
         Case{"remote_{broken http://x", "http://x|http://x|A|B|C|7"},
         Case{"remote_[1] u", "u|u|A|B|C|7"}, Case{"remote_\"text\" u", "u|u|A|B|C|7"},
         Case{"remote_null u", "u|u|A|B|C|7"}, Case{"remote_ u", "u|u|A|B|C|7"},
         Case{"remote u", "u|u|A|B|C|7"}, Case{" u", "u|u|A|B|C|7"},
         Case{"remote_" + std::string(5000, '[') + " u", "u|u|A|B|C|7"}}) {
        SCOPED_TRACE(c.id.substr(0, 80));
        Remote remote;
        EXPECT_EQ(remote.Parse(c.id), 1);
        EXPECT_EQ(remote.All(), c.all);
    }
    Remote remote;
    EXPECT_EQ(remote.Parse("remote_{}http://x"), 0);
    EXPECT_EQ(remote.All(), "T|U|A|B|C|7");
    EXPECT_TRUE(Logged("audiolib/webapi_utils:[0-9]+ Invalid radio id\\.$"));
}

TEST_F(Ids, TagsOfStreamsComeBack) {
    auto record = std::make_unique<VARN_MEDIA_INFO>();
    std::strcpy(record->title, "O'Brien \"100%\" \\ \xC3\xA9\n");
    std::strcpy(record->artist, "a");
    std::strcpy(record->album, "b");
    std::strcpy(record->comment, "http://cover");
    record->duration = 61.9F;
    const std::string tags = VARNAudioWebapiUtilsGetInfoJsonStringByInfo(record.get());
    EXPECT_EQ(tags,
              "{\"album\":\"b\",\"artist\":\"a\",\"cover\":\"http://cover\",\"duration\":61,"
              "\"title\":\"O'Brien \\\"100%\\\" \\\\ \\u00e9\\n\"}\n");
    Remote remote;
    ASSERT_EQ(remote.Parse("remote_" + tags + " http://x"), 1);
    EXPECT_EQ(remote.title, record->title);
    EXPECT_EQ(remote.All().substr(remote.title.size()), "|http://x|a|b|http://cover|61");

    for (const auto &[duration, shown] :
         {std::pair(NAN, "0"), {INFINITY, "2147483647"}, {-1e30F, "-2147483648"}, {-0.9F, "0"}}) {
        record->duration = duration;
        EXPECT_NE(VARNAudioWebapiUtilsGetInfoJsonStringByInfo(record.get())
                      .find("\"duration\":" + std::string(shown) + ","),
                  std::string::npos)
            << duration;
    }
    EXPECT_EQ(VARNAudioWebapiUtilsGetInfoJsonStringByInfo(nullptr), "");
}

TEST_F(Ids, TagsOfClientsTakeTheArtistFromTheTitle) {
    Json::Value json;
    json["title"] = "t";
    json["artist"] = "lost";
    json["albumArtURL"] = "http://cover";
    json["duration"] = 5;
    EXPECT_EQ(VARNAudioWebapiUtilsGetInfoJsonStringByJson(json),
              "{\"album\":null,\"artist\":\"t\",\"cover\":\"http://cover\",\"duration\":5,"
              "\"title\":\"t\"}\n");
    const std::string nothing =
        "{\"album\":null,\"artist\":null,\"cover\":null,\"duration\":null,\"title\":null}\n";
    for (const Json::Value &other :
         {Json::Value(), Json::Value(5), Json::Value("x"), Json::Value(Json::arrayValue)}) {
        EXPECT_EQ(VARNAudioWebapiUtilsGetInfoJsonStringByJson(other), nothing);
    }
}

TEST_F(Ids, PlaylistIdsAreTakenApartAndPutTogether) {
    struct Case {
        const char *id;
        const char *key;
        bool shared = false;
        bool smart = false;
        const char *again = nullptr;  // null: the same
    };
    for (const Case &c :
         {Case{"playlist_shared_smart/Top 25", "Top 25", true, true},
          Case{"playlist_personal_normal/a_b/c", "a_b/c"},
          Case{"playlist_shared_normal/12", "12", true},
          Case{"playlist_personal_smart/O'B\"%_\\\n", "O'B\"%_\\\n", false, true},
          Case{"playlist_personal_normal/__VARN_AUDIO_SHARED_SONGS__",
               "__VARN_AUDIO_SHARED_SONGS__"},
          Case{"a_shared_smart_b/x", "x", true, true, "playlist_shared_smart/x"},
          Case{"__/x", "x", false, false, "playlist_personal_normal/x"},
          Case{"_shared_/x", "x", true, false, "playlist_shared_normal/x"},
          Case{"playlist_Shared_Smart/x", "x", false, false, "playlist_personal_normal/x"},
          Case{"playlist_shared_smart/", "", true, true, ""},
          Case{"playlist_personal_normal/..", ".."},
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
    for (const char *id :
         {"playlist_personal_normal/../x", "playlist_personal_normal/x/../y", "playlist_personal/x",
          "a_b_c_d_e/x", "playlist/x", "playlist_shared_smart", "", "/"}) {
        SCOPED_TRACE(id);
        ClearLog();
        bool shared = true;
        bool smart = true;
        std::string key = "before";
        EXPECT_EQ(VARNAudioWebapiUtilsParsePlaylistId(id, shared, smart, key), 0);
        EXPECT_TRUE(shared && smart && key == "before");
        EXPECT_TRUE(Logged("audiolib/webapi_utils:[0-9]+ Invalid plsylist id\\.$"));
        const PlaylistResult result{std::string(id)};
        EXPECT_FALSE(result.personal || result.smart);
        EXPECT_EQ(result.name + result.path + result.GetId(), "");
    }
}

TEST_F(Ids, PlaylistsMadeFromTheirParts) {
    using Text = const char *;
    static_assert(!std::is_constructible_v<PlaylistResult, Text, Text, Text>, "no text is a flag");
    const std::string name = "name";
    EXPECT_EQ(PlaylistResult(name, std::string("7"), true).GetId(), "playlist_personal_normal/7");
    EXPECT_EQ(PlaylistResult(name, std::string(), false).GetId(), "");
    EXPECT_EQ(PlaylistResult(name, false).GetId(), "playlist_shared_smart/name");
    EXPECT_EQ(PlaylistResult(name, true).GetId(), "playlist_personal_smart/name");
    EXPECT_EQ(PlaylistResult().GetId(), "");
}

TEST_F(Ids, UrlsInThreeParts) {
    struct Case {
        const char *url;
        const char *parts;  // null: refused
    };
    for (const Case &c :
         {Case{"HTTP://Host:80/a/b?c#d", "http|Host:80|/a/b?c#d"}, Case{"https://h", "https|h|"},
          Case{"rtsp://user:secret@h:554/x", "rtsp|h:554|/x"},
          Case{"http://[::1]:8/x", "http|[::1]:8|/x"}, Case{"http://h?q=/@x", "http|h|?q=/@x"},
          Case{"http:///path", nullptr}, Case{"http://:80/", nullptr},
          Case{"http://user@/x", nullptr}, Case{"/no/scheme", nullptr}, Case{"://h", nullptr},
          Case{"1http://h", nullptr}, Case{"http//h", nullptr}, Case{"http://h/a b", nullptr},
          Case{"http://h\r\nX: y", nullptr}, Case{"", nullptr}}) {
        SCOPED_TRACE(c.url);
        ClearLog();
        const UrlParser parsed{std::string(c.url)};
        EXPECT_EQ(parsed.scheme + "|" + parsed.host + "|" + parsed.path,
                  c.parts != nullptr ? c.parts : "||");
        EXPECT_EQ(Logged("audiolib/webapi_utils:[0-9]+ Failed to parse url \\["),
                  c.parts == nullptr);
    }
}

TEST_F(Ids, EncodedSongReferences) {
    const std::string music = scratch().string() + "/music";
    WriteFile("/usr/varn/etc/share.conf", "music=\"" + music + "\"\n");
    struct Case {
        const char *encoded;
        std::string path;
        const char *log;
    };
    for (const Case &c :
         {Case{"L211c2ljL2EvYi5tcDM=", music + "/a/b.mp3", nullptr},
          Case{"L211c2ljL2EvYi5tcDM", music + "/a/b.mp3", nullptr},
          Case{"L2hvbWUvw7_Dvg", root().string() + "/volume1/homes/alice/\xC3\xBF\xC3\xBE",
               nullptr},
          Case{"L211c2ljL-_-", music + "/\xEF\xFE", nullptr},
          Case{"not base64!", "", "failed to do base64 decode of string: not base64! to  len 0$"},
          Case{"L211c", "", "failed to do base64 decode"},
          Case{"bm93aGVyZQ==", "", "Failed to get full path from \\[nowhere\\]\\.$"},
          Case{"", "", "Failed to get full path from \\[\\]\\.$"}}) {
        SCOPED_TRACE(c.encoded);
        ClearLog();
        EXPECT_EQ(VARNAudioGetFullPathFromEncSong(c.encoded, "alice"), c.path);
        if (c.log != nullptr) {
            EXPECT_TRUE(Logged(std::string("audiolib/webapi_utils:[0-9]+ ") + c.log));
        }
    }
}

}  // namespace

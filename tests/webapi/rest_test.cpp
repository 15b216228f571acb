// The API below /rest/ in both of its formats.
#include "webapi/rest.h"

#include <regex>
#include <set>

#include "service/people/settings.h"
#include "subsonic/ids.h"

namespace {

using namespace tonvale_test;
using tonvale_subsonic::AlbumId;
using tonvale_subsonic::ArtistId;

constexpr char kShapes[] = R"(
Response status:s version:s type:s serverVersion:s openSubsonic:b
License valid:b
Extension name:s versions:[i]
Folder id:i name:s
Folders musicFolder:[Folder]
Named name:s
Reference id:s name:s
Role role:s subRole:s? artist:Reference
Gain trackGain:n? albumGain:n? trackPeak:n? albumPeak:n? baseGain:n? fallbackGain:n?
Child id:s parent:s? isDir:b title:s album:s? artist:s? track:i? year:i? genre:s? coverArt:s?
  size:i? contentType:s? suffix:s? duration:i? bitRate:i? samplingRate:i channelCount:i path:s?
  isVideo:b? userRating:i? playCount:i? discNumber:i? created:t? starred:t? albumId:s? artistId:s?
  type:s? mediaType:s? played:t? comment:s? sortName:s? genres:[Named] artists:[Reference]
  displayArtist:s? albumArtists:[Reference] displayAlbumArtist:s? contributors:[Role]
  displayComposer:s? replayGain:Gain? bookmarkPosition:i?
AlbumChild id:s parent:s? isDir:b title:s album:s artist:s? artistId:s? coverArt:s? duration:i
  created:t year:i? genre:s? genres:[Named] artists:[Reference] displayArtist:s sortName:s
  isVideo:b mediaType:s userRating:i? playCount:i? played:t? starred:t?
Entry id:s parent:s isDir:b title:s
Album id:s name:s artist:s? artistId:s? coverArt:s songCount:i duration:i playCount:i? created:t
  starred:t? year:i? genre:s? played:t? userRating:i? genres:[Named] artists:[Reference]
  displayArtist:s sortName:s isCompilation:b
WholeAlbum :Album song:[Child]
Artist id:s name:s coverArt:s albumCount:i starred:t? sortName:s roles:[s] userRating:i?
WholeArtist :Artist album:[Album]
Letter name:s artist:[Artist]
Artists ignoredArticles:s index:[Letter]
FolderLetter name:s artist:[Reference]
Indexes ignoredArticles:s lastModified:i index:[FolderLetter] child:[Child]
Directory id:s parent:s? name:s child:[Entry]
SongDirectory id:s parent:s? name:s child:[Child]
AlbumDirectory :AlbumChild name:s child:[Child]
ArtistDirectory :Artist child:[AlbumChild]
Genre value:s songCount:i albumCount:i
Genres genre:[Genre]
ArtistInfo similarArtist:[Artist]
AlbumInfo notes:s?
Songs song:[Child]
Albums album:[Album]
AlbumChildren album:[AlbumChild]
Found artist:[Artist] album:[Album] song:[Child]
Found2 artist:[Artist] album:[AlbumChild] song:[Child]
User username:s
Account :User scrobblingEnabled:b adminRole:b settingsRole:b downloadRole:b uploadRole:b
  playlistRole:b coverArtRole:b commentRole:b podcastRole:b streamRole:b jukeboxRole:b shareRole:b
  videoConversionRole:b folder:[i]
Playlist id:s name:s owner:s public:b songCount:i duration:i created:t changed:t coverArt:s
WholePlaylist :Playlist entry:[Child]
Playlists playlist:[Playlist]
Bookmark position:i username:s comment:s created:t changed:t entry:Child
Bookmarks bookmark:[Bookmark]
Queue position:i username:s changed:t changedBy:s entry:[Child] current:s
QueueByIndex position:i username:s changed:t changedBy:s entry:[Child] currentIndex:i
Share id:s url:s description:s username:s created:t expires:t? visitCount:i entry:[Child]
Shares share:[Share]
Station id:s name:s streamUrl:s homePageUrl:s?
Stations internetRadioStation:[Station]
Scan scanning:b count:i lastScan:t?
Lyrics artist:s? title:s? value:s
Playing :Child username:s minutesAgo:i playerId:i playerName:s
NowPlaying entry:[Playing]
)";

// Requests, each before the member that its answer has beside the usual ones, or "-". "@album" and
// "@artist" stand for identifiers of the library below.
constexpr char kAnswers[] = R"(
ping - ping.view - getLicense license:License
getOpenSubsonicExtensions openSubsonicExtensions:[Extension] tokenInfo tokenInfo:User
getMusicFolders musicFolders:Folders getIndexes indexes:Indexes
getIndexes?musicFolderId=0&ifModifiedSince=1 indexes:Indexes
getMusicDirectory?id=dir_3 directory:Directory getMusicDirectory?id=dir_2 directory:SongDirectory
getMusicDirectory?id=@album directory:AlbumDirectory
getMusicDirectory?id=@artist directory:ArtistDirectory getGenres genres:Genres
getArtists artists:Artists getArtists?musicFolderId=1 artists:Artists
getArtist?id=@artist artist:WholeArtist getAlbum?id=@album album:WholeAlbum
getSong?id=music_1 song:Child getArtistInfo?id=@artist artistInfo:ArtistInfo
getArtistInfo2?id=@artist&count=1 artistInfo2:ArtistInfo getAlbumInfo?id=@album albumInfo:AlbumInfo
getAlbumInfo2?id=@album albumInfo:AlbumInfo getTopSongs?artist=A topSongs:Songs
getSimilarSongs?id=music_1 similarSongs:Songs getSimilarSongs2?id=@artist similarSongs2:Songs
getAlbumList?type=newest albumList:AlbumChildren
getAlbumList2?type=alphabeticalByName albumList2:Albums getNowPlaying nowPlaying:NowPlaying
getStarred starred:Found2 getStarred2?musicFolderId=0 starred2:Found
getRandomSongs?genre=Pop&fromYear=1990&toYear=2000 randomSongs:Songs
getSongsByGenre?genre=Pop songsByGenre:Songs search2?query=unfriendly searchResult2:Found2
search3?query=%22%22 searchResult3:Found getUser?username=alice user:Account
getPlaylists playlists:Playlists getPlaylist?id=playlist_shared_smart%2FAll playlist:WholePlaylist
star?id=music_1&albumId=@album&artistId=@artist - scrobble?id=music_1&submission=True -
createBookmark?id=music_1&position=5&comment=%26 - getBookmarks bookmarks:Bookmarks
savePlayQueue?id=music_1&id=music_2 - getPlayQueue playQueue:Queue
getPlayQueueByIndex playQueueByIndex:QueueByIndex getShares shares:Shares
getInternetRadioStations internetRadioStations:Stations getScanStatus scanStatus:Scan
getLyrics?title=nothing lyrics:Lyrics
)";

// A title that XML has to escape.
const std::string kAlbum = "X & \"Y\"";
const std::string kUnfriendly = "<a href='x'>&\"unfriendly\"]]>\t\n\xF0\x9F\x8E\xB5";

class RestApi : public Rest {
  protected:
    void SetUp() override {
        Rest::SetUp();
        const std::string music = scratch().string();
        std::string sql = FolderSql(1, music) + FolderSql(2, music + "/d & <e>") +
                          FolderSql(3, music + "/e") + FolderSql(4, music + "/e/f");
        TrackRow first = {.id = 1, .path = music + "/d & <e>/1.flac", .title = kUnfriendly};
        first.album = kAlbum;
        first.artist = first.album_artist = "A";
        first.composer = "C";
        first.genres = {"Pop", "Rock"};
        first.year = 1999;
        first.track = 1;
        const std::string second = music + "/d & <e>/2.mp3";
        const TrackRow songs[] = {
            first,
            {2, 0, second, "two", kAlbum, "A feat. B", "A", "A", {"Pop"}, 1999, 2},
            {3, 0, music + "/3.mp3", "three", "Z", "B", "", "", {"Rock"}, 1980, 1},
            {4, 0, music + "/4.mp3", "four", "Z", "C", "", "", {}, 1980, 2},
            {5, 0, music + "/5.mp3", "five \x01", "", "", "", "", {}, 0, 0},  // XML has no \x01
            {6, kAlice, "/home/alice/music/6.mp3", "own", "Mine", "Alice", "", "", {"Pop"}, 2001}};
        for (const TrackRow &song : songs) {
            sql += InsertSql(song);
        }
        Query(sql +
              "INSERT INTO rating_track VALUES (1030, 2, 4), (1031, 1, 5);"
              "INSERT INTO song_play VALUES (1030, 1, 2, '2026-01-02'), "
              "(1030, 3, 5, '2026-01-01'), (1031, 4, 9, now());"
              "INSERT INTO favourite_song VALUES (1030, 3), (1030, 1), (1031, 2);"
              "INSERT INTO favourite_album VALUES (1030, 'Z', ''), (1030, 'gone', 'x');"
              "INSERT INTO favourite_artist VALUES (1030, 'a'), (1031, 'B');"
              "INSERT INTO now_playing VALUES (1030, 'car', 2), (1031, 'pad', 1);"
              "INSERT INTO replaygain_track VALUES (1, -6.5, 0.9, NULL, NULL);"
              "UPDATE track SET date = date - id * interval '1 day', duration = 60.4, "
              "bitrate = 320000, filesize = 3000000000");
        WriteFile(varn::path::kSmartPlaylists, "\"All\" { title includes \"t\" }\n");
        tonvale_service::SetPermission("alice", RIGHT_SHARING);
        Serve();
    }

    static std::string Filled(std::string query) {
        const std::pair<std::string, std::string> names[] = {{"@album", AlbumId("X & \"Y\"", "A")},
                                                             {"@artist", ArtistId("a")}};
        for (const auto &[name, id] : names) {
            if (const std::size_t place = query.find(name); place != query.npos) {
                query.replace(place, name.size(), id);
            }
        }
        return query;
    }

    // The titles or names of a list in an answer.
    Texts Names(const std::string &query, const char *member, const char *list,
                const char *name) const {
        return Each(AskRest(Filled(query))[member][list], name);
    }
};

TEST_F(RestApi, AnswersAsDocumentedInBothFormats) {
    std::istringstream answers(kAnswers);
    for (std::string asked, member; answers >> asked >> member;) {
        const Shapes shapes(std::string(kShapes) + "Answer :Response " +
                            (member == "-" ? "" : member));
        const std::string query = Filled(asked);
        const Json::Value json = AskRest(query);
        EXPECT_EQ(shapes.Wrong(json, "Answer"), "") << query;
        if (query.starts_with("getRandom") || query.starts_with("getSimilar")) {
            continue;  // chosen anew for each answer
        }
        const HttpAnswer xml =
            Get("/rest/" + query + (Contains(query, "?") ? "&" : "?") + By(), "");
        EXPECT_TRUE(xml.Has("Content-Type: text/xml; charset=utf-8")) << xml.header;
        const std::string same = StrictJson(json.toStyledString()).toStyledString();
        const std::string without = std::regex_replace(same, std::regex(R"(\\u0001)"), "");
        EXPECT_EQ(shapes.FromXml(xml.body, "Answer").toStyledString(), without) << query;
        EXPECT_EQ(same.find("null"), same.npos) << same;
    }
}

TEST_F(RestApi, TellsWhatTheLibraryKnows) {
    const Json::Value song = AskRest("getSong?id=music_1")["song"];
    EXPECT_EQ(song["title"], kUnfriendly);
    EXPECT_EQ(Told(song, "size bitRate duration suffix replayGain.trackGain"),
              "3000000000 320 60 flac -6.5");
    EXPECT_EQ(Each(song["genres"], "name"), (Texts{"Pop", "Rock"}));
    EXPECT_FALSE(song.isMember("userRating")) << "the stars are bob's";

    const Json::Value album = AskRest(Filled("getAlbum?id=@album"))["album"];
    EXPECT_EQ(Each(album["song"]), (Texts{"music_1", "music_2"}));
    EXPECT_EQ(Told(album["song"],
                   "[0].displayComposer [0].contributors[0] "
                   "[1].contributors[0].artist.id"),
              "C - " + ArtistId("A"));
    EXPECT_EQ(Told(album, "userRating songCount playCount artistId"), "4 2 2 " + ArtistId("A"));
    const Json::Value list = AskRest("getAlbumList2?type=alphabeticalByName")["albumList2"];
    EXPECT_EQ(Told(list["album"], "[1].playCount [2].userRating [2].playCount [3].playCount"),
              "- 4 2 5");
    EXPECT_TRUE(list["album"][3].isMember("starred") && !list["album"][2].isMember("starred"));

    // A guest on another artist's album is found, and not listed.
    const std::string guest = ArtistId("A FEAT. B");
    EXPECT_EQ(Each(AskRest("getArtist?id=" + guest)["artist"]["album"], "name"),
              (Texts{"X & \"Y\""}));
    Texts letters;
    const Json::Value artists = AskRest("getArtists")["artists"];
    for (const Json::Value &letter : artists["index"]) {
        letters.push_back(letter["name"].asString());
        for (const Json::Value &artist : letter["artist"]) {
            letters.back() += "," + artist["name"].asString();
        }
    }
    EXPECT_EQ(letters, (Texts{"#,[no artist]", "A,A,Alice", "B,B", "C,C"}));
    EXPECT_EQ(Names("getIndexes?musicFolderId=0", "indexes", "child", "id"),
              (Texts{"music_3", "music_4", "music_5"}));
    const auto read = AskRest("getIndexes")["indexes"]["lastModified"].asInt64();
    EXPECT_TRUE(
        AskRest("getIndexes?ifModifiedSince=" + std::to_string(read))["indexes"]["index"].empty());
    EXPECT_EQ(Names("getMusicFolders", "musicFolders", "musicFolder", "id"), (Texts{"0", "1"}));
    // Two songs of Pop are of one album, which counts once.
    EXPECT_EQ(Names("getGenres", "genres", "genre", "albumCount"), (Texts{"2", "2"}));
}

TEST_F(RestApi, KeepsTheOrderAndThePagesOfLists) {
    const std::pair<const char *, Texts> lists[] = {
        {"type=alphabeticalByName", {"[no album]", "Mine", "X & \"Y\"", "Z"}},
        {"type=alphabeticalByName&size=2&offset=1", {"Mine", "X & \"Y\""}},
        {"type=alphabeticalByName&size=0", {}},
        {"type=alphabeticalByName&offset=9", {}},
        {"type=alphabeticalByName&musicFolderId=1", {"Mine"}},
        {"type=newest&size=9999", {"X & \"Y\"", "Z", "[no album]", "Mine"}},
        {"type=byYear&fromYear=1980&toYear=1999", {"Z", "X & \"Y\""}},
        {"type=byYear&fromYear=1999&toYear=1980", {"X & \"Y\"", "Z"}},
        {"type=byGenre&genre=Rock", {"X & \"Y\"", "Z"}},
        {"type=byGenre&genre=rock%27", {}},
        {"type=highest", {"X & \"Y\""}},
        {"type=frequent", {"Z", "X & \"Y\""}},
        {"type=recent", {"X & \"Y\"", "Z"}},
        {"type=starred", {"Z"}},
    };
    for (const auto &[query, names] : lists) {
        EXPECT_EQ(Names("getAlbumList2?" + std::string(query), "albumList2", "album", "name"),
                  names)
            << query;
    }
    EXPECT_EQ(AskRest("getAlbumList?type=random")["albumList"]["album"].size(), 4);
    EXPECT_EQ(Names("getSongsByGenre?genre=Pop&count=1&offset=1", "songsByGenre", "song", "id"),
              (Texts{"music_6"}));
    EXPECT_EQ(Names("getTopSongs?artist=a&count=1", "topSongs", "song", "id"), (Texts{"music_1"}));
    EXPECT_EQ(Names("getStarred", "starred", "artist", "name"), (Texts{"A"}));
    EXPECT_EQ(Names("getStarred2", "starred2", "song", "id"), (Texts{"music_1", "music_3"}));
    EXPECT_EQ(Names("getNowPlaying", "nowPlaying", "entry", "id"), (Texts{"music_2"}));
    EXPECT_EQ(
        Names("getRandomSongs?toYear=1980&fromYear=1970&size=500", "randomSongs", "song", "album"),
        (Texts{"Z", "Z"}));
    EXPECT_EQ(Names("search3?query=unfr*", "searchResult3", "song", "id"), (Texts{"music_1"}));
    EXPECT_EQ(Names("search3?query=feat", "searchResult3", "artist", "name"), (Texts{"A feat. B"}));
    EXPECT_EQ(Names("search3?query=x+y&songCount=0", "searchResult3", "album", "name"),
              (Texts{"X & \"Y\""}));
    // All songs, page by page.
    std::multiset<std::string> ids;
    for (int offset = 0; offset < 8; offset += 2) {
        for (const std::string &id :
             Names("search3?query=&songCount=2&songOffset=" + std::to_string(offset),
                   "searchResult3", "song", "id")) {
            ids.insert(id);
        }
    }
    EXPECT_EQ(ids, (std::multiset<std::string>{"music_1", "music_2", "music_3", "music_4",
                                               "music_5", "music_6"}));
    // Bob does not see alice's song.
    for (const char *query : {"search3?query=own", "getTopSongs?artist=Alice"}) {
        EXPECT_EQ(AskRest(query, "bob").toStyledString().find("music_6"), std::string::npos);
    }
}

}  // namespace

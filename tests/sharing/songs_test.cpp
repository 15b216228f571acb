// Which songs a link publishes.
#include "sharing/shared_library.h"

namespace {

using namespace tonvale_test;
using Tonvale::SharingData;
using Tonvale::SharingManager;

class SharingSongs : public SharedLibraryTest {
  protected:
    // The songs that a link publishes, by their names in playlists.
    static Texts Allowed(const SharingData &link) {
        SharingManager manager;
        Texts allowed;
        for (const char *name : {"it's 100%_a\\b.mp3", "pop.mp3", "cue.flac_1", "cue.flac_2",
                                 "cue.flac_3", "it's 100 a\\b.mp3", "IT'S 100%_a\\b.mp3"}) {
            if (manager.CheckSongAllowSharing(link, In(name))) {
                allowed.emplace_back(name);
            }
        }
        for (const std::string &name :
             {std::string(), std::string("/etc/passwd"), In("../music/pop.mp3"),
              In("pop.mp3' OR '1'='1"), In("\xff")}) {
            EXPECT_FALSE(manager.CheckSongAllowSharing(link, name)) << name;
        }
        return allowed;
    }
    static std::string First(const SharingData &link) {
        std::string id = "none";
        return SharingManager().GetFirstSongIdInPlaylist(link, id) ? id : "";
    }
    SharingData Smart() const { return Link(kSharedSmart, At(varn::path::kSmartPlaylists)); }
};

TEST_F(SharingSongs, AreThoseOfThePlaylist) {
    const SharingData list = Link("playlist_shared_normal/12", List());
    EXPECT_EQ(Allowed(list), (Texts{"it's 100%_a\\b.mp3", "cue.flac_2"}));
    EXPECT_EQ(First(list), Name(rock_));
    EXPECT_EQ(Allowed(Smart()), (Texts{"it's 100%_a\\b.mp3", "cue.flac_1"}));

    Touch(In("tracks.m3u"), "cue.flac_2\n");
    EXPECT_EQ(First(Link("playlist_shared_normal/13", In("tracks.m3u"))), TrackName(track2_));

    // The link follows a change of its playlist.
    Touch(List(), "pop.mp3\n");
    EXPECT_EQ(Allowed(list), Texts{"pop.mp3"});
    EXPECT_EQ(First(list), Name(pop_));
    WriteFile(varn::path::kSmartPlaylists, "\"Rock & Roll\" { genre is \"Pop\" }\n");
    EXPECT_EQ(Allowed(Smart()), (Texts{"pop.mp3", "cue.flac_2"}));
}

TEST_F(SharingSongs, AreThoseThatTheOwnerBrowses) {
    // A personal song of the owner's and one of another user's.
    const std::string home = (root() / "volume1/homes/alice/music/own.mp3").string();
    const int own = AddSong({.userid = kAlice, .path = home, .genres = {"Own"}});
    AddSong({.userid = kBob, .path = In("bob.mp3"), .genres = {"Own"}});
    WriteFile(varn::path::kSmartPlaylists, "\"Rock & Roll\" { genre is \"Own\" }\n");
    SharingManager manager;
    EXPECT_EQ(First(Smart()), "music_p_" + std::to_string(own));
    EXPECT_TRUE(manager.CheckSongAllowSharing(Smart(), home));
    EXPECT_FALSE(manager.CheckSongAllowSharing(Smart(), In("bob.mp3")));
    ASSERT_EQ(VARNAudioConfSet("enable_personal_library", "no"), 0);
    EXPECT_FALSE(manager.CheckSongAllowSharing(Smart(), home));
    EXPECT_EQ(First(Smart()), "");
}

TEST_F(SharingSongs, AreNoneWhereThePlaylistIsMissing) {
    for (const SharingData &link :
         {Link("nonsense", List()), Link("playlist_shared_normal/../x", List()),
          Link("playlist_shared_smart/other", Smart().path), Link(kSharedSmart, In("none")),
          Link("playlist_shared_normal/12", In("none.m3u"))}) {
        EXPECT_TRUE(Allowed(link).empty()) << link.playlist_id;
        EXPECT_EQ(First(link), "") << link.playlist_id;
    }
    EXPECT_TRUE(Logged("Failed to parse playlist info by id\\."));
    EXPECT_TRUE(Logged("Fail to load smart playlist rules \\["));
}

TEST_F(SharingSongs, SingleOnesHaveALinkOfTheirOwn) {
    fs::create_directories(At("/usr/varn/etc/preference/alice"));
    SharingManager manager;
    const std::string rock = In("it's 100%_a\\b.mp3");
    ASSERT_TRUE(manager.ShareSingleSong(true, "alice", Name(rock_), rock));
    ASSERT_TRUE(manager.ShareSingleSong(true, "alice", TrackName(track1_), In("cue.flac_1")));
    ASSERT_TRUE(manager.ShareSingleSong(true, "alice", Name(rock_), rock));
    SharingData link;
    ASSERT_TRUE(manager.GetPredefinedSharingRecord("alice", link));
    EXPECT_EQ(link.playlist_id, kSongs);
    EXPECT_EQ(link.path, manager.GetPredefinedSharingPlsPath("alice"));
    EXPECT_EQ(Allowed(link), (Texts{"it's 100%_a\\b.mp3", "cue.flac_1"}));
    BackToRoot();
    EXPECT_EQ(Shown(Read(link.path)).size(), 2U) << "a song comes once";

    EXPECT_FALSE(manager.ShareSingleSong(true, "alice", "music_4711", In("pop.mp3")));
    EXPECT_TRUE(Logged("Failed to get MediaInfo list by song id\\.\\[music_4711\\]"));
    EXPECT_FALSE(manager.ShareSingleSong(true, "alice", Name(bobs_), In("bobs.mp3")));
    EXPECT_TRUE(manager.ShareSingleSong(false, "alice", "", rock));
    EXPECT_TRUE(manager.ShareSingleSong(false, "alice", "", rock));
    EXPECT_EQ(Allowed(link), Texts{"cue.flac_1"});
    EXPECT_EQ(Value("SELECT COUNT(*) FROM playlist_sharing"), "1");
    EXPECT_FALSE(manager.ShareSingleSong(true, "nobody at all", Name(rock_), rock));
}

}  // namespace

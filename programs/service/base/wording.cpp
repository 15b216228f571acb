#include "service/base/wording.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace tonvale_service {

namespace {

struct Wording {
    Reason reason;
    // {} is the object. The system's error comes before the semicolon, and what to do next, on the
    // command line, after it.
    const char *text;
};

constexpr char kObject[] = "{}";

// In the order of the reasons.
constexpr Wording kWordings[] = {
    {Reason::kNotUtf8, "a text is not UTF-8, or has a NUL in it"},
    {Reason::kSongNotUtf8, "'{}' is not UTF-8, as everything in a playlist is"},
    {Reason::kNotASong, "'{}' is no song's id, no file and no http or https address"},
    {Reason::kNotASongId, "'{}' is no song's identifier; 'tonvale songs --json' shows them"},
    {Reason::kNotAFolderId, "'{}' is no folder's identifier; 'tonvale folders' shows them"},
    {Reason::kNotAPlaylistId, "'{}' is no playlist's identifier; 'tonvale playlists' shows them"},
    {Reason::kNotADay, "'{}' is no day; write it as YYYY-MM-DD"},
    {Reason::kFirstDayAlone, "a link that works from {} on needs a last day; add --until DAY"},
    {Reason::kLastDayBeforeFirst,
     "the last day {} is before the first; that is today unless --from names one"},
    {Reason::kUnknownLibrary, "there is no library '{}'; 'tonvale songs --help' names them"},
    {Reason::kUnknownSortKey, "unknown sort key '{}'; --help names the keys"},
    {Reason::kUnknownSearchField, "unknown search field '{}'; --help names the fields"},
    {Reason::kEmptyKeyword, "the keyword is empty; name a part of what you look for"},
    {Reason::kRandomPart,
     "sorting by random draws from a whole library: it takes no filter, no offset, and a limit of "
     "1 or more"},
    {Reason::kFiltersTooLong, "the filters are too long"},
    {Reason::kNameBesideFilters, "a search for a part of an artist's name takes no filter"},
    {Reason::kNameTooLong, "a text to look for has 400 bytes at most"},
    {Reason::kNoSongsToRate, "name the songs to rate, by their ids or with filters"},
    {Reason::kUnknownPreference, "there is no preference '{}'"},
    {Reason::kUnknownPreferenceValue,
     "{} does not take that value; browse_personal_library takes all or personal, the others yes "
     "or no"},
    {Reason::kUnknownCustomKey, "there is no custom key {}"},
    {Reason::kNotAPlaylistName,
     "'{}' cannot name a playlist: a name is UTF-8, has no slash and no control character, does "
     "not begin with a dot, is not a number alone and is not longer than 240 bytes"},
    {Reason::kNotAPersonalFormat,
     "the user has no personal library: own playlists are m3u files, not {}"},
    {Reason::kAmbiguousPlaylist,
     "several playlists are called '{}': name one by its id, which 'tonvale playlists' shows"},
    {Reason::kNoSuchPosition,
     "the playlist has no position {}; 'tonvale playlist show' lists its entries"},
    {Reason::kRulesChooseSongs,
     "the smart playlist '{}' has no songs of its own: its rules choose them; see 'tonvale smart "
     "--help'"},
    {Reason::kUnknownPinType,
     "there is no such type; the types are album, artist, composer, folder, genre, playlist, "
     "random_100, recently_added"},
    {Reason::kBadPinCriteria,
     "the criteria are any of album, album_artist, artist, composer, folder, genre, genre_filter, "
     "playlist"},
    {Reason::kBadPinValues,
     "the criteria lack what this type needs, or the pins named are not exactly those of the page"},
    {Reason::kNotANumber, "'{}' is no whole number from 0 to 2147483647"},
    {Reason::kNotAVolume, "'{}' is no volume, which is a number from 0 to 100"},
    {Reason::kNotAGain, "'{}' is no gain from -24 to 24 dB"},
    {Reason::kNotTenGains, "the equalizer takes ten gains"},
    {Reason::kUnknownPlayMode,
     "there is no mode '{}'; the modes are once, repeat, repeat-one, shuffle"},
    {Reason::kValueMissing, "a value is missing"},
    {Reason::kTooManyValues, "too many values"},
    {Reason::kTooLongForPlayer, "that is too long for the player"},
    {Reason::kNotAnAbsolutePath,
     "'{}' is no absolute path, which the player needs: it has a folder of its own"},
    {Reason::kPlayerRefusesValue, "the player does not know what you name: {}"},
    {Reason::kNotAnHttpAddress, "'{}' is no address that begins with http:// or https://"},
    {Reason::kNotAHost, "no machine is found as '{}'; give its name or its address"},
    {Reason::kNotAPort, "'{}' is no port; one is a number from 1 to 65535"},
    {Reason::kObjectIdTooLong, "that is too long for the id of an object"},
    {Reason::kUnwritableEntry,
     "the playlist has the entry {}, which can be read but not written; remove it first"},
    {Reason::kNotAUserName,
     "'{}' names no user: a name has 32 letters, digits and _ . - at most, and begins with a "
     "letter, a digit or _"},
    {Reason::kSystemAccount, "'{}' is an account of the system's own; choose another name"},
    {Reason::kNotAPassword, "a password has 8 to 256 bytes and no control characters"},
    {Reason::kDownloadTooLarge, "a download has {} songs at most"},
    {Reason::kNotAPurpose, "the purpose of a key has 200 bytes of UTF-8 at most"},
    {Reason::kTooManySongs, "too many songs for one request"},
    {Reason::kNotAClient, "a client's name is a line of UTF-8 of 200 bytes at most"},
    {Reason::kNotABookmark,
     "a bookmark has a position from 0 on, and a comment of 4,000 bytes of UTF-8 at most"},
    {Reason::kNotAPlayQueue,
     "a queue has 10,000 songs at most, one of them as the current one, a position from 0 on, and "
     "a client's name of 200 bytes at most"},
    {Reason::kNotAStationName, "a radio station's name is a line of UTF-8 of 1 to 200 bytes"},
    {Reason::kBadRule, "the rule has a mistake: {}"},
    {Reason::kNothingToDownload, "name songs, a folder, a playlist or what they have in common"},

    {Reason::kNoPersonalLibrary,
     "the user has no personal library, and so none called '{}'; the libraries are all, shared, "
     "actual, actual_shared, virtual, virtual_shared"},
    {Reason::kMayNotShare, "the user '{}' may not share; see 'tonvale user rights'"},
    {Reason::kPlaylistOfAnother,
     "the playlist {} belongs to another account; mode 0644 shows it to all, 0666 lets all change "
     "it"},
    {Reason::kWrongPassword, "the password is wrong"},
    {Reason::kUserStays, "the user {} is a part of the system and stays"},

    {Reason::kNoSuchUser, "there is no user '{}'"},
    {Reason::kNoSuchSong, "there is no song {} for the user; 'tonvale songs' lists them"},
    {Reason::kNoSuchFolder, "there is no folder {} in this library; 'tonvale folders' lists them"},
    {Reason::kNoSuchPlaylist,
     "there is no playlist '{}'; 'tonvale playlists' lists the shared ones, with --personal the "
     "user's own"},
    {Reason::kNoSuchSmartPlaylist,
     "there is no smart playlist '{}' with good rules; 'tonvale smart list' shows them"},
    {Reason::kNoSuchLink, "the user has no link '{}'; 'tonvale share list' lists them"},
    {Reason::kNoSuchPin, "the user has no such pin; 'tonvale pin list' lists them"},
    {Reason::kNoSuchPinFolder, "there is no such folder; 'tonvale folders' lists them"},
    {Reason::kNoSuchPinPlaylist, "there is no such playlist; 'tonvale playlists' lists them"},
    {Reason::kNoSuchRenderer, "there is no renderer '{}'; 'tonvale player renderers' lists them"},
    {Reason::kNoSuchServerObject, "the server refuses to show that: {}"},
    {Reason::kNoCover, "there is no cover to write"},
    {Reason::kNotAPicture, "{} is no picture"},
    {Reason::kOutsideMusic, "{} does not lead to music of the library"},
    {Reason::kPlaylistOutside,
     "{} leads out of where these playlists may lie; put a file or a folder in place of the link"},
    {Reason::kSongsLeft,
     "songs are not in the library, and nothing was changed; 'tonvale songs' lists what is there"},
    {Reason::kNoEqualizerSelected, "no equalizer profile is selected, or it is off"},
    {Reason::kNoSuchSession, "there is no session {}"},
    {Reason::kNoSuchKey, "there is no key {}; 'tonvale user key list' shows them"},
    {Reason::kNoScanRuns, "no scan runs"},
    {Reason::kNoSuchAlbum, "there is no album '{}' of this artist"},
    {Reason::kNoSuchArtist, "there is no artist '{}'"},
    {Reason::kNoSuchBookmark, "there is no bookmark in that song"},
    {Reason::kNoSuchStation, "there is no radio station {}"},

    {Reason::kPlaylistExists, "there is already a playlist {}"},
    {Reason::kLinkExists,
     "the playlist already has the link {}; 'tonvale share update' changes its days"},
    {Reason::kPinExists, "that is pinned already"},
    {Reason::kUserExists, "there is a user {} already; 'tonvale user passwd' changes the password"},
    {Reason::kTooManyKeys, "a user has 100 keys at most; 'tonvale user key remove' takes one away"},
    {Reason::kScanRuns, "a scan of everything runs already"},
    {Reason::kTooManyFavourites,
     "a user has 10,000 favourite songs, albums and artists each at most"},
    {Reason::kTooManyBookmarks, "a user has 1,000 bookmarks at most"},
    {Reason::kTooManyStations, "there are 1,000 radio stations at most"},
    {Reason::kPlayQueueChanged, "the queue was changed by another client meanwhile; read it again"},
    {Reason::kPlaylistChanged, "the playlist {} was changed meanwhile; read it again"},

    {Reason::kSettingsLocked,
     "the settings cannot be locked: see that {} can be opened, and try again when nobody else "
     "changes them"},
    {Reason::kPlaylistLocked, "{} cannot be locked: try again when nobody else changes playlists"},
    {Reason::kTooManyAttempts, "too many wrong passwords; try again later"},
    {Reason::kIndexerAway,
     "no indexer follows changes: it is being started again, or 'tonvale serve' was told "
     "--no-watch; try again later"},
    {Reason::kEventsAway, "events are not sent at the moment; try again later"},

    {Reason::kLibraryAway, "the library did not answer; the lines above tell why"},
    {Reason::kFileNotWritten,
     "cannot write {}; see that its folder is there and its disk has room"},
    {Reason::kUsersNotRead,
     "the users file {} cannot be read; correct it, or remove it and run 'tonvale init'"},
    {Reason::kAccountsNotRead, "the accounts in {} cannot be read"},
    {Reason::kTranscodingNotOffered,
     "{} cannot be set: the package does not offer transcoding (docs/system.md)"},
    {Reason::kCustomKeysNotRead, "the custom keys in {} cannot be read"},
    {Reason::kNoPlaylistFolder,
     "there is no folder for playlists; register one with 'tonvale init --music DIR'"},
    {Reason::kFolderAway, "the folder {} is not there; mount its disk, or make it"},
    {Reason::kFolderNotMade, "cannot make the folder {}"},
    {Reason::kFolderNotRead, "cannot look into the folder {}"},
    {Reason::kPlaylistsNotListed, "the playlists cannot be listed; the lines above tell why"},
    {Reason::kPlaylistNotRead, "the playlist {} cannot be read; the lines above tell why"},
    {Reason::kSmartPlaylistsNotRead, "{} cannot be read, or is larger than 1 MiB"},
    {Reason::kPlaylistNotWritten, "the playlist {} cannot be written"},
    {Reason::kPlaylistNotStored,
     "the playlist {} could not be put into the library; the lines above tell why"},
    {Reason::kPlaylistNotRenamed, "the playlist cannot be renamed to {}"},
    {Reason::kPlaylistNotDeleted, "the playlist {} cannot be deleted"},
    {Reason::kSharedSongsNotChanged,
     "the list of shared songs cannot be changed; the lines above tell why"},
    {Reason::kLinksNotFollowed,
     "that is done, but its share links could not follow; the lines above tell why. 'tonvale share "
     "delete' takes a link away, 'tonvale user sync' those of users that are gone"},
    {Reason::kLinksLeft,
     "the share links of the user ids {} are still there; run 'tonvale user sync' again"},
    {Reason::kSomeSongsLeft,
     "songs left the library meanwhile, and the others were rated; 'tonvale songs' lists what is "
     "there"},
    {Reason::kNoPreferenceFolder, "the user has no preference folder"},
    {Reason::kAccountNotTaken, "cannot switch to the account {}"},
    {Reason::kVolumeNotSet,
     "the volume is stored, but no mixer takes it; 'tonvale soundcard show' tells the card"},
    {Reason::kNoVolume,
     "there is no volume to take over; 'tonvale soundcard show' tells those of configuration and "
     "mixer"},
    {Reason::kEqualizerNotRead, "the equalizer's profiles cannot be read"},
    {Reason::kPlayerAway, "no player answers; 'varnplayer' is one to start"},
    {Reason::kPlayerNotPermitted,
     "this account may not ask the player; root and the package's may"},
    {Reason::kPlayerSilent, "the player does not answer in time; see its log"},
    {Reason::kPlayerNotAsked, "the player cannot be asked"},
    {Reason::kPlayerAnswerTooLong, "the player's answer is too long; ask for a smaller page"},
    {Reason::kPlayerAnswerMalformed, "the player's answer is not understood"},
    {Reason::kPlayerRefuses, "the player refuses: {}"},
    {Reason::kNoPictureAt,
     "what is at {} is no picture in JPEG or PNG, of an announced length of at most 5 MiB"},
    {Reason::kNothingSearched, "{}; nothing could be asked: name a machine with --address"},
    {Reason::kServerNotAsked,
     "the server cannot be asked: {}; 'tonvale mediaserver list' shows those that answer"},
    {Reason::kNotAServer,
     "{} is no ContentDirectory; 'tonvale mediaserver list' shows the addresses of those that can "
     "be browsed"},
    {Reason::kServerRefuses, "the server refuses to show that: {}"},
    {Reason::kServerAnswerMalformed,
     "the server's answer cannot be used: it is not well-formed, or repeats the page before"},
    {Reason::kServerTooSlow, "the server takes too long"},
    {Reason::kServerSendsTooMuch, "the server sends too much; ask for fewer objects"},
    {Reason::kTooManyServerObjects,
     "more than 100000 objects; ask for a part of them with --limit"},
    {Reason::kLoginsNotRead, "cannot read {}"},
    {Reason::kAccountNotChanged, "{}"},
};

constexpr bool HasEveryReason() {
    for (std::size_t i = 0; i < std::size(kWordings); ++i) {
        if (kWordings[i].reason != static_cast<Reason>(i)) {
            return false;
        }
    }
    return std::size(kWordings) == static_cast<std::size_t>(Reason::kCount);
}
static_assert(HasEveryReason());

// With the object in its place, and the system's error.
std::string Filled(std::string text, const Failure &failure, const std::string &object) {
    if (failure.Error() != 0) {
        text.insert(std::min(text.find(';'), text.size()),
                    std::string(": ") + std::strerror(failure.Error()));
    }
    if (const std::size_t place = text.find(kObject); place != text.npos) {
        text.replace(place, std::strlen(kObject), object);
    }
    return text;
}

const char *TextOf(const Failure &failure) {
    return kWordings[static_cast<std::size_t>(failure.Why())].text;
}

}  // namespace

std::string WhatFailed(const Failure &failure) {
    const std::string_view text = TextOf(failure);
    std::string object = failure.Object();
    if (object.starts_with('/')) {
        object.erase(0, object.rfind('/') + 1);
    }
    return Filled(std::string(text.substr(0, text.find(';'))), failure, object);
}

std::string WhatFailedAndNext(const Failure &failure) {
    return Filled(TextOf(failure), failure, failure.Object());
}

}  // namespace tonvale_service

// Why something that was asked for cannot be answered or done.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace tonvale_service {

// What the reasons of one kind have in common: an exit status, or a code of the web API.
enum class FailureClass {
    kBadValue,      // no such choice, or a value that nothing can be done with
    kNotPermitted,  // the user may not
    kNotFound,      // there is no such item, or none that the user may see
    kExists,        // the name is taken
    kBusy,          // somebody else is at work there; try again later
    kFailed         // it could not be done
};

// Each stands in its class (ClassOf), with the object that it carries in parentheses. Add a new one
// at the end of its class. wording.h words each reason; the web API also answers with its class.
enum class Reason {
    // kBadValue
    kNotUtf8,
    kSongNotUtf8,         // (path or text) playlists are UTF-8
    kNotASong,            // (text) neither an id nor a file nor an address
    kNotASongId,          // (text)
    kNotAFolderId,        // (text)
    kNotAPlaylistId,      // (text)
    kNotADay,             // (text)
    kFirstDayAlone,       // (first day)
    kLastDayBeforeFirst,  // (last day)
    kUnknownLibrary,      // (name)
    kUnknownSortKey,      // (name)
    kUnknownSearchField,  // (name)
    kEmptyKeyword,
    kRandomPart,  // a random order draws from a whole library
    kFiltersTooLong,
    kNameBesideFilters,
    kNameTooLong,  // (name)
    kNoSongsToRate,
    kUnknownPreference,       // (name)
    kUnknownPreferenceValue,  // (name)
    kUnknownCustomKey,        // (number)
    kNotAPlaylistName,        // (name)
    kNotAPersonalFormat,      // (format) without a personal library
    kAmbiguousPlaylist,       // (title)
    kNoSuchPosition,          // (position)
    kRulesChooseSongs,        // (smart playlist)
    kUnknownPinType,
    kBadPinCriteria,
    kBadPinValues,
    kNotANumber,  // (text)
    kNotAVolume,  // (text)
    kNotAGain,    // (text)
    kNotTenGains,
    kUnknownPlayMode,  // (name)
    kValueMissing,
    kTooManyValues,
    kTooLongForPlayer,
    kNotAnAbsolutePath,   // (path)
    kPlayerRefusesValue,  // (its words) what was asked for does not exist
    kNotAnHttpAddress,    // (text)
    kNotAHost,            // (text)
    kNotAPort,            // (text)
    kObjectIdTooLong,
    kUnwritableEntry,  // (path or address) an entry that can be read but not written
    kNotAUserName,     // (text)
    kSystemAccount,    // (name)
    kNotAPassword,
    kDownloadTooLarge,  // (how many files it may have)
    kNotAPurpose,       // of a key
    kTooManySongs,
    kNotAClient,  // a client's name
    kNotABookmark,
    kNotAPlayQueue,
    kNotAStationName,
    kBadRule,  // (where and what)
    kNothingToDownload,

    // kNotPermitted
    kNoPersonalLibrary,  // (kind of library)
    kMayNotShare,        // (user)
    kPlaylistOfAnother,  // (path) its mode does not let all read or write it
    kWrongPassword,
    kUserStays,  // (name) an account that the system needs

    // kNotFound
    kNoSuchUser,           // (name)
    kNoSuchSong,           // (id)
    kNoSuchFolder,         // (id)
    kNoSuchPlaylist,       // (name or id)
    kNoSuchSmartPlaylist,  // (name)
    kNoSuchLink,           // (id)
    kNoSuchPin,
    kNoSuchPinFolder,
    kNoSuchPinPlaylist,
    kNoSuchRenderer,      // (place or udn)
    kNoSuchServerObject,  // (the server's words)
    kNoCover,
    kNotAPicture,      // (path)
    kOutsideMusic,     // (path)
    kPlaylistOutside,  // (path)
    kSongsLeft,        // nothing was done
    kNoEqualizerSelected,
    kNoSuchSession,  // (id)
    kNoSuchKey,      // (id)
    kNoScanRuns,
    kNoSuchAlbum,   // (name)
    kNoSuchArtist,  // (name)
    kNoSuchBookmark,
    kNoSuchStation,  // (id)

    // kExists
    kPlaylistExists,  // (path)
    kLinkExists,      // (id)
    kPinExists,
    kUserExists,  // (name)
    kTooManyKeys,
    kScanRuns,  // of everything
    kTooManyFavourites,
    kTooManyBookmarks,
    kTooManyStations,
    kPlayQueueChanged,  // by another client
    kPlaylistChanged,   // (path) since the client read it

    // kBusy
    kSettingsLocked,   // (path)
    kPlaylistLocked,   // (path) somebody else writes it
    kTooManyAttempts,  // wrong passwords
    kIndexerAway,      // none that follows changes
    kEventsAway,

    // kFailed
    kLibraryAway,
    kFileNotWritten,         // (path)
    kUsersNotRead,           // (path)
    kAccountsNotRead,        // (path)
    kTranscodingNotOffered,  // (preference)
    kCustomKeysNotRead,      // (path)
    kNoPlaylistFolder,
    kFolderAway,     // (path)
    kFolderNotMade,  // (path)
    kFolderNotRead,  // (path)
    kPlaylistsNotListed,
    kPlaylistNotRead,        // (path)
    kSmartPlaylistsNotRead,  // (path)
    kPlaylistNotWritten,     // (path)
    kPlaylistNotStored,      // (path) the library has no row for it
    kPlaylistNotRenamed,     // (new path)
    kPlaylistNotDeleted,     // (path)
    kSharedSongsNotChanged,
    kLinksNotFollowed,  // what was asked for is done
    kLinksLeft,         // (users' ids)
    kSomeSongsLeft,     // the others were rated
    kNoPreferenceFolder,
    kAccountNotTaken,  // (account)
    kVolumeNotSet,     // it is stored
    kNoVolume,         // none to take over
    kEqualizerNotRead,
    kPlayerAway,
    kPlayerNotPermitted,
    kPlayerSilent,
    kPlayerNotAsked,
    kPlayerAnswerTooLong,
    kPlayerAnswerMalformed,
    kPlayerRefuses,    // (its words) it cannot do it
    kNoPictureAt,      // (address)
    kNothingSearched,  // (the problems)
    kServerNotAsked,   // (the problem)
    kNotAServer,       // (address)
    kServerRefuses,    // (its words)
    kServerAnswerMalformed,
    kServerTooSlow,
    kServerSendsTooMuch,
    kTooManyServerObjects,
    kLoginsNotRead,      // (path)
    kAccountNotChanged,  // (the problem)

    kCount  // of the reasons
};

constexpr FailureClass ClassOf(Reason reason) {
    return reason < Reason::kNoPersonalLibrary ? FailureClass::kBadValue
           : reason < Reason::kNoSuchUser      ? FailureClass::kNotPermitted
           : reason < Reason::kPlaylistExists  ? FailureClass::kNotFound
           : reason < Reason::kSettingsLocked  ? FailureClass::kExists
           : reason < Reason::kLibraryAway     ? FailureClass::kBusy
                                               : FailureClass::kFailed;
}

// Thrown where both the command line and the web API are answered. For a log, what() has the
// object.
class Failure : public std::runtime_error {
  public:
    // `error` is the system's number, 0 for none.
    explicit Failure(Reason reason, const std::string &object = "", int error = 0)
        : std::runtime_error(object), reason_(reason), error_(error) {}
    Reason Why() const { return reason_; }
    FailureClass Class() const { return ClassOf(reason_); }
    std::string Object() const { return what(); }
    int Error() const { return error_; }

  private:
    Reason reason_;
    int error_;
};

}  // namespace tonvale_service

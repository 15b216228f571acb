// Pins: the views of the library that a user keeps on the start page, in an order of their own.
//
// A pin is a row of the table "pin". Folders and playlists are stored by path, because their
// identifiers change when the library is indexed anew, and are turned into identifiers again when
// pins are read. Texts are UTF-8 without a NUL; others are refused. Nothing throws.
//
// Every call that asks the library or looks for a file switches the effective user of the process
// meanwhile, and back before it returns: pins are for single-threaded processes.
#pragma once

#include <json/value.h>

#include <set>
#include <string>
#include <vector>

#include "tonvale/export.h"
#include "tonvale/library.h"

namespace Tonvale {

// One pin. The texts are the words of the web API for types and criteria.
struct TONVALE_EXPORT PinData {
    static constexpr char FOLDER[] = "folder";
    static constexpr char PATH[] = "path";
    static constexpr char ALBUM[] = "album";
    static constexpr char ARTIST[] = "artist";
    static constexpr char ALBUM_ARTIST[] = "album_artist";
    static constexpr char COMPOSER[] = "composer";
    static constexpr char GENRE[] = "genre";
    static constexpr char GENRE_FILTER[] = "genre_filter";
    static constexpr char PLAYLIST[] = "playlist";
    static constexpr char RECENTLY_ADDED[] = "recently_added";
    static constexpr char RANDOM_100[] = "random_100";
    static constexpr char TYPE[] = "type";
    static constexpr char LIBRARY[] = "library";
    static constexpr char NAME[] = "name";

    // The types of pins, and the members that criteria may have. album_artist and genre_filter are
    // criteria only.
    static const std::set<std::string> ALLOWED_PIN_TYPE;
    static const std::set<std::string> ALLOWED_PIN_CRITERIA;

    std::string id;  // the row's
    std::string type;
    std::string name;  // chosen by the user
    int user_id = -1;  // owner; -1: unset
    Json::Value criteria;
    int sort_key = 0;  // position among the user's pins, from 1; 0: unset
};

// Error codes of a PinManager; clients of the web API get them as they are.
enum PIN_ERROR : int {
    PIN_ERROR_NONE = 0,
    PIN_ERROR_PARAMETER = 1,       // criteria lack a member, no playlist's identifier, an order of
                                   // other pins than those listed
    PIN_ERROR_TYPE = 2,            // no type of pins
    PIN_ERROR_CRITERIA = 3,        // a member that criteria do not have
    PIN_ERROR_EXISTS = 4,          // the view is pinned already
    PIN_ERROR_NOT_FOUND = 5,       // no such pin of this user
    PIN_ERROR_FOLDER = 6,          // no such folder
    PIN_ERROR_PLAYLIST = 7,        // no such playlist
    PIN_ERROR_DATABASE = 8,        // no connection, or a statement failed
    PIN_ERROR_PREFERENCE_DIR = 9,  // no preference folder, or no such user
};

// The pins of one user. Every operation clears the error code first and sets it when it fails.
class TONVALE_EXPORT PinManager : public DBConnetWrapper {
  public:
    // Without memory for the name, which is logged, the user has no preference folder (error 9)
    // and no personal library.
    PinManager(unsigned int uid, const std::string &userName) noexcept;

    void SetErrorCode(int code) noexcept { error_ = code; }
    int GetErrorCode() const noexcept { return error_; }

    // True for a type of pins; otherwise error 2.
    bool CheckType(const std::string &type) noexcept;
    // True when criteria may have all these members; otherwise error 3.
    bool CheckCriteria(const std::vector<std::string> &keys) noexcept;

    // How many pins the user has, or -1. There is no limit.
    int GetPinTotalByUser() noexcept;

    // Pins a view after the others. The same type and criteria can be pinned once.
    //   criteria  an object with members of PinData; an empty one or null selects everything, and
    //             is error 1 for a folder or playlist, which have to be named. They are ignored,
    //             and may be anything, for recently_added and random_100
    //   out       the new pin as the readers return it; unchanged after a failure
    bool Pin(const std::string &type, const Json::Value &criteria, const std::string &name,
             PinData &out) noexcept;
    // Removes the pin with this id; the others keep their sort keys. False when the user has no
    // such pin (error 5), when the statement fails, or when the id is not UTF-8 (error 8).
    bool Unpin(const std::string &id) noexcept;
    // Gives the pin with this id a name. False as Unpin, and for a name that is not UTF-8 (error
    // 8).
    bool Rename(const std::string &id, const std::string &name) noexcept;

    // Read one pin: by its id, or by its type and the stored text of its criteria. A folder or
    // playlist that the library does not have any more keeps the stored form of its criteria.
    bool GetPinByUserId(const std::string &id, PinData &out) noexcept;
    bool GetPinByUserTypeCriteria(const std::string &type, const std::string &criteriaJson,
                                  PinData &out) noexcept;

    // Appends the user's pins to `out` in their order, nothing after a failure. A negative limit
    // means no limit, a negative offset is an error of the database.
    bool ListPinByUser(int offset, int limit, std::vector<PinData> &out) noexcept;

    // Puts the pins that ListPinByUser lists for offset and limit into the order of `ids`, which
    // must be exactly theirs. They are numbered from the smallest of their sort keys; pins of other
    // pages keep theirs, so that pages overlap when theirs are not consecutive.
    bool Reorder(const std::vector<std::string> &ids, int offset, int limit) noexcept;

    // Between the two forms of criteria:
    //   folder, client   {"folder": "dir_ID" or "dir_p_ID"}
    //           stored   {"folder": "shared" or "personal", "path": volume path}
    //   playlist, client {"playlist": identifier}; read back also with library, type, name, path
    //           stored   {"playlist": "shared" or "personal", "path": volume path}, or as it came
    //                    for smart playlists, shared songs and files of the preference folder
    // False, with the criteria unchanged, when there is no such folder or playlist.
    bool ConvertFolderIdToPath(Json::Value &criteria) noexcept;
    bool ConvertFolderPathToID(Json::Value &criteria) noexcept;
    bool ConvertPlaylistIdToPath(Json::Value &criteria) noexcept;
    bool ConvertPlaylistPathToID(Json::Value &criteria) noexcept;

  private:
    // Sets the error code; false, for the caller's result.
    bool Fail(int code);
    // Takes the first of the pins that were read, with its criteria shown; none is error 5.
    bool TakeFirst(std::vector<PinData> &pins, PinData &out);
    // Reads a page of the user's pins, with the stored form of their criteria.
    bool ReadPage(int offset, int limit, std::vector<PinData> &pins);
    // Turns stored criteria into those of clients, where the view is still there. However many pins
    // there are, the library is asked over this object's connection, with one statement for each
    // table.
    void ShowCriteria(std::vector<PinData> &pins);
    // The text under which the criteria of a new pin are stored.
    bool StoredCriteria(const std::string &type, Json::Value criteria, std::string &text);
    bool Insert(const std::string &type, const std::string &name, const std::string &criteria);

    unsigned int uid_;
    std::string userName_;
    int error_ = PIN_ERROR_NONE;
};

}  // namespace Tonvale

#include "people.h"

#include <algorithm>
#include <filesystem>

#include "failure.h"
#include "keys.h"
#include "link_hooks.h"
#include "login_store.h"
#include "sessions.h"
#include "settings.h"
#include "tonvale/settings.h"
#include "varn/crypt.h"
#include "varn/handles.h"
#include "varn/logins.h"
#include "varn/run_as.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

constexpr char kAdmin[] = "admin";
constexpr std::size_t kLongestName = 32;
constexpr std::size_t kShortestPassword = 8;
constexpr std::size_t kMadeLength = 20;

// With the rows of users, in their column userid.
constexpr const char *kTablesOfUsers[] = {"rating_track",    "song_play",        "favourite_song",
                                          "favourite_album", "favourite_artist", "bookmark",
                                          "play_queue",      "now_playing"};

// Names stand in files with colons and commas, in paths and in logins.
void CheckName(const std::string &name) {
    constexpr std::string_view kLetters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    const bool isName = !name.empty() && name.size() <= kLongestName &&
                        kLetters.find(name.front()) != kLetters.npos &&
                        std::all_of(name.begin(), name.end(), [&](char c) {
                            return kLetters.find(c) != kLetters.npos || c == '.' || c == '-';
                        });
    if (!isName) {
        throw Failure(Reason::kNotAUserName, name);
    }
}

void CheckPassword(const std::string &password) {
    const bool isPassword =
        password.size() >= kShortestPassword && password.size() <= kLongestPassword &&
        std::none_of(password.begin(), password.end(), [](unsigned char c) { return c < ' '; });
    if (!isPassword) {
        throw Failure(Reason::kNotAPassword);
    }
}

void Check(const varn::host::Outcome &done) {
    if (!done) {
        throw Failure(Reason::kAccountNotChanged, done.Message());
    }
}

// The accounts of the system's own programs are no users.
bool IsPerson(const varn::User &account) {
    return account->uid != 0 && account->szName != std::string(varn::kPackageAccount);
}

varn::User Person(const std::string &name) {
    varn::User account = varn::UserByName(name.c_str());
    if (!account || !IsPerson(account)) {
        throw Failure(Reason::kNoSuchUser, name);
    }
    return account;
}

int Count(const char *table, const char *column, uid_t uid) {
    return static_cast<int>(
        RunOnLogins(varn::Sql("SELECT count(*) AS rows FROM @VARN:NEVAR WHERE @VARN:NEVAR = "
                              "@VARN:INT",
                              table, column, static_cast<int>(uid)))[0]
            .Number("rows"));
}

}  // namespace

void AddUser(const std::string &name, bool isAdmin, const std::string &password) {
    CheckName(name);
    CheckPassword(password);
    const varn::User before = varn::UserByName(name.c_str());
    if (before && !IsPerson(before)) {
        throw Failure(Reason::kNotAUserName, name);
    }
    if (!PasswordHashOf(name).empty()) {
        throw Failure(Reason::kUserExists, name);
    }
    if (!SystemRoot().empty()) {
        const varn::RunAs root(varn::Who::kRoot);
        Check(varn::host::AddAccount(name, isAdmin));
    }
    const varn::User account = Person(name);
    SetFirstPermission(account->uid, isAdmin ? RIGHT_ALL : RIGHT_ALL & ~RIGHT_USB);
    const varn::RunAs package(varn::Who::kPackage);
    bool isThere = false;
    Check(varn::AddLogin(name, password, isThere));
    if (isThere) {
        throw Failure(Reason::kUserExists, name);  // another administrator was faster
    }
}

void SetPassword(const std::string &name, const std::string &password) {
    CheckPassword(password);
    const varn::User account = Person(name);
    {
        const varn::RunAs package(varn::Who::kPackage);
        Check(varn::SetLogin(name, password));
    }
    // They are void already: without a database nothing is lost.
    EndSessions(account->uid, 0);
    RemoveKeys(account->uid);
}

std::string MadePassword() {
    std::string password = varn::RandomText(kMadeLength);
    if (password.empty()) {
        throw Failure(Reason::kAccountNotChanged, "there are no random numbers");
    }
    return password;
}

Belongings BelongingsOf(const std::string &name) {
    const varn::User account = Person(name);
    const uid_t uid = account->uid;
    return {Count("session", "user_id", uid),          Count("access_key", "user_id", uid),
            Count("playlist_sharing", "user_id", uid), Count("pin", "user_id", uid),
            Count("rating_track", "userid", uid),      Count("song_play", "userid", uid),
            Count("favourite_song", "userid", uid),    account->szHomeDir};
}

void RemoveUser(const std::string &name, bool withMusic) {
    const varn::User account = Person(name);
    const uid_t uid = account->uid;
    if (name == kAdmin) {
        throw Failure(Reason::kUserStays, name);
    }
    {
        const varn::RunAs package(varn::Who::kPackage);
        Check(varn::RemoveLogin(name));
    }
    EndSessions(uid, 0);
    RemoveKeys(uid);
    LinksFollowLostRight(uid);
    for (const char *const table : kTablesOfUsers) {
        RunOnLogins(varn::Sql("DELETE FROM @VARN:NEVAR WHERE userid = @VARN:INT", table,
                              static_cast<int>(uid)));
    }
    RunOnLogins(varn::Sql("DELETE FROM pin WHERE user_id = @VARN:INT", static_cast<int>(uid)));
    RemoveEntry(uid);
    if (const std::string folder = PreferenceFolder(name); !folder.empty()) {
        const varn::RunAs package(varn::Who::kPackage);
        std::error_code error;
        std::filesystem::remove_all(folder, error);
    }
    if (!SystemRoot().empty()) {
        const varn::RunAs root(varn::Who::kRoot);
        Check(varn::host::RemoveAccount(name, withMusic));
    }
}

}  // namespace tonvale_service

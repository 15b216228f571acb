#include "service/people/people.h"

#include <pwd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "service/base/failure.h"
#include "service/base/lock.h"
#include "service/people/keys.h"
#include "service/people/login_store.h"
#include "service/people/sessions.h"
#include "service/people/settings.h"
#include "service/sharing/link_hooks.h"
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
void CheckUserName(const std::string &name) {
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

// True for an account of the machine, also below a root: the new user would own its files.
bool IsSystemAccount(const std::string &name) {
    constexpr uid_t kFirstPerson = 1000;
    constexpr uid_t kNobody = 65534;
    const passwd *const account = getpwnam(name.c_str());
    return account != nullptr && (account->pw_uid < kFirstPerson || account->pw_uid == kNobody);
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

constexpr char kGroupIsSystems[] = "accounts are the system's: change its group 'administrators'";

// Removes the file in which init has left the first login.
void ForgetFirstLogin(const std::string &name) {
    const varn::RunAs root(varn::Who::kRoot);
    const std::string path = SystemPath(varn::path::kInitialLogin);
    std::string first;
    if (std::getline(std::ifstream(path), first, ':') && first == name) {
        std::error_code error;
        std::filesystem::remove(path, error);
    }
}

int Count(const char *table, const char *column, uid_t uid) {
    return static_cast<int>(
        RunOnLogins(varn::Sql("SELECT count(*) AS rows FROM @VARN:NEVAR WHERE @VARN:NEVAR = "
                              "@VARN:INT",
                              table, column, static_cast<int>(uid)))[0]
            .Number("rows"));
}

void GiveLogin(const varn::User &account, const std::string &password) {
    const std::string name = account->szName;
    {
        const varn::RunAs package(varn::Who::kPackage);
        Check(varn::SetLogin(name, password));
    }
    ForgetFirstLogin(name);
    // They are void already: without a database nothing is lost.
    EndSessions(account->uid, 0);
    RemoveKeys(account->uid);
}

void ChangeStanding(const varn::User &account, bool isAdmin) {
    const std::string name = account->szName;
    if (name == kAdmin && !isAdmin) {
        throw Failure(Reason::kUserStays, name);
    }
    if (SystemRoot().empty()) {
        throw Failure(Reason::kAccountNotChanged, kGroupIsSystems);
    }
    {
        const varn::RunAs root(varn::Who::kRoot);
        Check(varn::host::SetAdministrator(name, isAdmin));
    }
    if ((AudioUsers::GetUserPermission(name) & RIGHT_SHARING) == 0) {
        LinksFollowLostRight(account->uid);
    }
}

// One change of users at a time. Two at once could leave a login without an account, or parts of
// both changes.
class PeopleLock : public Lock {
  public:
    PeopleLock()
        : Lock(SystemPath(varn::path::kUsersFile) + ".people.lock", Kind::kWrite,
               Reason::kSettingsLocked) {}
};

}  // namespace

void AddUser(const std::string &name, bool isAdmin, const std::string &password) {
    CheckUserName(name);
    CheckPassword(password);
    const varn::User before = varn::UserByName(name.c_str());
    if ((before && !IsPerson(before)) ||
        (!before && !SystemRoot().empty() && IsSystemAccount(name))) {
        throw Failure(Reason::kSystemAccount, name);
    }
    const PeopleLock lock;
    if (!PasswordHashOf(name).empty()) {
        throw Failure(Reason::kUserExists, name);
    }
    if (!SystemRoot().empty()) {
        const varn::RunAs root(varn::Who::kRoot);
        Check(varn::host::AddAccount(name, isAdmin));
    } else if (isAdmin && !IsAdministrator(name)) {
        throw Failure(Reason::kAccountNotChanged, kGroupIsSystems);
    }
    SetFirstPermission(Person(name)->uid, RIGHT_ALL & ~RIGHT_USB);
    const varn::RunAs package(varn::Who::kPackage);
    bool isThere = false;
    Check(varn::AddLogin(name, password, isThere));
    if (isThere) {
        throw Failure(Reason::kUserExists, name);  // another tool was faster
    }
}

void SetPassword(const std::string &name, const std::string &password) {
    ChangeUser(name, {.password = password});
}

void SetAdministrator(const std::string &name, bool isAdmin) {
    ChangeUser(name, {.isAdmin = isAdmin});
}

void ChangeUser(const std::string &name, const UserChange &change) {
    const PeopleLock lock;
    const varn::User account = Person(name);
    if (change.password) {
        CheckPassword(*change.password);
    }
    if (change.isAdmin) {
        ChangeStanding(account, *change.isAdmin);
    }
    if (change.password) {
        GiveLogin(account, *change.password);
    }
    if (change.rights) {
        SetPermission(name, *change.rights);
    }
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
    const PeopleLock lock;
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

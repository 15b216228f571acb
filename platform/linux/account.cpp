#include "varn/account.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>

#include "linux/accounts.h"
#include "linux/error.h"
#include "linux/host_support.h"
#include "linux/memory.h"
#include "linux/records_file.h"
#include "varn/host.h"
#include "varn/packageconf.h"
#include "varn/path.h"
#include "varn/systempath.h"

namespace varn {

namespace {

constexpr char kMusic[] = "/music";  // of a home

constexpr std::size_t kFirstBuffer = 1024;
constexpr std::size_t kLastBuffer = 16u << 20;  // a longer line is no account

// (uid_t)-1 and its kin mean "leave as it is" to the calls that switch ids: nobody may have them.
bool IsRealId(id_t id) {
    return id != static_cast<id_t>(-1);
}

std::string Text(const char *text) {
    return text != nullptr ? text : "";
}

Account Copied(const passwd &entry) {
    return {Text(entry.pw_name), entry.pw_uid, entry.pw_gid, Text(entry.pw_dir)};
}

// Calls `read(buffer, size)`, which returns 0 or an errno value, with a buffer that grows for as
// long as the answer is ERANGE. Returns what the last call returned.
template <typename Read>
int WithGrowingBuffer(std::vector<char> &buffer, const Read &read) {
    buffer.resize(std::max(buffer.size(), kFirstBuffer));
    int result = read(buffer.data(), buffer.size());
    while (result == ERANGE && buffer.size() < kLastBuffer) {
        buffer.resize(2 * buffer.size());
        result = read(buffer.data(), buffer.size());
    }
    return result;
}

// Calls `each` with the entries of a file. False when a damaged place ends them.
template <typename Entry, auto NextEntry, typename Each>
bool ForEachEntry(std::FILE *stream, const Each &each) {
    std::vector<char> buffer;
    Entry entry;
    Entry *found = nullptr;
    const auto next = [&](char *memory, std::size_t size) {
        return NextEntry(stream, &entry, memory, size, &found);
    };
    int result = WithGrowingBuffer(buffer, next);
    for (; result == 0 && found != nullptr; result = WithGrowingBuffer(buffer, next)) {
        each(entry);
    }
    return result == ENOENT;
}

using AccountsFile = RecordsFile<Account>;

AccountsFile::Contents ReadAccounts(std::FILE *stream) {
    AccountsFile::Contents read{};
    read.isWhole = ForEachEntry<passwd, fgetpwent_r>(stream, [&](const passwd &entry) {
        if (IsRealId(entry.pw_uid) && IsRealId(entry.pw_gid)) {
            read.records.push_back(Copied(entry));
        }
    });
    return read;
}

const AccountsFile::Contents *AccountsOfRoot() {
    thread_local AccountsFile file(path::kPasswd, ReadAccounts);
    return file.Get();
}

struct Group {
    std::string name;
    gid_t gid;
    std::vector<std::string> members;
};
using GroupsFile = RecordsFile<Group>;

GroupsFile::Contents ReadGroups(std::FILE *stream) {
    GroupsFile::Contents read{};
    read.isWhole = ForEachEntry<group, fgetgrent_r>(stream, [&](const group &entry) {
        if (!IsRealId(entry.gr_gid)) {
            return;
        }
        Group &one = read.records.emplace_back(Group{Text(entry.gr_name), entry.gr_gid, {}});
        for (char **member = entry.gr_mem; member != nullptr && *member != nullptr; ++member) {
            one.members.emplace_back(*member);
        }
    });
    return read;
}

const GroupsFile::Contents *GroupsOfRoot() {
    thread_local GroupsFile file(path::kGroup, ReadGroups);
    return file.Get();
}

// The first record of one of the root's files that `wanted` accepts; null, with the error state
// set, when there is none.
template <typename Contents, typename Wanted>
auto FindRecord(const Contents *contents, const Wanted &wanted)
    -> decltype(contents->records.data()) {
    if (contents == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(contents->records.begin(), contents->records.end(), wanted);
    if (found != contents->records.end()) {
        return &*found;
    }
    SetError(contents->isWhole ? VLIB_ERR_NOT_FOUND : VLIB_ERR_SYSTEM);
    return nullptr;
}

// The first account of the root's file that `wanted` accepts.
template <typename Wanted>
std::optional<Account> FindInFile(const Wanted &wanted) {
    const Account *const found = FindRecord(AccountsOfRoot(), wanted);
    return found != nullptr ? std::optional(*found) : std::nullopt;
}

// Asks the system's name service through `ask(entry, buffer, size, found)`.
template <typename Ask>
std::optional<Account> FindInSystem(const Ask &ask) {
    std::vector<char> buffer;
    passwd entry;
    passwd *found = nullptr;
    const int result = WithGrowingBuffer(
        buffer, [&](char *memory, std::size_t size) { return ask(&entry, memory, size, &found); });
    if (found == nullptr || !IsRealId(entry.pw_uid) || !IsRealId(entry.pw_gid)) {
        varn::SetError(result == 0 ? VLIB_ERR_NOT_FOUND : VLIB_ERR_SYSTEM);
        return std::nullopt;
    }
    return Copied(entry);
}

std::optional<std::vector<gid_t>> GroupsInFile(const Account &account) {
    const auto *const file = GroupsOfRoot();
    if (file == nullptr) {
        return std::nullopt;
    }
    if (!file->isWhole) {
        SetError(VLIB_ERR_SYSTEM);
        return std::nullopt;
    }
    std::vector<gid_t> groups{account.gid};
    for (const auto &[name, gid, members] : file->records) {
        if (std::find(members.begin(), members.end(), account.name) != members.end()) {
            groups.push_back(gid);
        }
    }
    std::sort(groups.begin(), groups.end());
    groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
    return groups;
}

std::vector<gid_t> GroupsInSystem(const Account &account) {
    std::vector<gid_t> groups(32);
    int count = static_cast<int>(groups.size());
    while (getgrouplist(account.name.c_str(), account.gid, groups.data(), &count) < 0) {
        groups.resize(std::max<std::size_t>(count, 2 * groups.size()));
        count = static_cast<int>(groups.size());
    }
    groups.resize(count);
    return groups;
}

PVARN_USER MakeUser(const Account &account) {
    auto name = CopyText(account.name);
    auto home = CopyText(account.home);
    auto user = std::make_unique<VARN_USER>();
    *user = {name.release(), account.uid, account.gid, home.release()};
    return user.release();
}

template <typename Key>
int GetUser(const Key &key, PVARN_USER *out) {
    return Guarded(-1, [&] {
        const auto account = FindAccount(key);
        if (!account) {
            return -1;
        }
        *out = MakeUser(*account);
        return 0;
    });
}

// Empties the caller's buffer and checks a call's arguments.
bool StartOutput(const char *name, char *out, std::size_t size) {
    if (out != nullptr && size > 0) {
        out[0] = '\0';
    }
    if (!NonEmptyStr(name) || out == nullptr || size == 0) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return false;
    }
    return true;
}

int WriteOutput(std::string_view text, char *out, std::size_t size) {
    if (!CopyToBuffer(text, out, size)) {
        varn::SetError(VLIB_ERR_TOO_LONG);
        return -1;
    }
    return 0;
}

// True for music below a home, or below what the home's links lead to.
bool IsMusicOf(const std::string &home, std::string_view path) {
    const std::string real = home.empty() ? "" : RealPath(home);
    return !home.empty() &&
           (LiesBelow(home + kMusic, path) || (!real.empty() && LiesBelow(real + kMusic, path)));
}

// True for music of the account that the path's folder among the homes is named after. Most
// accounts are found so, also one that a directory service knows by its name but does not list.
bool IsMusicOfNamesake(const std::vector<std::string> &homes, std::string_view path) {
    for (const std::string &folder : homes) {
        if (auto below = PathBelow(folder, path)) {
            const auto account = FindAccount(std::string(TakeComponent(*below)));
            return account && IsMusicOf(account->home, path);
        }
    }
    return false;
}

// As IsMusicOf has it, for many homes: those of a system share few parents, which are resolved once
// each, and few are links themselves.
bool IsMusicOfAny(const std::vector<host::HomeOwner> &owners, std::string_view path) {
    std::map<std::string, std::string> parents;
    return std::any_of(owners.begin(), owners.end(), [&](const auto &owner) {
        const std::string home(WithoutTrailingSlashes(owner.home));
        const std::size_t slash = home.rfind('/');
        const auto [parent, isNew] = parents.try_emplace(home.substr(0, slash));
        if (isNew) {
            parent->second = RealPath(parent->first + "/");
        }
        const std::string name = home.substr(slash);
        struct stat info {};
        return LiesBelow(home + kMusic, path) || LiesBelow(parent->second + name + kMusic, path) ||
               (lstat(home.c_str(), &info) == 0 && S_ISLNK(info.st_mode) && IsMusicOf(home, path));
    });
}

}  // namespace

std::optional<Account> FindAccount(const std::string &name) {
    if (!SystemRoot().empty()) {
        return FindInFile([&](const Account &account) { return name == account.name; });
    }
    return FindInSystem([&](passwd *entry, char *memory, std::size_t size, passwd **found) {
        return getpwnam_r(name.c_str(), entry, memory, size, found);
    });
}

std::optional<Account> FindAccount(uid_t uid) {
    if (!SystemRoot().empty()) {
        return FindInFile([&](const Account &account) { return uid == account.uid; });
    }
    return FindInSystem([&](passwd *entry, char *memory, std::size_t size, passwd **found) {
        return getpwuid_r(uid, entry, memory, size, found);
    });
}

std::optional<std::vector<gid_t>> GroupsOf(const Account &account) {
    if (!SystemRoot().empty()) {
        return GroupsInFile(account);
    }
    return GroupsInSystem(account);
}

std::optional<gid_t> FindGroup(const std::string &name) {
    if (!SystemRoot().empty()) {
        const Group *const found =
            FindRecord(GroupsOfRoot(), [&](const Group &known) { return name == known.name; });
        return found != nullptr ? std::optional(found->gid) : std::nullopt;
    }
    std::vector<char> buffer;
    group entry;
    group *found = nullptr;
    const int result = WithGrowingBuffer(buffer, [&](char *memory, std::size_t size) {
        return getgrnam_r(name.c_str(), &entry, memory, size, &found);
    });
    if (found == nullptr || !IsRealId(entry.gr_gid)) {
        SetError(result == 0 ? VLIB_ERR_NOT_FOUND : VLIB_ERR_SYSTEM);
        return std::nullopt;
    }
    return entry.gr_gid;
}

std::optional<std::vector<Account>> AllAccounts() {
    if (!SystemRoot().empty()) {
        const auto *const file = AccountsOfRoot();
        return file != nullptr && file->isWhole ? std::optional(file->records) : std::nullopt;
    }
    std::vector<Account> accounts;
    setpwent();
    errno = 0;
    while (const passwd *const entry = getpwent()) {
        accounts.push_back(Copied(*entry));
        errno = 0;
    }
    const bool isWhole = errno == 0 || errno == ENOENT;
    endpwent();
    return isWhole ? std::optional(std::move(accounts)) : std::nullopt;
}

}  // namespace varn

int VARNUserGet(const char *name, PVARN_USER *out) {
    if (out != nullptr) {
        *out = nullptr;
    }
    if (!NonEmptyStr(name) || out == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::GetUser(std::string(name), out);
}

int VARNUserGetByUID(uid_t uid, PVARN_USER *out) {
    if (out == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    *out = nullptr;
    return varn::GetUser(uid, out);
}

void VARNUserFree(PVARN_USER user) {
    const std::unique_ptr<VARN_USER> adopted(user);
    if (adopted) {
        const varn::MallocPtr<char> name(adopted->szName);
        const varn::MallocPtr<char> home(adopted->szHomeDir);
    }
}

int GetUserHomePath(const char *userName, char *out, size_t size) {
    if (!varn::StartOutput(userName, out, size)) {
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const auto account = varn::FindAccount(userName);
        if (!account) {
            return -1;
        }
        if (account->home.empty()) {
            varn::SetError(VLIB_ERR_NOT_FOUND);
            return -1;
        }
        return varn::WriteOutput(account->home, out, size);
    });
}

int VARNUserPreferenceDirGet(const char *userName, char *out, size_t size) {
    if (!varn::StartOutput(userName, out, size)) {
        return -1;
    }
    const std::string_view name(userName);
    if (name == "." || name == ".." || name.find('/') != name.npos) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        return varn::WriteOutput(SystemPath(varn::path::kPreferences).append("/").append(name), out,
                                 size);
    });
}

bool IsPersonalLibraryEnabled(void) {
    return VARNAudioConfCheck("enable_personal_library", "yes", 0);
}

bool IsPersonalLibEnabled(const char *userName) {
    if (!NonEmptyStr(userName) || !IsPersonalLibraryEnabled()) {
        return false;
    }
    return varn::Guarded(false, [&] {
        const auto account = varn::FindAccount(userName);
        return account && !account->home.empty();
    });
}

bool IsUnderPersonalLibPath(const char *home, const char *path) {
    if (!NonEmptyStr(home) || !NonEmptyStr(path)) {
        return false;
    }
    return varn::Guarded(false, [&] { return varn::IsMusicOf(home, path); });
}

bool IsPersonalLibraryPath(const char *path) {
    if (!NonEmptyStr(path)) {
        return false;
    }
    return varn::Guarded(false, [&] {
        const std::vector<std::string> homes = varn::host::HomesFolders();
        if (varn::IsMusicOfNamesake(homes, path)) {
            return true;
        }
        const auto owners = varn::host::HomeOwners();
        return owners ? varn::IsMusicOfAny(*owners, path)
                      : !homes.empty() && varn::LiesBelow(homes.back(), path);
    });
}

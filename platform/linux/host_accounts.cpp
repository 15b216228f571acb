// Accounts of a root: their lines, homes and groups.
#include <pwd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <vector>

#include "linux/accounts.h"
#include "linux/host_support.h"
#include "varn/number.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace varn::host {

namespace {

namespace fs = std::filesystem;

constexpr uid_t kFirstUser = 1026;  // after "admin" and "guest"
constexpr uid_t kLastUser = 59999;
constexpr gid_t kUsersGroup = 100;
constexpr gid_t kFirstGroup = 101;
constexpr char kLastUserId[] = "last_user_id";
constexpr char kUsers[] = "users";
constexpr char kAdministrators[] = "administrators";

using Fields = std::vector<std::string>;

// The lines of a file of accounts or groups, split at colons.
struct Records {
    std::string path;
    std::vector<Fields> lines;
};

Fields Split(const std::string &line, char separator) {
    Fields fields;
    std::istringstream text(line);
    for (std::string field; std::getline(text, field, separator);) {
        fields.push_back(field);
    }
    if (line.ends_with(separator)) {
        fields.emplace_back();
    }
    return fields;
}

std::string Joined(const Fields &fields, char separator) {
    std::string text;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        text += (i == 0 ? "" : std::string(1, separator)) + fields[i];
    }
    return text;
}

Outcome Read(std::string_view fixed, Records &records) {
    records.path = SystemPath(fixed);
    const auto text = ReadTextFile(records.path);
    if (!text) {
        return Failed("read", records.path);
    }
    std::istringstream lines(*text);
    for (std::string line; std::getline(lines, line);) {
        records.lines.push_back(Split(line, ':'));
    }
    return Outcome::Good();
}

Outcome Write(const Records &records) {
    std::string text;
    for (const Fields &line : records.lines) {
        text += Joined(line, ':') + "\n";
    }
    return WriteFile(records.path, text, 0644);
}

auto FindLine(Records &records, const std::string &name) {
    return std::find_if(records.lines.begin(), records.lines.end(),
                        [&](const Fields &line) { return !line.empty() && line.front() == name; });
}

// The group's members, with a line of its own for a group that is not there.
Fields &LineOfGroup(Records &groups, const std::string &name, gid_t gid) {
    auto line = FindLine(groups, name);
    if (line == groups.lines.end()) {
        line = groups.lines.insert(line, {name, "x", std::to_string(gid), ""});
    }
    line->resize(4);
    return *line;
}

void SetMember(Fields &group, const std::string &name, bool isIn) {
    Fields members = Split(group[3], ',');
    std::erase(members, name);
    if (isIn) {
        members.push_back(name);
    }
    group[3] = Joined(members, ',');
}

Outcome ChangeGroups(const std::string &name, bool isUser, bool isAdmin) {
    Records groups;
    if (Outcome done = Read(path::kGroup, groups); !done) {
        return done;
    }
    const auto before = groups.lines;
    SetMember(LineOfGroup(groups, kUsers, kUsersGroup), name, isUser);
    SetMember(LineOfGroup(groups, kAdministrators, kFirstGroup), name, isAdmin);
    return groups.lines == before ? Outcome::Good() : Write(groups);
}

// Where the root's homes are: where the link leads, even if nothing is there now.
fs::path HomesFolder() {
    std::error_code error;
    return fs::read_symlink(SystemPath(path::kHomes), error);
}

// A user id that nobody has or has had: its owner gets the files, stars and lists that are left
// with it. The last one that was given stands in the package configuration.
std::optional<uid_t> NewUserId(const Records &accounts) {
    std::array<char, 16> given{};
    VARNAudioConfGet(kLastUserId, given.data(), given.size());
    uid_t last = std::max(kFirstUser - 1, LeadingNumber<uid_t>(given.data()));
    for (const Fields &line : accounts.lines) {
        const uid_t uid = line.size() > 2 ? LeadingNumber<uid_t>(line[2]) : 0;
        last = uid <= kLastUser ? std::max(last, uid) : last;
    }
    uid_t found = last + 1;
    while (found <= kLastUser && getpwuid(found) != nullptr) {
        ++found;  // an account of the machine, to which its files belong
    }
    const bool isNoted =
        found <= kLastUser && VARNAudioConfSet(kLastUserId, std::to_string(found).c_str()) == 0;
    return isNoted ? std::optional(found) : std::nullopt;
}

Outcome AddLine(const std::string &name, const fs::path &homes) {
    Records accounts;
    if (Outcome done = Read(path::kPasswd, accounts); !done) {
        return done;
    }
    if (FindLine(accounts, name) != accounts.lines.end()) {
        return Outcome::Good();
    }
    const auto uid = NewUserId(accounts);
    if (!uid) {
        return Outcome::Problem("cannot give a user id below " + std::to_string(kLastUser + 1) +
                                " and note it in " + SystemPath(path::kPackageConf));
    }
    // Before the package's account, which stands last so that an id that both have is the user's.
    accounts.lines.insert(FindLine(accounts, std::string(kPackageAccount)),
                          {name, "x", std::to_string(*uid), std::to_string(kUsersGroup), name,
                           (homes / name).native(), "/usr/sbin/nologin"});
    return Write(accounts);
}

// The home is its user's, who may have put a link there: neither is followed.
Outcome MakeHome(const std::string &name) {
    const auto account = FindAccount(name);
    if (!account) {
        return Failed("find the account", name);
    }
    std::optional<Owner> owner;
    if (geteuid() == 0) {
        owner = Owner{account->uid, account->gid};
    }
    for (const std::string &folder : {account->home, account->home + "/music"}) {
        if (Outcome done = MakeFolder(folder, owner); !done) {
            return done;
        }
    }
    return Outcome::Good();
}

Outcome RemoveLine(const std::string &name) {
    Records accounts;
    if (Outcome done = Read(path::kPasswd, accounts); !done) {
        return done;
    }
    const auto line = FindLine(accounts, name);
    if (line == accounts.lines.end()) {
        return Outcome::Good();
    }
    accounts.lines.erase(line);
    return Write(accounts);
}

// Only a folder of the homes is removed: an account may name any other.
Outcome RemoveHome(const std::string &name) {
    const fs::path homes = HomesFolder();
    std::error_code error;
    if (!homes.empty()) {
        fs::remove_all(homes / name, error);
    }
    return error ? Outcome::Problem("cannot remove " + (homes / name).native() + ": " +
                                    error.message())
                 : Outcome::Good();
}

}  // namespace

Outcome AddAccount(const std::string &name, bool isAdmin) {
    const RootLock lock;
    if (!lock) {
        return lock.Problem();
    }
    const fs::path homes = HomesFolder();
    if (homes.empty()) {
        return Failed("find the folder of the homes", SystemPath(path::kHomes));
    }
    if (Outcome done = AddLine(name, homes); !done) {
        return done;
    }
    if (Outcome done = ChangeGroups(name, true, isAdmin); !done) {
        return done;
    }
    if (Outcome done = MakeHome(name); !done) {
        return done;
    }
    return ShareHomes();
}

Outcome SetAdministrator(const std::string &name, bool isAdmin) {
    const RootLock lock;
    return lock ? ChangeGroups(name, true, isAdmin) : lock.Problem();
}

Outcome RemoveAccount(const std::string &name, bool withMusic) {
    const RootLock lock;
    if (!lock) {
        return lock.Problem();
    }
    if (Outcome done = withMusic ? RemoveHome(name) : Outcome::Good(); !done) {
        return done;
    }
    if (Outcome done = ChangeGroups(name, false, false); !done) {
        return done;
    }
    return RemoveLine(name);
}

}  // namespace varn::host

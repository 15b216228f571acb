#include "linux/credentials.h"

#include <grp.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <string>
#include <utility>

#include "linux/accounts.h"
#include "linux/error.h"
#include "varn/account.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace varn {

namespace {

constexpr char kRootAccount[] = "root";
constexpr uid_t kRootUid = 0;
constexpr gid_t kRootGid = 0;
constexpr auto kSameUid = static_cast<uid_t>(-1);
constexpr auto kSameGid = static_cast<gid_t>(-1);

struct UserIds {
    uid_t real, effective, saved;
};

UserIds CurrentUserIds() {
    UserIds ids{};
    getresuid(&ids.real, &ids.effective, &ids.saved);
    return ids;
}

std::vector<gid_t> CurrentGroups() {
    std::array<gid_t, 32> few{};  // most accounts have no more, and a request asks many times
    if (const int count = getgroups(few.size(), few.data()); count >= 0) {
        return {few.begin(), few.begin() + count};
    }
    std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
    groups.resize(
        static_cast<std::size_t>(getgroups(static_cast<int>(groups.size()), groups.data())));
    return groups;
}

bool BecomeEffectiveRoot() {
    return setresuid(kSameUid, kRootUid, kSameUid) == 0;
}

// Ends a process that cannot take its former effective user back.
[[noreturn]] void EndStranded(uid_t uid) {
    syslog(LOG_AUTH | LOG_CRIT, "cannot switch back to the user id %u: %m",
           static_cast<unsigned>(uid));
    std::terminate();
}

// The ids of the process as they were: brought back on the way out unless the switch was kept. The
// real and saved user ids change last in every switch, so that the way back is open until then.
class IdsBefore {
  public:
    IdsBefore() : user_(CurrentUserIds()), groups_(CurrentGroups()) {
        getresgid(&realGid_, &effectiveGid_, &savedGid_);
    }
    IdsBefore(const IdsBefore &) = delete;
    IdsBefore &operator=(const IdsBefore &) = delete;
    ~IdsBefore() {
        if (!kept_) {
            Restore();
        }
    }

    uid_t EffectiveUser() const { return user_.effective; }
    void Keep() { kept_ = true; }

  private:
    // Without root's rights, which they need, the groups have not been changed yet: only the user
    // id can be left to put back.
    void Restore() const {
        const int saved = errno;
        if ((BecomeEffectiveRoot() && (setgroups(groups_.size(), groups_.data()) != 0 ||
                                       setresgid(realGid_, effectiveGid_, savedGid_) != 0)) ||
            setresuid(user_.real, user_.effective, user_.saved) != 0) {
            EndStranded(user_.effective);
        }
        errno = saved;
    }

    UserIds user_;
    gid_t realGid_ = 0, effectiveGid_ = 0, savedGid_ = 0;
    std::vector<gid_t> groups_;
    bool kept_ = false;
};

// Runs the steps of a switch as root; the ids are as they were when one of them fails.
template <typename Steps>
int Switch(const Steps &steps) {
    if (!MaySwitchUser()) {
        return 0;
    }
    IdsBefore before;
    if (!BecomeEffectiveRoot() || !steps(before)) {
        SetSystemError();
        return -1;
    }
    before.Keep();
    return 0;
}

bool IsCurrent(const Identity &identity) {
    const std::vector<gid_t> groups = CurrentGroups();
    return geteuid() == identity.uid && getegid() == identity.gid &&
           std::is_permutation(groups.begin(), groups.end(), identity.groups.begin(),
                               identity.groups.end());
}

int SwitchTo(const Identity &to, bool effectiveOnly) {
    return Switch([&](const IdsBefore &) {
        if (setgroups(to.groups.size(), to.groups.data()) != 0) {
            return false;
        }
        if (effectiveOnly) {
            return setresgid(kSameGid, to.gid, kSameGid) == 0 &&
                   setresuid(kSameUid, to.uid, kSameUid) == 0;
        }
        return setresgid(to.gid, to.gid, to.gid) == 0 && setresuid(to.uid, to.uid, to.uid) == 0;
    });
}

}  // namespace

bool MaySwitchUser() {
    const UserIds ids = CurrentUserIds();
    return ids.real == kRootUid || ids.effective == kRootUid || ids.saved == kRootUid;
}

std::optional<Identity> IdentityOf(const char *userName) {
    if (!NonEmptyStr(userName)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return std::nullopt;
    }
    const auto account = FindAccount(std::string(userName));
    if (!account) {
        return std::nullopt;
    }
    auto groups = GroupsOf(*account);
    if (!groups) {
        return std::nullopt;
    }
    return Identity{account->uid, account->gid, *std::move(groups)};
}

RunAs::RunAs(Who who, Afterwards afterwards, const char *source, int line)
    : before_{geteuid(), getegid(), CurrentGroups()},
      afterwards_(afterwards),
      source_(source),
      line_(line),
      isSwitched_(Become(who)) {}

RunAs::~RunAs() {
    const int saved = errno;
    if (!Guarded(false, [this] { return Leave(); })) {
        Log("~IF_RUN_AS", before_);
        if (afterwards_ != Afterwards::kBackOrGoOn) {
            std::terminate();
        }
    }
    errno = saved;
}

bool RunAs::Become(Who who) {
    if (who == Who::kCaller) {
        return true;
    }
    const bool isRoot = who == Who::kRoot;
    const char *name = isRoot ? kRootAccount : kPackageAccount;
    // A call that ends as another account switches in full, also to an identity that it has now:
    // by name, or by numbers where the accounts have no such name.
    const bool givesAccountBack = afterwards_ == Afterwards::kAccountBefore;
    const bool leavesAsAnother =
        afterwards_ == Afterwards::kPackage || afterwards_ == Afterwards::kStay;
    if (leavesAsAnother && ResetCredentialsByName(name) == 0) {
        return true;
    }
    const std::optional<Identity> to =
        isRoot ? Identity{kRootUid, kRootGid, before_.groups} : IdentityOf(kPackageAccount);
    if (!to) {
        return false;
    }
    if (givesAccountBack ? before_.uid == to->uid : IsCurrent(*to)) {
        return true;
    }
    isByName_ = givesAccountBack && ResetCredentialsByName(name) == 0;
    if (isByName_ || IsCurrent(*to) || SwitchTo(*to, true) == 0) {
        return true;
    }
    Log("IF_RUN_AS", *to);
    return false;
}

bool RunAs::IsBack() const noexcept {
    return geteuid() == before_.uid && getegid() == before_.gid;
}

// False when the process could not be made what it has to be after the scope.
bool RunAs::Leave() const {
    if (isSwitched_ && afterwards_ == Afterwards::kStay) {
        return true;
    }
    if (isSwitched_ && afterwards_ == Afterwards::kPackage &&
        ResetCredentialsByName(kPackageAccount) == 0) {
        return true;
    }
    if (isByName_ && afterwards_ == Afterwards::kAccountBefore) {
        if (const auto account = FindAccount(before_.uid)) {
            ResetCredentialsByName(account->name.c_str());
        }
        if (IsBack()) {
            return true;
        }
    }
    return IsCurrent(before_) || SwitchTo(before_, true) == 0;
}

void RunAs::Log(const char *tag, const Identity &to) const {
    syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: %s(%d, %d)", source_, line_, tag,
           static_cast<int>(to.uid), static_cast<int>(to.gid));
}

}  // namespace varn

int ResetCredentialsByName(const char *user, bool effective) {
    return varn::Guarded(-1, [&] {
        const auto identity = varn::IdentityOf(user);
        return identity ? varn::SwitchTo(*identity, effective) : -1;
    });
}

int VLIBSetEffective(uid_t uid, gid_t gid) {
    return varn::Guarded(-1, [&] {
        return varn::Switch([&](const varn::IdsBefore &before) {
            const uid_t target = uid == varn::kSameUid ? before.EffectiveUser() : uid;
            return setresgid(varn::kSameGid, gid, varn::kSameGid) == 0 &&
                   setresuid(varn::kSameUid, target, varn::kSameUid) == 0;
        });
    });
}

uid_t GetUserIdFromName(const char *user) {
    if (!NonEmptyStr(user)) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return varn::kNoUser;
    }
    return varn::Guarded(varn::kNoUser, [&] {
        const auto account = varn::FindAccount(std::string(user));
        return account ? account->uid : varn::kNoUser;
    });
}

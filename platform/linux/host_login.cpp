// The logins of the web server, and the first of them.
#include <crypt.h>

#include <memory>

#include "linux/error.h"
#include "linux/host_support.h"
#include "varn/base.h"
#include "varn/crypt.h"
#include "varn/logins.h"
#include "varn/systempath.h"

namespace varn {

namespace {

using host::Failed;
using host::Outcome;

constexpr char kFirstName[] = "admin";
constexpr std::size_t kPasswordLength = 20;
constexpr std::size_t kSaltLength = 16;

// The hash that crypt(5) makes of a password under a setting; a hash can be such a setting. "" on
// failure.
std::string Crypted(const std::string &password, const std::string &setting) {
    const auto scratch = std::make_unique<crypt_data>();
    const char *hash = crypt_rn(password.c_str(), setting.c_str(), scratch.get(), sizeof *scratch);
    return hash != nullptr ? hash : "";
}

// SHA-512, with salt. "" on failure.
std::string Hashed(const std::string &password) {
    const std::string salt = RandomText(kSaltLength);
    return salt.empty() ? "" : Crypted(password, "$6$" + salt);
}

// The text of the file, "" for none. Empty with errno set.
std::optional<std::string> ReadLogins() {
    auto text = host::ReadTextFile(SystemPath(path::kLogins));
    return !text && errno == ENOENT ? std::optional<std::string>("") : text;
}

// Calls `each` with every line, its end included.
template <typename Each>
void ForEachLine(std::string_view text, const Each &each) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        each(text.substr(0, end));
        text.remove_prefix(end);
    }
}

bool IsLineOf(std::string_view line, const std::string &name) {
    return line.starts_with(name) && line.substr(name.size()).starts_with(':');
}

// The hash of a line: what stands between the first colon and the next one or the line's end.
std::string HashIn(std::string_view line) {
    line.remove_prefix(std::min(line.find(':'), line.size() - 1) + 1);
    return std::string(line.substr(0, line.find_first_of(":\r\n")));
}

// Puts a line in the place of those of a name; "" takes them away. Called under a RootLock.
Outcome ReplaceLine(const std::string &name, const std::string &line) {
    const std::string file = SystemPath(path::kLogins);
    const auto before = ReadLogins();
    if (!before) {
        return Failed("read", file);
    }
    std::string after;
    ForEachLine(*before, [&](std::string_view old) {
        if (!IsLineOf(old, name)) {
            after.append(old).append(old.ends_with('\n') ? "" : "\n");
        }
    });
    after += line;
    return after == *before ? Outcome::Good()
                            : host::WriteFile(file, after, 0600, host::PackageOwner());
}

// Called under a RootLock.
Outcome SetPassword(const std::string &name, const std::string &password) {
    const std::string hash = Hashed(password);
    if (hash.empty()) {
        return Failed("make a password for", name);
    }
    return ReplaceLine(name, name + ":" + hash + "\n");
}

}  // namespace

std::optional<std::string> LoginHash(const std::string &name) {
    const auto text = ReadLogins();
    if (!text) {
        SetSystemError();
        return std::nullopt;
    }
    std::string hash;
    ForEachLine(*text, [&](std::string_view line) {
        if (hash.empty() && IsLineOf(line, name)) {
            hash = HashIn(line);
        }
    });
    return hash;
}

bool IsPasswordOf(const std::string &hash, const std::string &password) {
    std::string setting = hash;
    if (setting.empty()) {
        ForEachLine(ReadLogins().value_or(""), [&](std::string_view line) {
            setting = setting.empty() && !line.starts_with('#') ? HashIn(line) : setting;
        });
        setting = setting.empty() ? "$6$abcdefghijkmnpqr" : setting;
    }
    const std::string made = Crypted(password, setting);
    return !hash.empty() && !made.starts_with('*') && made == hash;
}

Outcome SetLogin(const std::string &name, const std::string &password) {
    const host::RootLock lock;
    return lock ? SetPassword(name, password) : lock.Problem();
}

Outcome AddLogin(const std::string &name, const std::string &password, bool &isThere) {
    const host::RootLock lock;
    if (!lock) {
        return lock.Problem();
    }
    const auto hash = LoginHash(name);
    isThere = hash && !hash->empty();
    if (!hash) {
        return Failed("read", SystemPath(path::kLogins));
    }
    return isThere ? Outcome::Good() : SetPassword(name, password);
}

Outcome RemoveLogin(const std::string &name) {
    const host::RootLock lock;
    return lock ? ReplaceLine(name, "") : lock.Problem();
}

namespace host {

Outcome PrepareLogin(std::string *made) {
    if (made != nullptr) {
        made->clear();
    }
    const RootLock lock;
    if (!lock) {
        return lock.Problem();
    }
    struct stat info {};
    if (stat(SystemPath(path::kLogins).c_str(), &info) == 0) {
        return Outcome::Good();
    }
    const std::string password = RandomText(kPasswordLength);
    if (password.empty()) {
        return Failed("make a password for", kFirstName);
    }
    const std::string login = std::string(kFirstName) + ":" + password;
    if (Outcome done = WriteFile(SystemPath(path::kInitialLogin), login + "\n", 0600); !done) {
        return done;
    }
    // Last: with this file the login counts as made.
    if (Outcome done = SetPassword(kFirstName, password); !done) {
        return done;
    }
    if (made != nullptr) {
        *made = login;
    }
    return Outcome::Good();
}

}  // namespace host

}  // namespace varn

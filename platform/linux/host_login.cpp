// The first login of the web server.
#include <crypt.h>
#include <sys/random.h>

#include <memory>

#include "linux/host_support.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace varn::host {

namespace {

constexpr char kName[] = "admin";
constexpr std::size_t kPasswordLength = 20;
constexpr std::size_t kSaltLength = 16;

// Random letters and digits that are not mistaken for each other; "" when there is no randomness.
// With 32 of them each byte is as likely as any other.
std::string RandomText(std::size_t length) {
    constexpr std::string_view kLetters = "abcdefghijkmnpqrstuvwxyz23456789";
    static_assert(256 % kLetters.size() == 0);
    std::string text(length, '\0');
    if (getrandom(text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        return "";
    }
    for (char &letter : text) {
        letter = kLetters[static_cast<unsigned char>(letter) % kLetters.size()];
    }
    return text;
}

// crypt(5), SHA-512. "" on failure.
std::string Hashed(const std::string &password) {
    const std::string salt = RandomText(kSaltLength);
    const auto scratch = std::make_unique<crypt_data>();
    const char *hash = salt.empty() ? nullptr
                                    : crypt_rn(password.c_str(), ("$6$" + salt).c_str(),
                                               scratch.get(), sizeof *scratch);
    return hash != nullptr ? hash : "";
}

Outcome MakeLogin(std::string &made) {
    const std::string password = RandomText(kPasswordLength);
    const std::string hash = password.empty() ? "" : Hashed(password);
    if (hash.empty()) {
        return Failed("make a password for", kName);
    }
    const std::string login = std::string(kName) + ":" + password;
    if (Outcome done = WriteFile(SystemPath(path::kInitialLogin), login + "\n", 0600); !done) {
        return done;
    }
    // Last: with this file the login counts as made.
    if (Outcome done = WriteFile(SystemPath(path::kLogins), std::string(kName) + ":" + hash + "\n",
                                 0600, PackageOwner());
        !done) {
        return done;
    }
    made = login;
    return Outcome::Good();
}

}  // namespace

Outcome PrepareLogin(std::string *made) {
    std::string login;
    const RootLock lock;
    if (!lock) {
        return lock.Problem();
    }
    struct stat info {};
    if (stat(SystemPath(path::kLogins).c_str(), &info) != 0) {
        if (Outcome done = MakeLogin(login); !done) {
            return done;
        }
    }
    if (made != nullptr) {
        *made = login;
    }
    return Outcome::Good();
}

}  // namespace varn::host

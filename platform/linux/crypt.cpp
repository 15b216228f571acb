// A ciphertext is base64 without "=" of the salt and the encrypted bytes. The low half of the
// salt's first byte tells how long it is, less one.
#include "varn/crypt.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "linux/accounts.h"
#include "linux/base64.h"
#include "linux/cipher.h"
#include "linux/error.h"
#include "linux/files.h"
#include "linux/memory.h"
#include "linux/replace_file.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

using varn::CipherKey;

constexpr std::size_t kLeastSalt = 3;
constexpr std::size_t kMostSalt = varn::kBlockBytes;
constexpr unsigned kLengthMask = 0x0F;

// Reads the key. Empty with errno set; EINVAL for a file that holds no key.
std::optional<CipherKey> ReadKey(const std::string &file) {
    const varn::UniqueFd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    std::string text;
    if (!fd || !varn::ReadToEnd(fd.Get(), varn::kKeyBytes, text)) {
        return std::nullopt;
    }
    CipherKey key;
    if (text.size() != key.size()) {
        errno = EINVAL;
        return std::nullopt;
    }
    std::memcpy(key.data(), text.data(), key.size());
    return key;
}

// Puts a new key on the disk, whole or not at all, in a folder that only its owner enters. Another
// process may be first: its key stays. False with errno set.
bool MakeKey(const std::string &file) {
    CipherKey key;
    if (!varn::FillRandom(key.data(), key.size())) {
        errno = EIO;
        return false;
    }
    // The package's programs run as its account, also where root asks first.
    const auto package =
        geteuid() == 0 ? varn::FindAccount(std::string(varn::kPackageAccount)) : std::nullopt;
    const auto owner = package ? varn::FileOwner{package->uid, package->gid} : varn::FileOwner{};
    const auto folder = std::filesystem::path(file).parent_path();
    std::error_code ignored;
    std::filesystem::create_directories(folder.parent_path(), ignored);
    if (mkdir(folder.c_str(), 0700) == 0 && package &&
        lchown(folder.c_str(), owner.uid, owner.gid) != 0) {
        return false;
    }
    const std::string_view bytes(reinterpret_cast<const char *>(key.data()), key.size());
    return varn::ReplaceFileAt(AT_FDCWD, file, bytes, 0600, package ? &owner : nullptr, true) ||
           errno == EEXIST;
}

std::optional<CipherKey> PlatformKey() {
    const std::string file = SystemPath(varn::path::kCryptKey);
    auto key = ReadKey(file);
    if (!key && errno == ENOENT && MakeKey(file)) {
        key = ReadKey(file);
    }
    if (!key) {
        varn::SetSystemError();
    }
    return key;
}

// How much salt goes before `plainBytes` bytes where the result has room for `characters`; 0 for
// too little.
std::size_t SaltBytes(std::size_t plainBytes, std::size_t characters) {
    const std::size_t bytes = characters * 3 / 4;
    if (bytes < plainBytes + kLeastSalt) {
        return 0;
    }
    return std::min(bytes - plainBytes, kMostSalt);
}

std::optional<std::string> Encrypted(std::string_view plain, std::size_t characters) {
    std::string salt(SaltBytes(plain.size(), characters), '\0');
    if (salt.empty()) {
        varn::SetError(VLIB_ERR_TOO_LONG);
        return std::nullopt;
    }
    const auto key = PlatformKey();
    if (!key || !varn::FillRandom(salt.data(), salt.size())) {
        return std::nullopt;
    }
    const unsigned first = static_cast<unsigned char>(salt[0]) & ~kLengthMask;
    salt[0] = static_cast<char>(first | (salt.size() - 1));
    const auto bytes = varn::ApplyKeyStream(*key, salt, plain);
    return bytes ? std::optional(varn::Base64Encode(salt + *bytes, false)) : std::nullopt;
}

std::optional<std::string> Decrypted(std::string_view cipher) {
    const auto bytes = varn::Base64Decode(cipher);
    const std::size_t salt = bytes && !bytes->empty()
                                 ? (static_cast<unsigned char>(bytes->front()) & kLengthMask) + 1
                                 : 0;
    if (salt < kLeastSalt || salt > bytes->size()) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return std::nullopt;
    }
    const auto key = PlatformKey();
    if (!key) {
        return std::nullopt;
    }
    const std::string_view all = *bytes;
    auto plain = varn::ApplyKeyStream(*key, all.substr(0, salt), all.substr(salt));
    if (plain && plain->find('\0') != std::string::npos) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return std::nullopt;
    }
    return plain;
}

// Empties the caller's buffer and checks a call's arguments.
bool StartOutput(const char *text, char *out, int outSize) {
    if (out != nullptr && outSize > 0) {
        out[0] = '\0';
    }
    if (text == nullptr || out == nullptr || outSize <= 0) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return false;
    }
    return true;
}

bool WriteOutput(const std::optional<std::string> &text, char *out, int outSize) {
    if (text && !varn::CopyToBuffer(*text, out, static_cast<std::size_t>(outSize))) {
        varn::SetError(VLIB_ERR_TOO_LONG);
        return false;
    }
    return text.has_value();
}

}  // namespace

bool VLIBCCryptSzEncrypt(const char *plain, char *out, int outSize) {
    return StartOutput(plain, out, outSize) && varn::Guarded(false, [&] {
               const auto room = static_cast<std::size_t>(outSize) - 1;
               return WriteOutput(Encrypted(plain, room), out, outSize);
           });
}

bool VLIBCCryptSzDecrypt(const char *cipher, char *out, int outSize) {
    return StartOutput(cipher, out, outSize) &&
           varn::Guarded(false, [&] { return WriteOutput(Decrypted(cipher), out, outSize); });
}

namespace varn {

std::string RandomText(std::size_t length) {
    // Each letter is as likely as any other.
    static_assert(kRandomLetters.size() == 1U << kRandomTextBits);
    std::string text(length, '\0');
    if (!FillRandom(text.data(), text.size())) {
        return "";
    }
    for (char &letter : text) {
        letter = kRandomLetters[static_cast<unsigned char>(letter) % kRandomLetters.size()];
    }
    return text;
}

std::optional<std::string> KeyedHash(std::string_view purpose, std::string_view text) {
    const auto key = PlatformKey();
    const auto code =
        key ? Authenticated(*key, std::string(purpose) + '\0' + std::string(text)) : std::nullopt;
    if (!code) {
        return std::nullopt;
    }
    constexpr char kDigits[] = "0123456789abcdef";
    std::string hash;
    for (const char byte : *code) {
        const auto number = static_cast<unsigned char>(byte);
        hash += {kDigits[number / 16], kDigits[number % 16]};
    }
    return hash;
}

}  // namespace varn

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/settings.h"
#include "varn/base.h"
#include "varn/crypt.h"
#include "varn/systempath.h"

namespace {

constexpr char kSource[] = "audiolib/password";

constexpr char kEncrypted[] = "password_encrypted";
constexpr std::size_t kLeastBuffer = 16;

using Tonvale::support::Guarded;

std::string PasswordFile() {
    return SystemPath(varn::path::kPasswords);
}

// The stored ciphertext of a name, or null.
const Json::Value *Find(const Json::Value &json, const char *name) {
    if (!json.isObject() || !json[name].isObject() || !json[name][kEncrypted].isString()) {
        return nullptr;
    }
    return &json[name][kEncrypted];
}

int Get(const char *name, char *out, std::size_t outSize) {
    Json::Value json;
    if (VARNAudioPasswordLoadJson(json) != 0) {
        LOG_ERROR(kSource, "Failed to get custom json.");
        return -1;
    }
    const Json::Value *stored = Find(json, name);
    if (stored == nullptr) {
        return -1;
    }
    // The ciphertext is longer than the password and is never cut: what is cut is the password,
    // where the caller's buffer is too small for it.
    const std::string cipher = stored->asString();
    std::vector<char> plain(std::max({outSize, kLeastBuffer, cipher.size() + 1}));
    if (!VLIBCCryptSzDecrypt(cipher.c_str(), plain.data(), static_cast<int>(plain.size()))) {
        LOG_ERROR(kSource, "Failed to decrypt password");
        return -1;
    }
    const std::size_t length = std::min(std::strlen(plain.data()), outSize - 1);
    std::memcpy(out, plain.data(), length);
    out[length] = '\0';
    return 0;
}

int Set(const char *name, const char *password) {
    Json::Value json;
    if (VARNAudioPasswordLoadJson(json) != 0 || !json.isObject()) {
        LOG_ERROR(kSource, "Failed to get password json.");
        return -1;
    }
    std::vector<char> cipher(std::max(2 * std::strlen(password), kLeastBuffer));
    if (!VLIBCCryptSzEncrypt(password, cipher.data(), static_cast<int>(cipher.size()))) {
        LOG_ERROR(kSource, "Failed to encrypt password");
        return -1;
    }
    Json::Value entry(Json::objectValue);
    entry[kEncrypted] = cipher.data();
    json[name] = entry;
    return VARNAudioJsonSave(PasswordFile().c_str(), json);
}

}  // namespace

int VARNAudioPasswordLoadJson(Json::Value &json) noexcept {
    return Guarded(kSource, -1, [&] { return VARNAudioJsonLoad(PasswordFile().c_str(), json); });
}

int VARNAudioPasswordGet(const char *name, char *out, int outSize) noexcept {
    if (!NonEmptyStr(name) || out == nullptr || outSize <= 0) {
        LOG_ERROR(kSource, "Bad parameter");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return Get(name, out, static_cast<std::size_t>(outSize)); });
}

int VARNAudioPasswordSet(const char *name, const char *password) noexcept {
    if (!NonEmptyStr(name) || !NonEmptyStr(password)) {
        LOG_ERROR(kSource, "Bad parameter");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return Set(name, password); });
}

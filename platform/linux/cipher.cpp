#include "linux/cipher.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <climits>
#include <cstring>
#include <memory>

#include "linux/error.h"
#include "varn/late_library.h"

namespace varn {

namespace {

// Loaded with the first password: few processes have to do with one.
struct Libcrypto : LateLibrary {
    Libcrypto() noexcept : LateLibrary("libcrypto.so.3") {}

    decltype(&::EVP_CIPHER_CTX_new) newContext = Find("EVP_CIPHER_CTX_new");
    decltype(&::EVP_CIPHER_CTX_free) freeContext = Find("EVP_CIPHER_CTX_free");
    decltype(&::EVP_EncryptInit_ex) encryptInit = Find("EVP_EncryptInit_ex");
    decltype(&::EVP_EncryptUpdate) encryptUpdate = Find("EVP_EncryptUpdate");
    decltype(&::EVP_aes_256_ctr) aes256Counter = Find("EVP_aes_256_ctr");
    decltype(&::EVP_sha256) sha256 = Find("EVP_sha256");
    decltype(&::HMAC) hmac = Find("HMAC");
    decltype(&::RAND_bytes) randomBytes = Find("RAND_bytes");
};

const Libcrypto &Crypto() noexcept {
    static const Libcrypto library;
    return library;
}

struct ContextFree {
    void operator()(EVP_CIPHER_CTX *context) const noexcept { Crypto().freeContext(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, ContextFree>;

}  // namespace

std::optional<std::string> ApplyKeyStream(const CipherKey &key, std::string_view salt,
                                          std::string_view text) {
    std::array<unsigned char, kBlockBytes> counter{};
    if (salt.size() > counter.size() || text.size() > INT_MAX) {
        SetError(VLIB_ERR_TOO_LONG);
        return std::nullopt;
    }
    if (!Crypto()) {
        SetError(VLIB_ERR_SYSTEM);
        return std::nullopt;
    }
    std::memcpy(counter.data(), salt.data(), salt.size());
    const Context context(Crypto().newContext());
    std::string result(text.size(), '\0');
    int written = 0;
    if (!context ||
        Crypto().encryptInit(context.get(), Crypto().aes256Counter(), nullptr, key.data(),
                             counter.data()) != 1 ||
        Crypto().encryptUpdate(context.get(), reinterpret_cast<unsigned char *>(result.data()),
                               &written, reinterpret_cast<const unsigned char *>(text.data()),
                               static_cast<int>(text.size())) != 1 ||
        static_cast<std::size_t>(written) != text.size()) {
        SetError(VLIB_ERR_SYSTEM);
        return std::nullopt;
    }
    return result;
}

std::optional<std::string> Authenticated(const CipherKey &key, std::string_view text) {
    std::string code(EVP_MAX_MD_SIZE, '\0');
    unsigned size = 0;
    if (!Crypto() ||
        Crypto().hmac(Crypto().sha256(), key.data(), static_cast<int>(key.size()),
                      reinterpret_cast<const unsigned char *>(text.data()), text.size(),
                      reinterpret_cast<unsigned char *>(code.data()), &size) == nullptr) {
        SetError(VLIB_ERR_SYSTEM);
        return std::nullopt;
    }
    code.resize(size);
    return code;
}

bool FillRandom(void *out, std::size_t size) {
    if (size > INT_MAX || !Crypto() ||
        Crypto().randomBytes(static_cast<unsigned char *>(out), static_cast<int>(size)) != 1) {
        SetError(VLIB_ERR_SYSTEM);
        return false;
    }
    return true;
}

}  // namespace varn

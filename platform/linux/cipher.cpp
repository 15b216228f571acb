#include "linux/cipher.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>
#include <cstring>
#include <memory>

#include "linux/error.h"

namespace varn {

namespace {

struct ContextFree {
    void operator()(EVP_CIPHER_CTX *context) const noexcept { EVP_CIPHER_CTX_free(context); }
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
    std::memcpy(counter.data(), salt.data(), salt.size());
    const Context context(EVP_CIPHER_CTX_new());
    std::string result(text.size(), '\0');
    int written = 0;
    if (!context ||
        EVP_EncryptInit_ex(context.get(), EVP_aes_256_ctr(), nullptr, key.data(), counter.data()) !=
            1 ||
        EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char *>(result.data()), &written,
                          reinterpret_cast<const unsigned char *>(text.data()),
                          static_cast<int>(text.size())) != 1 ||
        static_cast<std::size_t>(written) != text.size()) {
        SetError(VLIB_ERR_SYSTEM);
        return std::nullopt;
    }
    return result;
}

bool FillRandom(void *out, std::size_t size) {
    if (size > INT_MAX ||
        RAND_bytes(static_cast<unsigned char *>(out), static_cast<int>(size)) != 1) {
        SetError(VLIB_ERR_SYSTEM);
        return false;
    }
    return true;
}

}  // namespace varn

#include "password/digest.h"

#include <openssl/evp.h>

#include "varn/late_library.h"

namespace Tonvale::password {

namespace {

// Loaded with the first password: few processes need one.
struct Libcrypto : varn::LateLibrary {
    Libcrypto() noexcept : LateLibrary("libcrypto.so.3") {}

    decltype(&::EVP_Digest) digest = Find("EVP_Digest");
    decltype(&::EVP_md5) md5 = Find("EVP_md5");
};

const Libcrypto &Crypto() noexcept {
    static const Libcrypto library;
    return library;
}

}  // namespace

std::optional<Md5Digest> Md5(std::string_view text) {
    Md5Digest digest;
    unsigned size = 0;
    if (!Crypto() ||
        Crypto().digest(text.data(), text.size(), digest.data(), &size, Crypto().md5(), nullptr) !=
            1 ||
        size != digest.size()) {
        return std::nullopt;
    }
    return digest;
}

}  // namespace Tonvale::password

#include "password/digest.h"

#include <openssl/evp.h>

namespace Tonvale::password {

std::optional<Md5Digest> Md5(std::string_view text) {
    Md5Digest digest;
    unsigned size = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_md5(), nullptr) != 1 ||
        size != digest.size()) {
        return std::nullopt;
    }
    return digest;
}

}  // namespace Tonvale::password

#include <openssl/evp.h>

#include <array>
#include <cstring>
#include <string>

#include "support/boundary.h"
#include "tonvale/settings.h"

namespace {

constexpr char kSource[] = "audiolib/password";

std::string Hexadecimal(const unsigned char *bytes, unsigned size, const char *digits) {
    std::string text;
    text.reserve(2 * size);
    for (unsigned i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xF];
    }
    return text;
}

}  // namespace

int VARNAudioGetMd5(const char *text, std::string &out, int upperCase) noexcept {
    return Tonvale::support::Guarded(kSource, -1, [&] {
        out.clear();
        std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
        unsigned size = 0;
        if (text == nullptr ||
            EVP_Digest(text, std::strlen(text), digest.data(), &size, EVP_md5(), nullptr) != 1) {
            return -1;
        }
        out = Hexadecimal(digest.data(), size,
                          upperCase != 0 ? "0123456789ABCDEF" : "0123456789abcdef");
        return 0;
    });
}

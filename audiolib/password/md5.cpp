#include <cstdio>

#include "password/digest.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/settings.h"

namespace {

constexpr char kSource[] = "audiolib/password";

}  // namespace

int VARNAudioGetMd5(const char *text, char *out, bool upperCase) noexcept {
    if (text == nullptr || out == nullptr) {
        LOG_ERROR(kSource, "Bad parameter");
        return -1;
    }
    out[0] = '\0';
    return Tonvale::support::Guarded(kSource, -1, [&] {
        const auto digest = Tonvale::password::Md5(text);
        if (!digest) {
            LOG_ERROR(kSource, "Failed to make a digest");
            return -1;
        }
        for (const unsigned char byte : *digest) {
            out += std::snprintf(out, 3, upperCase ? "%02X" : "%02x", byte);
        }
        return 0;
    });
}

#include "varn/packageconf.h"

#include <string_view>

#include "linux/error.h"
#include "linux/keyfile.h"
#include "varn/base.h"
#include "varn/keyfile.h"
#include "varn/systempath.h"

namespace {

bool CheckKey(std::string_view fixedPath, const char *key, const char *value, int defaultFlag) {
    if (!NonEmptyStr(key) || value == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return defaultFlag != 0;
    }
    return varn::Guarded(defaultFlag != 0, [&] {
        const auto found = varn::ReadKeyValue(SystemPath(fixedPath), key);
        return found ? *found == value : defaultFlag != 0;
    });
}

}  // namespace

int VARNAudioConfGet(const char *key, char *out, int size) {
    return varn::Guarded(-1, [&] {
        return VLIBCFileGetKeyValue(SystemPath(varn::path::kPackageConf).c_str(), key, out, size);
    });
}

int VARNAudioConfSet(const char *key, const char *value) {
    return varn::Guarded(-1, [&] {
        return VLIBCFileSetKeyValue(SystemPath(varn::path::kPackageConf).c_str(), key, value);
    });
}

bool VARNAudioConfCheck(const char *key, const char *value, int defaultFlag) {
    return CheckKey(varn::path::kPackageConf, key, value, defaultFlag);
}

bool VARNAudioDefaultConfCheck(const char *key, const char *value, int defaultFlag) {
    return CheckKey(varn::path::kPackageDefaultConf, key, value, defaultFlag);
}

#include "varn/share.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "linux/keyfile.h"
#include "linux/keytext.h"
#include "linux/memory.h"
#include "varn/base.h"
#include "varn/path.h"
#include "varn/systempath.h"

namespace {

PVARN_SHARE MakeShare(std::string_view name, std::string_view volumePath) {
    auto nameCopy = varn::CopyText(name);
    auto pathCopy = varn::CopyText(volumePath);
    auto share = std::make_unique<VARN_SHARE>();
    *share = {nameCopy.release(), pathCopy.release()};
    return share.release();
}

// A share's volume path, or "" for a value that is none.
std::string_view VolumePath(std::string_view value) {
    return value.starts_with('/') ? varn::WithoutTrailingSlashes(value) : std::string_view();
}

// True when a share's volume path stands at the front of `path`, byte by byte: callers cut the path
// after it, so that other ways to write the same folder ("//", "/./") do not count.
bool StandsInFront(std::string_view volumePath, std::string_view path) {
    return path.starts_with(volumePath) && varn::PathBelow(volumePath, path);
}

// The share with the longest volume path that holds `path`; of several with one path the first.
std::optional<varn::keytext::Entry> ShareHolding(std::string_view path) {
    const auto text = varn::ReadKeyFile(SystemPath(varn::path::kShares));
    if (!text) {
        return std::nullopt;
    }
    std::optional<varn::keytext::Entry> best;
    for (auto &entry : varn::keytext::Parse(*text)) {
        const std::string_view volumePath = VolumePath(entry.value);
        if (volumePath.empty() || (best && best->value.size() >= volumePath.size()) ||
            !StandsInFront(volumePath, path)) {
            continue;
        }
        best = {std::move(entry.key), std::string(volumePath)};
    }
    if (!best) {
        varn::SetError(VLIB_ERR_NOT_FOUND);
    }
    return best;
}

}  // namespace

int VARNShareGet(const char *name, PVARN_SHARE *out) {
    if (out != nullptr) {
        *out = nullptr;
    }
    if (!NonEmptyStr(name) || out == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const auto value = varn::ReadKeyValue(SystemPath(varn::path::kShares), name);
        if (!value) {
            return -1;
        }
        const std::string_view volumePath = VolumePath(*value);
        if (volumePath.empty()) {
            varn::SetError(VLIB_ERR_NOT_FOUND);
            return -1;
        }
        *out = MakeShare(name, volumePath);
        return 0;
    });
}

void VARNShareFree(PVARN_SHARE share) {
    const std::unique_ptr<VARN_SHARE> adopted(share);
    if (adopted) {
        const varn::MallocPtr<char> name(adopted->szName);
        const varn::MallocPtr<char> path(adopted->szPath);
    }
}

int VARNShareNamePathGet(const char *path, char *name, size_t nameSize, char *sharePath,
                         size_t sharePathSize) {
    if (name != nullptr && nameSize > 0) {
        name[0] = '\0';
    }
    if (sharePath != nullptr && sharePathSize > 0) {
        sharePath[0] = '\0';
    }
    if (!NonEmptyStr(path) || name == nullptr || nameSize == 0 || sharePath == nullptr ||
        sharePathSize == 0) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const auto share = ShareHolding(path);
        if (!share) {
            return -1;
        }
        if (!varn::CopyToBuffer(share->value, sharePath, sharePathSize) ||
            !varn::CopyToBuffer(share->key, name, nameSize)) {
            sharePath[0] = '\0';
            varn::SetError(VLIB_ERR_TOO_LONG);
            return -1;
        }
        return 0;
    });
}

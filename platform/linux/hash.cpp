#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "linux/error.h"

namespace {

// Lets a look-up by text go without a copy of it.
struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>()(text);
    }
};

}  // namespace

struct _VLIBSZHASH {
    std::unordered_map<std::string, std::string, TextHash, std::equal_to<>> values;
};

PVLIBSZHASH VLIBCSzHashAlloc(int capacity) {
    return varn::Guarded<PVLIBSZHASH>(nullptr, [&] {
        // A wild number must not take memory that no entry will fill; the map grows anyway.
        constexpr int kMostReserved = 65536;
        auto hash = std::make_unique<VLIBSZHASH>();
        hash->values.reserve(std::clamp(capacity, 0, kMostReserved));
        return hash.release();
    });
}

void VLIBCSzHashFree(PVLIBSZHASH hash) {
    const std::unique_ptr<VLIBSZHASH> adopted(hash);
}

int VLIBCSzHashSetValue(PVLIBSZHASH *hash, const char *key, const char *value) {
    if (hash == nullptr || *hash == nullptr || key == nullptr || value == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        // The copy first: `value` may be the very text that is replaced.
        std::string copy(value);
        (*hash)->values.insert_or_assign(key, std::move(copy));
        return 0;
    });
}

const char *VLIBCSzHashGetValue(const VLIBSZHASH *hash, const char *key) {
    if (hash == nullptr || key == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    const auto found = hash->values.find(std::string_view(key));
    if (found == hash->values.end()) {
        varn::SetError(VLIB_ERR_NOT_FOUND);
        return nullptr;
    }
    return found->second.c_str();
}

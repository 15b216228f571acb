#include <charconv>
#include <cstdint>
#include <string>

#include "linux/error.h"
#include "linux/keyfile.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

constexpr int kSystem = 1;
constexpr char kKey[] = "codepage";

// 0 when the key is absent; -1 when its value is no such number.
int SystemCodePage() {
    const auto value = varn::ReadKeyValue(SystemPath(varn::path::kSystemInfo), kKey);
    if (!value) {
        return 0;
    }
    std::uint16_t number = 0;
    const char *end = value->data() + value->size();
    const auto [rest, error] = std::from_chars(value->data(), end, number);
    return error == std::errc() && rest == end ? number : -1;
}

}  // namespace

int VLIBCCodePageGet(int selector, int *codePage) {
    if (selector != kSystem || codePage == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        const int number = SystemCodePage();
        if (number < 0) {
            varn::SetError(VLIB_ERR_BAD_PARAMETER);
            return -1;
        }
        *codePage = number;
        return 0;
    });
}

#include "linux/normal_form.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace varn {

std::vector<std::string> NormalForms(std::string_view name) {
    std::vector<std::string> forms = {std::string(name)};
    const auto isAscii = [](char c) { return (static_cast<unsigned char>(c) & 0x80U) == 0; };
    if (std::all_of(name.begin(), name.end(), isAscii)) {
        return forms;
    }
    const icu::UnicodeString units = icu::UnicodeString::fromUTF8(
        icu::StringPiece(name.data(), static_cast<int32_t>(name.size())));
    UErrorCode error = U_ZERO_ERROR;
    for (const icu::Normalizer2 *const normalizer :
         {icu::Normalizer2::getNFCInstance(error), icu::Normalizer2::getNFDInstance(error)}) {
        std::string form;
        if (U_SUCCESS(error)) {
            normalizer->normalize(units, error).toUTF8String(form);
        }
        if (U_SUCCESS(error) && std::find(forms.begin(), forms.end(), form) == forms.end()) {
            forms.push_back(std::move(form));
        }
    }
    return forms;
}

}  // namespace varn

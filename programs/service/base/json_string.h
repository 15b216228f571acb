// Texts within JSON.
#pragma once

#include <string>
#include <string_view>

#include "service/base/json_text.h"

namespace tonvale_service {

// Appends a text with its quotes. What is not UTF-8 becomes U+FFFD.
void AppendJson(std::string_view text, Letters letters, std::string &json);

}  // namespace tonvale_service

#include "service/base/json_text.h"

#include <json/writer.h>

#include <cmath>
#include <string_view>
#include <utility>

#include "service/base/json_string.h"

namespace tonvale_service {

namespace {

constexpr unsigned kPrecision = 7;  // what the library's 32-bit numbers hold

void AppendScalar(const Json::Value &value, Letters letters, std::string &json) {
    const char *begin = nullptr;
    const char *end = nullptr;
    if (value.getString(&begin, &end)) {
        AppendJson({begin, end}, letters, json);
    } else if (value.type() == Json::realValue) {
        json += std::isfinite(value.asDouble())
                    ? Json::valueToString(value.asDouble(), kPrecision,
                                          Json::PrecisionType::significantDigits)
                    : "null";
    } else {
        json += value.isNull() ? "null" : value.asString();
    }
}

void Append(const Json::Value &value, Letters letters, std::string &json) {
    if (!value.isObject() && !value.isArray()) {
        return AppendScalar(value, letters, json);
    }
    json += value.isObject() ? '{' : '[';
    const char *separator = "";
    for (auto member = value.begin(); member != value.end(); ++member) {
        json += std::exchange(separator, ",");
        if (value.isObject()) {
            const char *end = nullptr;
            const char *const name = member.memberName(&end);
            AppendJson({name, end}, letters, json);
            json += ':';
        }
        Append(*member, letters, json);
    }
    json += value.isObject() ? '}' : ']';
}

}  // namespace

std::string JsonText(const Json::Value &value, Letters letters) {
    std::string json;
    Append(value, letters, json);
    return json;
}

}  // namespace tonvale_service

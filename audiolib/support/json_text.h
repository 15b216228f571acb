// JSON texts, and members of a document from outside: reading one of a wrong type throws.
#pragma once

#include <json/value.h>

#include <string>

namespace Tonvale::support {

// A document on one line, with its line feed, and on many.
std::string OneLine(const Json::Value &json);
std::string Indented(const Json::Value &json);

// False, with the reason and an unknown value, for what is no document.
bool Parse(const std::string &text, Json::Value &json, std::string *reason = nullptr);

// The member's text; "" when `json` is no object, has no such member or the member is no text.
inline std::string TextOf(const Json::Value &json, const char *name) {
    return json.isObject() && json[name].isString() ? json[name].asString() : "";
}

// The member's number without a fraction; 0 in the same cases, and for one beyond the ints.
inline int IntOf(const Json::Value &json, const char *name) {
    return json.isObject() && json[name].isNumeric() && json[name].isConvertibleTo(Json::intValue)
               ? json[name].asInt()
               : 0;
}

}  // namespace Tonvale::support

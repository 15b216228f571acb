// Members of a JSON document that somebody else wrote: reading one of a wrong type throws.
#pragma once

#include <json/value.h>

#include <string>

namespace Tonvale::support {

// The member's text; "" when `json` is no object, has no such member or the member is no text.
inline std::string TextOf(const Json::Value &json, const char *name) {
    return json.isObject() && json[name].isString() ? json[name].asString() : "";
}

// The member's number; 0 in the same cases, and for one that is no int.
inline int IntOf(const Json::Value &json, const char *name) {
    return json.isObject() && json[name].isInt() ? json[name].asInt() : 0;
}

}  // namespace Tonvale::support

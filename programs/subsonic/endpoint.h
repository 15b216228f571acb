// The endpoints of the API, one table a file.
#pragma once

#include <json/value.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "answer.h"
#include "request.h"

namespace tonvale_subsonic {

// One of the three functions is there. Each throws a Fault, a Refusal or a Failure.
struct Endpoint {
    std::string_view name;
    // Gives the members of the answer: an object like {"license": {...}}; an empty one for an
    // endpoint that answers with success alone. How values become XML: answer.h.
    Json::Value (*answer)(const Request &asked) = nullptr;
    // The same for a long answer, which is written without a value of all that it holds.
    void (*write)(const Request &asked, AnswerWriter &answer) = nullptr;
    // Writes a whole HTTP answer, and throws as long as nothing is written. True when all of it
    // went out.
    bool (*send)(const Request &asked) = nullptr;
    bool changes = false;    // changes something: refused for HEAD
    bool lasts = false;      // takes as long as its client wants: never in a worker
    bool takesRoot = false;  // for moments; false: gives root's rights up before it begins
    bool needsLogin = true;
};

// The name of a member, as an argument of a template.
template <std::size_t Size>
struct MemberName {
    consteval MemberName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
    char text[Size] = {};
};

// An answer, or a part of one, that is an object with one member. Make gives the member's value.
template <MemberName Name, Json::Value (*Make)(const Request &)>
Json::Value Named(const Request &asked) {
    Json::Value object(Json::objectValue);
    object[Name.text] = Make(asked);
    return object;
}

extern const std::span<const Endpoint> kAbsentEndpoints;
extern const std::span<const Endpoint> kAnnotationEndpoints;
extern const std::span<const Endpoint> kBookmarkEndpoints;
extern const std::span<const Endpoint> kBrowsingEndpoints;
extern const std::span<const Endpoint> kJukeboxEndpoints;
extern const std::span<const Endpoint> kListEndpoints;
extern const std::span<const Endpoint> kMediaEndpoints;
extern const std::span<const Endpoint> kPlaylistEndpoints;
extern const std::span<const Endpoint> kRadioEndpoints;
extern const std::span<const Endpoint> kSearchEndpoints;
extern const std::span<const Endpoint> kShareEndpoints;
extern const std::span<const Endpoint> kSimilarEndpoints;
extern const std::span<const Endpoint> kSystemEndpoints;
extern const std::span<const Endpoint> kUserEndpoints;

}  // namespace tonvale_subsonic

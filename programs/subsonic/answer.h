// Answers: one value, written as XML or JSON.
#pragma once

#include <json/value.h>

#include <string>

#include "fault.h"
#include "request.h"

namespace tonvale_subsonic {

// How the client wants its answer: the parameters f and callback.
struct Form {
    enum class Kind { kXml, kJson, kJsonp } kind = Kind::kXml;
    std::string callback = {};

    // Throws a Fault for a form that is not known, and for a callback that is not a name.
    static Form Of(const Request &asked);
};

// The text of an answer with these members. In XML a scalar member is an attribute, an object an
// element, each entry of an array an element of the array's name, and the member "value" the text
// of its element. XML leaves out the characters that it cannot hold.
std::string AnswerText(const Form &form, Json::Value members);
std::string AnswerText(const Form &form, const Fault &fault);

// Writes an answer with its header. True when all of it went out.
bool Send(const Form &form, const std::string &text, bool headerOnly);

}  // namespace tonvale_subsonic

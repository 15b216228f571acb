// Answers: one value, written as XML or JSON.
#pragma once

#include <json/value.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

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

// Writes an answer part by part. In XML a scalar member is an attribute, an object an element, each
// entry of a list an element of the list's name, and the member "value" the text of its element.
// XML leaves out the characters that it cannot hold. An object's scalars come first, with "value"
// as their last. Names must outlive their objects.
class AnswerWriter {
  public:
    explicit AnswerWriter(Form::Kind kind);

    // A member of the object that was begun last, or an entry of the list, by the list's name.
    void BeginObject(std::string_view name);
    void EndObject();
    void BeginList(std::string_view name);
    void EndList();
    void Scalar(std::string_view name, std::string_view text);
    void Value(std::string_view name, const Json::Value &value);  // of any kind
    // All members of an object, in the order that XML needs.
    void Members(const Json::Value &object);

    std::string Take() &&;

  private:
    struct Open {
        std::string_view name = {};
        bool isList = false;
        bool isEmpty = true;  // in JSON
        bool isTag = false;   // in XML: attributes may follow
    };

    void BeginMember(std::string_view name);
    void AppendText(std::string_view text);
    template <typename Append>
    void AddScalar(std::string_view name, const Append &append);

    bool isXml_;
    std::string text_;
    std::vector<Open> open_;
};

// The text of an answer with the members that are written.
std::string AnswerText(const Form &form, const std::function<void(AnswerWriter &)> &write);
std::string AnswerText(const Form &form, const Fault &fault);

// Writes an answer with its header. True when all of it went out.
bool Send(const Form &form, const std::string &text, bool headerOnly);

}  // namespace tonvale_subsonic

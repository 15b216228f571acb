#include "answer.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "service/base/json_string.h"
#include "service/base/text.h"

namespace tonvale_subsonic {

namespace {

using tonvale_service::CharacterLength;

constexpr char kRoot[] = "subsonic-response";
constexpr std::string_view kText = "value";
constexpr std::size_t kLongestCallback = 200;

// What XML 1.0 can hold of a text (2.2). An attribute keeps line ends and tabs by their numbers
// alone (3.3.3).
std::string XmlText(std::string_view text) {
    const auto isPlain = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte >= 0x20 && byte < 0x80 && c != '&' && c != '<' && c != '>' && c != '"';
    };
    std::string clean;
    for (std::string_view rest = text; !rest.empty();) {
        const auto *const plain = std::find_if_not(rest.begin(), rest.end(), isPlain);
        clean.append(rest.begin(), plain);
        rest.remove_prefix(static_cast<std::size_t>(plain - rest.begin()));
        if (rest.empty()) {
            break;
        }
        const std::size_t length = CharacterLength(rest);
        const std::string_view one = rest.substr(0, std::max<std::size_t>(length, 1));
        rest.remove_prefix(one.size());
        const auto first = static_cast<unsigned char>(one.front());
        if (length == 0) {
            clean += "\xEF\xBF\xBD";
        } else if (first == '\t' || first == '\n' || first == '\r') {
            clean += "&#" + std::to_string(first) + ";";
        } else if (first >= 0x20 && one != "\xEF\xBF\xBE" && one != "\xEF\xBF\xBF") {
            clean += first < 0x80 ? tonvale_service::EscapedXml(one) : std::string(one);
        }
    }
    return clean;
}

const char *TypeOf(Form::Kind kind) {
    switch (kind) {
        case Form::Kind::kJson:
            return "application/json; charset=utf-8";
        case Form::Kind::kJsonp:
            return "text/javascript; charset=utf-8";
        case Form::Kind::kXml:
            break;
    }
    return "text/xml; charset=utf-8";
}

std::string Text(const Form &form, const char *status,
                 const std::function<void(AnswerWriter &)> &write) {
    AnswerWriter writer(form.kind);
    writer.BeginObject(kRoot);
    writer.Scalar("status", status);
    writer.Scalar("version", "1.16.1");
    writer.Scalar("type", "tonvale");
    writer.Scalar("serverVersion", TONVALE_VERSION);
    writer.Value("openSubsonic", true);
    if (form.kind == Form::Kind::kXml) {
        writer.Scalar("xmlns", "http://subsonic.org/restapi");
    }
    write(writer);
    writer.EndObject();
    const std::string text = std::move(writer).Take();
    return form.kind == Form::Kind::kJsonp ? form.callback + "(" + text + ");\n" : text + "\n";
}

}  // namespace

Form Form::Of(const Request &asked) {
    const std::string kind = asked.Choice("f", {"xml", "json", "jsonp"}, "xml");
    if (kind != "jsonp") {
        return {kind == "json" ? Kind::kJson : Kind::kXml};
    }
    const std::string callback = asked.Required("callback");
    const bool isName = callback.size() <= kLongestCallback &&
                        std::all_of(callback.begin(), callback.end(), [](unsigned char c) {
                            return c < 0x80 && (std::isalnum(c) != 0 || c == '_' || c == '.');
                        });
    return isName ? Form{Kind::kJsonp, callback}
                  : throw Fault{kGeneric, "the parameter 'callback' takes a function's name"};
}

AnswerWriter::AnswerWriter(Form::Kind kind)
    : isXml_(kind == Form::Kind::kXml),
      text_(isXml_ ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" : "{"),
      open_{{}} {}

void AnswerWriter::BeginMember(std::string_view name) {
    Open &outer = open_.back();
    if (isXml_) {
        // The element that this one is within.
        Open &element = outer.isList ? open_[open_.size() - 2] : outer;
        text_ += element.isTag ? ">" : "";
        element.isTag = false;
        return;
    }
    text_ += outer.isEmpty ? "" : ",";
    outer.isEmpty = false;
    if (!outer.isList) {
        AppendText(name);
        text_ += ':';
    }
}

void AnswerWriter::AppendText(std::string_view text) {
    if (isXml_) {
        text_ += XmlText(text);
    } else {
        tonvale_service::AppendJson(text, tonvale_service::Letters::kUtf8, text_);
    }
}

void AnswerWriter::BeginObject(std::string_view name) {
    BeginMember(name);
    text_ += isXml_ ? "<" : "{";
    text_ += isXml_ ? name : "";
    open_.push_back({.name = name, .isTag = isXml_});
}

void AnswerWriter::EndObject() {
    const Open object = open_.back();
    open_.pop_back();
    if (!isXml_) {
        text_ += '}';
    } else if (object.isTag) {
        text_ += "/>";
    } else {
        text_.append("</").append(object.name).append(">");
    }
}

void AnswerWriter::BeginList(std::string_view name) {
    if (!isXml_) {
        BeginMember(name);
        text_ += '[';
    }
    open_.push_back({.name = name, .isList = true});
}

void AnswerWriter::EndList() {
    open_.pop_back();
    text_ += isXml_ ? "" : "]";
}

template <typename Append>
void AnswerWriter::AddScalar(std::string_view name, const Append &append) {
    const bool isEntry = open_.back().isList;
    if (!isXml_ || name == kText) {
        BeginMember(name);
        append();
    } else if (isEntry) {
        BeginObject(name);
        BeginMember(kText);
        append();
        EndObject();
    } else {
        text_.append(" ").append(name).append("=\"");
        append();
        text_ += '"';
    }
}

void AnswerWriter::Scalar(std::string_view name, std::string_view text) {
    AddScalar(name, [&] { AppendText(text); });
}

void AnswerWriter::Value(std::string_view name, const Json::Value &value) {
    if (value.isArray()) {
        BeginList(name);
        for (const Json::Value &entry : value) {
            Value(name, entry);
        }
        EndList();
    } else if (value.isObject()) {
        BeginObject(name);
        Members(value);
        EndObject();
    } else if (value.isString()) {
        Scalar(name, value.asString());
    } else if (!value.isNull()) {
        AddScalar(name, [&] {
            text_ += tonvale_service::JsonText(value, tonvale_service::Letters::kUtf8);
        });
    }
}

void AnswerWriter::Members(const Json::Value &object) {
    // In XML the attributes come before the text, and that before the elements.
    const auto turnOf = [](std::string_view name, const Json::Value &value) {
        return value.isObject() || value.isArray() ? 2 : name == kText ? 1 : 0;
    };
    for (int turn = 0; turn < (isXml_ ? 3 : 1); ++turn) {
        for (auto member = object.begin(); member != object.end(); ++member) {
            const char *end = nullptr;
            const char *const begin = member.memberName(&end);
            const std::string_view name(begin, static_cast<std::size_t>(end - begin));
            if (!isXml_ || turnOf(name, *member) == turn) {
                Value(name, *member);
            }
        }
    }
}

std::string AnswerWriter::Take() && {
    return std::move(text_) + (isXml_ ? "" : "}");
}

std::string AnswerText(const Form &form, const std::function<void(AnswerWriter &)> &write) {
    return Text(form, "ok", write);
}

std::string AnswerText(const Form &form, const Fault &fault) {
    Json::Value members(Json::objectValue);
    members["error"]["code"] = fault.code;
    members["error"]["message"] = fault.message;
    return Text(form, "failed", [&](AnswerWriter &writer) { writer.Members(members); });
}

bool Send(const Form &form, const std::string &text, bool headerOnly) {
    std::printf("Content-Type: %s\r\nContent-Length: %zu\r\nCache-Control: no-store\r\n\r\n",
                TypeOf(form.kind), text.size());
    return (headerOnly || std::fwrite(text.data(), 1, text.size(), stdout) == text.size()) &&
           std::fflush(stdout) == 0;
}

}  // namespace tonvale_subsonic

#include "answer.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "service/base/page.h"
#include "service/base/text.h"

namespace tonvale_subsonic {

namespace {

using tonvale_service::CharacterLength;

constexpr char kRoot[] = "subsonic-response";
constexpr char kText[] = "value";
constexpr std::size_t kLongestCallback = 200;

// What XML 1.0 can hold of a text (2.2). An attribute keeps line ends and tabs by their numbers
// alone (3.3.3).
std::string XmlText(const std::string &text) {
    std::string clean;
    for (std::string_view rest = text; !rest.empty();) {
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

std::string XmlScalar(const Json::Value &value) {
    return value.isString() ? XmlText(value.asString()) : value.asString();
}

bool IsScalar(const Json::Value &value) {
    return !value.isObject() && !value.isArray();
}

void WriteXml(const std::string &name, const Json::Value &value, std::string &xml) {
    xml += "<" + name;
    std::string inside = IsScalar(value) ? XmlScalar(value) : "";
    if (value.isObject()) {
        for (auto member = value.begin(); member != value.end(); ++member) {
            if (!IsScalar(*member) || member->isNull()) {
                continue;
            }
            if (member.name() == kText) {
                inside += XmlScalar(*member);
            } else {
                xml += " " + member.name() + "=\"" + XmlScalar(*member) + "\"";
            }
        }
        for (auto member = value.begin(); member != value.end(); ++member) {
            if (member->isObject()) {
                WriteXml(member.name(), *member, inside);
            }
            for (const Json::Value &entry : member->isArray() ? *member : Json::Value()) {
                WriteXml(member.name(), entry, inside);
            }
        }
    }
    xml += inside.empty() ? "/>" : ">" + inside + "</" + name + ">";
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

std::string Text(const Form &form, const char *status, Json::Value members) {
    members["status"] = status;
    members["version"] = "1.16.1";
    members["type"] = "tonvale";
    members["serverVersion"] = TONVALE_VERSION;
    members["openSubsonic"] = true;
    if (form.kind == Form::Kind::kXml) {
        members["xmlns"] = "http://subsonic.org/restapi";
        std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
        WriteXml(kRoot, members, xml);
        return xml + "\n";
    }
    Json::Value whole(Json::objectValue);
    whole[kRoot] = std::move(members);
    const std::string json =
        tonvale_service::JsonWriter(tonvale_service::Letters::kUtf8).Text(whole);
    return form.kind == Form::Kind::kJson ? json + "\n" : form.callback + "(" + json + ");\n";
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

std::string AnswerText(const Form &form, Json::Value members) {
    return Text(form, "ok", std::move(members));
}

std::string AnswerText(const Form &form, const Fault &fault) {
    Json::Value members(Json::objectValue);
    members["error"]["code"] = fault.code;
    members["error"]["message"] = fault.message;
    return Text(form, "failed", std::move(members));
}

bool Send(const Form &form, const std::string &text, bool headerOnly) {
    std::printf("Content-Type: %s\r\nContent-Length: %zu\r\nCache-Control: no-store\r\n\r\n",
                TypeOf(form.kind), text.size());
    return (headerOnly || std::fwrite(text.data(), 1, text.size(), stdout) == text.size()) &&
           std::fflush(stdout) == 0;
}

}  // namespace tonvale_subsonic

#include "webapi/described.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "entry/document.h"
#include "entry/parameters.h"
#include "programs/command.h"

namespace tonvale_test {

namespace {

using tonvale_entry::Parameters;
using tonvale_entry::ParseNumber;

constexpr char kPlace[] = " (the tables of programs/entry describe it; see CONTRIBUTING.md)";

// The schema that a $ref names.
const Json::Value &Meant(const Json::Value &schema) {
    const std::string reference = schema.isObject() ? schema["$ref"].asString() : "";
    if (reference.empty()) {
        return schema;
    }
    const std::size_t name = reference.rfind('/');
    return Description()["components"][reference.substr(13, name - 13)][reference.substr(name + 1)];
}

bool IsOfType(const std::string &type, const Json::Value &value) {
    return type == "object"    ? value.isObject()
           : type == "array"   ? value.isArray()
           : type == "string"  ? value.isString()
           : type == "integer" ? value.isIntegral()
           : type == "number"  ? value.isNumeric()
           : type == "boolean" ? value.isBool()
                               : type == "null" && value.isNull();
}

bool IsAmong(const Json::Value &list, const Json::Value &value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

// Why a value does not match its schema; "" when it does.
std::string Fault(const Json::Value &given, const Json::Value &value, const std::string &at);

std::string FaultInObject(const Json::Value &schema, const Json::Value &value,
                          const std::string &at) {
    for (const Json::Value &name : schema["required"]) {
        if (!value.isMember(name.asString())) {
            return at + "." + name.asString() + " is missing";
        }
    }
    for (const std::string &name : value.getMemberNames()) {
        const Json::Value &others = schema["additionalProperties"];
        const bool isKnown = schema["properties"].isMember(name);
        if (!isKnown && others.isBool() && !others.asBool()) {
            return at + "." + name + " is not described";
        }
        if (isKnown || others.isObject()) {
            const std::string fault =
                Fault(isKnown ? schema["properties"][name] : others, value[name], at + "." + name);
            if (!fault.empty()) {
                return fault;
            }
        }
    }
    return "";
}

std::string Fault(const Json::Value &given, const Json::Value &value, const std::string &at) {
    const Json::Value &schema = Meant(given);
    if (schema.isMember("anyOf")) {
        std::string faults;
        for (const Json::Value &one : schema["anyOf"]) {
            const std::string fault = Fault(one, value, at);
            if (fault.empty()) {
                return "";
            }
            faults += (faults.empty() ? "" : ", and ") + fault;
        }
        return faults;
    }
    if ((schema.isMember("type") && !IsOfType(schema["type"].asString(), value)) ||
        (schema.isMember("const") && value != schema["const"]) ||
        (schema.isMember("enum") && !IsAmong(schema["enum"], value)) ||
        (schema.isMember("minimum") && value < schema["minimum"]) ||
        (schema.isMember("maximum") && value > schema["maximum"])) {
        return at + " is " + value.toStyledString() + " and not " + schema.toStyledString();
    }
    if (value.isArray()) {
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            const std::string fault =
                Fault(schema["items"], value[i], at + "[" + std::to_string(i) + "]");
            if (!fault.empty()) {
                return fault;
            }
        }
    }
    return value.isObject() ? FaultInObject(schema, value, at) : "";
}

// A parameter's text, or one value of its list, as the type that its schema asks for.
Json::Value Typed(const Json::Value &schema, const std::string &text) {
    for (const Json::Value &one : schema["anyOf"]) {
        if (const Json::Value typed = Typed(one, text); Fault(one, typed, "").empty()) {
            return typed;
        }
    }
    const auto number = ParseNumber(text, LLONG_MIN, LLONG_MAX);
    if (schema["type"] == "integer" && number) {
        return Json::Int64{*number};
    }
    return schema["type"] == "boolean" && (text == "true" || text == "false")
               ? Json::Value(text == "true")
               : Json::Value(text);
}

std::string FaultIn(const Json::Value &known, const std::string &name, const std::string &text) {
    if (!known.isMember(name)) {
        return "the parameter " + name + " is not described";
    }
    const Json::Value &schema = known[name];
    if (text.empty()) {
        return "";  // not given
    }
    if (schema["type"] != "array") {
        return Fault(schema, Typed(schema, text), name);
    }
    Json::Value values(Json::arrayValue);
    const auto texts = tonvale_entry::SplitValues(text, 10'000);
    for (const std::string &value : texts.value()) {
        values.append(Typed(schema["items"], value));
    }
    return Fault(schema, values, name);
}

// For a request that succeeded.
void CheckParameters(const std::string &method, const Json::Value &operation,
                     const std::map<std::string, std::string> &given) {
    const Json::Value known = ParametersOf(operation);
    for (const auto &[name, text] : given) {
        const std::string fault = FaultIn(known, name, text);
        EXPECT_TRUE(fault.empty()) << method << ": " << fault << kPlace;
    }
    for (const std::string &name : known.getMemberNames()) {
        EXPECT_TRUE(!known[name]["isRequired"].asBool() || given.contains(name))
            << method << " does without the parameter " << name << kPlace;
    }
}

std::map<std::string, std::string> Given(const std::string &query, const std::string &form) {
    std::map<std::string, std::string> given;
    const auto parameters = Parameters::Parse(query, form);
    std::string rest = query + "&" + form + "&";
    for (std::size_t end; parameters && (end = rest.find('&')) != rest.npos;) {
        const std::string name = rest.substr(0, std::min(rest.find('='), end));
        if (const std::string *value = parameters->Find(name); value != nullptr && !name.empty()) {
            given[name] = *value;
        }
        rest.erase(0, end + 1);
    }
    return given;
}

void CheckMedia(const std::string &method, const Json::Value &operation, const std::string &type) {
    const Json::Value &content = operation["responses"]["200"]["content"];
    const std::string plain = type.substr(0, type.find(';'));
    EXPECT_TRUE(content.isMember(plain) ||
                content.isMember(plain.substr(0, plain.find('/')) + "/*"))
        << method << " answers with " << plain << ", which is not described" << kPlace;
}

}  // namespace

std::string BodyOf(const std::string &message) {
    const std::size_t end = message.find("\r\n\r\n");
    return end == message.npos ? "" : message.substr(end + 4);
}

std::string FieldOf(const std::string &header, const std::string &name) {
    const std::size_t found = ("\r\n" + header).find("\r\n" + name + ": ");
    const std::size_t begin = found + name.size() + 2;
    return found == header.npos ? "" : header.substr(begin, header.find("\r\n", begin) - begin);
}

const Json::Value &Description() {
    static const Json::Value description = tonvale_entry::DescribeApis("/webapi");
    return description;
}

const Json::Value &OperationAt(const std::string &path) {
    static const Json::Value none;
    const Json::Value &item = Description()["paths"][path];
    return item.isNull() ? none : item.isMember("get") ? item["get"] : item["post"];
}

Json::Value ParametersOf(const Json::Value &operation) {
    Json::Value parameters(Json::objectValue);
    for (const Json::Value &given : operation["parameters"]) {
        const Json::Value &parameter = Meant(given);
        if (parameter["name"] != "status") {
            Json::Value &schema = parameters[parameter["name"].asString()] = parameter["schema"];
            schema["description"] = parameter["description"];
            schema["isRequired"] = parameter["required"];
        }
    }
    const Json::Value &form =
        operation["requestBody"]["content"]["application/x-www-form-urlencoded"]["schema"];
    for (const std::string &name : form["properties"].getMemberNames()) {
        parameters[name] = form["properties"][name];
        parameters[name]["isRequired"] = IsAmong(form["required"], name);
    }
    return parameters;
}

void CheckDescribed(const std::string &query, const std::string &form, const std::string &answer) {
    auto given = Given(query, form);
    const std::string body = BodyOf(answer);
    const std::string header = answer.substr(0, answer.size() - body.size());
    if (!given.contains("api") || body.empty() || !FieldOf(header, "Content-Encoding").empty()) {
        return;
    }
    const std::string method = given["api"] + "/" + given["method"];
    const Json::Value &operation = OperationAt("/" + method);
    // Some of these mean nothing; tests send them to show that.
    for (const char *other : {"api", "version", "method", "status", "x", "colour"}) {
        given.erase(other);
    }
    const std::string type = FieldOf(header, "Content-Type");
    const Json::Value json =
        type.starts_with("application/json") ? StrictJson(body) : Json::Value();
    const bool isData = json.isMember("data");
    if (json.isMember("error")) {
        const std::string fault =
            Fault(Description()["components"]["schemas"]["Error"], json, "the answer");
        EXPECT_TRUE(fault.empty()) << method << ": " << fault << kPlace;
        const std::string bad = json["error"]["parameter"].asString();
        EXPECT_TRUE(bad.empty() || operation.isNull() || ParametersOf(operation).isMember(bad))
            << method << " refuses the parameter " << bad << ", which it does not take";
        return;
    }
    const bool isGood = isData || header.find(" 200 ") != header.npos;
    ASSERT_TRUE(!isGood || !operation.isNull()) << method << " is not described" << kPlace;
    if (isGood) {
        CheckParameters(method, operation, given);
        const Json::Value &schema =
            operation["responses"]["200"]["content"]["application/json"]["schema"];
        const std::string fault = isData ? Fault(schema, json, "the answer") : "";
        EXPECT_TRUE(fault.empty()) << method << ": " << fault << kPlace;
        if (!isData && !type.empty()) {
            CheckMedia(method, operation, type);
        }
    }
}

}  // namespace tonvale_test

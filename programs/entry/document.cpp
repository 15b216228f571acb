#include "document.h"

#include "action.h"
#include "parameters.h"
#include "service/people/sign_in.h"

namespace tonvale_entry {

namespace {

constexpr std::string_view kPrefix = "VARN.Tonvale.";
constexpr char kAbout[] =
    "Each operation also takes the other of GET and POST, with its parameters in the query, in a "
    "form, or in both, but changes take no HEAD. The same is answered at `/webapi/entry.cgi`, "
    "where "
    "the parameters `api`, `version` (1) and `method` name the operation. docs/webapi.md tells "
    "more.";
constexpr char kStatusAbout[] =
    "The code of a refusal is its HTTP status, as described here. Without it most refusals have "
    "the status 200.";

std::string Text(std::string_view text) {
    return std::string(text);
}

Json::Value Object(const char *member, Json::Value value) {
    Json::Value object(Json::objectValue);
    object[member] = std::move(value);
    return object;
}

Json::Value Type(const char *name) {
    return Object("type", name);
}

Json::Value Reference(const std::string &kind, std::string_view name) {
    return Object("$ref", "#/components/" + kind + "/" + Text(name));
}

Json::Value Enumeration(const std::vector<std::string> &names) {
    Json::Value schema = Type("string");
    for (const std::string &name : names) {
        schema["enum"].append(name);
    }
    return schema;
}

// ---- parameters --------------------------------------------------------------------------------

Json::Value Numbers(const Parameter &parameter) {
    Json::Value schema = Type("integer");
    schema["minimum"] = Json::Int64{parameter.low};
    schema["maximum"] = Json::Int64{parameter.high};
    return schema;
}

Json::Value OneValue(const Parameter &parameter) {
    const std::vector<std::string> choices = ChoicesOf(parameter);
    if (parameter.kind == Kind::kFlag) {
        return Type("boolean");
    }
    if (parameter.kind != Kind::kNumber && parameter.kind != Kind::kNumbers) {
        return choices.empty() ? Type("string") : Enumeration(choices);
    }
    if (choices.empty()) {
        return Numbers(parameter);
    }
    Json::Value either(Json::objectValue);
    either["anyOf"].append(Enumeration(choices));
    either["anyOf"].append(Numbers(parameter));
    return either;
}

bool IsList(const Parameter &parameter) {
    return parameter.kind == Kind::kTexts || parameter.kind == Kind::kNumbers;
}

Json::Value SchemaOf(const Parameter &parameter) {
    Json::Value schema = OneValue(parameter);
    if (IsList(parameter)) {
        schema = Object("items", std::move(schema));
        schema["type"] = "array";
    }
    if (!parameter.usual.empty()) {
        const auto number = ParseNumber(parameter.usual, 0, LLONG_MAX);
        schema["default"] = parameter.kind == Kind::kFlag ? Json::Value(parameter.usual == "true")
                            : number                      ? Json::Value(Json::Int64{*number})
                                                          : Json::Value(Text(parameter.usual));
    }
    return schema;
}

Json::Value InQuery(const Parameter &parameter) {
    Json::Value shown(Json::objectValue);
    shown["name"] = Text(parameter.name);
    shown["in"] = "query";
    shown["description"] = Text(parameter.what);
    shown["schema"] = SchemaOf(parameter);
    if (parameter.isRequired) {
        shown["required"] = true;
    }
    if (IsList(parameter)) {
        shown["explode"] = false;  // commas
    }
    return shown;
}

Json::Value InForm(std::span<const Parameter> parameters) {
    Json::Value form(Json::objectValue);
    Json::Value &schema = form["schema"] = Type("object");
    for (const Parameter &parameter : parameters) {
        const std::string name = Text(parameter.name);
        schema["properties"][name] = SchemaOf(parameter);
        schema["properties"][name]["description"] = Text(parameter.what);
        if (parameter.isRequired) {
            schema["required"].append(name);
        }
        if (IsList(parameter)) {
            form["encoding"][name]["style"] = "form";
            form["encoding"][name]["explode"] = false;
        }
    }
    Json::Value body(Json::objectValue);
    body["content"]["application/x-www-form-urlencoded"] = std::move(form);
    body["required"] = schema.isMember("required");
    return body;
}

// ---- answers -----------------------------------------------------------------------------------

Json::Value SchemaOf(std::string_view type);

// "T|T" as a choice of types; null without a bar outside of brackets.
Json::Value Either(std::string_view type) {
    Json::Value either;
    int depth = 0;
    std::size_t begin = 0;
    for (std::size_t at = 0; at <= type.size(); ++at) {
        const char c = at < type.size() ? type[at] : '|';
        depth += c == '[' || c == '{' ? 1 : c == ']' || c == '}' ? -1 : 0;
        if (c == '|' && depth == 0 && (begin > 0 || at < type.size())) {
            either["anyOf"].append(SchemaOf(type.substr(begin, at - begin)));
            begin = at + 1;
        }
    }
    return either;
}

Json::Value SchemaOf(std::string_view type) {
    constexpr std::pair<std::string_view, const char *> kTypes[] = {
        {"text", "string"},  {"number", "integer"}, {"real", "number"},
        {"flag", "boolean"}, {"null", "null"},      {"time", "integer"}};
    if (Json::Value either = Either(type); !either.isNull()) {
        return either;
    }
    const std::string_view inside = type.substr(1, type.size() - 2);
    Json::Value schema(Json::objectValue);
    switch (type.front()) {
        case '[':
            schema["type"] = "array";
            schema["items"] = SchemaOf(inside);
            return schema;
        case '{':
            schema["type"] = "object";
            schema["additionalProperties"] = SchemaOf(inside);
            return schema;
        case '=':
            return Enumeration(WordsOf(type.substr(1)));
        default:
            break;
    }
    for (const auto &[name, json] : kTypes) {
        if (type == name) {
            return Type(json);
        }
    }
    return type == "any" ? schema : Reference("schemas", type);
}

Json::Value SchemaOf(const Schema &described) {
    Json::Value schema = Type("object");
    if (!described.what.empty()) {
        schema["description"] = Text(described.what);
    }
    schema["properties"] = Json::Value(Json::objectValue);
    for (const Field &field : described.fields) {
        const bool isOptional = field.name.ends_with('?');
        const std::string name =
            Text(field.name.substr(0, field.name.size() - (isOptional ? 1 : 0)));
        Json::Value &member = schema["properties"][name] = SchemaOf(field.type);
        if (field.type == "time") {
            member["description"] = "seconds since 1970";
        }
        if (!field.what.empty()) {
            member["description"] = Text(field.what);
        }
        if (!isOptional) {
            schema["required"].append(name);
        }
    }
    schema["additionalProperties"] = described.isOpen;
    return schema;
}

Json::Value Content(const std::string &type, Json::Value schema) {
    return Object(type.c_str(), Object("schema", std::move(schema)));
}

Json::Value AnswerOf(const Method &method) {
    constexpr char kJson[] = "application/json";
    Json::Value answer = Object("description", "Done");
    if (method.answer.find('/') != method.answer.npos) {
        for (const std::string &type : WordsOf(method.answer)) {
            answer["content"][type] = Json::Value(Json::objectValue);
        }
        return answer;
    }
    Json::Value schema = Type("object");
    schema["properties"]["data"] = SchemaOf(method.answer.empty() ? "Done" : method.answer);
    schema["properties"]["success"]["const"] = true;
    schema["required"].append("data");
    schema["required"].append("success");
    schema["additionalProperties"] = false;
    answer["content"] = Content(kJson, std::move(schema));
    return answer;
}

// ---- operations --------------------------------------------------------------------------------

std::string ShortName(const Api &api) {
    return Text(api.name.substr(kPrefix.size()));
}

// The ways to sign in, each of which is enough.
Json::Value Proofs(bool takesKey) {
    Json::Value proofs(Json::arrayValue);
    for (const char *name : {"session", "basic", "key"}) {
        if (takesKey || name != std::string_view("key")) {
            proofs.append(Object(name, Json::Value(Json::arrayValue)));
        }
    }
    return proofs;
}

Json::Value OperationOf(const Api &api, const Method &method) {
    const std::string name = ShortName(api);
    Json::Value operation(Json::objectValue);
    operation["operationId"] = name + "." + Text(method.name);
    operation["tags"].append(name);
    operation["summary"] = Text(method.summary);
    operation["parameters"].append(Reference("parameters", "status"));
    if (method.changes && !method.parameters.empty()) {
        operation["requestBody"] = InForm(method.parameters);
    } else {
        for (const Parameter &parameter : method.parameters) {
            operation["parameters"].append(InQuery(parameter));
        }
    }
    if (api.isPublic || !method.needsLogin) {
        operation["security"] = Json::Value(Json::arrayValue);
    } else if (!method.takesKey) {
        operation["security"] = Proofs(false);
    }
    operation["responses"]["200"] = AnswerOf(method);
    operation["responses"]["default"] = Reference("responses", "Error");
    return operation;
}

Json::Value ErrorResponse() {
    std::string codes;
    for (const auto &[code, sentence] : AllCodes()) {
        const std::string status = StatusOf(code);
        const std::size_t begin = status.find(' ') + 1;
        codes += (codes.empty() ? "" : "; ") + std::to_string(static_cast<int>(code)) + " (" +
                 status.substr(begin, status.find('\r') - begin) + "): " + sentence;
    }
    Json::Value response = Object("description", codes);
    response["content"] = Content("application/json", Reference("schemas", "Error"));
    return response;
}

Json::Value Components() {
    constexpr Field kRefusal[] = {
        {"code", "number"},
        {"message", "text", "a sentence for people"},
        {"parameter?", "text", "the one that is missing or bad, where that is known"}};
    constexpr Field kError[] = {{"error", "Refusal"}, {"success", "flag", "false"}};
    Json::Value components(Json::objectValue);
    components["schemas"]["Refusal"] = SchemaOf(Schema{"Refusal", kRefusal});
    components["schemas"]["Done"] = SchemaOf(Schema{.name = "Done", .fields = {}});
    components["schemas"]["Error"] = SchemaOf(Schema{"Error", kError});
    for (const Api *api : AllApis()) {
        for (const Schema &schema : api->schemas) {
            components["schemas"][Text(schema.name)] = SchemaOf(schema);
        }
    }
    components["responses"]["Error"] = ErrorResponse();
    components["parameters"]["status"] =
        InQuery({.name = "status", .what = kStatusAbout, .isRequired = true, .choices = "http"});
    Json::Value &session = components["securitySchemes"]["session"] = Type("apiKey");
    session["in"] = "cookie";
    session["name"] = tonvale_service::kSessionCookie;
    for (const auto &[name, scheme] : {std::pair("basic", "basic"), {"key", "bearer"}}) {
        components["securitySchemes"][name] = Type("http");
        components["securitySchemes"][name]["scheme"] = scheme;
    }
    return components;
}

}  // namespace

Json::Value DescribeApis(const std::string &server) {
    Json::Value document(Json::objectValue);
    document["openapi"] = "3.1.0";
    document["info"]["title"] = "Tonvale";
    document["info"]["version"] = "1";
    document["info"]["description"] = kAbout;
    document["servers"].append(Object("url", server));
    document["security"] = Proofs(true);
    for (const Api *api : AllApis()) {
        Json::Value tag = Object("name", ShortName(*api));
        tag["description"] = Text(api->summary);
        document["tags"].append(std::move(tag));
        for (const Method &method : api->methods) {
            const std::string path = "/" + Text(api->name) + "/" + Text(method.name);
            document["paths"][path][method.changes ? "post" : "get"] = OperationOf(*api, method);
        }
    }
    document["components"] = Components();
    return document;
}

}  // namespace tonvale_entry

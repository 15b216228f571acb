#include <libxml/parser.h>

#include <memory>
#include <regex>
#include <sstream>

#include "webapi/rest.h"

namespace tonvale_test {

Shapes::Shapes(const std::string &text) {
    std::istringstream lines(text);
    std::string line, shape;
    while (std::getline(lines, line)) {
        for (const std::string &word : Words(line)) {
            const std::size_t colon = word.find(':');
            if (colon == word.npos) {
                shape = word;
            } else if (colon == 0) {
                shapes_[shape] = shapes_.at(word.substr(1));
            } else {
                const bool isOptional = word.ends_with('?');
                shapes_[shape][word.substr(0, colon)] = {
                    word.substr(colon + 1, word.size() - colon - 1 - (isOptional ? 1 : 0)),
                    isOptional};
            }
        }
    }
}

std::string Shapes::Wrong(const Json::Value &value, const std::string &type) const {
    static const std::regex moment(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?Z)");
    if (type.starts_with('[')) {
        std::string wrong = value.isArray() ? "" : " is no array";
        for (const Json::Value &entry : value.isArray() ? value : Json::Value()) {
            wrong += Wrong(entry, type.substr(1, type.size() - 2));
        }
        return wrong;
    }
    if (type.size() == 1) {
        const bool isRight = type == "s"   ? value.isString()
                             : type == "i" ? value.isIntegral()
                             : type == "n" ? value.isNumeric()
                             : type == "b"
                                 ? value.isBool()
                                 : value.isString() && std::regex_match(value.asString(), moment);
        return isRight ? "" : " is no '" + type + "': " + value.toStyledString();
    }
    if (!value.isObject()) {
        return " is no " + type;
    }
    std::string wrong;
    const auto &members = shapes_.at(type);
    for (const auto &[name, member] : members) {
        if (!value.isMember(name)) {
            wrong += member.isOptional ? "" : " " + type + "." + name + " is missing;";
        } else if (const std::string inside = Wrong(value[name], member.type); !inside.empty()) {
            wrong += " " + type + "." + name + inside + ";";
        }
    }
    for (const std::string &name : value.getMemberNames()) {
        wrong += members.contains(name) ? "" : " " + type + "." + name + " is not documented;";
    }
    return wrong;
}

namespace {

std::string TextIn(const void *node) {
    const std::unique_ptr<xmlChar, decltype(xmlFree)> text(
        xmlNodeGetContent(static_cast<const xmlNode *>(node)), xmlFree);
    return text ? reinterpret_cast<const char *>(text.get()) : "";
}

std::string NameOf(const xmlChar *name) {
    return reinterpret_cast<const char *>(name);
}

}  // namespace

Json::Value Shapes::FromXml(const std::string &xml, const std::string &type) const {
    EXPECT_TRUE(xml.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n")) << xml;
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0), xmlFreeDoc);
    const xmlNode *const root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr || NameOf(root->name) != "subsonic-response") {
        ADD_FAILURE() << xml;
        return {};
    }
    return ValueOf(*root, type);
}

Json::Value Shapes::Scalar(const std::string &text, const std::string &type) {
    return type == "s" || type == "t" ? Json::Value(text) : StrictJson("[" + text + "]")[0];
}

Json::Value Shapes::ValueOf(const xmlNode &node, const std::string &type) const {
    if (type.size() == 1) {
        return Scalar(TextIn(&node), type);
    }
    const auto &members = shapes_.at(type);
    Json::Value value(Json::objectValue);
    for (const auto &[name, member] : members) {
        if (member.type.starts_with('[') && !member.isOptional) {
            value[name] = Json::Value(Json::arrayValue);
        }
    }
    for (const xmlAttr *one = node.properties; one != nullptr; one = one->next) {
        const std::string name = NameOf(one->name);
        value[name] = Scalar(TextIn(one), members.at(name).type);
    }
    for (const xmlNode *child = xmlFirstElementChild(const_cast<xmlNode *>(&node));
         child != nullptr; child = xmlNextElementSibling(const_cast<xmlNode *>(child))) {
        const std::string name = NameOf(child->name);
        const std::string &of = members.at(name).type;
        if (of.starts_with('[')) {
            value[name].append(ValueOf(*child, of.substr(1, of.size() - 2)));
        } else {
            value[name] = ValueOf(*child, of);
        }
    }
    if (members.contains("value")) {
        value["value"] = Scalar(TextIn(&node), members.at("value").type);
    }
    return value;
}

void Rest::SetUp() {
    Served::SetUp();
    tonvale_service::MakeUsers();
    for (const auto &[user, uid] : {std::pair("alice", kAlice), {"bob", kBob}}) {
        keys_[user] = tonvale_service::NewKey(uid, user, "a phone");
    }
}

std::string Rest::By(const std::string &user) const {
    return "u=" + user + "&p=" + keys_.at(user) + "&v=1.16.1&c=test";
}

Json::Value Rest::AskRest(const std::string &query, const std::string &user) const {
    const std::string mark = query.find('?') == query.npos ? "?" : "&";
    const HttpAnswer answer = Get("/rest/" + query + mark + By(user) + "&f=json", "");
    EXPECT_EQ(answer.Status(), 200) << query;
    return StrictJson(answer.body)["subsonic-response"];
}

int Rest::FaultOf(const std::string &query, const std::string &user) const {
    const Json::Value answer = AskRest(query, user);
    EXPECT_EQ(answer["status"].asString() == "ok", !answer.isMember("error")) << answer;
    return answer.isMember("error") ? answer["error"]["code"].asInt() : -1;
}

}  // namespace tonvale_test

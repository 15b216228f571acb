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

Json::Value Shapes::FromXml(const std::string &xml, const std::string &type) const {
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    EXPECT_TRUE(xml.starts_with(head)) << xml;
    std::size_t place = head.size();
    const Node root = Parse(xml, place);
    EXPECT_EQ(xml.substr(place), "\n") << xml;
    EXPECT_EQ(root.name, "subsonic-response");
    return ValueOf(root, type);
}

Shapes::Node Shapes::Parse(const std::string &xml, std::size_t &place) {
    static const std::regex start(R"rx(<([\w-]+)((?: \w+="[^"<>]*")*)(/?)>)rx");
    static const std::regex attribute(R"rx( (\w+)="([^"]*)")rx");
    std::smatch found;
    const auto at = xml.begin() + static_cast<std::ptrdiff_t>(place);
    if (!std::regex_search(at, xml.end(), found, start, std::regex_constants::match_continuous)) {
        ADD_FAILURE() << "no element at " << place << " of " << xml;
        throw std::runtime_error("no XML");
    }
    Node node{found[1], ""};
    const std::string attributes = found[2];
    for (std::sregex_iterator one(attributes.begin(), attributes.end(), attribute), end; one != end;
         ++one) {
        node.attributes.emplace_back((*one)[1], Unescaped((*one)[2]));
    }
    place += static_cast<std::size_t>(found.length());
    const std::string end = "</" + node.name + ">";
    while (found[3].length() == 0 && xml.compare(place, end.size(), end) != 0) {
        if (xml.at(place) == '<') {
            node.children.push_back(Parse(xml, place));
        } else {
            const std::size_t next = std::min(xml.find('<', place), xml.size());
            node.text += Unescaped(xml.substr(place, next - place));
            place = next;
        }
    }
    place += found[3].length() == 0 ? end.size() : 0;
    return node;
}

std::string Shapes::Unescaped(const std::string &text) {
    static const std::map<std::string, std::string> names = {
        {"amp", "&"}, {"lt", "<"},  {"gt", ">"},   {"quot", "\""},
        {"#39", "'"}, {"#9", "\t"}, {"#10", "\n"}, {"#13", "\r"}};
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        EXPECT_GE(static_cast<unsigned char>(text[i]), 0x20) << text;
        if (text[i] == '&') {
            const std::size_t end = std::min(text.find(';', i), text.size());
            plain += names.at(text.substr(i + 1, end - i - 1));
            i = end;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

Json::Value Shapes::Scalar(const std::string &text, const std::string &type) {
    return type == "s" || type == "t" ? Json::Value(text) : StrictJson("[" + text + "]")[0];
}

Json::Value Shapes::ValueOf(const Node &node, const std::string &type) const {
    if (type.size() == 1) {
        return Scalar(node.text, type);
    }
    const auto &members = shapes_.at(type);
    Json::Value value(Json::objectValue);
    for (const auto &[name, member] : members) {
        if (member.type.starts_with('[') && !member.isOptional) {
            value[name] = Json::Value(Json::arrayValue);
        }
    }
    for (const auto &[name, text] : node.attributes) {
        if (name != "xmlns") {
            value[name] = Scalar(text, members.at(name).type);
        }
    }
    for (const Node &child : node.children) {
        const std::string &of = members.at(child.name).type;
        if (of.starts_with('[')) {
            value[child.name].append(ValueOf(child, of.substr(1, of.size() - 2)));
        } else {
            value[child.name] = ValueOf(child, of);
        }
    }
    if (members.contains("value")) {
        value["value"] = Scalar(node.text, members.at("value").type);
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

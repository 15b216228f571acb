#include "webapi/api.h"

#include <cstdio>

#include "varn/sql.h"

namespace tonvale_test {

std::string FolderSql(int id, const std::string &path, unsigned owner) {
    const bool isOwned = owner != 0;
    return *varn::Sql(
        "INSERT INTO @VARN:VARdirectory (@VARN:VARid, path, title) VALUES (@VARN:VAR@VARN:INT, "
        "'@VARN:VAR', '@VARN:VAR');",
        isOwned ? "personal_" : "", isOwned ? "userid, " : "",
        isOwned ? std::to_string(owner) + ", " : "", id, path, path.substr(path.rfind('/') + 1));
}

std::string Api::Encoded(const std::string &text) {
    std::string encoded;
    for (const unsigned char c : text) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%%%02X", c);
        encoded += digits;
    }
    return encoded;
}

std::string Api::QueryOf(const std::string &asked, const Given &given) {
    const std::size_t slash = asked.find('/');
    const std::size_t mark = std::min(asked.find('?'), asked.size());
    std::string query = "version=1&api=VARN.Tonvale." + asked.substr(0, slash) +
                        "&method=" + asked.substr(slash + 1, mark - slash - 1);
    if (mark < asked.size()) {
        query += "&" + asked.substr(mark + 1);
    }
    for (const auto &[name, value] : given) {
        query += "&" + name + "=" + Encoded(value);
    }
    return query;
}

Api::Given Api::Taken(const std::string &asked, Given given) {
    const Json::Value known = ParametersOf(OperationAt("/VARN.Tonvale." + asked));
    std::erase_if(given, [&](const auto &one) { return !known.isMember(one.first); });
    return given;
}

Json::Value Api::Answer(const std::string &asked, const Given &given, const std::string &user,
                        Variables more) {
    const std::string form = QueryOf(asked, given);
    more.insert({{"REQUEST_METHOD", "POST"},
                 {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                 {"CONTENT_LENGTH", std::to_string(form.size())},
                 {"REMOTE_USER", user}});
    const std::string text = RunCgi(more, form);
    const std::string header = "Content-Type: application/json; charset=utf-8\r\n";
    const std::string length = std::to_string(BodyOf(text).size());
    EXPECT_TRUE(text.starts_with(header + "\r\n") ||
                text.starts_with(header + "Content-Length: " + length + "\r\n\r\n"))
        << text;
    return Parsed(text);
}

Json::Value Api::Ask(const std::string &asked, const Given &given, const std::string &user,
                     const Variables &more) {
    const Json::Value reply = Answer(asked, given, user, more);
    EXPECT_TRUE(reply["success"].asBool()) << asked << " " << reply;
    return reply["data"];
}

int Api::CodeOf(const std::string &asked, const Given &given, const std::string &user,
                const Variables &more) {
    const Json::Value reply = Answer(asked, given, user, more);
    EXPECT_EQ(reply["success"].asBool(), reply.isMember("data")) << reply;
    return reply["error"]["code"].asInt();
}

}  // namespace tonvale_test

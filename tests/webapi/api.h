// Requests to the web API through the CGI environment, and its answers as JSON.
#pragma once

#include <json/json.h>

#include <utility>
#include <vector>

#include "programs/command.h"
#include "support/fixture.h"
#include "varn/sql.h"
#include "webapi/cgi.h"

namespace tonvale_test {

// A statement that adds a folder of the library, which all users share or one user owns.
inline std::string FolderSql(int id, const std::string &path, unsigned owner = 0) {
    const bool isOwned = owner != 0;
    return *varn::Sql(
        "INSERT INTO @VARN:VARdirectory (@VARN:VARid, path, title) VALUES (@VARN:VAR@VARN:INT, "
        "'@VARN:VAR', '@VARN:VAR');",
        isOwned ? "personal_" : "", isOwned ? "userid, " : "",
        isOwned ? std::to_string(owner) + ", " : "", id, path, path.substr(path.rfind('/') + 1));
}

// Requests to the web API, for a fixture with a root.
class Api {
  protected:
    using Texts = std::vector<std::string>;
    using Given = std::vector<std::pair<std::string, std::string>>;

    static std::string Encoded(const std::string &text) {
        std::string encoded;
        for (const unsigned char c : text) {
            char digits[4];
            std::snprintf(digits, sizeof digits, "%%%02X", c);
            encoded += digits;
        }
        return encoded;
    }

    // The query of a request. `asked` is "API/METHOD" or "API/METHOD?QUERY". The values of `given`
    // need not be encoded.
    static std::string QueryOf(const std::string &asked, const Given &given = {}) {
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

    // The parameters that a method takes, out of these.
    static Given Taken(const std::string &asked, Given given) {
        const Json::Value known = ParametersOf(OperationAt("/VARN.Tonvale." + asked));
        std::erase_if(given, [&](const auto &one) { return !known.isMember(one.first); });
        return given;
    }

    // The whole answer of a method to a user, by a POST.
    static Json::Value Answer(const std::string &asked, const Given &given = {},
                              const std::string &user = "alice", Variables more = {}) {
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

    // The JSON of an answer.
    static Json::Value Parsed(const std::string &text) { return StrictJson(BodyOf(text)); }

    // The data of a method that must succeed.
    static Json::Value Ask(const std::string &asked, const Given &given = {},
                           const std::string &user = "alice", const Variables &more = {}) {
        const Json::Value reply = Answer(asked, given, user, more);
        EXPECT_TRUE(reply["success"].asBool()) << asked << " " << reply;
        return reply["data"];
    }

    // The code of a refusal; 0 where the method succeeds.
    static int CodeOf(const std::string &asked, const Given &given = {},
                      const std::string &user = "alice", const Variables &more = {}) {
        const Json::Value reply = Answer(asked, given, user, more);
        EXPECT_EQ(reply["success"].asBool(), reply.isMember("data")) << reply;
        return reply["error"]["code"].asInt();
    }
};

class ApiTest : public DatabaseTest, protected Api {};

}  // namespace tonvale_test
